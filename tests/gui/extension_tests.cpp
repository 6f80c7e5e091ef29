// The extension library and the frame's services from outside: our own
// CIMAGE.DLL with its MacPaint module placed beside the program for these
// scenarios only, the events its hooks write down, and the services driven
// through the probe, their DIBs compared with the colour engine's own.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "colour/median_cut.h"
#include "driver.h"

using namespace kvgui;

namespace {

const int kFilterCombo = 1136, kNameField = 1152, kInFormat = 294, kOutFormat = 295, kOutDir = 347, kRun = 320;

// The library (and the module, if asked) copied from the build's extension
// folder beside the program, and taken away again; the hooks' events go to a file.
struct Extension {
    std::string home = KorvantaPath().substr(0, KorvantaPath().find_last_of('\\'));
    std::string events = PathOf("events.txt");
    std::vector<std::string> placed;
    Extension(const std::string& from, bool module)
    {
        DeleteFileA(events.c_str());
        SetEnvironmentVariableA("KV_CIMAGE_EVENTS", events.c_str());
        std::vector<std::pair<std::string, std::string>> files = {{from + "CIMAGE.DLL", "CIMAGE.DLL"}};
        if (module) files.push_back({"MACPAINT.DLL", "MACPAINT.DLL"});
        for (const auto& [source, name] : files) {
            placed.push_back(home + "\\" + name);
            EXPECT_TRUE(CopyFileA((home + "\\extension\\" + source).c_str(), placed.back().c_str(), FALSE)) << source;
        }
    }
    ~Extension()
    {
        for (const std::string& file : placed) DeleteFileA(file.c_str());
        SetEnvironmentVariableA("KV_CIMAGE_EVENTS", nullptr);
    }
    std::vector<std::string> Events() const
    {
        std::vector<std::string> lines;
        std::ifstream in(events);
        for (std::string line; std::getline(in, line);) lines.push_back(line.substr(0, line.find('\r')));
        return lines;
    }
};

// The test picture: a black border, diagonal stripes, white rows that pack as runs.
bool Black(int x, int y) { return x < 3 || y < 3 || x > 572 || y > 716 || (y % 40 < 20 && (x + y) % 9 < 4); }

// A MacPaint file as its layout says: a 512-byte header, then 720 PackBits rows of 72 bytes.
std::vector<BYTE> MacPaint()
{
    std::vector<BYTE> file(512, 0);
    for (int y = 0; y < 720; y++) {
        BYTE row[72] = {};
        for (int x = 0; x < 576; x++) row[x / 8] |= Black(x, y) ? 0x80 >> x % 8 : 0;
        if (std::count(row, row + 72, row[0]) == 72) {
            file.insert(file.end(), {185, row[0]});  // one byte 72 times
        } else {
            file.push_back(71);  // 72 bytes as they are
            file.insert(file.end(), row, row + 72);
        }
    }
    return file;
}

// Whether a packed 1-bit DIB (bottom-up) shows the test picture.
bool ShowsPicture(const std::vector<BYTE>& dib)
{
    const auto* h = reinterpret_cast<const BITMAPINFOHEADER*>(dib.data());
    if (dib.size() < 48 || h->biWidth != 576 || h->biHeight != 720 || h->biBitCount != 1) return false;
    const auto* table = reinterpret_cast<const RGBQUAD*>(dib.data() + h->biSize);
    const BYTE* bits = dib.data() + h->biSize + 4 * (h->biClrUsed ? h->biClrUsed : 2);
    if (bits + 72 * 720 > dib.data() + dib.size()) return false;
    for (int y = 0; y < 720; y++)
        for (int x = 0; x < 576; x++)
            if ((table[bits[(719 - y) * 72 + x / 8] >> (7 - x % 8) & 1].rgbRed < 128) != Black(x, y)) return false;
    return true;
}

// A service whose block, text, record and DIB come back in call.
LONG_PTR Call(Session& run, int item, ServiceCall* call)
{
    LONG_PTR result = -1;
    EXPECT_TRUE(run.program.CallService(run.frame, item, call, &result)) << item;
    return result;
}

std::vector<BYTE> DibOf(Session& run, HWND window)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    call.resultDib = true;
    Call(run, 4, &call);
    return call.dib;
}

