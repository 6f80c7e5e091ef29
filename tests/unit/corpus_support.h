// Helpers of the format tests, which compare decodes with files written by
// other programs: a SHA-256, the lines of the corpus manifest and of the
// tables kept beside test files, a decode in the form those references hash,
// the files of a folder, DIBs built in code, the texts of the boxes shown, a
// load kept with copies of its header, table and pixels; and, for the tests
// of the smaller formats, a locked view of a DIB and a fixture.
#pragma once

#include "cli/headless.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

typedef std::vector<unsigned char> Bytes;

// ---- SHA-256 -------------------------------------------------------------------------

// The digest of data as 64 lowercase hex digits.
inline std::string Sha256(const Bytes& data)
{
    static const uint32_t k[64] = {
        0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
        0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
        0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
        0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
        0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
        0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
        0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
        0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
    uint32_t hash[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                        0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    Bytes message(data);
    uint64_t bitLength = static_cast<uint64_t>(data.size()) * 8;
    message.push_back(0x80);
    while (message.size() % 64 != 56) message.push_back(0);
    for (int i = 7; i >= 0; i--) message.push_back(static_cast<unsigned char>(bitLength >> (8 * i)));
    auto rotr = [](uint32_t v, int n) { return (v >> n) | (v << (32 - n)); };
    for (size_t block = 0; block < message.size(); block += 64) {
        uint32_t w[64];
        for (int i = 0; i < 16; i++) {
            const unsigned char* p = &message[block + 4 * i];
            w[i] = static_cast<uint32_t>(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
        }
        for (int i = 16; i < 64; i++) {
            uint32_t s0 = rotr(w[i - 15], 7) ^ rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            uint32_t s1 = rotr(w[i - 2], 17) ^ rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        uint32_t a = hash[0], b = hash[1], c = hash[2], d = hash[3], e = hash[4], f = hash[5], g = hash[6],
                 h = hash[7];
        for (int i = 0; i < 64; i++) {
            uint32_t t1 = h + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) + k[i] + w[i];
            uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
            h = g;
            g = f;
            f = e;
            e = d + t1;
            d = c;
            c = b;
            b = a;
            a = t1 + t2;
        }
        hash[0] += a, hash[1] += b, hash[2] += c, hash[3] += d;
        hash[4] += e, hash[5] += f, hash[6] += g, hash[7] += h;
    }
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (uint32_t v : hash)
        for (int i = 7; i >= 0; i--) text += digits[(v >> (4 * i)) & 15];
    return text;
}

// ---- decodes as the references hash them ---------------------------------------------------

// Rows from the top, R,G,B (and A when alpha is asked for) per pixel; colour
// indices looked up in the table (black past its end); 32-bit pixels give
// their fourth byte as alpha, every other pixel 255. Depths other than 1, 2,
// 4, 8, 24 and 32 give black. Nothing when the pixels are fewer than the header says.
inline Bytes ReferenceSamples(const BITMAPINFOHEADER& h, const BYTE* table, size_t tableBytes, const BYTE* pixels,
                              size_t pixelBytes, bool alpha)
{
    Bytes out;
    const int bits = h.biBitCount;
    const LONG width = h.biWidth, height = h.biHeight;
    if (width <= 0 || height <= 0) return out;
    const size_t stride = DIB_Stride(width, bits);
    if (pixelBytes / stride < static_cast<size_t>(height)) return out;
    out.reserve(static_cast<size_t>(width) * height * (alpha ? 4 : 3));
    for (LONG y = 0; y < height; y++) {
        const BYTE* row = pixels + static_cast<size_t>(height - 1 - y) * stride;
        for (LONG x = 0; x < width; x++) {
            BYTE r = 0, g = 0, b = 0, a = 255;
            if (bits == 1 || bits == 2 || bits == 4 || bits == 8) {
                const int perByte = 8 / bits;
                size_t index = (row[x / perByte] >> (8 - bits * (1 + x % perByte))) & ((1 << bits) - 1);
                if (4 * index + 3 < tableBytes) {
                    b = table[4 * index];
                    g = table[4 * index + 1];
                    r = table[4 * index + 2];
                }
            } else if (bits == 24 || bits == 32) {
                const BYTE* q = row + static_cast<size_t>(x) * (bits / 8);
                b = q[0];
                g = q[1];
                r = q[2];
                if (bits == 32) a = q[3];
            }
            out.push_back(r);
            out.push_back(g);
            out.push_back(b);
            if (alpha) out.push_back(a);
        }
    }
    return out;
}

// The same from a header and copies of its table and pixel bytes.
inline Bytes ReferenceSamples(const BITMAPINFOHEADER& h, const Bytes& table, const Bytes& pixels, bool alpha)
{
    return ReferenceSamples(h, table.data(), table.size(), pixels.data(), pixels.size(), alpha);
}

// The same from a packed DIB block.
inline Bytes ReferenceSamples(HGLOBAL dib, bool alpha)
{
    BITMAPINFOHEADER* h;
    RGBQUAD* table;
    BYTE* pixels;
    if (!DIB_Lock(dib, &h, &table, &pixels)) return Bytes();
    BITMAPINFOHEADER header = *h;
    size_t pixelBytes = static_cast<size_t>(DIB_Stride(header.biWidth, header.biBitCount)) *
                        static_cast<size_t>(header.biHeight > 0 ? header.biHeight : 0);
    Bytes out = ReferenceSamples(header, reinterpret_cast<const BYTE*>(table), 4 * DIB_NumColors(h), pixels,
                                 pixelBytes, alpha);
    GlobalUnlock(dib);
    return out;
}

// ---- tables of tab-separated cells ---------------------------------------------------------

// The cells of each line of a file, without blank lines and # comments.
inline std::vector<std::vector<std::string>> TsvLines(const std::string& path)
{
    std::vector<std::vector<std::string>> out;
    const Bytes text = ReadWholeFile(path);
    std::istringstream lines(std::string(text.begin(), text.end()));
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream cells(line);
        out.emplace_back();
        for (std::string cell; std::getline(cells, cell, '\t');) out.back().push_back(cell);
    }
    return out;
}

struct ManifestRow {
    std::string path, format, kind, reference, mode;
    std::vector<std::string> columns;  // every cell of the line
};

// The rows of one format folder of the corpus manifest (all rows for "").
inline std::vector<ManifestRow> Manifest(const std::string& format)
{
    std::vector<ManifestRow> rows;
    for (const std::vector<std::string>& col : TsvLines(CorpusPath("manifest.tsv")))
        if (col.size() >= 6 && (format.empty() || col[1] == format) && col[0] != "path")
            rows.push_back({col[0], col[1], col[2], col[4], col[5], col});
    return rows;
}

// ---- folders -------------------------------------------------------------------------------

// The regular files of a folder, sorted, without hidden ones; none when it
// doesn't exist.
inline std::vector<std::string> FilesIn(const std::string& folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// The inputs kept in a folder to be replayed: its files less the .md notes.
// A folder with none fails the test: a replay of nothing would pass unseen.
inline std::vector<std::string> ReplayFilesIn(const std::string& folder)
{
    std::vector<std::string> files;
    for (const std::string& path : FilesIn(folder))
        if (std::filesystem::path(path).extension() != ".md") files.push_back(path);
    EXPECT_FALSE(files.empty()) << "no input to replay in " << folder;
    return files;
}

// ---- DIBs built in code ----------------------------------------------------------------------

// A zeroed packed DIB block of a plain bottom-up image: its header
// (biClrUsed = used), room for `entries` colour entries, and the pixels.
inline HGLOBAL BlankDib(LONG width, LONG height, int bits, DWORD used, DWORD entries)
{
    BITMAPINFOHEADER h = {};
    DWORD stride = DIB_Stride(width, bits);
    h.biSize = sizeof h;
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(bits);
    h.biSizeImage = stride * static_cast<DWORD>(height);
    h.biClrUsed = used;
    HGLOBAL dib = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof h + 4 * static_cast<SIZE_T>(entries) + h.biSizeImage);
    memcpy(GlobalLock(dib), &h, sizeof h);
    GlobalUnlock(dib);
    return dib;
}

// A bottom-up DIB from rows given top first (each row padded or cut to the
// stride; the rows repeat when fewer than the height are given).
inline HGLOBAL DibFromRows(LONG width, LONG height, int bits, const std::vector<RGBQUAD>& table,
                           const std::vector<Bytes>& rows)
{
    const DWORD entries = static_cast<DWORD>(table.size());
    HGLOBAL dib = BlankDib(width, height, bits, entries, entries);
    DWORD stride = DIB_Stride(width, bits);
    BYTE* p = static_cast<BYTE*>(GlobalLock(dib));
    if (!table.empty()) memcpy(p + sizeof(BITMAPINFOHEADER), table.data(), 4 * table.size());
    BYTE* pixels = p + sizeof(BITMAPINFOHEADER) + 4 * table.size();
    for (LONG y = 0; y < height; y++) {
        const Bytes& row = rows[static_cast<size_t>(y) % rows.size()];
        memcpy(pixels + static_cast<size_t>(height - 1 - y) * stride, row.data(), std::min<size_t>(row.size(), stride));
    }
    GlobalUnlock(dib);
    return dib;
}

// Bytes as lower-case hex digits, for comparisons that read as one line.
inline std::string Hex(const Bytes& bytes)
{
    std::string text;
    for (BYTE b : bytes) text += "0123456789abcdef"[b >> 4], text += "0123456789abcdef"[b & 15];
    return text;
}

// ---- message boxes -------------------------------------------------------------------------

// The texts of the boxes shown since the last clear.
inline std::vector<std::string> BoxTexts()
{
    std::vector<std::string> texts;
    for (const HeadlessBox& b : HDL_Boxes()) texts.push_back(b.text);
    return texts;
}

// A reader's question about doubtful data answered each way: Yes loads, No loads nothing,
// and inside a batch No asks whether to cancel it, whose Yes sets the abort flag. Each pass
// as "result caption/flags/text… [what rows makes of the DIB]"; the abort flag last.
template <typename Load, typename Rows>
std::string AnswersToTheQuestion(Load load, Rows rows)
{
    std::string line;
    for (int pass = 0; pass < 3; pass++) {
        HDL_ClearBoxes();
        BAT_SetActive(pass == 2, 0);
        HDL_QueueAnswer(pass == 0 ? IDYES : IDNO);
        if (pass == 2) HDL_QueueAnswer(IDYES);
        HGLOBAL dib = nullptr;
        line += std::to_string(load(&dib));
        for (const HeadlessBox& b : HDL_Boxes()) line += " " + b.caption + "/" + std::to_string(b.flags) + "/" + b.text;
        if (dib) line += " " + rows(dib), GlobalFree(dib);
        line += "; ";
    }
    BAT_SetActive(0, 0);
    line += std::to_string(MSG_GetAbort());
    MSG_ClearAbort();
    return line;
}

// ---- the load information ------------------------------------------------------------------

// The load information as "name value" for the fields asked for, in that
// order (INF_CREATOR gives the creator's text), to compare them all at once.
inline std::string InfoText(std::initializer_list<int> fields)
{
    static const char* const names[] = {"file",   "format",     "width", "height", "palette", "planes",  "colors",
                                        "gray",   "memory",     "compressed", "bits", "type", "version", "creator"};
    std::string text;
    for (int f : fields) {
        text += std::string(text.empty() ? "" : " ") + names[f] + " ";
        text += f == INF_CREATOR ? (INF_Info.creator ? INF_Info.creator : "-") : std::to_string(INF_GetValue(f));
    }
    return text;
}

// ---- loads ---------------------------------------------------------------------------------

// What a load gave: its result and block, copies of the block's header, table
// entries (raw 4-byte entries) and pixels (biSizeImage bytes), and the texts
// of the boxes it showed. The block is freed with the record.
struct LoadedDib {
    int result = 0;
    HGLOBAL dib = nullptr;
    BITMAPINFOHEADER h = {};
    Bytes table;
    Bytes pixels;
    std::vector<std::string> texts;
    LoadedDib() = default;
    LoadedDib(const LoadedDib&) = delete;
    LoadedDib& operator=(const LoadedDib&) = delete;
    ~LoadedDib()
    {
        if (dib) GlobalFree(dib);
    }
};

// Loads path through load, with the boxes cleared and the load information
// begun first; a failure leaves no block, a success a block of exactly
// header, table and pixels.
inline void LoadWith(int (*load)(LPCSTR, HGLOBAL*), const std::string& path, LoadedDib& l)
{
    HDL_ClearBoxes();
    INF_Begin(path.c_str());
    l.result = load(path.c_str(), &l.dib);
    l.texts = BoxTexts();
    if (!l.result) {
        EXPECT_EQ(nullptr, l.dib);
        return;
    }
    ASSERT_NE(nullptr, l.dib);
    const BYTE* p = static_cast<const BYTE*>(GlobalLock(l.dib));
    memcpy(&l.h, p, sizeof l.h);
    size_t table = DIB_PaletteSize(&l.h);
    ASSERT_EQ(l.h.biSize + table + l.h.biSizeImage, GlobalSize(l.dib));
    l.table.assign(p + l.h.biSize, p + l.h.biSize + table);
    l.pixels.assign(p + l.h.biSize + table, p + l.h.biSize + table + l.h.biSizeImage);
    GlobalUnlock(l.dib);
}

namespace pcxtga {

// ---- DIBs -------------------------------------------------------------------------------

// A packed DIB of the given depth with colour entries entries (written into
// biClrUsed when used is set, else the depth's count) and zero pixels.
inline HGLOBAL MakeDib(LONG width, LONG height, int bits, DWORD used = 0)
{
    return BlankDib(width, height, bits, used, used ? used : DIB_ColorsForBits(bits));
}

// A locked view of a DIB for the length of a scope.
struct DibView {
    HGLOBAL dib;
    BITMAPINFOHEADER* h = nullptr;
    RGBQUAD* table = nullptr;
    BYTE* pixels = nullptr;
    DWORD stride = 0;
    explicit DibView(HGLOBAL handle) : dib(handle)
    {
        DIB_Lock(dib, &h, &table, &pixels);
        stride = DIB_Stride(h->biWidth, h->biBitCount);
    }
    ~DibView() { GlobalUnlock(dib); }
    // Row y counted from the top of the picture.
    BYTE* Top(LONG y) const { return pixels + static_cast<size_t>(h->biHeight - 1 - y) * stride; }
    Bytes TopRow(LONG y, size_t n) const { return Bytes(Top(y), Top(y) + n); }
};

// Frees a DIB at the end of a scope, after the views declared behind it.
struct OwnedDib {
    HGLOBAL dib;
    ~OwnedDib()
    {
        if (dib) GlobalFree(dib);
    }
};

inline void SetEntry(RGBQUAD* table, int i, BYTE red, BYTE green, BYTE blue)
{
    table[i].rgbRed = red;
    table[i].rgbGreen = green;
    table[i].rgbBlue = blue;
    table[i].rgbReserved = 0;
}

// a followed by b.
inline Bytes Cat(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// ---- the fixture ----------------------------------------------------------------------------

// Each test starts with the formats registered, no batch, no abort and
// questions answered No; the scratch files it made through Temp are removed.
class FormatTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        FMT_RegisterBuiltins();
        HDL_ClearBoxes();
        HDL_SetPolicy(IDNO);
        BAT_SetActive(0, 0);
        MSG_ClearAbort();
        HDL_RequestStop(false);
    }
    void TearDown() override
    {
        HDL_ClearBoxes();
        HDL_RequestStop(false);
        BAT_SetActive(0, 0);
        MSG_ClearAbort();
        for (const std::string& p : made) remove(p.c_str());
    }
    // A scratch path, removed after the test.
    std::string Temp(const std::string& name)
    {
        made.push_back(TempPath(name));
        return made.back();
    }
    std::vector<std::string> made;
};

}  // namespace pcxtga
