// MACPAINT.DLL: a format module for MacPaint files (.MAC). A file is a
// 512-byte header (a 32-bit version and the 38 fill patterns, unused here)
// followed by 720 rows of 576 one-bit pixels, 72 bytes a row, each row
// PackBits-coded; a set bit is black. The program calls ZT_Fmt_Validate,
// ZT_Fmt_Load and ZT_Fmt_Save with the extension library's handle first.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include "core/service_block.h"

#include <cstring>
#include <vector>

#define MAC_EXPORT extern "C" __declspec(dllexport)

namespace {
const LONG kWidth = 576, kHeight = 720, kRowBytes = 72, kHeaderBytes = 512;
// The longest file worth reading: every byte of every row coded as a run of
// one (two bytes each, PackBits' worst), plus slack for a trailer.
const DWORD kLongestFile = kHeaderBytes + kHeight * kRowBytes * 2 + 4096;
// Load-information fields as service attributes: four times their position.
const LONG kInfoWidth = 8, kInfoHeight = 12, kInfoPlanes = 20, kInfoColors = 24, kInfoGray = 28,
           kInfoCompressed = 36, kInfoBits = 40, kInfoType = 44;
const LONG kRaster = 0;  // the type a window takes as a picture

void Complain(const char* text) { MessageBoxA(nullptr, text, "MacPaint", MB_OK | MB_ICONEXCLAMATION | MB_TASKMODAL); }

// The frame, asked of the extension library whose handle the program passes.
HWND Frame(HINSTANCE host)
{
    typedef HWND(WINAPI * FrameProc)();
    FrameProc proc = host ? reinterpret_cast<FrameProc>(reinterpret_cast<void*>(GetProcAddress(host, "CIM_GetFrame")))
                          : nullptr;
    return proc ? proc() : nullptr;
}

// Tells the program's load information what the file holds.
void Describe(HINSTANCE host)
{
    HWND frame = Frame(host);
    if (!frame) return;
    const LONG facts[][2] = {{kInfoWidth, kWidth}, {kInfoHeight, kHeight}, {kInfoPlanes, 1}, {kInfoColors, 2},
                             {kInfoGray, 1},       {kInfoCompressed, 1},   {kInfoBits, 1},
                             {kInfoType, kRaster}};
    for (const auto& fact : facts) {
        ServiceBlock block{};
        block.attribute = fact[0];
        block.value = fact[1];
        block.formatId = -1;
        SendMessageA(frame, SVC_Message(SVC_INF_SET_VALUE), 0, reinterpret_cast<LPARAM>(&block));
    }
}

// Reads at most `limit` bytes of a file; false when it can't be opened or read.
bool ReadWhole(LPCSTR path, std::vector<BYTE>* bytes, DWORD limit)
{
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    LARGE_INTEGER size{};
    bool ok = GetFileSizeEx(file, &size) != 0;
    if (ok) {
        bytes->resize(size.QuadPart < limit ? static_cast<size_t>(size.QuadPart) : limit);
        DWORD got = 0;
        ok = bytes->empty() || (::ReadFile(file, bytes->data(), static_cast<DWORD>(bytes->size()), &got, nullptr) &&
                                got == bytes->size());
    }
    CloseHandle(file);
    return ok;
}

// PackBits: a count byte n below 128 copies n + 1 bytes, above 128 repeats
// the next byte 257 - n times, 128 does nothing. Rows are decoded as one
// stream, since some writers let a run cross a row's end; what the data
// doesn't reach stays white. False when the data ends inside a code.
bool Unpack(const BYTE* from, size_t size, BYTE* to, size_t room)
{
    size_t in = 0, out = 0;
    while (out < room && in < size) {
        const BYTE n = from[in++];
        if (n < 128) {
            const size_t count = n + 1u;
            if (in + count > size) return false;
            const size_t take = count < room - out ? count : room - out;
            memcpy(to + out, from + in, take);
            in += count;
            out += take;
        } else if (n > 128) {
            if (in >= size) return false;
            const size_t count = 257u - n;
            const size_t take = count < room - out ? count : room - out;
            memset(to + out, from[in++], take);
            out += take;
        }
    }
    return true;
}

// One row in PackBits: runs of three or more equal bytes as repeats, the rest literal.
void Pack(const BYTE* row, std::vector<BYTE>* out)
{
    LONG at = 0;
    while (at < kRowBytes) {
        LONG run = 1;
        while (at + run < kRowBytes && run < 128 && row[at + run] == row[at]) run++;
        if (run >= 3) {
            out->push_back(static_cast<BYTE>(257 - run));
            out->push_back(row[at]);
            at += run;
            continue;
        }
        // A literal stretch ends where a run of three begins.
        LONG end = at;
        while (end < kRowBytes && end - at < 128 &&
               !(end + 2 < kRowBytes && row[end] == row[end + 1] && row[end] == row[end + 2]))
            end++;
        out->push_back(static_cast<BYTE>(end - at - 1));
        out->insert(out->end(), row + at, row + end);
        at = end;
    }
}

// Whether a colour-table entry shows dark enough to be black.
bool IsDark(const RGBQUAD& c) { return c.rgbRed * 30 + c.rgbGreen * 59 + c.rgbBlue * 11 < 12800; }
}  // namespace

MAC_EXPORT int WINAPI ZT_Fmt_Validate(HINSTANCE, LPCSTR path)
{
    WIN32_FILE_ATTRIBUTE_DATA facts;
    return path && GetFileAttributesExA(path, GetFileExInfoStandard, &facts) &&
           (facts.nFileSizeHigh || facts.nFileSizeLow > static_cast<DWORD>(kHeaderBytes));
}

