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
#include <cstdint>
#include <cstdio>
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
    UNPACK_TWO,       // 2-bit indices widened to 4 bits
    UNPACK_COPY,      // 1, 4, 8 bits as they stand
};

// ---- the file as libtiff sees it ------------------------------------------------------
// libtiff reads through the procedures below, from a C stream. One value of
// the first directory can be shown to libtiff other than it stands: a palette
// file appears as min-is-black, since libtiff refuses a palette file without
// a ColorMap and this program gives such a file a ramp. The ColorMap itself is
// read by libtiff whatever the photometric says.

struct TiffSource {
    FILE* file = nullptr;
    uint64_t size = 0;
    uint64_t position = 0;
    uint64_t patchAt = 0;  // where the shown bytes stand in the file
    int patchBytes = 0;    // 0: the file as it is
    BYTE patch[8] = {};
};

bool SeekTo(FILE* file, uint64_t at)
{
    if (at > 0x7FFFFFFFFFFFFFFFULL) return false;
#ifdef _WIN32
    return _fseeki64(file, static_cast<__int64>(at), SEEK_SET) == 0;
#else
    return fseeko(file, static_cast<off_t>(at), SEEK_SET) == 0;
#endif
}

uint64_t SizeOf(FILE* file)
{
#ifdef _WIN32
    if (_fseeki64(file, 0, SEEK_END) != 0) return 0;
    __int64 size = _ftelli64(file);
#else
    if (fseeko(file, 0, SEEK_END) != 0) return 0;
    off_t size = ftello(file);
#endif
    return size > 0 ? static_cast<uint64_t>(size) : 0;
}

// Reads n bytes at offset; false unless all of them are there.
bool ReadAt(TiffSource* source, uint64_t offset, void* buffer, uint64_t n)
{
    if (offset > source->size || n > source->size - offset) return false;
    return SeekTo(source->file, offset) && fread(buffer, 1, static_cast<size_t>(n), source->file) == n;
}

tmsize_t SourceRead(thandle_t handle, void* buffer, tmsize_t n)
{
    TiffSource* source = static_cast<TiffSource*>(handle);
    if (n <= 0 || source->position >= source->size) return 0;
    uint64_t want = static_cast<uint64_t>(n);
    if (want > source->size - source->position) want = source->size - source->position;
    if (!SeekTo(source->file, source->position)) return -1;
    const size_t got = fread(buffer, 1, static_cast<size_t>(want), source->file);
    const uint64_t from = source->position, to = from + got;
    for (int i = 0; i < source->patchBytes; i++) {
        const uint64_t at = source->patchAt + static_cast<uint64_t>(i);
        if (at >= from && at < to) static_cast<BYTE*>(buffer)[at - from] = source->patch[i];
    }
    source->position = to;
    return static_cast<tmsize_t>(got);
}

tmsize_t SourceWrite(thandle_t, void*, tmsize_t) { return 0; }

toff_t SourceSeek(thandle_t handle, toff_t offset, int whence)
{
    TiffSource* source = static_cast<TiffSource*>(handle);
    uint64_t base = whence == SEEK_CUR ? source->position : (whence == SEEK_END ? source->size : 0);
    if (offset > 0x7FFFFFFFFFFFFFFFULL - base) return static_cast<toff_t>(-1);
    source->position = base + offset;
    return source->position;
}

int SourceClose(thandle_t) { return 0; }  // the stream is closed by TIF_Load
toff_t SourceSize(thandle_t handle) { return static_cast<TiffSource*>(handle)->size; }
int SourceMap(thandle_t, void**, toff_t*) { return 0; }
void SourceUnmap(thandle_t, void*, toff_t) {}

// ---- tags read from the directory itself --------------------------------------------------
// libtiff skips GrayResponseUnit (290) and GrayResponseCurve (291), and the
// photometric value is needed before libtiff reads the directory, so these
// entries of the first directory are read here. A count is checked against
// the real size of its values before anything is multiplied by it.

struct Entry {
    bool present = false;
    uint16_t type = 0;
    uint64_t count = 0;
    uint64_t valueAt = 0;  // where the value field stands in the file
    BYTE value[8] = {};    // the value field (inline values or an offset)
};

struct OwnTags {
    bool bigEndian = false;
    int valueBytes = 4;  // 8 in a BigTIFF file
    Entry photometric, grayUnit, grayCurve;
};

uint64_t Unsigned(const BYTE* p, int bytes, bool bigEndian)
{
    uint64_t v = 0;
    for (int i = 0; i < bytes; i++) v = bigEndian ? (v << 8) | p[i] : v | (static_cast<uint64_t>(p[i]) << (8 * i));
    return v;
}

// Bytes of one value of an integer type the tags here may have, 0 for any other type.
int IntegerBytes(uint16_t type)
{
    switch (type) {
    case TIFF_BYTE:
    case TIFF_SBYTE: return 1;
    case TIFF_SHORT:
    case TIFF_SSHORT: return 2;
    case TIFF_LONG:
    case TIFF_SLONG: return 4;
    case TIFF_LONG8:
    case TIFF_SLONG8: return 8;
    default: return 0;
    }
}

