// Screen capture rules that need no window: the mode bits, the numbered file
// names, the digits of a typed number and the rectangle arithmetic.
#pragma once

#include "platform/win32.h"

// What is captured (low byte of the mode) and where it goes (bits 8 to 10).
enum CaptureKind { CAPK_WINDOW = 1, CAPK_APPLICATION = 2, CAPK_SCREEN = 4, CAPK_RECTANGLE = 8, CAPK_UNDERMOUSE = 16 };
enum CaptureDestination { CAPD_FILE = 256, CAPD_CLIPBOARD = 512, CAPD_WINDOW = 1024, CAPD_MASK = 0x700 };
// The mode of a first start: the active application to the clipboard.
const LONG CAP_DefaultMode = CAPK_APPLICATION | CAPD_CLIPBOARD;
const int CAP_NameRoom = 255;

// The kind a Capture menu command (768 to 772) arms; 0 for any other command.
int CAP_KindOfCommand(UINT commandId);
// The menu command of a mode's kind; 0 when the low byte is no kind.
UINT CAP_CommandOfMode(LONG mode);
// A stored mode as it is used: one whose low byte is no kind becomes the default.
LONG CAP_CheckedMode(LONG mode);
// The mode as stored: whole when all options are kept, else its kind to the clipboard.
LONG CAP_StoredMode(LONG mode, int saveAll);

// The name of a capture file from the base name: without numbering the base
// as it is, with "." and extension added when it holds no dot; with
// numbering the part before the first dot, then the number at digits digits
// with leading zeros, then the dot and what follows it (or "." and
// extension). upper makes the result upper case. 0 when it doesn't fit size.
int CAP_FileName(LPCSTR base, int numbered, LONG number, int digits, LPCSTR extension, int upper, LPSTR out,
                 int size);

// What happens once the number has been used.
enum CaptureIndexStep { CAPI_NONE, CAPI_NOTICE_RESET, CAPI_ASK_RESET };
// Adds 1 to *number. When it reaches 10 to the power of digits: with 8 digits
// the number becomes 0 and CAPI_NOTICE_RESET comes back; with fewer the
// caller asks (CAPI_ASK_RESET) and applies the answer with CAP_AnswerReset.
int CAP_NextNumber(LONG* number, int digits);
// Yes: the number starts from 0 again; no: one digit more, counting on.
void CAP_AnswerReset(int yes, LONG* number, int* digits);

// A number typed with its leading zeros: its value, and the digits it was
// typed with, held to 1 to 8.
void CAP_ReadNumber(LPCSTR text, LONG* number, int* digits);

// The part of a screen of the given size that a grab at x, y takes: negative
// x or y become 0 and the size stays; the size is cut at the screen's edges.
void CAP_FitRect(int screenWidth, int screenHeight, int* x, int* y, int* width, int* height);
// A drag made square: the corner moves to the anchor minus the larger of the
// two distances in each axis, keeping the direction of each.
POINT CAP_SquareCorner(POINT anchor, POINT corner);
// The two corners of a drag sorted into a rectangle; 0 when it is empty in
// width or height.
int CAP_SortCorners(POINT a, POINT b, RECT* rect);
