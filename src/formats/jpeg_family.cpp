// The rows JPG, PIC and KQP, served by the JPEG layer (platform/jpeg.h).
//
// JPG reads baseline and progressive JPEG files and writes baseline JFIF.
// What the PIC and KQP rows' own files hold is not known to this program, so
// their readers refuse every file with "Illegal or Unsupported %s file
// format", except a file that is plainly JFIF (a JPEG start-of-image marker
// followed by an APP0 "JFIF" segment), which they read as JPEG. Their writers
// write JFIF, so that what these rows save they can read back.
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/jpeg.h"

#include <cstring>

namespace {

// SOI, APP0, two length bytes, "JFIF" and its NUL.
bool IsPlainJfif(LPCSTR path)
{
    HFILE file = FIL_Open(path, OF_READ);
    if (file == HFILE_ERROR) return false;
    BYTE head[11] = {0};
    UINT got = _lread(file, head, sizeof head);
    _lclose(file);
    return got == sizeof head && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF && head[3] == 0xE0 &&
           memcmp(head + 6, "JFIF", 5) == 0;
}

// The row's extension in upper case, for the messages of the JPEG layer.
void KindOf(int row, char* kind)
{
    FMT_GetExtension(row, kind);
    CharUpperBuffA(kind, static_cast<DWORD>(strlen(kind)));
}

int LoadOtherKind(LPCSTR path, HGLOBAL* dib, int row)
{
    *dib = nullptr;
    if (!IsPlainJfif(path)) {
        // A file that can't be opened fails silently, as with every reader.
        HFILE file = FIL_Open(path, OF_READ);
        if (file == HFILE_ERROR) return 0;
        _lclose(file);
        FMT_FormatError(9490, row);  // "Illegal or Unsupported %s file format"
        return 0;
    }
    char kind[16];
    KindOf(row, kind);
    return ZIM_LoadAs(path, dib, kind);
}

int SaveAsRow(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth, int row)
{
    char kind[16];
    KindOf(row, kind);
    return ZIM_SaveAs(path, dib, color, compressed, depth, kind);
}

}  // namespace

int JPG_Load(LPCSTR path, HGLOBAL* dib)
{
    char kind[16];
    KindOf(FMT_Row_JPG, kind);
    return ZIM_LoadAs(path, dib, kind[0] ? kind : "JPG");
}

int JPG_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    return SaveAsRow(path, dib, color, compressed, depth, FMT_Row_JPG);
}

int PIC_Load(LPCSTR path, HGLOBAL* dib) { return LoadOtherKind(path, dib, FMT_Row_PIC); }

int PIC_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    return SaveAsRow(path, dib, color, compressed, depth, FMT_Row_PIC);
}

int KQP_Load(LPCSTR path, HGLOBAL* dib) { return LoadOtherKind(path, dib, FMT_Row_KQP); }

int KQP_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depth)
{
    return SaveAsRow(path, dib, color, compressed, depth, FMT_Row_KQP);
}
