// TIFF reader: the first directory of a file as a packed DIB, through libtiff.
//
// libtiff parses the file and decodes the strips; this layer decides which
// tags matter, builds the colour table from the photometric interpretation
// and turns each row of samples into a row of the DIB. Failures inside
// libtiff reach the user only as the numbered messages of tiff_errors.cpp.
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/ui_hooks.h"
#include "tiff/tiff_errors.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Divisors of a gray response curve by GrayResponseUnit 0 to 5: the curve
// holds optical densities in these units, negative so that 10 to the power
// of value/divisor is the reflectance.
const double kGrayDivisor[6] = {-1.0, -10.0, -100.0, -1000.0, -10000.0, -100000.0};
const WORD kDefaultGrayUnit = 2;

// Largest image side: sizes are 16-bit quantities for the program.
const uint32_t kLargestSide = 65535;

// How a row of samples becomes a row of the DIB.
enum Unpack {
    UNPACK_PLANE,     // 3 planes of 8 bits: pass p fills byte 2 - p of each pixel
    UNPACK_FIVEBIT,   // 16-bit words of 5-bit fields to blue, green, red
    UNPACK_ALPHA,     // 8-bit R, G, B, A to B, G, R, A
    UNPACK_CMYK,      // 8-bit C, M, Y, K to B, G, R
    UNPACK_RGB,       // 8-bit R, G, B to B, G, R
    UNPACK_COPY,      // 1, 2, 4, 8 bits as they stand
};

// ---- the gray response tags ------------------------------------------------------
// libtiff skips GrayResponseUnit (290) and GrayResponseCurve (291), so they
// are read from the directory's entries with libtiff's own file procedures.

struct GrayResponse {
    WORD unit = kDefaultGrayUnit;
    std::unique_ptr<WORD[]> curve;  // exactly the entries the image needs, or null
};

bool ReadAt(TIFF* tif, uint64_t offset, void* buffer, tmsize_t n)
{
    thandle_t handle = TIFFClientdata(tif);
    if (TIFFGetSeekProc(tif)(handle, offset, SEEK_SET) != offset) return false;
    return TIFFGetReadProc(tif)(handle, buffer, n) == n;
}

uint64_t Unsigned(const BYTE* p, int bytes, bool bigEndian)
{
    uint64_t v = 0;
    for (int i = 0; i < bytes; i++) v = bigEndian ? (v << 8) | p[i] : v | (static_cast<uint64_t>(p[i]) << (8 * i));
    return v;
}

// Reads the unit and, when it has exactly `entries` values or more, the curve.
void ReadGrayResponse(TIFF* tif, DWORD entries, GrayResponse* out)
{
    const bool big = TIFFIsBigEndian(tif) != 0;
    const bool bigTiff = TIFFIsBigTIFF(tif) != 0;
    const int countBytes = bigTiff ? 8 : 2;
    const int entryBytes = bigTiff ? 20 : 12;
    const int valueBytes = bigTiff ? 8 : 4;
    const uint64_t directory = TIFFCurrentDirOffset(tif);
    BYTE head[8];
    if (!ReadAt(tif, directory, head, countBytes)) return;
    uint64_t count = Unsigned(head, countBytes, big);
    if (count == 0 || count > 4096) return;  // libtiff opens no directory larger than this
    std::unique_ptr<BYTE[]> table(new (std::nothrow) BYTE[count * entryBytes]);
    if (!table || !ReadAt(tif, directory + countBytes, table.get(), static_cast<tmsize_t>(count * entryBytes))) return;
    for (uint64_t i = 0; i < count; i++) {
        const BYTE* e = table.get() + i * entryBytes;
        WORD tag = static_cast<WORD>(Unsigned(e, 2, big));
        WORD type = static_cast<WORD>(Unsigned(e + 2, 2, big));
        uint64_t n = Unsigned(e + 4, valueBytes, big);
        const BYTE* value = e + 4 + valueBytes;
        if (type != TIFF_SHORT || n == 0) continue;
        if (tag == TIFFTAG_GRAYRESPONSEUNIT) {
            WORD unit = static_cast<WORD>(Unsigned(value, 2, big));
            out->unit = unit <= 5 ? unit : kDefaultGrayUnit;
        } else if (tag == TIFFTAG_GRAYRESPONSECURVE && entries > 0 && n >= entries) {
            std::unique_ptr<BYTE[]> raw(new (std::nothrow) BYTE[2 * static_cast<size_t>(entries)]);
            if (!raw) continue;
            if (n * 2 <= static_cast<uint64_t>(valueBytes)) {
                memcpy(raw.get(), value, 2 * static_cast<size_t>(entries));
            } else if (!ReadAt(tif, Unsigned(value, valueBytes, big), raw.get(), 2 * static_cast<tmsize_t>(entries))) {
                continue;
            }
            out->curve.reset(new (std::nothrow) WORD[entries]);
            if (!out->curve) continue;
            for (DWORD k = 0; k < entries; k++) out->curve[k] = static_cast<WORD>(Unsigned(raw.get() + 2 * k, 2, big));
        }
    }
}