// The first `n` values of an entry of integer type as 16-bit values; false
// when the entry holds fewer or its values lie outside the file.
bool EntryValues(TiffSource* source, const OwnTags& tags, const Entry& e, uint64_t n, WORD* out)
{
    const int size = IntegerBytes(e.type);
    if (!e.present || !size || n == 0 || e.count < n) return false;
    // The whole tag's size, refused where it can't be counted in 64 bits.
    if (e.count > UINT64_MAX / static_cast<uint64_t>(size)) return false;
    const uint64_t total = e.count * static_cast<uint64_t>(size);
    const uint64_t bytes = n * static_cast<uint64_t>(size);  // n <= count: no overflow
    std::unique_ptr<BYTE[]> raw;
    const BYTE* values = e.value;
    if (total > static_cast<uint64_t>(tags.valueBytes)) {
        if (bytes > source->size) return false;
        raw.reset(new (std::nothrow) BYTE[static_cast<size_t>(bytes)]);
        if (!raw || !ReadAt(source, Unsigned(e.value, tags.valueBytes, tags.bigEndian), raw.get(), bytes)) return false;
        values = raw.get();
    }
    for (uint64_t i = 0; i < n; i++) out[i] = static_cast<WORD>(Unsigned(values + i * size, size, tags.bigEndian));
    return true;
}

// Reads the header and the entries wanted from the first directory. A file
// this can't follow is left to libtiff, which reports why.
void ReadOwnTags(TiffSource* source, OwnTags* tags)
{
    BYTE head[16];
    if (!ReadAt(source, 0, head, 8)) return;
    if (head[0] != head[1] || (head[0] != 'I' && head[0] != 'M')) return;
    tags->bigEndian = head[0] == 'M';
    const uint64_t version = Unsigned(head + 2, 2, tags->bigEndian);
    uint64_t directory;
    if (version == 42) {
        directory = Unsigned(head + 4, 4, tags->bigEndian);
    } else if (version == 43) {
        if (!ReadAt(source, 8, head + 8, 8)) return;
        tags->valueBytes = 8;
        directory = Unsigned(head + 8, 8, tags->bigEndian);
    } else {
        return;
    }
    const int countBytes = tags->valueBytes == 8 ? 8 : 2;
    const int entryBytes = 4 + 2 * tags->valueBytes;
    BYTE countField[8];
    if (!ReadAt(source, directory, countField, static_cast<uint64_t>(countBytes))) return;
    const uint64_t count = Unsigned(countField, countBytes, tags->bigEndian);
    if (count == 0 || count > 4096) return;  // libtiff opens no directory larger than this
    const uint64_t tableBytes = count * static_cast<uint64_t>(entryBytes);
    std::unique_ptr<BYTE[]> table(new (std::nothrow) BYTE[static_cast<size_t>(tableBytes)]);
    if (!table || !ReadAt(source, directory + countBytes, table.get(), tableBytes)) return;
    for (uint64_t i = 0; i < count; i++) {
        const BYTE* e = table.get() + i * entryBytes;
        Entry* wanted = nullptr;
        switch (Unsigned(e, 2, tags->bigEndian)) {
        case TIFFTAG_PHOTOMETRIC: wanted = &tags->photometric; break;
        case TIFFTAG_GRAYRESPONSEUNIT: wanted = &tags->grayUnit; break;
        case TIFFTAG_GRAYRESPONSECURVE: wanted = &tags->grayCurve; break;
        default: continue;
        }
        if (wanted->present) continue;  // libtiff too keeps the first of a repeated tag
        wanted->present = true;
        wanted->type = static_cast<uint16_t>(Unsigned(e + 2, 2, tags->bigEndian));
        wanted->count = Unsigned(e + 4, tags->valueBytes, tags->bigEndian);
        wanted->valueAt = directory + countBytes + i * entryBytes + 4 + tags->valueBytes;
        memcpy(wanted->value, e + 4 + tags->valueBytes, static_cast<size_t>(tags->valueBytes));
    }
}

// A palette file is shown to libtiff as min-is-black; true when it is one.
bool ShowPaletteAsGray(TiffSource* source, const OwnTags& tags)
{
    const Entry& e = tags.photometric;
    const int size = IntegerBytes(e.type);
    // Only a value held inside the entry is replaced.
    if (!e.present || !size || e.count != 1 || size > tags.valueBytes ||
        Unsigned(e.value, size, tags.bigEndian) != PHOTOMETRIC_PALETTE)
        return false;
    source->patchAt = e.valueAt;
    source->patchBytes = size;
    for (int i = 0; i < size; i++) source->patch[i] = 0;
    source->patch[tags.bigEndian ? size - 1 : 0] = PHOTOMETRIC_MINISBLACK;
    return true;
}

struct GrayResponse {
    WORD unit = kDefaultGrayUnit;
    std::unique_ptr<WORD[]> curve;  // exactly the entries the image needs, or null
};

