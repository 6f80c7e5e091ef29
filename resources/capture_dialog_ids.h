// Dialog 302, "Capture Options", and its controls. Shared by the resource
// script and the C++ code, so only #defines.
#pragma once

#define IDD_CAPTURE_OPTIONS 302

#define IDC_CAP_HOTKEY 256
#define IDC_CAP_FILENAME 258
#define IDC_CAP_FILEGROUP 269
#define IDC_CAP_FILELABEL 270
#define IDC_CAP_CONTENTS 289
#define IDC_CAP_WHOLEWINDOW 290
#define IDC_CAP_INCREMENT 291
#define IDC_CAP_TOCLIPBOARD 292
#define IDC_CAP_TOFILE 293
#define IDC_CAP_FORMAT 295
#define IDC_CAP_NUMBER 325
#define IDC_CAP_PREVIEW 326
#define IDC_CAP_TOWINDOW 330
#define IDC_CAP_ALT 340
#define IDC_CAP_CTRL 341
#define IDC_CAP_STATIC -1
