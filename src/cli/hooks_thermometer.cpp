// The headless thermometer: the same state and paint step as the window, drawn
// as a bar on stderr when stderr is a terminal and the bar is wanted, silent
// otherwise. Every call that changes it is recorded for the tests.
#include "cli/headless.h"
#include "platform/thermometer.h"

#include <cstdio>
#include <string>
#ifdef _WIN32
#include <io.h>
#define KV_ISATTY(fd) _isatty(fd)
#else
#include <unistd.h>
#define KV_ISATTY(fd) isatty(fd)
#endif

namespace {
const LONG kBarWidth = 100;    // the recorded fill is out of this
const int kTerminalColumns = 40;

bool barWanted = true;
bool isOpen = false;
bool printed = false;  // a bar line stands on the terminal
std::string caption;
WORD low = 0, high = 0, position = 0;
bool fullPaint = false;
std::vector<std::string> calls;

bool OnTerminal() { return barWanted && isOpen && KV_ISATTY(2); }

// Keeps the most recent calls only, so that a long batch run does not grow it.
void Record(const std::string& line)
{
    if (calls.size() >= 4096) calls.erase(calls.begin(), calls.begin() + 2048);
    calls.push_back(line);
}

// Draws the terminal line: caption, bar and percentage, over the last one.
void Draw(LONG fill)
{
    if (!OnTerminal()) return;
    int columns = static_cast<int>(fill * kTerminalColumns / kBarWidth);
    if (columns < 0) columns = 0;
    if (columns > kTerminalColumns) columns = kTerminalColumns;
    std::string bar(static_cast<size_t>(columns), '#');
    bar.append(static_cast<size_t>(kTerminalColumns - columns), '.');
    fprintf(stderr, "\r%s [%s] %3ld%%", caption.c_str(), bar.c_str(), static_cast<long>(fill));
    fflush(stderr);
    printed = true;
}

// The paint step: nothing for an unchanged position; 0xFFFF is a full paint
// at the present position.
void Paint(WORD p)
{
    if (p == position) return;
    if (p == TRM_FullPaintPosition) {
        fullPaint = true;
        p = position;
    }
    position = p;
    LONG fill = TRM_BarFill(kBarWidth, low, high, position);
    Record(std::string(fullPaint ? "paint " : "update ") + std::to_string(position) + " " + std::to_string(fill));
    fullPaint = false;
    Draw(fill);
}
}  // namespace

void HDL_SetProgressBar(bool on) { barWanted = on; }
const std::vector<std::string>& HDL_ThermometerCalls() { return calls; }
void HDL_ClearThermometerCalls() { calls.clear(); }

HWND TRM_Owner() { return nullptr; }

void TRM_Open(HWND, LPCSTR text)
{
    low = high = position = 0;
    caption = text ? text : "";
    isOpen = true;
    printed = false;
    Record("open " + caption);
}

void TRM_SetRange(WORD newLow, WORD newHigh)
{
    low = newLow;
    high = newHigh;
    position = newLow;
    Record("range " + std::to_string(newLow) + " " + std::to_string(newHigh));
}

void TRM_Update(WORD p) { Paint(p); }

void TRM_SetText(LPCSTR text)
{
    caption = text ? text : "";
    Record("text " + caption);
    Paint(TRM_FullPaintPosition);
}

void TRM_Close()
{
    if (printed && KV_ISATTY(2)) fputc('\n', stderr);
    printed = false;
    isOpen = false;
    caption.clear();
    Record("close");
}
