// TIFF writer: one image as a single-directory TIFF through libtiff.
//
// The program chooses the tags, the compression by depth (the five
// tif_N_bit_compression settings) and the strip size; libtiff writes them.
// No Software, date, resolution or description tag is written. A save that
// fails after the file was created removes it.
#include "core/messages.h"
#include "core/settings.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "platform/ui_hooks.h"
#include "tiff/tiff_errors.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

// The tags of each depth.
struct DepthLayout {
    int depth;
    uint16_t bitsPerSample;
    uint16_t samples;
    bool colorMap;
    int settingKey;
};

const DepthLayout kLayouts[] = {
    {1, 1, 1, false, SET_TIF_1_BIT_COMPRESSION},   {4, 4, 1, true, SET_TIF_4_BIT_COMPRESSION},
    {8, 8, 1, true, SET_TIF_8_BIT_COMPRESSION},    {16, 16, 1, false, SET_TIF_16_BIT_COMPRESSION},
    {24, 8, 3, false, SET_TIF_24_BIT_COMPRESSION}, {32, 8, 4, false, SET_TIF_24_BIT_COMPRESSION},
};

// Compression tag by setting value, in the order of the names "LZW",
// "PackBits", "RLE", "Group3", "Group4" (strings 20736 to 20740).
const uint16_t kSchemeBySetting[5] = {COMPRESSION_LZW, COMPRESSION_PACKBITS, COMPRESSION_CCITTRLE,
                                      COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4};
const LONG kDefaultSetting = 1;

// Strips hold up to this many bytes of dword-aligned rows.
const DWORD kStripBytes = 14336;

const DepthLayout* LayoutOf(int depth)
{
    for (const DepthLayout& l : kLayouts)
        if (l.depth == depth) return &l;
    return nullptr;
}

// The depth to write: the image's depth when the DIB holds it (a 16-bit
// image is held as 24 bits), else the DIB's own depth.
int DepthToWrite(int depth, int dibBits)
{
    if (depth == 16 && (dibBits == 24 || dibBits == 16)) return 16;
    if (depth == dibBits && depth != 16) return depth;
    return (dibBits == 1 || dibBits == 4 || dibBits == 8 || dibBits == 24 || dibBits == 32) ? dibBits : 0;
}

uint16_t SchemeFor(const DepthLayout& layout, WORD compressed)
{
    if (compressed != 1) return COMPRESSION_NONE;
    LONG setting = SET_Value(layout.settingKey);
    if (setting < 0 || setting > 4) setting = kDefaultSetting;
    return kSchemeBySetting[setting];
}

// Converts one DIB row to the file's samples.
void PackRow(int depth, int dibBits, const BYTE* s, BYTE* d, DWORD width, DWORD stride)
{
    switch (depth) {
    case 16:
        if (dibBits == 16) {
            // Already 5-bit fields in little-endian words.
            memcpy(d, s, static_cast<size_t>(width) * 2);
            break;
        }
        for (DWORD i = 0; i < width; i++, s += 3, d += 2) {
            BYTE b = s[0], g = s[1], r = s[2];
            d[0] = static_cast<BYTE>(((g & 0x38) << 2) | (b >> 3));
            d[1] = static_cast<BYTE>(((r & 0xF8) >> 1) | (g >> 6));
        }
        break;
    case 24:
        for (DWORD i = 0; i < width; i++, s += 3, d += 3) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
        }
        break;
    case 32:
        for (DWORD i = 0; i < width; i++, s += 4, d += 4) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
            d[3] = s[3];
        }
        break;
    default:
        memcpy(d, s, stride);
        break;
    }
}

}  // namespace

