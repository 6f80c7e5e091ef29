// Films and sounds through the platform's real AVIFile and MCI: each still equals ffmpeg's
// decode of the frame, pixel by pixel, and the play strip drives MCI to its notifications.
#include "driver.h"

using namespace kvgui;

namespace {
const int kStrip = 341, kPlay = 200, kStop = 201, kSlider = 202, kLocalBar = 0x1235;
const LONG kFlags = 0, kAlias = 40;
const LONG_PTR kAtRest = 0xFFFF;
using Pixels = std::function<std::uint32_t(int, int)>;
// The films and sounds lie in a folder of this run, made on the Unix side.
const std::string kUnix = "/tmp/kv_media_" + std::to_string(GetCurrentProcessId());
std::string Win(const std::string& name) { return WindowsPath(kUnix + "/" + name); }

// A shell command's status in the folder, -1 on timeout.
int Shell(const std::string& command) { return RunUnix("cd " + kUnix + " && (" + command + ")", 60000); }

class Media : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string film = "ffmpeg -v error -f lavfi -i testsrc=size=64x48:rate=";
        CreateDirectoryA(Win("").c_str(), nullptr);
        ASSERT_EQ(Shell(film + "5 -t 2 -c:v rawvideo -pix_fmt bgr24 RAW.AVI && " + film +
                        "5 -t 2 -c:v rawvideo -pix_fmt pal8 PAL.AVI && " + film + "5 -t 2 -c:v msvideo1 MSV.AVI && " +
                        film + "5 -frames:v 1 -c:v rawvideo ONE.AVI && " + film +
                        "10 -t 3 -c:v rawvideo LONG.AVI && mkdir 'A B' && cp LONG.AVI 'A B/LONG 2.AVI' && " +
                        "sox -n -r 22050 -c 1 TONE.WAV synth 1 sine 440 && printf 'no sound' >BAD.WAV"),
                  0);
        // One track: middle C for a quarter of a second.
        const char song[] = "MThd\0\0\0\6\0\0\0\1\0\x60MTrk\0\0\0\x0C\0\x90\x3C\x64\x30\x80\x3C\0\0\xFF\x2F\0";
        ASSERT_TRUE(WriteBytes(Win("SONG.MID"), std::vector<BYTE>(song, song + sizeof song - 1)));
    }
    static void TearDownTestSuite() { Shell("rm -rf " + kUnix); }
};

// Frame n as ffmpeg decodes it; Video 1 decodes to 5-5-5, which the still widens by shifting alone.
Pixels Decoded(const std::string& film, int n)
{
    const bool five = film == "MSV.AVI";
    const std::string raw = film + std::to_string(n);
    EXPECT_EQ(Shell("ffmpeg -y -v error -i " + film + " -vf 'select=eq(n\\," + std::to_string(n) +
                    ")' -frames:v 1 -f rawvideo -pix_fmt " + (five ? "rgb555le " : "bgr24 ") + raw),
              0);
    auto bytes = std::make_shared<std::vector<BYTE>>(ReadBytes(Win(raw)));
    bytes->resize(64 * 48 * 3);
    return [bytes, five](int x, int y) -> std::uint32_t {
        const BYTE* p = bytes->data() + (y * 64 + x) * (five ? 2 : 3);
        const unsigned v = p[0] | p[1] << 8;
        return five ? (v & 0x7C00) << 9 | (v & 0x3E0) << 6 | (v & 0x1F) << 3 : p[2] << 16 | p[1] << 8 | p[0];
    };
}

// A 4-bit picture of the program's resources.
Pixels Picture(const std::string& file)
{
    auto dib = std::make_shared<std::vector<BYTE>>(ReadBytes(std::string(KV_SOURCE_DIR) + "/resources/" + file));
    return [dib](int x, int y) -> std::uint32_t {
        const BYTE pair = (*dib)[104 + (63 - y) * 48 + x / 2];
        const BYTE* c = dib->data() + 40 + 4 * (x % 2 ? pair & 15 : pair >> 4);
        return c[2] << 16 | c[1] << 8 | c[0];
    };
}

::testing::AssertionResult Still(HWND window, int width, int height, const Pixels& pixels)
{
    std::vector<POINT> points;
    for (int i = 0; i < width * height; i++) points.push_back({i % width, i / width});
    return Shows(window, points, pixels);
}

HWND Part(HWND window, int id) { return GetDlgItem(GetDlgItem(window, kStrip), id); }
WORD Place(HWND window) { return GetWindowWord(Part(window, kSlider), 2); }
WORD Last(HWND window) { return GetWindowWord(Part(window, kSlider), 0); }
void Strip(HWND window, WORD code, WORD place = 0) { Send(window, WM_COMMAND, kStrip, MAKELPARAM(place, code)); }

