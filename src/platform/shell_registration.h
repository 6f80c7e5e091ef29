// Shell registration: ties file extensions to the program for the current
// user, so that the desktop opens those files with it.
//
// On Windows everything goes under HKEY_CURRENT_USER\Software\Classes:
//   <app>                       default value <app>
//   <app>\CLSID                 the class id text
//   <app>\DefaultIcon           "<path>,-401" (the image windows' icon)
//   <app>\shell\open\command    "\"<path>\" %1"  (flag 1; the command line
//                               takes the rest of the line as the file name)
//   .<ext>                      default value <app> when it had none, so an
//                               association the user chose is kept
//   .<ext>\OpenWithProgids      value <app>, which offers the program in "Open with"
// Values that already hold what would be written are left alone; when
// anything changed, the shell is told that associations changed.
// Other systems have no such registry: the operations succeed and only
// remember the extensions (REG_LastRegistered).
#pragma once

#include "platform/win32.h"

struct ShellRegistration;
typedef ShellRegistration* HREGAPP;

// Flag of REG_OpenApp: register the open command with the executable's path.
const int REG_OPEN_COMMAND = 1;

// Begins the registration of an application; non-zero on success, the handle in *reg.
int REG_OpenApp(HREGAPP* reg, LPCSTR app, LPCSTR executable, LPCSTR classId, int flags);
// Ties extension (without its dot) to the application.
void REG_AddExtension(HREGAPP reg, LPCSTR extension, LPCSTR app);
// Ends the registration and frees the handle.
void REG_CloseApp(HREGAPP reg);

// The extensions of the last finished registration, in order, separated by blanks.
LPCSTR REG_LastRegistered();

// For tests on Windows: a key path under HKEY_CURRENT_USER that takes the
// place of "Software\Classes"; null restores it.
void REG_SetLocation(LPCSTR keyPath);
