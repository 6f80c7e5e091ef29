// Films and sounds as documents, with the real AVIFile and MCI of the
// platform: each still is compared pixel by pixel with ffmpeg's decode of the
// same frame, and the play strip drives MCI to its notifications.
#include "driver.h"

#include <cstdlib>

using namespace kvgui;

namespace {
const int kStrip = 341, kPlay = 200, kStop = 201, kSlider = 202, kLocalBar = 0x1235;
const LONG kFlags = 0, kAlias = 40;
const LONG_PTR kAtRest = 0xFFFF;

// The films and sounds, made once in a folder of this run.
std::string Unix(const std::string& name) { return "/tmp/kv_media_" + std::to_string(GetCurrentProcessId()) + "/" + name; }
std::string Win(const std::string& name) { return WindowsPath(Unix(name)); }

// Runs a shell command on the X side; its exit status, -1 on timeout.
int Shell(const std::string& command)
{
    static int runs;
    const std::string done = Unix("").substr(0, Unix("").size() - 1) + ".done" + std::to_string(++runs);
    DeleteFileA(("Z:" + done).c_str());
    std::string line = "/bin/sh -c \"(" + command + ") >/dev/null 2>&1; echo $? >" + done + ".t && mv " + done +
                       ".t " + done + "\"";
    STARTUPINFOA startup{sizeof startup};
    PROCESS_INFORMATION info{};
    // Wine starts a Unix program without a process handle: the marker tells its end.
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info) ||
        !Within(60000, [&] { return Exists("Z:" + done); }))
        return -1;
    std::vector<BYTE> status = ReadBytes("Z:" + done);
    DeleteFileA(("Z:" + done).c_str());
    status.push_back(0);
    return atoi(reinterpret_cast<const char*>(status.data()));
}

// A MIDI file of one track: middle C held for a quarter of a second.
std::vector<BYTE> Song()
{
    return {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 96, 'M', 'T', 'r', 'k', 0, 0, 0, 12,
            0, 0x90, 60, 100, 48, 0x80, 60, 0, 0, 0xFF, 0x2F, 0};
}

class Media : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string film = "ffmpeg -v error -f lavfi -i testsrc=size=64x48:rate=";
        CreateDirectoryA(Win("").c_str(), nullptr);
        ASSERT_EQ(Shell("cd " + Unix("") + " && mkdir -p 'A B' && " + film + "5 -t 2 -c:v rawvideo -pix_fmt bgr24 RAW.AVI && " +
                        film + "5 -t 2 -c:v rawvideo -pix_fmt pal8 PAL.AVI && " + film +
                        "5 -t 2 -c:v msvideo1 MSV.AVI && " + film + "5 -frames:v 1 -c:v rawvideo -pix_fmt bgr24 ONE.AVI && " +
                        film + "10 -t 3 -c:v rawvideo -pix_fmt bgr24 LONG.AVI && cp LONG.AVI 'A B/LONG 2.AVI' && " +
                        "sox -n -r 22050 -c 1 TONE.WAV synth 1 sine 440 && printf 'no sound' >BAD.WAV"),
                  0);
        ASSERT_TRUE(WriteBytes(Win("SONG.MID"), Song()));
    }
    static void TearDownTestSuite() { Shell("rm -rf " + Unix("")); }
};

// Frame n of a film as ffmpeg decodes it: 0xRRGGBB by (x, y) from the top.
// Video 1 decodes to 5-5-5, which the still widens by shifting alone.
std::function<std::uint32_t(int, int)> Decoded(const std::string& film, int n, int width)
{
    const bool five = film == "MSV.AVI";
    const std::string raw = film + "." + std::to_string(n) + ".raw";
    EXPECT_EQ(Shell("cd " + Unix("") + " && ffmpeg -y -v error -i " + film + " -vf 'select=eq(n\\," + std::to_string(n) +
                    ")' -frames:v 1 -f rawvideo -pix_fmt " + (five ? "rgb555le " : "bgr24 ") + raw),
              0);
    auto bytes = std::make_shared<std::vector<BYTE>>(ReadBytes(Win(raw)));
    return [bytes, five, width](int x, int y) -> std::uint32_t {
        const size_t at = (static_cast<size_t>(y) * width + x) * (five ? 2 : 3);
        if (at + (five ? 1 : 2) >= bytes->size()) return 0xFF000000;
        if (five) {
            const unsigned v = (*bytes)[at] | (*bytes)[at + 1] << 8;
            return (v & 0x7C00) << 9 | (v & 0x3E0) << 6 | (v & 0x1F) << 3;
        }
        return (*bytes)[at + 2] << 16 | (*bytes)[at + 1] << 8 | (*bytes)[at];
    };
}

