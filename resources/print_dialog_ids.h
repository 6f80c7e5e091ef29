// Ids of the print dialog template "PRINTDLG" and the progress dialog "PRTDLG".
// The print dialog's ids are those the common print dialog gives its own
// controls (the page-range radios and fields carry the size choices here).
#pragma once

// The common dialog's own controls.
#define IDC_PRINT_PRINTER 1139      // printer list
#define IDC_PRINT_QUALITY 1136      // print quality list
#define IDC_PRINT_TOFILE 1040       // "Print to Fi&le"
#define IDC_PRINT_COLLATE 1041      // "Collate Cop&ies"
#define IDC_PRINT_SETUP 1025        // "&Setup..."
#define IDC_PRINT_HELP 1038         // "&Help"
#define IDC_PRINT_FROMPAGE 1152     // page range, out of sight, both "1"
#define IDC_PRINT_TOPAGE 1153
#define IDC_PRINT_COPIES 1154
// The program's size fields.
#define IDC_PRINT_FULLSIZE 1056
#define IDC_PRINT_PERCENTRADIO 1057
#define IDC_PRINT_ASPECT 1058
#define IDC_PRINT_WIDTHLABEL 1089
#define IDC_PRINT_HEIGHTLABEL 1090
#define IDC_PRINT_PERCENT 1155
#define IDC_PRINT_WIDTH 1156
#define IDC_PRINT_HEIGHT 1157

// The progress dialog: the bar, 100 by 12 pixels.
#define IDC_PRTDLG_BAR 257
#define IDC_PRTDLG_FROM 258  // its labels, "0" and "100"
#define IDC_PRTDLG_TO 259