MAC_EXPORT int WINAPI ZT_Fmt_Load(HINSTANCE host, LPCSTR path, HGLOBAL* dib)
{
    if (!dib) return 0;
    *dib = nullptr;
    std::vector<BYTE> file;
    if (!path || !ReadWhole(path, &file, kLongestFile)) {
        Complain("Cannot open the MacPaint file.");
        return 0;
    }
    std::vector<BYTE> pixels(static_cast<size_t>(kRowBytes) * kHeight, 0);
    if (file.size() <= static_cast<size_t>(kHeaderBytes) ||
        !Unpack(file.data() + kHeaderBytes, file.size() - kHeaderBytes, pixels.data(), pixels.size())) {
        Complain("Not a legal MAC file.");
        return 0;
    }
    const size_t header = sizeof(BITMAPINFOHEADER) + 2 * sizeof(RGBQUAD);
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, header + pixels.size());
    BYTE* at = block ? static_cast<BYTE*>(GlobalLock(block)) : nullptr;
    if (!at) {
        if (block) GlobalFree(block);
        Complain("Not enough memory to load the MacPaint file.");
        return 0;
    }
    auto* info = reinterpret_cast<BITMAPINFOHEADER*>(at);
    info->biSize = sizeof *info;
    info->biWidth = kWidth;
    info->biHeight = kHeight;
    info->biPlanes = 1;
    info->biBitCount = 1;
    info->biSizeImage = static_cast<DWORD>(pixels.size());
    info->biClrUsed = 2;
    // Index 0 white, 1 black, as the file's bits say.
    auto* colors = reinterpret_cast<RGBQUAD*>(at + sizeof *info);
    colors[0] = RGBQUAD{255, 255, 255, 0};
    // The DIB's rows run from the bottom.
    for (LONG y = 0; y < kHeight; y++)
        memcpy(at + header + static_cast<size_t>(kHeight - 1 - y) * kRowBytes,
               &pixels[static_cast<size_t>(y) * kRowBytes], kRowBytes);
    GlobalUnlock(block);
    Describe(host);
    *dib = block;
    return 1;
}

MAC_EXPORT int WINAPI ZT_Fmt_Save(HINSTANCE, LPCSTR path, HGLOBAL dib, WORD, WORD, WORD)
{
    const BYTE* at = dib ? static_cast<const BYTE*>(GlobalLock(dib)) : nullptr;
    if (!path || !at) {
        Complain("Cannot write the MacPaint file.");
        return 0;
    }
    // A 1-bit DIB of any size: what lies outside 576 by 720 is cut, what is missing stays white.
    const auto* info = reinterpret_cast<const BITMAPINFOHEADER*>(at);
    const SIZE_T size = GlobalSize(dib);
    const LONG width = info->biWidth, height = info->biHeight < 0 ? -info->biHeight : info->biHeight;
    const DWORD stride = ((static_cast<DWORD>(width > 0 ? width : 0) + 31) / 32) * 4;
    const size_t table = (info->biClrUsed && info->biClrUsed < 2 ? info->biClrUsed : 2) * sizeof(RGBQUAD);
    const bool fits = size >= sizeof *info && info->biSize >= sizeof *info && info->biBitCount == 1 &&
                      info->biCompression == BI_RGB && width > 0 && width <= 65535 && height > 0 && height <= 65535 &&
                      info->biSize <= size - table &&
                      (size - info->biSize - table) / stride >= static_cast<SIZE_T>(height);
    if (!fits) {
        GlobalUnlock(dib);
        Complain("Only black and white images can be saved as MacPaint.");
        return 0;
    }
    const auto* colors = reinterpret_cast<const RGBQUAD*>(at + info->biSize);
    const BYTE* pixels = at + info->biSize + table;
    // A set bit is black: each index gives the bit its colour's darkness.
    const BYTE dark0 = IsDark(colors[0]) ? 0xFF : 0x00;
    const BYTE dark1 = table > sizeof(RGBQUAD) && IsDark(colors[1]) ? 0xFF : 0x00;
    std::vector<BYTE> out(kHeaderBytes, 0);
    out[3] = 2;  // version 2
    BYTE row[kRowBytes];
    for (LONG y = 0; y < kHeight; y++) {
        memset(row, 0, sizeof row);
        if (y < height) {
            const BYTE* line = pixels + static_cast<size_t>(info->biHeight > 0 ? height - 1 - y : y) * stride;
            const LONG bytes = (width + 7) / 8 < kRowBytes ? (width + 7) / 8 : kRowBytes;
            for (LONG i = 0; i < bytes; i++) {
                BYTE b = static_cast<BYTE>((line[i] & dark1) | (~line[i] & dark0));
                if (i == bytes - 1 && width < kWidth && width % 8) b &= static_cast<BYTE>(0xFF00 >> (width % 8));
                row[i] = b;
            }
        }
        Pack(row, &out);
    }
    GlobalUnlock(dib);
    HANDLE file = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    const bool ok = file != INVALID_HANDLE_VALUE &&
                    WriteFile(file, out.data(), static_cast<DWORD>(out.size()), &written, nullptr) &&
                    written == out.size();
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    if (!ok) {
        // A failed save leaves no part of a file behind.
        if (file != INVALID_HANDLE_VALUE) DeleteFileA(path);
        Complain("Cannot write the MacPaint file.");
        return 0;
    }
    return 1;
}