// Every pixel of a 4-bit picture of the program's resources.
std::function<std::uint32_t(int, int)> Picture(const std::string& file)
{
    auto dib = std::make_shared<std::vector<BYTE>>(ReadBytes(std::string(KV_SOURCE_DIR) + "/resources/" + file));
    return [dib](int x, int y) -> std::uint32_t {
        const auto* h = reinterpret_cast<const BITMAPINFOHEADER*>(dib->data());
        const BYTE* table = dib->data() + h->biSize;
        const BYTE pair = table[64 + (h->biHeight - 1 - y) * ((h->biWidth * 4 + 31) / 32 * 4) + x / 2];
        const BYTE* c = table + 4 * (x % 2 ? pair & 15 : pair >> 4);
        return c[2] << 16 | c[1] << 8 | c[0];
    };
}

std::vector<POINT> Area(int width, int height)
{
    std::vector<POINT> points;
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) points.push_back({x, y});
    return points;
}

HWND Part(HWND window, int id) { return GetDlgItem(GetDlgItem(window, kStrip), id); }
WORD Place(HWND window) { return GetWindowWord(Part(window, kSlider), 2); }
WORD Last(HWND window) { return GetWindowWord(Part(window, kSlider), 0); }
void Strip(HWND window, WORD code, WORD place = 0) { Send(window, WM_COMMAND, kStrip, MAKELPARAM(place, code)); }

TEST_F(Media, FilmStillsEqualTheDecodersFramesAtLoadAndAtAnySliderPlace)
{
    struct Case {
        const char* film;
        WORD last, frame;
    };
    const Case cases[] = {{"RAW.AVI", 9, 7}, {"PAL.AVI", 9, 4}, {"MSV.AVI", 9, 9}, {"ONE.AVI", 0, 0}};
    Session run;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.film);
        HWND window = run.OpenFile(Win(c.film));
        ASSERT_NE(window, nullptr);
        EXPECT_TRUE(Shows(window, Area(64, 48), Decoded(c.film, 0, 64)));
        EXPECT_EQ(Last(window), c.last);
        EXPECT_EQ(run.Attr(window, kAlias), kAtRest);
        Strip(window, 3, c.frame);
        EXPECT_TRUE(Shows(window, Area(64, 48), Decoded(c.film, c.frame, 64)));
    }
    // Colors work on the still; Save As copies the film itself.
    HWND window = run.Windows().front();
    run.Command(1281);
    EXPECT_TRUE(Within(3000, [&] { return (run.Attr(window, kFlags) & 0x45) == 0x41; }));
    run.Command(259);
    // The copy's dialog is the system's own: its name field is a combo box.
    HWND save = nullptr;
    ASSERT_TRUE(Within(8000, [&] { return (save = FindWindowA("#32770", "Save As")) != nullptr; }));
    Send(GetDlgItem(save, 1148), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(Win("COPY.AVI").c_str()));
    Answer(save, IDOK);
    EXPECT_TRUE(Within(5000, [&] { return ReadBytes(Win("COPY.AVI")) == ReadBytes(Win("ONE.AVI")); }));
    EXPECT_EQ(WindowText(window), "COPY.AVI");

    // The converter reads the first frame through the same services.
    ASSERT_TRUE(Convert("-t bmp RAW.AVI", Win("")));
    const std::vector<BYTE> bmp = ReadBytes(Win("RAW.BMP"));
    ASSERT_EQ(bmp.size(), 54u + 64 * 48 * 3);
    const auto frame0 = Decoded("RAW.AVI", 0, 64);
    for (int y = 0; y < 48; y++)
        for (int x = 0; x < 64; x++) {
            const BYTE* p = &bmp[54 + ((47 - y) * 64 + x) * 3];
            ASSERT_EQ(static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]), frame0(x, y)) << x << "," << y;
        }
}

