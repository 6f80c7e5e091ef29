// "Another program" for the clipboard scenarios: puts or reads CF_DIB,
// CF_BITMAP and CF_PALETTE and writes what it read to a file.
//   kv_clip_peer put [dib FILE] [bitmap FILE] [palette FILE]   empties, then puts
//   kv_clip_peer get FORMAT FILE [gate]   exit 0 with the bytes, 2 when nothing came
// A DIB is its packed bytes, a bitmap is read as a packed 24-bit DIB, a palette
// as its PALETTEENTRY array.
#include <windows.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

static std::vector<BYTE> Load(const char* path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

static void Save(const char* path, const void* data, size_t size)
{
    std::ofstream(path, std::ios::binary).write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
}

static HANDLE Make(const char* kind, const std::vector<BYTE>& bytes)
{
    if (!strcmp(kind, "dib")) {
        HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
        memcpy(GlobalLock(block), bytes.data(), bytes.size());
        GlobalUnlock(block);
        return block;
    }
    if (!strcmp(kind, "palette")) {
        std::vector<BYTE> logical(sizeof(LOGPALETTE) + bytes.size());
        auto* palette = reinterpret_cast<LOGPALETTE*>(logical.data());
        palette->palVersion = 0x300;
        palette->palNumEntries = static_cast<WORD>(bytes.size() / 4);
        memcpy(palette->palPalEntry, bytes.data(), bytes.size());
        return CreatePalette(palette);
    }
    const auto* info = reinterpret_cast<const BITMAPINFO*>(bytes.data());
    const BYTE* bits = bytes.data() + info->bmiHeader.biSize + info->bmiHeader.biClrUsed * 4;
    HDC screen = GetDC(nullptr);
    HBITMAP bitmap = CreateDIBitmap(screen, &info->bmiHeader, CBM_INIT, bits, info, DIB_RGB_COLORS);
    ReleaseDC(nullptr, screen);
    return bitmap;
}

int main(int argc, char** argv)
{
    if (argc >= 2 && !strcmp(argv[1], "put")) {
        HWND owner = CreateWindowA("STATIC", "", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
        if (!OpenClipboard(owner) || !EmptyClipboard()) return 1;
        for (int i = 2; i + 1 < argc; i += 2) {
            const UINT format = !strcmp(argv[i], "dib") ? CF_DIB : !strcmp(argv[i], "bitmap") ? CF_BITMAP : CF_PALETTE;
            SetClipboardData(format, Make(argv[i], Load(argv[i + 1])));
        }
        CloseClipboard();
        DestroyWindow(owner);
        return 0;
    }
    if (argc < 4 || !OpenClipboard(nullptr)) return 1;
    if (argc == 5) {
        // "gate": the clipboard is open; the test lets the read go when it is ready for it.
        SetEvent(OpenEventA(EVENT_MODIFY_STATE, FALSE, "kv_peer_ready"));
        WaitForSingleObject(OpenEventA(SYNCHRONIZE, FALSE, "kv_peer_go"), 10000);
    }
    const UINT format = static_cast<UINT>(atoi(argv[2]));
    HANDLE data = GetClipboardData(format);
    int code = data ? 0 : 2;
    if (data && format == CF_DIB) {
        Save(argv[3], GlobalLock(data), GlobalSize(data));
        GlobalUnlock(data);
    } else if (data && format == CF_PALETTE) {
        PALETTEENTRY entries[256];
        const UINT count = GetPaletteEntries(static_cast<HPALETTE>(data), 0, 256, entries);
        Save(argv[3], entries, count * sizeof *entries);
    } else if (data) {
        BITMAP facts{};
        GetObjectA(data, sizeof facts, &facts);
        const DWORD stride = (static_cast<DWORD>(facts.bmWidth) * 3 + 3) & ~3u;
        std::vector<BYTE> dib(sizeof(BITMAPINFOHEADER) + stride * facts.bmHeight);
        auto* header = reinterpret_cast<BITMAPINFOHEADER*>(dib.data());
        *header = {sizeof *header, facts.bmWidth, facts.bmHeight, 1, 24, BI_RGB, stride * facts.bmHeight};
        HDC screen = GetDC(nullptr);
        if (!GetDIBits(screen, static_cast<HBITMAP>(data), 0, facts.bmHeight, header + 1,
                       reinterpret_cast<BITMAPINFO*>(header), DIB_RGB_COLORS))
            code = 2;
        ReleaseDC(nullptr, screen);
        Save(argv[3], dib.data(), dib.size());
    }
    CloseClipboard();
    return code;
}
