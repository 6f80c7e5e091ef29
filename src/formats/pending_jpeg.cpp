// JPEG family: pending.
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

int JPG_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_JPG);
}

int JPG_Save(LPCSTR, HGLOBAL, WORD, WORD, WORD) { return Unsupported(FMT_Row_JPG); }

int PIC_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_PIC);
}

int PIC_Save(LPCSTR, HGLOBAL, WORD, WORD, WORD) { return Unsupported(FMT_Row_PIC); }

int KQP_Load(LPCSTR, HGLOBAL* dib)
{
    *dib = nullptr;
    return Unsupported(FMT_Row_KQP);
}

int KQP_Save(LPCSTR, HGLOBAL, WORD, WORD, WORD) { return Unsupported(FMT_Row_KQP); }
