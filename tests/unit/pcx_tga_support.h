// Helpers of the PCX and TGA tests: DIBs built in code, a SHA-256 to compare
// decodes with the corpus manifest, and the manifest's rows.
#pragma once

#include "cli/headless.h"
#include "core/messages.h"
#include "formats/codec_runtime.h"
#include "formats/formats.h"
#include "platform/dib.h"
#include "test_support.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace pcxtga {

typedef std::vector<unsigned char> Bytes;

// ---- SHA-256 -------------------------------------------------------------------------

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

// ---- DIBs -------------------------------------------------------------------------------

// A packed DIB of the given depth with colour entries entries (written into
// biClrUsed when used is set, else the depth's count) and zero pixels.
inline HGLOBAL MakeDib(LONG width, LONG height, int bits, DWORD used = 0)
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
    DWORD entries = used ? used : DIB_ColorsForBits(bits);
    SIZE_T size = sizeof h + 4 * entries + h.biSizeImage;
    HGLOBAL dib = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
    BYTE* p = static_cast<BYTE*>(GlobalLock(dib));
    memcpy(p, &h, sizeof h);
    GlobalUnlock(dib);
    return dib;
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
    // The pixel (x, y from the top) as an index, or blue-green-red(-alpha) bytes packed little-endian.
    uint32_t At(LONG x, LONG y) const
    {
        const BYTE* r = Top(y);
        switch (h->biBitCount) {
        case 1: return (r[x >> 3] >> (7 - (x & 7))) & 1;
        case 4: return (x & 1) ? r[x >> 1] & 15 : r[x >> 1] >> 4;
        case 8: return r[x];
        case 24: return r[3 * x] | r[3 * x + 1] << 8 | r[3 * x + 2] << 16;
        case 32: return r[4 * x] | r[4 * x + 1] << 8 | r[4 * x + 2] << 16 | static_cast<uint32_t>(r[4 * x + 3]) << 24;
        default: return 0;
        }
    }
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

// The decode as the manifest hashes it: rows from the top, R,G,B (and A when
// alpha is asked for) per pixel, colours looked up in the table.
inline Bytes ReferenceSamples(HGLOBAL dib, bool alpha)
{
    DibView v(dib);
    Bytes out;
    for (LONG y = 0; y < v.h->biHeight; y++) {
        for (LONG x = 0; x < v.h->biWidth; x++) {
            uint32_t p = v.At(x, y);
            BYTE r, g, b, a = 255;
            if (v.h->biBitCount <= 8) {
                r = v.table[p].rgbRed;
                g = v.table[p].rgbGreen;
                b = v.table[p].rgbBlue;
            } else {
                b = static_cast<BYTE>(p);
                g = static_cast<BYTE>(p >> 8);
                r = static_cast<BYTE>(p >> 16);
                if (v.h->biBitCount == 32) a = static_cast<BYTE>(p >> 24);
            }
            out.push_back(r);
            out.push_back(g);
            out.push_back(b);
            if (alpha) out.push_back(a);
        }
    }
    return out;
}

// ---- the corpus manifest -----------------------------------------------------------------

struct ManifestRow {
    std::string path, format, kind, reference, mode;
};

// The rows of one format folder.
inline std::vector<ManifestRow> Manifest(const std::string& format)
{
    std::vector<ManifestRow> rows;
    Bytes text = ReadWholeFile(CorpusPath("manifest.tsv"));
    std::istringstream lines(std::string(text.begin(), text.end()));
    std::string line;
    while (std::getline(lines, line)) {
        std::vector<std::string> col;
        std::istringstream cells(line);
        std::string cell;
        while (std::getline(cells, cell, '\t')) col.push_back(cell);
        if (col.size() < 6 || col[1] != format) continue;
        rows.push_back({col[0], col[1], col[2], col[4], col[5]});
    }
    return rows;
}

// The regular files of a folder, sorted; none when it doesn't exist.
inline std::vector<std::string> FilesIn(const std::string& folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// ---- message boxes -------------------------------------------------------------------------

// The texts of the boxes shown since the last clear.
inline std::vector<std::string> BoxTexts()
{
    std::vector<std::string> texts;
    for (const HeadlessBox& b : HDL_Boxes()) texts.push_back(b.text);
    return texts;
}

}  // namespace pcxtga
