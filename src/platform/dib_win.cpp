// The DIB operations that need GDI and are not part of the image window's own
// drawing: the system palette, a DIB from a device bitmap, stretched drawing
// for printing, and re-expressing an image in a palette's colours.
#include "platform/dib.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace {

const uint64_t kLargestBlock = 0x7FFFFFFFULL;

uint64_t RowBytes(uint64_t width, int bits) { return ((width * static_cast<uint64_t>(bits) + 31) >> 5) << 2; }

// A logical palette of n entries, filled by the caller.
struct LogicalPalette {
    std::unique_ptr<BYTE[]> block;
    LOGPALETTE* palette = nullptr;
    explicit LogicalPalette(int n)
        : block(new (std::nothrow) BYTE[sizeof(LOGPALETTE) + static_cast<size_t>(n) * sizeof(PALETTEENTRY)])
    {
        if (!block) return;
        palette = reinterpret_cast<LOGPALETTE*>(block.get());
        palette->palVersion = 0x300;
        palette->palNumEntries = static_cast<WORD>(n);
    }
};

}  // namespace

HPALETTE DIB_GetSystemPalette()
{
    HDC dc = GetDC(nullptr);
    if (!dc) return nullptr;
    HPALETTE result = nullptr;
    int n = (GetDeviceCaps(dc, RASTERCAPS) & RC_PALETTE) ? GetDeviceCaps(dc, SIZEPALETTE) : 0;
    if (n > 0 && n <= 256) {
        LogicalPalette logical(n);
        if (logical.palette) {
            GetSystemPaletteEntries(dc, 0, static_cast<UINT>(n), logical.palette->palPalEntry);
            for (int i = 0; i < n; i++) logical.palette->palPalEntry[i].peFlags = 0;
            result = CreatePalette(logical.palette);
        }
    } else {
        // A screen without a palette has no system palette to copy: the
        // halftone palette stands for the colours it shows.
        result = CreateHalftonePalette(dc);
    }
    ReleaseDC(nullptr, dc);
    return result;
}

HGLOBAL DIB_FromBitmap(HDC dc, HBITMAP bitmap, int, int bits, HPALETTE palette, int)
{
    BITMAP bm;
    if (!bitmap || !GetObjectA(bitmap, sizeof bm, &bm) || bm.bmWidth <= 0 || bm.bmHeight <= 0) return nullptr;
    if (bits <= 0) bits = bm.bmPlanes * bm.bmBitsPixel;
    bits = bits <= 1 ? 1 : bits <= 4 ? 4 : bits <= 8 ? 8 : bits <= 24 ? 24 : 32;
    DWORD colors = DIB_ColorsForBits(bits);
    uint64_t image = RowBytes(static_cast<uint64_t>(bm.bmWidth), bits) * static_cast<uint64_t>(bm.bmHeight);
    uint64_t size = sizeof(BITMAPINFOHEADER) + 4ULL * colors + image;
    if (size > kLargestBlock) return nullptr;
    HGLOBAL mem = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, static_cast<SIZE_T>(size));
    BYTE* p = mem ? static_cast<BYTE*>(GlobalLock(mem)) : nullptr;
    if (!p) {
        if (mem) GlobalFree(mem);
        return nullptr;
    }
    BITMAPINFOHEADER h = {};
    h.biSize = sizeof h;
    h.biWidth = bm.bmWidth;
    h.biHeight = bm.bmHeight;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(bits);
    h.biCompression = BI_RGB;
    h.biSizeImage = static_cast<DWORD>(image);
    h.biClrUsed = colors;
    h.biClrImportant = colors;
    memcpy(p, &h, sizeof h);

    HDC use = dc ? dc : GetDC(nullptr);
    HPALETTE old = nullptr;
    if (use && palette) {
        old = SelectPalette(use, palette, FALSE);
        RealizePalette(use);
    }
    int lines = use ? GetDIBits(use, bitmap, 0, static_cast<UINT>(bm.bmHeight), p + sizeof h + 4 * colors,
                                reinterpret_cast<BITMAPINFO*>(p), DIB_RGB_COLORS)
                    : 0;
    if (old) SelectPalette(use, old, FALSE);
    if (use && !dc) ReleaseDC(nullptr, use);
    // GetDIBits may rewrite counts in the header; the block's layout is ours.
    BITMAPINFOHEADER* written = reinterpret_cast<BITMAPINFOHEADER*>(p);
    written->biClrUsed = colors;
    written->biClrImportant = colors;
    written->biSizeImage = static_cast<DWORD>(image);
    GlobalUnlock(mem);
    if (lines <= 0) return GlobalFree(mem);
    return mem;
}