// The unit and, when it has `entries` values or more, the curve (SHORT values).
void ReadGrayResponse(TiffSource* source, const OwnTags& tags, DWORD entries, GrayResponse* out)
{
    WORD unit = 0;
    if (tags.grayUnit.type == TIFF_SHORT && EntryValues(source, tags, tags.grayUnit, 1, &unit))
        out->unit = unit <= 5 ? unit : kDefaultGrayUnit;
    if (tags.grayCurve.type != TIFF_SHORT || entries == 0) return;
    std::unique_ptr<WORD[]> curve(new (std::nothrow) WORD[entries]);
    if (curve && EntryValues(source, tags, tags.grayCurve, entries, curve.get())) out->curve = std::move(curve);
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
    case UNPACK_TWO:
        for (uint32_t i = 0; i < width; i += 2) {
            BYTE pair = static_cast<BYTE>(((s[i >> 2] >> (6 - 2 * (i & 3))) & 3) << 4);
            if (i + 1 < width) pair |= (s[(i + 1) >> 2] >> (6 - 2 * ((i + 1) & 3))) & 3;
            d[i >> 1] = pair;
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
bool BuildColours(TIFF* tif, TiffSource* source, const OwnTags& tags, TiffErrors* errors, uint16_t photometric,
                  DWORD pixelBits, uint16_t planar, ColourArrays* arrays, LONG* gray, bool* cmyk)
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
        ReadGrayResponse(source, tags, arrays->count, &response);
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
// condition left in errors for the caller to report). paletteShownAsGray: the
// file is a palette file that libtiff was shown as min-is-black.
HGLOBAL ReadImage(TIFF* tif, TiffSource* source, const OwnTags& tags, bool paletteShownAsGray, TiffErrors* errors)
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
    if (paletteShownAsGray) {
        photometric = PHOTOMETRIC_PALETTE;
    } else if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric)) {
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
    if (!BuildColours(tif, source, tags, errors, photometric, pixelBits, planar, &arrays, &gray, &cmyk)) return nullptr;
    INF_SetValue(INF_GRAY, gray);

    // Layouts the rows below can't turn into a DIB: other pixel sizes, and
    // separate planes except three planes of 8 bits.
    const bool planes = planar == PLANARCONFIG_SEPARATE && samples > 1;
    if (!IsDibDepth(pixelBits) || (planes && pixelBits != 24)) {
        Unsupported(errors);
        return nullptr;
    }

    // The DIB: 2 bits become 4, 16 bits 24 (or 8 for the gray case refused
    // above), CMYK 24.
    int depth = static_cast<int>(pixelBits);
    if (pixelBits == 2) depth = 4;
    else if (pixelBits == 16) depth = photometric == PHOTOMETRIC_MINISBLACK ? 8 : 24;
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
    else if (pixelBits == 2) kind = UNPACK_TWO;
    else if (pixelBits == 16) kind = UNPACK_FIVEBIT;
    else if (pixelBits == 32) kind = cmyk ? UNPACK_CMYK : UNPACK_ALPHA;
    else if (depth == 24) kind = UNPACK_RGB;

    const int passes = planes ? 3 : 1;
    INF_SetProgress(0, static_cast<WORD>(length * passes));
    // Each pass goes as far as libtiff gives rows; the rows of the last pass decide.
    uint32_t rows = 0;
    for (int pass = 0; pass < passes; pass++) {
        BYTE* d = pixels + static_cast<size_t>(length - 1) * stride;
        for (rows = 0; rows < length; rows++, d -= stride) {
            UTL_Yield();
            if (rows % 16 == 1 || rows == length - 1) INF_Step(static_cast<WORD>(length * pass + 1 + rows));
            // A row that libtiff can't give ends the pass. What libtiff
            // reports on the way is shown by TIF_Load; a condition it
            // recovers from (a bad Group 3/4 code) doesn't stop the rows.
            if (TIFFReadScanline(tif, row.get(), rows, static_cast<uint16_t>(pass)) < 0) break;
            UnpackRow(kind, row.get(), d, width, rowBytes, pass);
        }
    }
    const bool complete = rows == length;
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
    TiffSource source;
    source.file = FIL_OpenStream(path, "rb");  // refuses a name that does not fit
    if (!source.file) {
        TIF_Report(&errors, 6145);
        return 0;
    }
    source.size = SizeOf(source.file);
    OwnTags tags;
    ReadOwnTags(&source, &tags);
    const bool paletteShownAsGray = ShowPaletteAsGray(&source, tags);
    TIFF* tif = TIF_OpenReader(path, &source, SourceRead, SourceWrite, SourceSeek, SourceClose, SourceSize, SourceMap,
                               SourceUnmap, &errors);
    if (!tif) {
        fclose(source.file);
        if (!errors.id) errors.id = 6145;
        TIF_ReportPending(&errors);
        return 0;
    }
    // Conditions that didn't stop the directory from being read don't count.
    TIF_Rearm(&errors);
    errors.phase = TIF_PHASE_READ;
    HGLOBAL image = ReadImage(tif, &source, tags, paletteShownAsGray, &errors);
    // What libtiff reported while reading is shown once, whether or not the rows came through.
    TIF_ReportPending(&errors);
    errors.quiet = 1;
    TIFFClose(tif);
    fclose(source.file);
    if (!image) return 0;
    *dib = image;
    return 1;
}
