// The application's globals and its start-up operations: process entry,
// registration of the window classes, creation of the frame, the main loop
// and the shutdown.
#pragma once

#include "platform/win32.h"

// The program's name: the frame's title and what a second instance looks for.
inline constexpr char MAI_ProgramName[] = "Korvanta";
inline constexpr char MAI_FrameClassName[] = "FrameClass";

extern HINSTANCE MAI_Instance;   // the process's module handle
extern HWND MAI_Frame;           // the FrameClass window
extern HWND MAI_Client;          // the MDI client inside it
extern HWND MAI_Active;          // the active image window, 0 when none (or not an image window)
extern HACCEL MAI_Accel;         // accelerator table 500

// Facts about the screen and the system, read once at start-up.
extern unsigned short MAI_ScreenBitsPixel;  // BITSPIXEL
extern unsigned short MAI_ScreenPlanes;     // PLANES
extern unsigned short MAI_ScreenWidth;      // HORZRES
extern unsigned short MAI_ScreenHeight;     // VERTRES
extern unsigned short MAI_WinVersion;       // low word of GetVersion
// The screen's bits per pixel times its planes.
inline int MAI_ScreenBits() { return MAI_ScreenBitsPixel * MAI_ScreenPlanes; }

// Font faces and the character set of every font the program makes.
const int MAI_FontNameSize = 32;
extern char MAI_SerifFont[MAI_FontNameSize];   // "Tms Rmn", or its replacement
extern char MAI_SansFont[MAI_FontNameSize];    // "Helv", or its replacement
extern char MAI_DialogFont[MAI_FontNameSize];  // "MS Sans Serif", or its replacement
extern BYTE MAI_CharSet;

// Drive (1 for A) and folder where the process was started, and the
// program's own folder, made current again before the help file is opened.
const int MAI_FolderSize = 260;
extern int MAI_StartDrive;
extern char MAI_StartDir[MAI_FolderSize];
extern int MAI_HomeDrive;
extern char MAI_HomeDir[MAI_FolderSize];

// Initialises the program; non-zero to enter the main loop, 0 to end at once.
int MAI_InitInstance(HINSTANCE instance, HINSTANCE previous, LPSTR commandLine, int showState);

// Registers the program's window classes; 0 on any failure.
int MAI_RegisterClasses();

// Creates and shows the frame with its MDI client and loads the accelerators;
// 0 when the frame, the client or the accelerators are missing.
int MAI_CreateFrame(LPCSTR fileName, int showState);

// Opens the file named on the command line, if any: a missing file is
// reported, an unknown extension opens nothing and says nothing. Always 1.
int MAI_LoadCommandFile(LPCSTR fileName);

// Runs the message loop until WM_QUIT.
void MAI_MessageLoop();

// After the loop or at the end of the session: frees the format table and
// writes the current load and save formats and every other changed setting.
void MAI_Shutdown();

// Font sizes: mode 0 the value itself, 1 dialog units (value times the
// height of the dialog base unit / 8), 2 points (value times LOGPIXELSX / 72,
// negated, as a font height).
int MAI_PixelsFromUnits(int value, int mode);

// The localisation overrides of the font faces: a non-empty text replaces
// face; the character set by its name ("ANSI" 0, "SYMBOL" 2, "SHIFTJIS" 128,
// "OEM" 255, exact), -1 for any other name.
void MAI_OverrideFace(LPSTR face, LPCSTR text);
int MAI_CharSetFromName(LPCSTR name);