// ---- rows ---------------------------------------------------------------------------

void UnpackRow(Unpack kind, const BYTE* s, BYTE* d, uint32_t width, size_t copyBytes, int pass)
{
    switch (kind) {
    case UNPACK_PLANE:
        for (uint32_t i = 0; i < width; i++) d[3 * i + 2 - pass] = s[i];
        break;
    case UNPACK_FIVEBIT:
        for (uint32_t i = 0; i < width; i++, s += 2, d += 3) {
            unsigned v = s[0] | (s[1] << 8);
            d[0] = static_cast<BYTE>((v & 31) << 3);
            d[1] = static_cast<BYTE>(((v >> 5) & 31) << 3);
            d[2] = static_cast<BYTE>(((v >> 10) & 31) << 3);
        }
        break;
    case UNPACK_ALPHA:
        for (uint32_t i = 0; i < width; i++, s += 4, d += 4) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
            d[3] = s[3];
        }
        break;
    case UNPACK_CMYK:
        for (uint32_t i = 0; i < width; i++, s += 4, d += 3) {
            int k = s[3];
            int blue = 255 - (s[2] + k), green = 255 - (s[1] + k), red = 255 - (s[0] + k);
            d[0] = static_cast<BYTE>(blue < 0 ? 0 : blue);
            d[1] = static_cast<BYTE>(green < 0 ? 0 : green);
            d[2] = static_cast<BYTE>(red < 0 ? 0 : red);
        }
        break;
    case UNPACK_RGB:
        for (uint32_t i = 0; i < width; i++, s += 3, d += 3) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
        }
        break;
    case UNPACK_COPY:
        memcpy(d, s, copyBytes);
        break;
    }
}

bool AcceptedScheme(uint16_t compression)
{
    switch (compression) {
    case COMPRESSION_NONE:
    case COMPRESSION_PACKBITS:
    case COMPRESSION_CCITTRLE:
    case COMPRESSION_CCITTRLEW:
    case COMPRESSION_CCITTFAX3:
    case COMPRESSION_CCITTFAX4: return true;
    default: return false;
    }
}

bool IsDibDepth(DWORD pixelBits)
{
    return pixelBits == 1 || pixelBits == 2 || pixelBits == 4 || pixelBits == 8 || pixelBits == 16 ||
           pixelBits == 24 || pixelBits == 32;
}

void Unsupported(TiffErrors* errors)
{
    errors->reported = 1;
    FMT_FormatError(9487, FMT_Row_TIF);
}

// The three colour arrays: doubles while they are built, 16-bit values after.
struct ColourArrays {
    DWORD count = 0;
    std::unique_ptr<double[]> value[3];
    bool Allocate(DWORD n)
    {
        count = n;
        for (auto& a : value) {
            a.reset(new (std::nothrow) double[n]());
            if (!a) return false;
        }
        return true;
    }
    void Ramp(bool descending)
    {
        if (count < 2) return;
        for (DWORD i = 0; i < count; i++) {
            uint64_t step = descending ? count - 1 - i : i;
            double v = static_cast<double>(step * 65535U / (count - 1));
            value[0][i] = value[1][i] = value[2][i] = v;
        }
    }
    void Copy(const uint16_t* r, const uint16_t* g, const uint16_t* b)
    {
        for (DWORD i = 0; i < count; i++) {
            value[0][i] = r[i];
            value[1][i] = g[i];
            value[2][i] = b[i];
        }
    }
};

