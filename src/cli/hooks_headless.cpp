// Headless UI hooks: a message box becomes a line on stderr and an answer from
// the policy or the test script; the yield reports a pending SIGINT.
#include "cli/headless.h"
#include "platform/ui_hooks.h"

#include <csignal>
#include <cstdio>
#include <deque>

namespace {
int policy = IDNO;
bool echo = false;
std::string context;
std::deque<int> queued;
std::vector<HeadlessBox> boxes;
volatile sig_atomic_t stopRequested = 0;
int activeBits = 0;
bool interactive = false;

// Asks a question on the terminal; Enter alone or anything but y/yes is No.
int AskOnTerminal(const char* text, UINT flags)
{
    if (!context.empty()) fprintf(stderr, "%s: ", context.c_str());
    fprintf(stderr, "%s [y/N] ", text ? text : "");
    fflush(stderr);
    char line[64];
    bool yes = fgets(line, sizeof line, stdin) && (line[0] == 'y' || line[0] == 'Y');
    UINT type = flags & MB_TYPEMASK;
    if (type == MB_OKCANCEL) return yes ? IDOK : IDCANCEL;
    if (type == MB_ABORTRETRYIGNORE) return yes ? IDIGNORE : IDABORT;
    if (type == MB_RETRYCANCEL) return yes ? IDRETRY : IDCANCEL;
    return yes ? IDYES : IDNO;
}

// The button a box without a script answer gets, from its type and the policy.
int PolicyAnswer(UINT flags)
{
    bool yes = policy == IDYES || policy == IDOK;
    switch (flags & MB_TYPEMASK) {
    case MB_OKCANCEL: return yes ? IDOK : IDCANCEL;
    case MB_ABORTRETRYIGNORE: return yes ? IDIGNORE : IDABORT;
    case MB_YESNOCANCEL:
    case MB_YESNO: return yes ? IDYES : IDNO;
    case MB_RETRYCANCEL: return IDCANCEL;
    default: return IDOK;
    }
}
}  // namespace

void HDL_SetPolicy(int answer) { policy = answer; }
void HDL_QueueAnswer(int answer) { queued.push_back(answer); }
void HDL_SetEcho(bool on) { echo = on; }
void HDL_SetContext(const std::string& text) { context = text; }
const std::vector<HeadlessBox>& HDL_Boxes() { return boxes; }
void HDL_ClearBoxes() { boxes.clear(); }
void HDL_SetInteractive(bool on) { interactive = on; }
void HDL_SetActiveBits(int bits) { activeBits = bits; }
int UTL_ActiveImageBits() { return activeBits; }
void UTL_ScreenFacts(int* dpiX, int* dpiY, int* planes, int* bitsPixel)
{
    *dpiX = *dpiY = 96;
    *planes = 1;
    *bitsPixel = 32;
}
void HDL_RequestStop(bool stop) { stopRequested = stop ? 1 : 0; }

int UTL_MessageBox(HWND, LPCSTR text, LPCSTR caption, UINT flags)
{
    int answer;
    if (!queued.empty()) {
        answer = queued.front();
        queued.pop_front();
    } else if (interactive && (flags & MB_TYPEMASK) != MB_OK) {
        answer = AskOnTerminal(text, flags);
        boxes.push_back({text ? text : "", caption ? caption : "", flags, answer});
        return answer;
    } else {
        answer = PolicyAnswer(flags);
    }
    boxes.push_back({text ? text : "", caption ? caption : "", flags, answer});
    if (echo) {
        if (!context.empty()) fprintf(stderr, "%s: ", context.c_str());
        fprintf(stderr, "%s\n", text ? text : "");
    }
    return answer;
}

int UTL_Yield() { return stopRequested ? 0 : 1; }
