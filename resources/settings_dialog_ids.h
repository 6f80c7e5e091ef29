// Dialog 304, "Settings", and its controls. Shared by the resource script
// and the C++ code, so only #defines.
#pragma once

#define IDD_SETTINGS 304

// TIFF compression combos, one per depth.
#define IDC_SET_TIFF_MONO 304
#define IDC_SET_TIFF_16COLORS 305
#define IDC_SET_TIFF_256COLORS 306
#define IDC_SET_TIFF_16BIT 307
#define IDC_SET_TIFF_24BIT 308
// Save As colour reduction.
#define IDC_SET_FLATCUT 309
#define IDC_SET_OPTIMIZEDCUT 310
#define IDC_SET_SAVEDITHER 311
#define IDC_SET_WARNCOLORLOSS 312
#define IDC_SET_KEEPUNDO 324
#define IDC_SET_SCREENBITMAPS 327
#define IDC_SET_STATUSBARS 328
#define IDC_SET_STARTUP 331
#define IDC_SET_COLORMATCH 336
#define IDC_SET_DITHERTYPE 337
#define IDC_SET_ALPHADISPLAY 346
#define IDC_SET_THUMBNAILS 1018
#define IDC_SET_THUMBNAILSETTINGS 4121
// Read at OK although the dialog has no such controls: metafile_pal's check
// box and metafile_size's edit field.
#define IDC_SET_METAFILEPAL 338
#define IDC_SET_METAFILESIZE 318

// Labels and group boxes.
#define IDC_SET_STATIC -1
