// Dialogs 300 (the bar shown during a run) and 301 ("Batch"), their controls
// and the two marks of the list's rows. Shared by the resource script and the
// C++ code, so only #defines.
#pragma once

#define IDD_BATCHSTATUS 300
#define IDD_BATCH 301

// The bar's one text.
#define IDC_BAT_RUNNING 257

// Dialog 301.
#define IDC_BAT_ACCEPT 1     // BitmapButton "Check": accept the edit (also Enter)
#define IDC_BAT_DROP 2       // BitmapButton "Cancel": drop the edit (also Escape)
#define IDC_BAT_EDIT 258     // the output name under edit
#define IDC_BAT_DIRTEXT 269  // the current directory
#define IDC_BAT_OUTHEAD 270  // "Output:" over the right column
#define IDC_BAT_INFORMAT 294
#define IDC_BAT_OUTFORMAT 295
#define IDC_BAT_TARGET 296
#define IDC_BAT_DIRS 298
#define IDC_BAT_FILES 299
#define IDC_BAT_FLATCUT 309
#define IDC_BAT_OPTIMIZED 310
#define IDC_BAT_DITHER 311
#define IDC_BAT_COLOR 313
#define IDC_BAT_GRAY 314
#define IDC_BAT_COMPRESS 315
#define IDC_BAT_RUN 320
#define IDC_BAT_CANCEL 321
#define IDC_BAT_ALL 329      // BitmapButton "Deselt" / "Select"
#define IDC_BAT_OUTDIR 347
#define IDC_BAT_THUMBNAILS 1018
#define IDC_BAT_SETTINGS 4121

// The marks of a selected and of an unselected row.
#define IDB_BAT_SELECTED 600
#define IDB_BAT_UNSELECTED 601