void DIB_StretchDraw(HDC dc, int x, int y, int cx, int cy, HGLOBAL dib, int srcX, int srcY, int srcW, int srcH,
                     DWORD rop, int)
{
    BITMAPINFOHEADER* h;
    BYTE* pixels;
    if (!dc || !DIB_Lock(dib, &h, nullptr, &pixels)) return;
    // The source rectangle counts from the top as the image is seen; a
    // bottom-up DIB counts its rows from the bottom.
    int fromBottom = h->biHeight > 0 ? h->biHeight - srcY - srcH : srcY;
    SetStretchBltMode(dc, HALFTONE);
    SetBrushOrgEx(dc, 0, 0, nullptr);
    StretchDIBits(dc, x, y, cx, cy, srcX, fromBottom, srcW, srcH, pixels, reinterpret_cast<BITMAPINFO*>(h),
                  DIB_RGB_COLORS, rop);
    GlobalUnlock(dib);
}

HGLOBAL DIB_MapToPalette(HGLOBAL dib, HPALETTE palette)
{
    if (!dib || !palette) return nullptr;
    PALETTEENTRY entries[256];
    UINT n = GetPaletteEntries(palette, 0, 256, entries);
    if (n == 0 || n > 256) return nullptr;
    HGLOBAL wide = DIB_ConvertBits(dib, 32);
    if (!wide) return nullptr;
    BITMAPINFOHEADER* h;
    BYTE* from;
    DIB_Lock(wide, &h, nullptr, &from);
    LONG width = h->biWidth, height = h->biHeight;
    int bits = n <= 2 ? 1 : n <= 16 ? 4 : 8;
    uint64_t stride = RowBytes(static_cast<uint64_t>(width), bits);
    uint64_t size = sizeof(BITMAPINFOHEADER) + 4ULL * n + stride * static_cast<uint64_t>(height);
    HGLOBAL out = size <= kLargestBlock ? GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, static_cast<SIZE_T>(size)) : nullptr;
    // Each colour takes the entry nearest to it (squared distance, the first
    // of equals). Lookups go through a direct-mapped cache of colours seen.
    const int kCache = 4096;
    std::unique_ptr<DWORD[]> tags(new (std::nothrow) DWORD[kCache]);
    std::unique_ptr<BYTE[]> found(new (std::nothrow) BYTE[kCache]);
    BYTE* p = out && tags && found ? static_cast<BYTE*>(GlobalLock(out)) : nullptr;
    if (p) {
        BITMAPINFOHEADER o = {};
        o.biSize = sizeof o;
        o.biWidth = width;
        o.biHeight = height;
        o.biPlanes = 1;
        o.biBitCount = static_cast<WORD>(bits);
        o.biCompression = BI_RGB;
        o.biSizeImage = static_cast<DWORD>(stride * static_cast<uint64_t>(height));
        o.biClrUsed = n;
        o.biClrImportant = n;
        memcpy(p, &o, sizeof o);
        RGBQUAD* table = reinterpret_cast<RGBQUAD*>(p + sizeof o);
        for (UINT i = 0; i < n; i++) table[i] = {entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
        for (int i = 0; i < kCache; i++) tags[i] = 0;
        BYTE* to = p + sizeof o + 4 * n;
        for (LONG row = 0; row < height; row++, to += stride) {
            const BYTE* c = from + static_cast<size_t>(row) * width * 4;
            for (LONG x = 0; x < width; x++, c += 4) {
                DWORD colour = 0x1000000U | (static_cast<DWORD>(c[2]) << 16) | (c[1] << 8) | c[0];
                int slot = static_cast<int>((colour * 2654435761U) >> 20) & (kCache - 1);
                if (tags[slot] != colour) {
                    long best = -1;
                    for (UINT i = 0; i < n; i++) {
                        long dr = entries[i].peRed - c[2], dg = entries[i].peGreen - c[1], db = entries[i].peBlue - c[0];
                        long d = dr * dr + dg * dg + db * db;
                        if (best < 0 || d < best) {
                            best = d;
                            found[slot] = static_cast<BYTE>(i);
                        }
                    }
                    tags[slot] = colour;
                }
                int index = found[slot];
                if (bits == 8) to[x] = static_cast<BYTE>(index);
                else if (bits == 4) to[x >> 1] |= static_cast<BYTE>((x & 1) ? index : index << 4);
                else to[x >> 3] |= static_cast<BYTE>(index << (7 - (x & 7)));
            }
        }
        GlobalUnlock(out);
    } else if (out) {
        out = GlobalFree(out);
    }
    GlobalUnlock(wide);
    GlobalFree(wide);
    return out;
}
