// ICO: pending.
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

int ICO_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_ICO);
}

int ICO_Save(LPCSTR, HGLOBAL, WORD, WORD, WORD) { return Unsupported(FMT_Row_ICO); }