TEST_F(Media, PlayAndStopLeaveTheFrameReachedAndPlayingResumesRestartsAndRunsApart)
{
    Session run;
    HWND first = run.OpenFile(Win("LONG.AVI"));
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(Last(first), 29);
    Strip(first, 1);
    const LONG_PTR alias = run.Attr(first, kAlias);
    EXPECT_NE(alias, kAtRest);
    EXPECT_FALSE(IsWindowEnabled(Part(first, kPlay)));
    EXPECT_TRUE(IsWindowEnabled(Part(first, kStop)));
    Sleep(1200);
    Strip(first, 2);
    ASSERT_TRUE(Within(5000, [&] { return run.Attr(first, kAlias) == kAtRest; }));
    const WORD reached = Place(first);
    EXPECT_GT(reached, 3);
    EXPECT_LT(reached, 29);
    EXPECT_TRUE(IsWindowEnabled(Part(first, kPlay)));
    EXPECT_FALSE(IsWindowEnabled(Part(first, kStop)));
    EXPECT_TRUE(Shows(first, Area(64, 48), Decoded("LONG.AVI", reached, 64)));

    // Resumed where it stopped, then run out: the last frame stays.
    Strip(first, 1);
    ASSERT_TRUE(Within(8000, [&] { return run.Attr(first, kAlias) == kAtRest; }));
    EXPECT_EQ(Place(first), 29);
    EXPECT_TRUE(Shows(first, Area(64, 48), Decoded("LONG.AVI", 29, 64)));

    // Played again from the end, it starts at 0; a second film with a blank
    // in its path plays beside it under the next alias.
    HWND second = run.OpenFile(Win("A B/LONG 2.AVI"));
    ASSERT_NE(second, nullptr);
    Strip(first, 1);
    Strip(second, 1);
    EXPECT_EQ(run.Attr(first, kAlias), alias + 2);
    EXPECT_EQ(run.Attr(second, kAlias), alias + 3);
    Sleep(600);
    Strip(first, 2);
    ASSERT_TRUE(Within(5000, [&] { return run.Attr(first, kAlias) == kAtRest; }));
    EXPECT_LT(Place(first), reached);
    ASSERT_TRUE(Within(8000, [&] { return run.Attr(second, kAlias) == kAtRest; }));
    EXPECT_EQ(Place(second), 29);
}

TEST_F(Media, SoundsShowTheirPictureAndPlayToTheNotificationOrReportWhyNot)
{
    struct Case {
        const char* file;
        const char* picture;
        const char* type;
        WORD last;
        int play;  // 0 runs out, 1 plays until stopped, 2 fails
    };
    // 1 s of sound is 1000 ms, the song a quarter of a second. Without a
    // synthesizer the sequencer opens but never ends; MCI opens no file that
    // isn't a sound.
    const Case cases[] = {{"TONE.WAV", "sound.dib", "Waveform", 999, 0},
                          {"SONG.MID", "music.dib", "MIDI", 249, 1},
                          {"BAD.WAV", "sound.dib", "Waveform", 0, 2}};
    Session run;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        HWND window = run.OpenFile(Win(c.file));
        ASSERT_NE(window, nullptr);
        EXPECT_TRUE(Shows(window, Area(96, 64), Picture(c.picture)));
        EXPECT_EQ(Last(window), c.last);
        const std::string size = std::to_string(ReadBytes(Win(c.file)).size());
        EXPECT_TRUE(Within(3000, [&] {
            return WindowText(GetDlgItem(run.frame, kLocalBar)).rfind(
                       std::string("Type: ") + c.type + ", File Size: " + size + ", Format: ", 0) == 0;
        })) << WindowText(GetDlgItem(run.frame, kLocalBar));
        Strip(window, 1);
        if (c.play < 2) {
            EXPECT_NE(run.Attr(window, kAlias), kAtRest);
            if (c.play == 1) {
                Sleep(1000);
                EXPECT_NE(run.Attr(window, kAlias), kAtRest);
                Strip(window, 2);
            }
            EXPECT_TRUE(Within(5000, [&] { return run.Attr(window, kAlias) == kAtRest; }));
            EXPECT_EQ(Place(window), c.play ? 0 : c.last);
        } else {
            HWND box = run.WaitForText("Play failed with the following error:\n");
            ASSERT_NE(box, nullptr);
            Answer(box, IDOK);
            EXPECT_EQ(run.Attr(window, kAlias), kAtRest);
        }
        EXPECT_TRUE(IsWindowEnabled(Part(window, kPlay)));
    }
}
}  // namespace
