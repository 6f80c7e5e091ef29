// HEX: pending.
// Until its reader and writer exist, the row answers "Unsupported %s format".
#include "core/messages.h"
#include "formats/formats.h"

namespace {
int Unsupported(int row)
{
    FMT_FormatError(9487, row);
    return 0;
}
}  // namespace

int HEX_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_HEX);
}

int HEX_Save(LPCSTR, HGLOBAL, WORD, WORD, WORD) { return Unsupported(FMT_Row_HEX); }
