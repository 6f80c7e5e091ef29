// Dialog 306, "System Info", and dialog 305, its lists. Shared by the
// resource script and the C++ code, so only #defines. The value controls
// carry the numbers the report reads them back by.
#pragma once

#define IDD_SYSINFO 306
#define IDD_SYSLIST 305

#define IDC_SYS_VERSION 10
#define IDC_SYS_PATH 11
#define IDC_SYS_SYSTEMPATH 12
#define IDC_SYS_MODE 13
#define IDC_SYS_MEMORYLOAD 20
#define IDC_SYS_PHYSICAL 21
#define IDC_SYS_PAGED 22
#define IDC_SYS_FREE 23
#define IDC_SYS_TASKS 30
#define IDC_SYS_WINDOWS 31
#define IDC_SYS_CODEPAGE 40
#define IDC_SYS_KEYBOARD 41
#define IDC_SYS_FUNCTIONDLLS 50
#define IDC_SYS_FORMATDLLS 51
#define IDC_SYS_CPU 60
#define IDC_SYS_MATH 61
#define IDC_SYS_TEMPDRIVE 70
#define IDC_SYS_EXEPATH 72
#define IDC_SYS_DEVICE 80
#define IDC_SYS_DEVSIZE 82
#define IDC_SYS_DEVRESOLUTION 83
#define IDC_SYS_DEVBITS 84
#define IDC_SYS_DEVPLANES 85
#define IDC_SYS_DEVBRUSHES 86
#define IDC_SYS_DEVCOLORS 87
#define IDC_SYS_DEVPALETTE 88
#define IDC_SYS_DEVRESERVED 89
#define IDC_SYS_DEVCOLORRES 90
#define IDC_SYS_DEVRASTER 91
#define IDC_SYS_MOUSE 110
#define IDC_SYS_DOUBLECLICK 111

#define IDC_SYS_FILE 293
#define IDC_SYS_PRINT 332
#define IDC_SYS_LISTTASKS 333
#define IDC_SYS_LISTFUNCTIONS 334
#define IDC_SYS_LISTFORMATS 335
#define IDC_SYS_SCREEN 342
#define IDC_SYS_PRINTER 343

#define IDC_SYSLIST_LIST 339