TEST_F(Media, FilmStillsEqualTheDecodersFramesAtLoadAndAtAnySliderPlace)
{
    struct Case { const char* film; WORD last, frame; };
    const Case cases[] = {{"RAW.AVI", 9, 7}, {"PAL.AVI", 9, 4}, {"MSV.AVI", 9, 9}, {"ONE.AVI", 0, 0}};
    Session run;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.film);
        HWND window = run.OpenFile(Win(c.film));
        ASSERT_NE(window, nullptr);
        EXPECT_TRUE(Still(window, 64, 48, Decoded(c.film, 0)));
        EXPECT_EQ(Last(window), c.last);
        Strip(window, 3, c.frame);
        EXPECT_TRUE(Still(window, 64, 48, Decoded(c.film, c.frame)));
    }
    // Colors work on the still; Save As copies the film, in the system's own dialog.
    HWND window = run.Windows().front(), save = nullptr;
    run.Command(1281);
    EXPECT_TRUE(Within(3000, [&] { return (run.Attr(window, kFlags) & 0x45) == 0x41; }));
    run.Command(259);
    ASSERT_TRUE(Within(8000, [&] { return (save = FindWindowA("#32770", "Save As")) != nullptr; }));
    Send(GetDlgItem(save, 1148), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(Win("COPY.AVI").c_str()));
    Answer(save, IDOK);
    EXPECT_TRUE(Within(5000, [&] { return ReadBytes(Win("COPY.AVI")) == ReadBytes(Win("ONE.AVI")); }));
    EXPECT_EQ(WindowText(window), "COPY.AVI");

    // The converter reads the first frame through the same services: the pixels of ffmpeg's BMP.
    ASSERT_TRUE(Convert("-t bmp RAW.AVI", Win("")));
    ASSERT_EQ(Shell("ffmpeg -v error -i RAW.AVI -frames:v 1 REF.BMP"), 0);
    const std::vector<BYTE> got = ReadBytes(Win("RAW.BMP")), want = ReadBytes(Win("REF.BMP"));
    ASSERT_TRUE(got.size() == 54 + 9216 && want.size() >= 9216);
    EXPECT_TRUE(std::equal(got.begin() + 54, got.end(), want.end() - 9216));
}

TEST_F(Media, PlayAndStopLeaveTheFrameReachedAndPlayingResumesRestartsAndRunsApart)
{
    Session run;
    HWND first = run.OpenFile(Win("LONG.AVI"));
    ASSERT_NE(first, nullptr);
    Strip(first, 1);
    const LONG_PTR alias = run.Attr(first, kAlias);
    EXPECT_NE(alias, kAtRest);
    EXPECT_TRUE(!IsWindowEnabled(Part(first, kPlay)) && IsWindowEnabled(Part(first, kStop)));
    Sleep(1200);
    Strip(first, 2);
    ASSERT_TRUE(Within(5000, [&] { return run.Attr(first, kAlias) == kAtRest; }));
    const WORD reached = Place(first);
    EXPECT_TRUE(reached > 3 && reached < 29) << reached;
    EXPECT_TRUE(IsWindowEnabled(Part(first, kPlay)) && !IsWindowEnabled(Part(first, kStop)));
    EXPECT_TRUE(Still(first, 64, 48, Decoded("LONG.AVI", reached)));

    // Resumed where it stopped, then run out: the last frame stays.
    Strip(first, 1);
    ASSERT_TRUE(Within(8000, [&] { return run.Attr(first, kAlias) == kAtRest; }));
    EXPECT_EQ(Place(first), 29);
    EXPECT_TRUE(Still(first, 64, 48, Decoded("LONG.AVI", 29)));

    // Played again from the end it starts at 0; a film with a blank in its path plays beside it.
    HWND second = run.OpenFile(Win("A B/LONG 2.AVI"));
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
    // play: 0 runs out, 1 plays until stopped, 2 fails. 1 s of sound is 1000 ms; without a
    // synthesizer the sequencer opens but never ends.
    struct Case { const char *file, *picture, *type; WORD last; int play; };
    const Case cases[] = {{"TONE.WAV", "sound.dib", "Waveform", 999, 0},
                          {"SONG.MID", "music.dib", "MIDI", 249, 1},
                          {"BAD.WAV", "sound.dib", "Waveform", 0, 2}};
    Session run;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        HWND window = run.OpenFile(Win(c.file)), bar = GetDlgItem(run.frame, kLocalBar);
        ASSERT_NE(window, nullptr);
        EXPECT_TRUE(Still(window, 96, 64, Picture(c.picture)));
        EXPECT_EQ(Last(window), c.last);
        const std::string line = std::string("Type: ") + c.type + ", File Size: " +
                                 std::to_string(ReadBytes(Win(c.file)).size()) + ", Format: ";
        EXPECT_TRUE(Within(3000, [&] { return WindowText(bar).rfind(line, 0) == 0; })) << WindowText(bar);
        Strip(window, 1);
        if (c.play == 2) {
            HWND box = run.WaitForText("Play failed with the following error:\n");
            ASSERT_NE(box, nullptr);
            Answer(box, IDOK);
        } else {
            EXPECT_NE(run.Attr(window, kAlias), kAtRest);
            if (c.play == 1 && (Sleep(1000), run.Attr(window, kAlias) != kAtRest)) Strip(window, 2);
            EXPECT_TRUE(Within(5000, [&] { return run.Attr(window, kAlias) == kAtRest; }));
            EXPECT_EQ(Place(window), c.play ? 0 : c.last);
        }
        EXPECT_EQ(run.Attr(window, kAlias), kAtRest);
        EXPECT_TRUE(IsWindowEnabled(Part(window, kPlay)));
    }
}
}  // namespace
