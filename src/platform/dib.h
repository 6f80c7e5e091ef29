// Operations on packed DIBs: one moveable block holding a 40-byte header, its
// colour table and its pixels, rows bottom-up and padded to 32 bits. An
// operation that returns a new DIB leaves the source alone; null means memory
// was short (or the source is not a DIB the operation can read), and nothing
// is reported here.
#pragma once

#include "platform/win32.h"

// Entries of the colour table: biClrUsed when set, else by depth, 0 above 8
// bits. A table never holds more than 256 entries: larger counts read as 256.
WORD DIB_NumColors(const BITMAPINFOHEADER* header);
// Bytes of the colour table; the pixels begin at biSize plus this.
WORD DIB_PaletteSize(const BITMAPINFOHEADER* header);
// Colours of a depth as a new header's biClrUsed: 2, 16, 256, 0 above 8 bits.
DWORD DIB_ColorsForBits(int bits);
// Copies the 40 header bytes out.
void DIB_GetInfo(HGLOBAL dib, BITMAPINFOHEADER* header);
// Locks the block and points at header, colour table and pixels; the caller
// ends with GlobalUnlock. Returns the header pointer, null on failure.
BITMAPINFOHEADER* DIB_Lock(HGLOBAL dib, BITMAPINFOHEADER** header, RGBQUAD** colors, BYTE** pixels);
// The same lock for the time of a scope, undone when the scope ends; h is
// null when the block could not be locked.
struct DIB_Scoped {
    explicit DIB_Scoped(HGLOBAL block) : dib(block) { DIB_Lock(block, &h, &table, &pixels); }
    ~DIB_Scoped()
    {
        if (h) GlobalUnlock(dib);
    }
    DIB_Scoped(const DIB_Scoped&) = delete;
    DIB_Scoped& operator=(const DIB_Scoped&) = delete;
    HGLOBAL dib;
    BITMAPINFOHEADER* h = nullptr;
    RGBQUAD* table = nullptr;
    BYTE* pixels = nullptr;
};

// A copy stretched to width x height by nearest neighbour (each target pixel
// takes the source pixel under its centre); same depth and colour table.
HGLOBAL DIB_Scale(HGLOBAL dib, int width, int height);
// A copy at another depth: 24 or 32 from any depth (the fourth byte of a
// 32-bit result is 0, or the source's own fourth byte from 32 bits), or a
// wider index depth (1 to 4 or 8, 4 to 8) with the same table. Reductions are
// the colour engine's work and give null here.
HGLOBAL DIB_ConvertBits(HGLOBAL dib, int bits);
// Gray copy: 16, 24 and 32 bits become 8-bit gray (a 256-step gray table,
// each pixel CLR_Luma of its colour); 1, 4 and 8 bits keep their pixels and
// depth and get each table entry replaced by its gray.
HGLOBAL DIB_ToGray(HGLOBAL dib);
// A copy with margins of the given colour (blue, green, red as in a DIB) on the
// four sides; top and bottom as the image is seen. Index depths take the
// nearest entry of their table. The sixth argument is reserved (0).
HGLOBAL DIB_Pad(HGLOBAL dib, int left, int right, int top, int bottom, int reserved, const RGBTRIPLE* colour);
// A copy with biCompression 0 (plain), 1 (RLE8) or 2 (RLE4). The source may be
// plain, RLE8, RLE4 or bit fields (16 bits become 24, 32 stay 32). With
// isResource 1 the handle is a loaded resource (Windows; its size is taken
// from its header) instead of a moveable block. RLE8 takes sources of 1 to 8
// bits, RLE4 of 1 or 4 bits; a 1-bit source is widened. Run-length data that
// runs past a row or the image is clipped; pixels it never sets stay 0. A
// plain or bit-field source must hold all its pixels, and a run-length one
// may not claim more than 255 pixels for each 2 bytes of its data.
HGLOBAL DIB_Recompress(HGLOBAL dib, int isResource, int compression);
// Takes over the handle and returns the one to keep, in the system's form: a
// 40-byte header (from a 12-byte core header or a longer one), planes 1, rows
// bottom-up, a colour table only at 8 bits or less, bit fields expanded. A
// block that doesn't hold all its pixels is refused. Null on failure, after
// which the caller holds nothing. Follow with DIB_FixHeader.
HGLOBAL DIB_Normalize(HGLOBAL dib);
// Completes the header in place: biClrUsed the true entry count, biSizeImage
// the true pixel bytes of a plain DIB.
void DIB_FixHeader(HGLOBAL dib);
// A 16-bit (5-5-5) DIB as 24 bits, since the system's images are 1, 4, 8, 24
// or 32 bits; channels widen by repeating their top bits (31 -> 255). Any
// other depth comes back as it is. With takeOver 1 the handle given is the
// function's (freed once done, also on failure) and the result the one to
// keep; with 0 the source stays the caller's and the result is a new block.
HGLOBAL DIB_Fix16(HGLOBAL dib, int takeOver);

#ifdef _WIN32
// GDI-bound operations (the Win32 program only). A palette for a DIB, device
// bitmaps and drawing for the image windows are beside the window code.

// A palette with the present system palette; on a screen without one, the
// halftone palette.
HPALETTE DIB_GetSystemPalette();
// A DIB of a device bitmap (not selected into a device context), read through
// dc or the screen's with the palette (may be 0) realised. bits 0 takes the
// bitmap's own depth (16 becomes 24); the two reserved arguments are 0.
HGLOBAL DIB_FromBitmap(HDC dc, HBITMAP bitmap, int reserved1, int bits, HPALETTE palette, int reserved2);
// Draws the source rectangle (counted from the image's top left) of a DIB
// stretched to x, y, cx, cy with halftone stretching; for printing, where the
// device does its own colour matching and the fourth byte of 32 bits is not
// shown. The last argument is reserved (0).
void DIB_StretchDraw(HDC dc, int x, int y, int cx, int cy, HGLOBAL dib, int srcX, int srcY, int srcW, int srcH,
                     DWORD rop, int reserved);
// The image re-expressed in the palette's colours: each pixel takes the nearest
// entry; 1, 4 or 8 bits by the palette's size, its entries as the table.
HGLOBAL DIB_MapToPalette(HGLOBAL dib, HPALETTE palette);
#endif
