// AVI, WAV and MID documents: pending.
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

int AVI_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_AVI);
}

int WAV_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_WAV);
}

int MID_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_MID);
}
