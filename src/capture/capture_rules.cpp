// Screen capture rules that need no window: mode bits, numbered names,
// typed numbers and the rectangle arithmetic of a grab and a drag.
#include "capture/capture_rules.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
const int kKinds[] = {CAPK_WINDOW, CAPK_APPLICATION, CAPK_SCREEN, CAPK_RECTANGLE, CAPK_UNDERMOUSE};
const UINT kFirstCommand = 768;
}  // namespace

int CAP_KindOfCommand(UINT commandId)
{
    const UINT i = commandId - kFirstCommand;
    return i < sizeof kKinds / sizeof kKinds[0] ? kKinds[i] : 0;
}

UINT CAP_CommandOfMode(LONG mode)
{
    for (UINT i = 0; i < sizeof kKinds / sizeof kKinds[0]; i++)
        if ((mode & 0xFF) == kKinds[i]) return kFirstCommand + i;
    return 0;
}

LONG CAP_CheckedMode(LONG mode) { return CAP_CommandOfMode(mode) ? mode : CAP_DefaultMode; }

LONG CAP_StoredMode(LONG mode, int saveAll) { return saveAll ? mode : (mode & 0xFF) | CAPD_CLIPBOARD; }

int CAP_FileName(LPCSTR base, int numbered, LONG number, int digits, LPCSTR extension, int upper, LPSTR out,
                 int size)
{
    if (size <= 0) return 0;
    out[0] = 0;
    const char* dot = strchr(base, '.');
    int written;
    if (!numbered) {
        written = dot ? snprintf(out, size, "%s", base) : snprintf(out, size, "%s.%s", base, extension);
    } else {
        const int stem = dot ? static_cast<int>(dot - base) : static_cast<int>(strlen(base));
        written = dot ? snprintf(out, size, "%.*s%.*ld%s", stem, base, digits, static_cast<long>(number), dot)
                      : snprintf(out, size, "%.*s%.*ld.%s", stem, base, digits, static_cast<long>(number), extension);
    }
    // A name that doesn't fit would name some other file.
    if (written < 0 || written >= size) {
        out[0] = 0;
        return 0;
    }
    if (upper) CharUpperBuffA(out, static_cast<DWORD>(written));
    return 1;
}

int CAP_NextNumber(LONG* number, int digits)
{
    ++*number;
    LONG limit = 1;
    for (int i = 0; i < digits && i < 9; i++) limit *= 10;
    if (*number != limit) return CAPI_NONE;
    if (digits >= 8) {
        *number = 0;
        return CAPI_NOTICE_RESET;
    }
    return CAPI_ASK_RESET;
}

void CAP_AnswerReset(int yes, LONG* number, int* digits)
{
    if (yes)
        *number = 0;
    else
        ++*digits;
}

void CAP_ReadNumber(LPCSTR text, LONG* number, int* digits)
{
    const int length = static_cast<int>(strlen(text));
    *digits = length < 1 ? 1 : length > 8 ? 8 : length;
    *number = strtol(text, nullptr, 10);
}

void CAP_FitRect(int screenWidth, int screenHeight, int* x, int* y, int* width, int* height)
{
    if (*x < 0) *x = 0;
    if (*y < 0) *y = 0;
    // Compared in 64 bits so that a huge size can't wrap round.
    if (static_cast<long long>(*x) + *width > screenWidth) *width = screenWidth - *x;
    if (static_cast<long long>(*y) + *height > screenHeight) *height = screenHeight - *y;
    if (*width < 0) *width = 0;
    if (*height < 0) *height = 0;
}

POINT CAP_SquareCorner(POINT anchor, POINT corner)
{
    const long dx = static_cast<long>(anchor.x) - corner.x;
    const long dy = static_cast<long>(anchor.y) - corner.y;
    const long m = labs(dx) > labs(dy) ? labs(dx) : labs(dy);
    POINT square;
    square.x = static_cast<LONG>(anchor.x - (dx < 0 ? -m : m));
    square.y = static_cast<LONG>(anchor.y - (dy < 0 ? -m : m));
    return square;
}

int CAP_SortCorners(POINT a, POINT b, RECT* rect)
{
    rect->left = a.x < b.x ? a.x : b.x;
    rect->right = a.x < b.x ? b.x : a.x;
    rect->top = a.y < b.y ? a.y : b.y;
    rect->bottom = a.y < b.y ? b.y : a.y;
    return rect->right != rect->left && rect->bottom != rect->top;
}
