// Our CIMAGE.DLL and MacPaint module placed beside the program for these scenarios only, the
// events its hooks write down, and the services through the probe, compared with the colour engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <thread>

#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "colour/median_cut.h"
#include "driver.h"

using namespace kvgui;

namespace {

const int kFilterCombo = 1136, kNameField = 1152, kInFormat = 294, kOutFormat = 295, kOutDir = 347, kRun = 320;

// The library (and the module) copied beside the program from the build's modules folder and
// taken away again; the hooks' events go to a file.
struct Extension {
    std::string home = KorvantaPath().substr(0, KorvantaPath().find_last_of('\\')), events = PathOf("events.txt");
    std::string placed[2] = {home + "\\CIMAGE.DLL", home + "\\MACPAINT.DLL"};
    Extension(const std::string& library, bool module)
    {
        DeleteFileA(events.c_str());
        SetEnvironmentVariableA("KV_CIMAGE_EVENTS", events.c_str());
        EXPECT_TRUE(CopyFileA((home + "\\modules\\" + library).c_str(), placed[0].c_str(), FALSE));
        EXPECT_TRUE(!module || CopyFileA((home + "\\modules\\MACPAINT.DLL").c_str(), placed[1].c_str(), FALSE));
    }
    ~Extension() { DeleteFileA(placed[0].c_str()), DeleteFileA(placed[1].c_str()); }
    std::vector<std::string> Events() const
    {
        std::vector<std::string> lines;
        std::ifstream in(events);
        for (std::string line; std::getline(in, line);) lines.push_back(line.substr(0, line.find('\r')));
        return lines;
    }
};

// The test picture: bands of diagonal stripes with a left edge, and white rows that pack as runs.
bool Black(int x, int y) { return y % 40 < 20 && (x < 3 || (x + y) % 9 < 4); }

// A MacPaint file as its layout says: a 512-byte header, then 720 PackBits rows of 72 bytes.
std::vector<BYTE> MacPaint()
{
    std::vector<BYTE> file(512, 0);
    for (int y = 0; y < 720; y++) {
        BYTE row[72] = {};
        for (int x = 0; x < 576; x++) row[x / 8] |= Black(x, y) ? 0x80 >> x % 8 : 0;
        // One byte 72 times (code 185), or 72 bytes as they are (code 71).
        const bool run = std::count(row, row + 72, row[0]) == 72;
        file.push_back(run ? 185 : 71);
        file.insert(file.end(), row, row + (run ? 1 : 72));
    }
    return file;
}

// Whether a packed DIB shows the test picture in black and white.
bool ShowsPicture(const std::vector<BYTE>& dib, size_t at = 0)
{
    return DibImage(dib, at) == Picture(576, 720, [](int x, int y) { return Black(x, y) ? 0u : 0xFFFFFFu; });
}

// A service whose block, text, record and DIB come back in call.
LONG_PTR Call(Session& run, int item, ServiceCall* call)
{
    LONG_PTR result = -1;
    EXPECT_TRUE(run.program.CallService(run.frame, item, call, &result)) << item;
    return result;
}

// The DIB a service gave, read back from the program; empty for none.
std::vector<BYTE> Made(Session& run, int item, ServiceCall call)
{
    call.resultDib = true;
    return Call(run, item, &call) ? call.dib : std::vector<BYTE>();
}

std::vector<BYTE> DibOf(Session& run, HWND window)
{
    ServiceCall call;
    call.window = reinterpret_cast<LONG_PTR>(window);
    return Made(run, 4, call);
}

TEST(ExtensionLibrary, MacPaintOpensThroughTheModuleAndTheHooksSeeEachDocumentEvent)
{
    CoreGuard guard({"want_thumbnail", "load_proc", "save_proc"});
    SetCore("want_thumbnail", "1");
    Extension library("CIMAGE.DLL", true);
    const std::string path = PathOf("picture.mac"), copy = PathOf("copy.mac"), out = FreshFolder("ext_batch");
    DeleteFileA(copy.c_str());
    ASSERT_TRUE(WriteBytes(path, MacPaint()));
    Session run;
    run.Command(257);
    HWND open = run.WaitForFileDialog();
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
    Send(GetDlgItem(save, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(copy.c_str()));
    Answer(save, IDOK);
    ASSERT_TRUE(Within(8000, [&] { return Upper(WindowText(window)) == Upper(copy); }));
    SendMessageA(run.Client(), WM_MDIDESTROY, reinterpret_cast<WPARAM>(window), 0);
    EXPECT_TRUE(ShowsPicture(DibOf(run, run.OpenFile(copy))));
    // The batch reads the module's format too.
    run.Command(260);
    HWND batch = run.WaitForControl(kInFormat);
    ASSERT_TRUE(ChooseItem(batch, kInFormat, "MAC") && ChooseItem(batch, kOutFormat, "BMP"));
    SendMessageA(GetDlgItem(batch, kOutDir), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(out.c_str()));
    PressButton(batch, kRun);
    HWND done = run.WaitForText("Batch Processing", 60000);
    EXPECT_EQ(done ? MessageBoxText(done) : "", "Batch Processing Complete");
    Answer(done, IDOK);
    const std::vector<BYTE> bmp = ReadBytes(out + "\\PICTURE.BMP");
    EXPECT_TRUE(ShowsPicture(bmp, 14));
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
    Extension library("partial\\CIMAGE.DLL", false);
    Session run;
    for (WPARAM command : {4121, 4122}) EXPECT_EQ(Send(run.frame, WM_COMMAND, command, 0), 0);
    run.Settle();
    EXPECT_TRUE(run.NoDialogs());
    EXPECT_EQ(library.Events(), (std::vector<std::string>{"init", "detach"}));
    EXPECT_TRUE(run.Exit());
}

TEST(FrameServices, LoadSaveCutsPaletteAndIdentityAnswerAsTheEngineAndTheOpenPath)
{
    CoreGuard guard({"dither_type", "fast_dither", "keep_undo"});
    std::vector<RGBQUAD> table;
    for (int i = 0; i < 256; i++) table.push_back({BYTE(i * 7), BYTE(255 - i), BYTE(i * 3), 0});
    const std::vector<BYTE> dib8 = MakeDib(40, 30, 8, table, [](int x, int y) { return DWORD((x * 5 + y * 3) & 255); });
    const std::vector<BYTE> dib24 =
        MakeDib(40, 30, 24, {}, [](int x, int y) { return DWORD(x * 6 << 16 | y * 8 << 8 | ((x ^ y) * 5 & 255)); });
    const std::string bmp = WriteBmp("services.bmp", dib8);
    Session run;
    HWND window = run.OpenFile(bmp);
    ASSERT_NE(window, nullptr);
    // 38: the file read without a window. 47: compression kept on 8 bits, dropped on 24 (none there).
    ServiceCall load;
    load.hasText = true;
    load.text = bmp;
    EXPECT_EQ(Made(run, 38, load), DibOf(run, window));
    for (const auto& [dib, rle] : {std::pair{dib8, 1}, std::pair{dib24, 0}}) {
        ServiceCall save;
        save.hasText = true;
        save.text = PathOf("saved.dib");
        save.dib = dib;
        save.flag = save.option = 1;
        save.value2 = rle ? 8 : 24;
        EXPECT_EQ(run.Service(47, save), 1);
        EXPECT_EQ(ReadBytes(save.text).at(30), rle);  // biCompression
    }
    // 41 (dithered to 16), 43 (to 4 bits), 44 (to 8 bits and, refused, to 32) and 77 (the
    // window's palette) give the bytes the engine gives here.
    ServiceCall palette;
    palette.window = reinterpret_cast<LONG_PTR>(window);
    const LONG_PTR hpal = run.Service(6, palette);
    HGLOBAL source = GlobalAlloc(GMEM_MOVEABLE, dib24.size()), made[5] = {};
    memcpy(GlobalLock(source), dib24.data(), dib24.size());
    GlobalUnlock(source);
    CLR_SetCutDither(1), CLR_SetCutProgress(0);
    CLR_MedianCut(source, &made[0], 16);
    CLR_SetCutDither(0), CLR_SetCutProgress(1);  // this program's switches back at their defaults
    CLR_FlatReduce(source, &made[1], 4, 0);
    CLR_FlatDither(source, &made[2], 8, 0);
    made[4] = CLR_MapToColors(source, table.data(), 256);
    const LONG_PTR items[][3] = {{41, 16, 0}, {43, 4, 0}, {44, 8, 0}, {44, 32, 0}, {77, 0, hpal}};
    for (int i = 0; i < 5; i++) {
        ServiceCall call;
        call.dib = dib24;
        call.value = items[i][1];
        call.flag = i == 0;
        call.object = items[i][2];
        const BYTE* want = made[i] ? static_cast<BYTE*>(GlobalLock(made[i])) : nullptr;
        EXPECT_EQ(Made(run, int(items[i][0]), call), std::vector<BYTE>(want, want ? want + GlobalSize(made[i]) : want));
    }
    // 29: the text on the System/Help bar. 49: Save As of the window; the call waits in the
    // program while this thread answers its dialog and then serves the probe's reply.
    ServiceCall status;
    status.hasText = true;
    status.text = "Colours counted";
    run.Service(29, status);
    EXPECT_EQ(WindowText(GetDlgItem(run.frame, 0x1234)), status.text);
    const std::string savedAs = PathOf("saved_as.bmp");
    DeleteFileA(savedAs.c_str());
    std::atomic<LONG_PTR> answer{-1};
    std::thread caller([&] { answer = run.Service(49, palette); });
    if (HWND dialog = run.WaitForFileDialog()) {
        Send(GetDlgItem(dialog, kNameField), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(savedAs.c_str()));
        Answer(dialog, IDOK);
    }
    for (MSG message; answer == -1; Sleep(10))
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    caller.join();
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(DibImage(ReadBytes(savedAs), 14), DibImage(dib8));
    // 56: the program's name and its settings key.
    ServiceCall identity;
    identity.hasText = true;
    identity.record.resize(64);
    EXPECT_EQ(Call(run, 56, &identity), 0x10010332);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(identity.record.data())) + " " + identity.text.c_str(),
              "Software\\Korvanta\\3.50 Korvanta");
}

}  // namespace