TEST(ExtensionLibrary, MacPaintOpensThroughTheModuleAndTheHooksSeeEachDocumentEvent)
{
    CoreGuard guard({"want_thumbnail", "load_proc", "save_proc"});
    SetCore("want_thumbnail", "1");
    Extension library("", true);
    const std::string path = PathOf("picture.mac"), copy = PathOf("copy.mac"), out = FreshFolder("ext_batch");
    DeleteFileA(copy.c_str());
    ASSERT_TRUE(WriteBytes(path, MacPaint()));
    Session run;
    run.Command(257);
    HWND open = run.WaitForFileDialog();
    ASSERT_NE(open, nullptr);
    const std::vector<std::string> filters = ComboItems(open, kFilterCombo);
    EXPECT_NE(std::find(filters.begin(), filters.end(), "MAC- MacPaint"), filters.end());
    ASSERT_TRUE(ChooseItem(open, kFilterCombo, "MAC"));
    Send(GetDlgItem(open, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(path.c_str()));
    Answer(open, IDOK);
    HWND window = run.WaitForWindows(1);
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(ShowsPicture(DibOf(run, window)));
    // Saved through the module's writer and read back, the picture stays.
    run.Command(259);
    HWND save = run.WaitForFileDialog();
    ASSERT_NE(save, nullptr);
    Send(GetDlgItem(save, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(copy.c_str()));
    Answer(save, IDOK);
    ASSERT_TRUE(Within(8000, [&] { return Upper(WindowText(window)) == Upper(copy); }));
    SendMessageA(run.Client(), WM_MDIDESTROY, reinterpret_cast<WPARAM>(window), 0);
    HWND again = run.OpenFile(copy);
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(ShowsPicture(DibOf(run, again)));
    // The batch reads the module's format too.
    run.Command(260);
    HWND batch = run.WaitForControl(kInFormat);
    ASSERT_NE(batch, nullptr);
    ASSERT_TRUE(ChooseItem(batch, kInFormat, "MAC") && ChooseItem(batch, kOutFormat, "BMP"));
    SendMessageA(GetDlgItem(batch, kOutDir), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(out.c_str()));
    PressButton(batch, kRun);
    HWND done = run.WaitForText("Batch Processing", 60000);
    EXPECT_EQ(done ? MessageBoxText(done) : "", "Batch Processing Complete");
    Answer(done, IDOK);
    const std::vector<BYTE> bmp = ReadBytes(out + "\\PICTURE.BMP");
    EXPECT_TRUE(bmp.size() > 14 && ShowsPicture(std::vector<BYTE>(bmp.begin() + 14, bmp.end())));
    EXPECT_TRUE(run.Exit());
    // Open, Save As, close, open again, then the batch's own load and save of each file.
    std::vector<std::string> want = {"init"};
    for (const std::string& step : {"change P", "load P", "command 4122 P", "save C", "rename C", "delete C",
                                    "change C", "load C", "command 4122 C"})
        want.push_back(step.substr(0, step.size() - 1) + (step.back() == 'P' ? path : copy));
    for (const std::string name : {"COPY", "PICTURE"}) {
        for (const std::string step : {"change ", "load ", "command 4122 "}) want.push_back(step + name + ".MAC");
        for (const std::string step : {"save ", "delete "}) want.push_back(step + out + "\\" + name + ".BMP");
    }
    want.push_back("detach");
    EXPECT_EQ(library.Events(), want);
}

TEST(ExtensionLibrary, WithoutTheImageHandlerTheLibraryGoesAfterItsInitAndCommandsFallThrough)
{
    Extension library("partial\\", false);
    Session run;
    ASSERT_NE(run.frame, nullptr);
    for (WPARAM command : {4121, 4122}) EXPECT_EQ(Send(run.frame, WM_COMMAND, command, 0), 0);
    run.Settle();
    EXPECT_TRUE(run.NoDialogs());
    EXPECT_EQ(library.Events(), (std::vector<std::string>{"init", "detach"}));
    EXPECT_TRUE(run.Exit());
}

TEST(FrameServices, LoadSaveCutsPaletteIdentityAndFiltersAnswerAsTheEngine)
{
    CoreGuard guard({"dither_type", "fast_dither", "keep_undo"});
    std::vector<RGBQUAD> table;
    for (int i = 0; i < 256; i++) table.push_back({BYTE(i * 7), BYTE(255 - i), BYTE(i * 3), 0});
    const std::vector<BYTE> dib8 = MakeDib(40, 30, 8, table, [](int x, int y) { return DWORD((x * 5 + y * 3) & 255); });
    const std::vector<BYTE> dib24 = MakeDib(40, 30, 24, {}, [](int x, int y) { return DWORD(x * 6 << 16 | y * 8 << 8 | ((x ^ y) * 5 & 255)); });
    const std::string bmp = WriteBmp("services.bmp", dib8);
    Session run;
    HWND window = run.OpenFile(bmp);
    ASSERT_NE(window, nullptr);
    // 38: the file read without a window, its row and id written back.
    ServiceCall load;
    load.hasText = true;
    load.text = bmp;
    load.resultDib = true;
    EXPECT_NE(Call(run, 38, &load), 0);
    EXPECT_EQ(load.dib, DibOf(run, window));
    // 47: compression stays on 8 bits and is dropped on 24, where the format has none.
    for (const auto& [dib, rle] : {std::pair{dib8, 1}, std::pair{dib24, 0}}) {
        ServiceCall save;
        save.hasText = true;
        save.text = PathOf("saved.dib");
        save.dib = dib;
        save.flag = save.option = 1;
        save.value2 = rle ? 8 : 24;
        EXPECT_EQ(run.Service(47, save), 1);
        const std::vector<BYTE> file = ReadBytes(save.text);
        EXPECT_EQ(file.size() > 34 ? file[30] : -1, rle);
    }
    // 41, 43, 44, 77 give what the engine gives here.
    auto engine = [&](auto reduce) {
        HGLOBAL source = GlobalAlloc(GMEM_MOVEABLE, dib24.size()), made = nullptr;
        memcpy(GlobalLock(source), dib24.data(), dib24.size());
        GlobalUnlock(source);
        made = reduce(source);
        std::vector<BYTE> bytes(made ? GlobalSize(made) : 0);
        if (made) memcpy(bytes.data(), GlobalLock(made), bytes.size());
        return bytes;
    };
    auto service = [&](int item, LONG_PTR value, LONG flag, LONG_PTR object = 0) {
        ServiceCall call;
        call.dib = dib24;
        call.value = value;
        call.flag = flag;
        call.object = object;
        call.resultDib = true;
        return Call(run, item, &call) ? call.dib : std::vector<BYTE>();
    };
    CLR_SetCutDither(1);
    CLR_SetCutProgress(0);
    EXPECT_EQ(service(41, 16, 1), engine([](HGLOBAL s) { HGLOBAL r = nullptr; return CLR_MedianCut(s, &r, 16) ? r : nullptr; }));
    EXPECT_EQ(service(43, 4, 0), engine([](HGLOBAL s) { HGLOBAL r = nullptr; return CLR_FlatReduce(s, &r, 4, 0) ? r : nullptr; }));
    EXPECT_EQ(service(44, 8, 0), engine([](HGLOBAL s) { HGLOBAL r = nullptr; return CLR_FlatDither(s, &r, 8, 0) ? r : nullptr; }));
    EXPECT_TRUE(service(44, 32, 0).empty());
    ServiceCall palette;
    palette.window = reinterpret_cast<LONG_PTR>(window);
    const LONG_PTR hpal = run.Service(6, palette);
    EXPECT_EQ(service(77, 0, 0, hpal), engine([&](HGLOBAL s) { return CLR_MapToColors(s, table.data(), 256); }));
    // 56: name and settings key; 51 and 61: the listed rows and their ids.
    ServiceCall identity;
    identity.hasText = true;
    identity.record.resize(64);
    EXPECT_EQ(Call(run, 56, &identity), 0x10010332);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(identity.record.data())) + " " + identity.text.c_str(),
              "Software\\Korvanta\\3.50 Korvanta");
    for (const auto& [item, count, second] : {std::tuple{51, 26, 123}, std::tuple{61, 19, 31}}) {
        ServiceCall filter;
        filter.record.resize(256);
        EXPECT_EQ(Call(run, item, &filter), count);
        EXPECT_EQ(reinterpret_cast<LONG*>(filter.record.data())[1], second);
    }
}

}  // namespace
