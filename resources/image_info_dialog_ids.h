// Dialog 102, "Image Information", and its controls. Shared by the resource
// script and the C++ code, so only #defines.
#pragma once

#define IDD_IMAGEINFO 102

#define IDC_INFO_FILE 1201
#define IDC_INFO_TYPE 1202
#define IDC_INFO_WIDTH 1203
#define IDC_INFO_HEIGHT 1204
#define IDC_INFO_BITS 1205
#define IDC_INFO_SIZE 1206
#define IDC_INFO_FILESIZE 1207
#define IDC_INFO_RATIO 1208
#define IDC_INFO_LUMINANCE 1209
#define IDC_INFO_CHROMINANCE 1210
#define IDC_INFO_SUBSAMPLING 1211
#define IDC_INFO_COMMENT 1212