int TIF_Save(LPCSTR path, HGLOBAL dib, WORD color, WORD compressed, WORD depthArgument)
{
    BITMAPINFOHEADER* h = nullptr;
    RGBQUAD* colours = nullptr;
    BYTE* pixels = nullptr;
    if (!DIB_Lock(dib, &h, &colours, &pixels)) {
        MSG_Report(SEV_ERROR, 8215);
        return 0;
    }
    // The DIB must be what this writer can walk: an info header, plain rows,
    // sizes a TIFF of this program can carry, and a block that holds them.
    const int depth = h->biSize >= sizeof(BITMAPINFOHEADER) ? DepthToWrite(depthArgument, h->biBitCount) : 0;
    const DepthLayout* layout = LayoutOf(depth);
    const LONG height = h->biHeight < 0 ? -h->biHeight : h->biHeight;
    if (h->biHeight == 0) {
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, 8215);
        return 0;
    }
    const DWORD stride = DIB_Stride(h->biWidth, h->biBitCount);
    const uint64_t needed = static_cast<uint64_t>(h->biSize) + DIB_PaletteSize(h) + static_cast<uint64_t>(stride) * height;
    if (!layout || h->biCompression != BI_RGB || h->biWidth <= 0 || h->biWidth > 65535 || height > 65535 ||
        needed > GlobalSize(dib)) {
        GlobalUnlock(dib);
        FMT_FormatError(9487, FMT_Row_TIF);
        return 0;
    }
    const DWORD width = static_cast<DWORD>(h->biWidth);
    const WORD tableEntries = DIB_NumColors(h);

    // Create the file; libtiff's own reason for a failure is not shown here.
    TiffErrors errors;
    TIF_InitErrors(&errors, 1);
    errors.quiet = 1;
    TIFF* tif = TIF_OpenFile(path, "w", &errors);
    if (!tif) {
        GlobalUnlock(dib);
        MSG_Report(SEV_ERROR, 8215);
        FIL_Remove(path);
        return 0;
    }
    errors.quiet = 0;
    errors.phase = TIF_PHASE_FIELDS;

    // Tags, each call on its own: a refused value is reported and the save goes on.
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(width));
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(height));
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, layout->samples);
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, layout->bitsPerSample);
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);

    const uint16_t scheme = SchemeFor(*layout, compressed);
    if (layout->colorMap) {
        // 2 to the power of the depth entries, 8-bit values in the high byte.
        const DWORD entries = 1U << depth;
        std::unique_ptr<uint16_t[]> map(new (std::nothrow) uint16_t[3 * entries]());
        if (map) {
            for (DWORD i = 0; i < entries && i < tableEntries; i++) {
                map[i] = static_cast<uint16_t>(colours[i].rgbRed << 8);
                map[entries + i] = static_cast<uint16_t>(colours[i].rgbGreen << 8);
                map[2 * entries + i] = static_cast<uint16_t>(colours[i].rgbBlue << 8);
            }
            TIF_Rearm(&errors);
            TIFFSetField(tif, TIFFTAG_COLORMAP, map.get(), map.get() + entries, map.get() + 2 * entries);
        }
    }
    uint16_t photometric = PHOTOMETRIC_RGB;
    if (depth == 1) photometric = (tableEntries > 0 && colours[0].rgbBlue != 0) ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_MINISBLACK;
    else if (layout->colorMap) photometric = PHOTOMETRIC_PALETTE;
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, photometric);
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, scheme);  // scheme 5 reports 1537 and leaves none

    // Group 4: one strip. Otherwise up to 14336 bytes of dword-aligned rows a
    // strip; a row longer than that gives 0, which libtiff refuses, and the
    // whole image goes in one strip.
    const DWORD rowBytes = DIB_Stride(static_cast<LONG>(width), layout->bitsPerSample * layout->samples);
    TIF_Rearm(&errors);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, scheme == COMPRESSION_CCITTFAX4 ? 0xFFFFFFFFU : kStripBytes / rowBytes);

    // Rows, top of the image first.
    errors.phase = TIF_PHASE_WRITE;
    TIF_Rearm(&errors);
    const size_t bufferBytes = depth == 32 ? static_cast<size_t>(width) * 4 : stride;
    std::unique_ptr<BYTE[]> row(new (std::nothrow) BYTE[bufferBytes + 16]());
    if (!row) {
        errors.quiet = 1;
        TIFFClose(tif);
        GlobalUnlock(dib);
        FMT_FormatError(9488, FMT_Row_TIF);
        FIL_Remove(path);
        return 0;
    }
    const bool bottomUp = h->biHeight > 0;
    const BYTE* s = bottomUp ? pixels + static_cast<size_t>(height - 1) * stride : pixels;
    const ptrdiff_t step = bottomUp ? -static_cast<ptrdiff_t>(stride) : static_cast<ptrdiff_t>(stride);
    LONG written = 0;
    for (; written < height; written++, s += step) {
        UTL_Yield();
        PackRow(depth, h->biBitCount, s, row.get(), width, stride);
        if (TIFFWriteScanline(tif, row.get(), static_cast<uint32_t>(written), 0) < 0) break;
    }

    // The directory goes out with the last strip; a failure there fails the save too.
    bool ok = written == height;
    if (ok) {
        errors.phase = TIF_PHASE_CLOSE;
        TIF_Rearm(&errors);
        ok = TIFFFlush(tif) == 1;
    }
    if (!ok && !errors.reported) TIF_Report(&errors, errors.id ? errors.id : 9728);
    errors.quiet = 1;
    TIFFClose(tif);
    GlobalUnlock(dib);
    if (!ok) {
        FIL_Remove(path);
        return 0;
    }
    (void)color;
    return 1;
}