// Fills the arrays by the photometric interpretation; false after a report.
bool BuildColours(TIFF* tif, TiffErrors* errors, uint16_t photometric, DWORD pixelBits, uint16_t planar,
                  ColourArrays* arrays, LONG* gray, bool* cmyk)
{
    *cmyk = false;
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK: {
        *gray = 1;
        // Without entries (16, 24 or 32 bits a pixel) there is no gray table to
        // build: the program has no gray images beyond 8 bits.
        if (arrays->count == 0) {
            TIF_Report(errors, 8202);
            return false;
        }
        GrayResponse response;
        ReadGrayResponse(tif, arrays->count, &response);
        const double divisor = kGrayDivisor[response.unit];
        const DWORD last = arrays->count - 1;
        if (!response.curve) {
            arrays->Ramp(photometric == PHOTOMETRIC_MINISWHITE);
        } else {
            for (DWORD i = 0; i < arrays->count; i++) {
                double reflect = 65535.0 * pow(10.0, response.curve[i] / divisor);
                double v;
                if (photometric == PHOTOMETRIC_MINISWHITE) v = i == last ? 0.0 : 65535.0 - reflect;
                else v = i == 0 ? 0.0 : reflect;
                arrays->value[0][i] = arrays->value[1][i] = arrays->value[2][i] = v;
            }
        }
        return true;
    }
    case PHOTOMETRIC_SEPARATED:
        if (pixelBits != 32 || planar == PLANARCONFIG_SEPARATE) {
            TIF_Report(errors, 8249);
            return false;
        }
        *cmyk = true;
        // then as RGB
        [[fallthrough]];
    case PHOTOMETRIC_RGB: {
        *gray = 0;
        uint16_t* r = nullptr;
        uint16_t* g = nullptr;
        uint16_t* b = nullptr;
        if (arrays->count && TIFFGetField(tif, TIFFTAG_TRANSFERFUNCTION, &r, &g, &b) && r) {
            // One table serves all three when the file has a single colour channel.
            arrays->Copy(r, g ? g : r, b ? b : r);
        } else {
            arrays->Ramp(false);
        }
        return true;
    }
    case PHOTOMETRIC_PALETTE: {
        *gray = 0;
        uint16_t* r = nullptr;
        uint16_t* g = nullptr;
        uint16_t* b = nullptr;
        if (arrays->count && TIFFGetField(tif, TIFFTAG_COLORMAP, &r, &g, &b) && r && g && b) arrays->Copy(r, g, b);
        else arrays->Ramp(false);
        return true;
    }
    default:
        TIF_Report(errors, 8243);
        return false;
    }
}

