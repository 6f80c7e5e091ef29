// PPM: the portable graymap and pixmap forms, read as text (P2, P3) or bytes
// (P5, P6) into 8-bit gray or 24-bit DIBs, and written as P5 or P6.
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace {

enum {
    MSG_NOT_LEGAL = 9478,         // "Not a legal %s file"
    MSG_NOT_LEGAL_FORMAT = 9479,  // "Not a legal %s format file"
    MSG_NO_MEMORY = 9480,         // "Not enough memory to load %s image"
    MSG_CANNOT_SAVE = 21015,      // "Cannot save %u-bit PCX files"
    MSG_SAVE_MEMORY = 9488,       // "Not enough memory to save image in %s format"
    MSG_CANNOT_CREATE = 8215,     // "Cannot open output file, check disk space"
    MSG_CANNOT_WRITE_HEADER = 8216,
};

// The text side of the reader: characters with comments folded into the line
// feed they run to, and unsigned 16-bit numbers.
struct Text {
    FILE* file;

    int Next()
    {
        int c = fgetc(file);
        if (c == '#') {
            do c = fgetc(file);
            while (c != '\n' && c != EOF);
            if (c == EOF) return EOF;
        }
        return c;
    }
    // Skips blanks, tabs and line feeds (not carriage returns), then takes
    // digits up to the first other character, which is consumed. False when
    // no digit comes.
    bool Number(WORD* value)
    {
        int c = Next();
        while (c == ' ' || c == '\t' || c == '\n') c = Next();
        if (c < '0' || c > '9') return false;
        WORD v = 0;
        while (c >= '0' && c <= '9') {
            v = static_cast<WORD>(v * 10 + (c - '0'));
            c = Next();
        }
        *value = v;
        return true;
    }
};

struct LoadState {
    FILE* file = nullptr;
    HGLOBAL image = nullptr;
    ~LoadState()
    {
        if (image) {
            GlobalUnlock(image);
            GlobalFree(image);
        }
        if (file) fclose(file);
    }
    int Fail(UINT message)
    {
        if (message) FMT_FormatError(message, FMT_Row_PPM);
        return 0;
    }
};

}  // namespace

int PPM_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    LoadState s;
    s.file = FIL_OpenStream(path, "rb");
    if (!s.file) return 0;
    Text text = {s.file};

    if (fgetc(s.file) != 'P') return s.Fail(MSG_NOT_LEGAL);
    int type = text.Next();
    WORD width, height, maximum;
    if (!text.Number(&width) || !text.Number(&height) || !text.Number(&maximum) || maximum == 0)
        return s.Fail(MSG_NOT_LEGAL_FORMAT);
    int bits;
    if (type == '2' || type == '5') bits = 8;
    else if (type == '3' || type == '6') bits = 24;
    else return s.Fail(MSG_NOT_LEGAL_FORMAT);

    DWORD stride = DIB_Stride(width, bits);
    DWORD colors = DIB_ColorsForBits(bits);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, width, height, bits, stride, colors);
    BYTE* block;
    s.image = DIB_AllocatePacked(&header, &block);
    if (!s.image) return s.Fail(MSG_NO_MEMORY);
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + DIB_PaletteSize(&header);
    for (DWORD i = 0; i < colors; i++) {
        BYTE v = static_cast<BYTE>(i);
        table[i] = {v, v, v, 0};
    }
    INF_SetProgress(0, height);
    INF_SetValue(INF_PLANES, 1);
    INF_SetValue(INF_GRAY, bits == 8);
    INF_SetValue(INF_COMPRESSED, 0);
    INF_SetValue(INF_BITSPERPIXEL, bits);
    INF_SetValue(INF_TYPE, 0);
    INF_SetValue(INF_VERSION, 1);

    // Samples scale to 0..255; one above the maximum counts as the maximum.
    std::unique_ptr<BYTE[]> map;
    if (maximum != 255) {
        map.reset(new (std::nothrow) BYTE[maximum + 1u]);
        if (!map) return s.Fail(MSG_NO_MEMORY);
        for (DWORD i = 0; i <= maximum; i++) map[i] = static_cast<BYTE>(i * 255 / maximum);
    }
    auto scale = [&](WORD v) -> BYTE {
        if (v > maximum) v = maximum;
        return map ? map[v] : static_cast<BYTE>(v);
    };

    const bool plain = type == '2' || type == '3';
    const int samples = bits / 8;
    const SIZE_T lineBytes = static_cast<SIZE_T>(width) * samples;
    std::unique_ptr<BYTE[]> line;
    if (!plain) {
        line.reset(new (std::nothrow) BYTE[lineBytes + 1]);
        if (!line) return s.Fail(MSG_NO_MEMORY);
    }
    for (DWORD y = 0; y < height; y++) {
        UTL_Yield();
        if (y % 16 == 1 || y == height - 1u) INF_Step(static_cast<WORD>(y));
        if (!plain) {
            // Bytes past the end of the file read as 0xFF.
            SIZE_T got = fread(line.get(), 1, lineBytes, s.file);
            memset(line.get() + got, 0xFF, lineBytes - got);
        }
        BYTE* row = pixels + static_cast<SIZE_T>(height - 1 - y) * stride;
        for (SIZE_T i = 0; i < lineBytes; i++) {
            WORD v = plain ? 0 : line[i];
            if (plain && !text.Number(&v)) return s.Fail(0);
            // Samples come red, green, blue; the DIB holds blue first.
            row[samples == 3 ? i - i % 3 + 2 - i % 3 : i] = scale(v);
        }
    }
    GlobalUnlock(s.image);
    *dib = s.image;
    s.image = nullptr;
    return 1;
}

