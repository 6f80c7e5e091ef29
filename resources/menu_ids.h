// Command ids of the frame's menu bar "FrameMenu" and of its accelerators.
// Shared by the resource script and the C++ code, so only #defines.
#pragma once

// Positions of the popups in the menu bar.
#define MENUPOS_FILE 0
#define MENUPOS_EDIT 1
#define MENUPOS_CAPTURE 2
#define MENUPOS_COLORS 3
// (MENUPOS_WINDOW is in korvanta_ids.h, beside the MDI client it serves.)
#define MENUPOS_HELP 5

// File
#define IDM_NEW 256
#define IDM_OPEN 257
#define IDM_SAVE 258
#define IDM_SAVEAS 259
#define IDM_BATCH 260
#define IDM_PRINT 261
#define IDM_PRINTSETUP 262
#define IDM_SETTINGS 263
#define IDM_EXIT 264
#define IDM_CLOSE 265
#define IDM_LASTFILES 272
#define IDM_LASTFILE_FIRST 273
#define IDM_IMAGEINFO 40003

// Edit
#define IDM_UNDO 512
#define IDM_CUT 513
#define IDM_COPY 514
#define IDM_PASTE 515
#define IDM_DELETE 516
#define IDM_PASTEPALETTE 517

// Capture: the five modes, then the options.
#define IDM_CAPTURE_ACTIVEWINDOW 768
#define IDM_CAPTURE_ACTIVEAPP 769
#define IDM_CAPTURE_SCREEN 770
#define IDM_CAPTURE_RECTANGLE 771
#define IDM_CAPTURE_UNDERMOUSE 772
#define IDM_CAPTURE_OPTIONS 773

// Colors: the colour flag, then one submenu per target depth.
#define IDM_COLOR 1280
#define IDM_GRAY 1281
#define IDM_MONO_FLAT 1809
#define IDM_MONO_FLATDITHER 1810
#define IDM_C16_INCREASE 1824
#define IDM_C16_FLAT 1825
#define IDM_C16_OPTIMIZED 1826
#define IDM_C16_FLATDITHER 1827
#define IDM_C16_OPTIMIZEDDITHER 1828
#define IDM_C256_INCREASE 1840
#define IDM_C256_FLAT 1841
#define IDM_C256_OPTIMIZED 1842
#define IDM_C256_FLATDITHER 1843
#define IDM_C256_OPTIMIZEDDITHER 1844
#define IDM_B16_INCREASE 1856
#define IDM_B16_FLAT 1857
#define IDM_B16_FLATDITHER 1858
#define IDM_B24_DECREASE 1872
#define IDM_B24_INCREASE 1873
#define IDM_B32_OPAQUE 1878
#define IDM_B32_TRANSPARENT 1879

// Window
#define IDM_TILE 2305
#define IDM_CASCADE 2306
#define IDM_CLOSEALL 2307
#define IDM_ARRANGE 2308

// Help
#define IDM_HELPINDEX 2560
#define IDM_HELPUSING 2561
#define IDM_SYSINFO 2562
#define IDM_ABOUT 2563