// Reads the image of the current directory; null after a report (or with the
// condition left in errors for the caller to report).
HGLOBAL ReadImage(TIFF* tif, TiffErrors* errors, DWORD fileSize)
{
    uint16_t compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    if (!AcceptedScheme(compression)) {
        TIF_Report(errors, 1536);
        return nullptr;
    }

    // Sample layout.
    uint16_t bitsPerSample = 1, samples = 1, planar = PLANARCONFIG_CONTIG;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bitsPerSample);
    if (bitsPerSample != 1 && bitsPerSample != 2 && bitsPerSample != 4 && bitsPerSample != 8 && bitsPerSample != 16) {
        Unsupported(errors);
        return nullptr;
    }
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    const DWORD pixelBits = static_cast<DWORD>(bitsPerSample) * samples;
    // Nothing below handles more than four samples of 16 bits; refused before
    // a row buffer is sized from them.
    if (pixelBits > 64) {
        Unsupported(errors);
        return nullptr;
    }

    // Size.
    uint32_t width = 0, length = 0;
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width) || !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &length)) {
        TIF_Report(errors, 2054);
        return nullptr;
    }
    if (width == 0 || length == 0 || width > kLargestSide || length > kLargestSide) {
        TIF_Report(errors, 7681);
        return nullptr;
    }

    // Photometric interpretation, worked out when the file has none.
    uint16_t photometric = 0;
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric)) {
        uint16_t *r, *g, *b;
        if (samples == 1) {
            if (bitsPerSample == 1) photometric = PHOTOMETRIC_MINISBLACK;
            else if (TIFFGetField(tif, TIFFTAG_COLORMAP, &r, &g, &b)) photometric = PHOTOMETRIC_PALETTE;
            else photometric = PHOTOMETRIC_MINISBLACK;
        } else {
            photometric = PHOTOMETRIC_RGB;
        }
    }
    const bool grayDepth = photometric == PHOTOMETRIC_MINISWHITE || photometric == PHOTOMETRIC_MINISBLACK;
    const LONG bitsPerPixel = (pixelBits == 16 && grayDepth) ? 8 : static_cast<LONG>(pixelBits);
    INF_SetValue(INF_BITSPERPIXEL, bitsPerPixel);
    INF_SetValue(INF_TYPE, 0);

    // Colour arrays: one entry per sample value, none for direct colour.
    const DWORD colours = (pixelBits == 16 || pixelBits == 24 || pixelBits == 32) ? 0 : (1U << bitsPerSample);
    ColourArrays arrays;
    if (colours && !arrays.Allocate(colours)) {
        TIF_Report(errors, 8202);
        return nullptr;
    }
    LONG gray = 0;
    bool cmyk = false;
    if (!BuildColours(tif, errors, photometric, pixelBits, planar, &arrays, &gray, &cmyk)) return nullptr;
    INF_SetValue(INF_GRAY, gray);

    // Layouts the rows below can't turn into a DIB: other pixel sizes, and
    // separate planes except three planes of 8 bits.
    const bool planes = planar == PLANARCONFIG_SEPARATE && samples > 1;
    if (!IsDibDepth(pixelBits) || (planes && pixelBits != 24)) {
        Unsupported(errors);
        return nullptr;
    }

    // The DIB: 16 bits become 24 (or 8 for the gray case refused above), CMYK 24.
    int depth = static_cast<int>(pixelBits);
    if (pixelBits == 16) depth = photometric == PHOTOMETRIC_MINISBLACK ? 8 : 24;
    else if (pixelBits == 32 && cmyk) depth = 24;
    const DWORD stride = DIB_Stride(static_cast<LONG>(width), depth);
    BITMAPINFOHEADER header;
    DIB_InitHeader(&header, static_cast<LONG>(width), static_cast<LONG>(length), depth, stride, colours);

    // The row buffer: what libtiff delivers, never less than the unpacking reads.
    const size_t rowBytes = planes ? width : (static_cast<size_t>(width) * pixelBits + 7) / 8;
    const tmsize_t scanline = TIFFScanlineSize(tif);
    if (scanline <= 0) return nullptr;  // libtiff's condition is pending
    if (static_cast<size_t>(scanline) < rowBytes || scanline > (static_cast<tmsize_t>(1) << 23)) {
        TIF_Report(errors, 7681);
        return nullptr;
    }
    std::unique_ptr<BYTE[]> row(new (std::nothrow) BYTE[static_cast<size_t>(scanline) + 16]());
    if (!row) {
        TIF_Report(errors, 8202);
        return nullptr;
    }

    // The file must hold enough data for the image before memory is taken for
    // it: all of it uncompressed, a 64th with PackBits (128 bytes from 2), and
    // with Group 3/4 coding at least one bit a row.
    const uint64_t data = static_cast<uint64_t>(rowBytes) * length * (planes ? 3 : 1);
    uint64_t justified;
    if (compression == COMPRESSION_NONE) justified = fileSize;
    else if (compression == COMPRESSION_PACKBITS) justified = static_cast<uint64_t>(fileSize) * 64;
    else justified = static_cast<uint64_t>(fileSize) * 8 * rowBytes;
    if (data > justified) {
        TIF_Report(errors, 2560);
        return nullptr;
    }

    // Values in 16 bits; a map whose values all fit in 8 bits is used as it stands.
    std::unique_ptr<WORD[]> map[3];
    bool eightBit = true;
    for (int c = 0; c < 3 && colours; c++) {
        map[c].reset(new (std::nothrow) WORD[colours]);
        if (!map[c]) {
            TIF_Report(errors, 8202);
            return nullptr;
        }
        for (DWORD i = 0; i < colours; i++) {
            double v = arrays.value[c][i];
            v = v < 0 ? 0 : (v > 65535 ? 65535 : v);
            map[c][i] = static_cast<WORD>(lround(v));
            if (map[c][i] > 255) eightBit = false;
        }
    }

    BYTE* block = nullptr;
    HGLOBAL dib = DIB_AllocatePacked(&header, &block);
    if (!dib) {
        errors->reported = 1;
        FMT_FormatError(9480, FMT_Row_TIF);
        return nullptr;
    }
    RGBQUAD* table = reinterpret_cast<RGBQUAD*>(block + sizeof(BITMAPINFOHEADER));
    for (DWORD i = 0; i < colours; i++) {
        table[i].rgbRed = static_cast<BYTE>(eightBit ? map[0][i] : map[0][i] >> 8);
        table[i].rgbGreen = static_cast<BYTE>(eightBit ? map[1][i] : map[1][i] >> 8);
        table[i].rgbBlue = static_cast<BYTE>(eightBit ? map[2][i] : map[2][i] >> 8);
        table[i].rgbReserved = 0;
    }
    BYTE* pixels = block + sizeof(BITMAPINFOHEADER) + colours * sizeof(RGBQUAD);

    INF_SetValue(INF_PLANES, cmyk ? 3 : samples);
    INF_SetValue(INF_COMPRESSED, compression == COMPRESSION_NONE ? 0 : 1);
    INF_SetValue(INF_VERSION, 5);

    Unpack kind = UNPACK_COPY;
    if (planes) kind = UNPACK_PLANE;
    else if (pixelBits == 16) kind = UNPACK_FIVEBIT;
    else if (pixelBits == 32) kind = cmyk ? UNPACK_CMYK : UNPACK_ALPHA;
    else if (depth == 24) kind = UNPACK_RGB;

    const int passes = planes ? 3 : 1;
    INF_SetProgress(0, static_cast<WORD>(length * passes));
    bool complete = true;
    for (int pass = 0; pass < passes && complete; pass++) {
        BYTE* d = pixels + static_cast<size_t>(length - 1) * stride;
        for (uint32_t r = 0; r < length; r++, d -= stride) {
            UTL_Yield();
            if (r % 16 == 1 || r == length - 1) INF_Step(static_cast<WORD>(length * pass + 1 + r));
            // A short or damaged strip fails the load: no partial image is
            // kept. libtiff's Group 3/4 decoders report bad codes and go on,
            // and fail without a word when the codes end before the rows (an
            // incomplete file): both end the read here.
            if (TIFFReadScanline(tif, row.get(), r, static_cast<uint16_t>(pass)) < 0 || errors->id) {
                if (!errors->id) errors->id = 3584;
                complete = false;
                break;
            }
            UnpackRow(kind, row.get(), d, width, rowBytes, pass);
        }
    }
    GlobalUnlock(dib);
    if (!complete) {
        GlobalFree(dib);
        return nullptr;
    }
    return dib;
}

}  // namespace

int TIF_Load(LPCSTR path, HGLOBAL* dib)
{
    *dib = nullptr;
    TiffErrors errors;
    TIF_InitErrors(&errors, 0);
    const DWORD fileSize = FIL_SizeByName(path);
    TIFF* tif = TIF_OpenFile(path, "r", &errors, TIF_MemoryCap(fileSize));
    if (!tif) {
        if (!errors.id) errors.id = 6145;
        TIF_ReportPending(&errors);
        return 0;
    }
    // Conditions that didn't stop the directory from being read don't count.
    TIF_Rearm(&errors);
    errors.phase = TIF_PHASE_READ;
    HGLOBAL image = ReadImage(tif, &errors, fileSize);
    errors.quiet = errors.reported;
    TIFFClose(tif);
    if (!image) {
        TIF_ReportPending(&errors);
        return 0;
    }
    *dib = image;
    return 1;
}