int PPM_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD, WORD depth)
{
    const DIB_Scoped locked(dib);
    if (!locked.h) return 0;
    BITMAPINFOHEADER* h = locked.h;
    RGBQUAD* table = locked.table;
    BYTE* pixels = locked.pixels;

    const int bits = h->biBitCount;
    if (bits == 32) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_SAVE, static_cast<UINT>(depth));
        return 0;
    }
    const LONG width = h->biWidth > 0 ? h->biWidth : 0;
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    const DWORD stride = DIB_Stride(width, bits);
    const DWORD entries = DIB_NumColors(h);
    const SIZE_T lineBytes = static_cast<SIZE_T>(width) * 3;
    std::unique_ptr<BYTE[]> line(new (std::nothrow) BYTE[lineBytes + 1]());
    if (!line) {
        FMT_FormatError(MSG_SAVE_MEMORY, FMT_Row_PPM);
        return 0;
    }
    HFILE file = FIL_Create(path);
    if (file == HFILE_ERROR) {
        MSG_Report(SEV_ERROR, MSG_CANNOT_CREATE);
        return 0;
    }
    char header[64];
    int n = snprintf(header, sizeof header, "P%d\n%ld %ld\n%d\n", color ? 6 : 5, static_cast<long>(width),
                     static_cast<long>(height), 255);
    if (_lwrite(file, header, static_cast<UINT>(n)) != static_cast<UINT>(n)) {
        _lclose(file);
        MSG_Report(SEV_ERROR, MSG_CANNOT_WRITE_HEADER);
        FIL_Remove(path);
        return 0;
    }

    const UINT outBytes = static_cast<UINT>(color ? lineBytes : static_cast<SIZE_T>(width));
    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<SIZE_T>(h->biHeight < 0 ? y : height - 1 - y) * stride;
        BYTE* out = line.get();
        for (LONG x = 0; x < width; x++) {
            BYTE r = 0, g = 0, b = 0;
            if (bits == 8) {
                // An index beyond the table is black.
                if (row[x] < entries) {
                    r = table[row[x]].rgbRed;
                    g = table[row[x]].rgbGreen;
                    b = table[row[x]].rgbBlue;
                }
            } else if (bits == 24) {
                b = row[3 * x];
                g = row[3 * x + 1];
                r = row[3 * x + 2];
            } else {
                continue;  // other depths aren't converted: the line stays zero
            }
            if (color) {
                out[3 * x] = r;
                out[3 * x + 1] = g;
                out[3 * x + 2] = b;
            } else {
                // Gray: the table's red byte, or a pixel's first (blue) byte.
                out[x] = bits == 8 ? r : b;
            }
        }
        if (_lwrite(file, reinterpret_cast<LPCCH>(line.get()), outBytes) != outBytes) {
            // No message for a short picture write; the part written is removed.
            _lclose(file);
            FIL_Remove(path);
            return 0;
        }
    }
    _lclose(file);
    return 1;
}
