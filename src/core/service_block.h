// The frame's numbered services: window messages from 5684 (WM_USER + 4660)
// whose lParam points to a ServiceBlock, and the CoreMemObject mapping through
// which a second instance hands its file name to the first.
#pragma once

#include "platform/win32.h"

#include <cstddef>

const UINT SVC_First = 0x400 + 4660;  // message of item 0
const int SVC_LastItem = 77;
// The message of a service item.
inline UINT SVC_Message(int item) { return SVC_First + static_cast<UINT>(item); }

// Service items the core answers itself.
enum ServiceItem {
    SVC_GET_ATTR = 0,
    SVC_SET_ATTR = 1,
    SVC_TEST_FLAG = 2,
    SVC_SET_FLAG = 3,
    SVC_GET_DIB = 4,
    SVC_GET_BITMAP = 5,
    SVC_GET_PALETTE = 6,
    SVC_COPY_DIB = 7,
    SVC_COPY_BITMAP = 8,
    SVC_COPY_PALETTE = 9,
    SVC_ATTACH_DIB = 10,
    SVC_SET_IMAGE = 11,
    SVC_NOTHING = 13,
    SVC_TRM_SET_RANGE = 14,
    SVC_TRM_OPEN = 15,
    SVC_TRM_SET_TEXT = 16,
    SVC_TRM_UPDATE = 17,
    SVC_TRM_CLOSE = 18,
    SVC_VERSION = 20,
    SVC_INF_PROGRESS = 21,
    SVC_INF_SET_VALUE = 22,
    SVC_INF_SET_TEXT = 23,
    SVC_INF_STEP = 24,
    SVC_INF_SET_VALUE_2 = 25,
    SVC_INF_INVALIDATE = 26,
    SVC_REGISTER_FORMAT = 27,
    SVC_NEW_WINDOW = 28,
    SVC_STATUS_TEXT = 29,
    SVC_CLIENT = 30,
    SVC_OPEN_FILE = 31,
    SVC_BATCH_ACTIVE = 32,
    SVC_ACTIVE = 33,
    SVC_PAINT = 35,
    SVC_SET_ABORT = 36,
    SVC_FIT = 37,
    SVC_LOAD = 38,
    SVC_FROM_ID = 39,
    SVC_GET_ID = 40,
    SVC_OPTIMIZED_CUT = 41,
    SVC_BATCH_SESSION = 42,
    SVC_FLAT_CUT = 43,
    SVC_FLAT_CUT_DITHER = 44,
    SVC_ZERO_45 = 45,
    SVC_ZERO_46 = 46,
    SVC_SAVE = 47,
    SVC_SAVE_AS = 49,
    SVC_GET_FORMAT = 50,
    SVC_LOAD_FILTER = 51,
    SVC_CURRENT_IDS = 52,
    SVC_EXTENSION = 53,
    SVC_QUERY_CLOSE_ALL = 54,
    SVC_CREATE_RECORD = 55,
    SVC_IDENTITY = 56,
    SVC_PANEL_PLACE = 57,
    SVC_FROM_FILE_NAME = 58,
    SVC_CAN_LOAD = 59,
    SVC_PANEL_FLAG = 60,
    SVC_SAVE_FILTER = 61,
    SVC_TEST_CAPABILITY = 62,
    SVC_MDI_CREATE = 63,
    SVC_IS_IMAGE_WINDOW = 65,
    SVC_HOME = 67,
    SVC_BATCH_SCRIPTED = 71,
    SVC_CUT_BEGIN = 72,
    SVC_CUT_ADD_IMAGE = 73,
    SVC_CUT_MAKE_PALETTE = 74,
    SVC_CUT_MAP_PIXELS = 75,
    SVC_CUT_END = 76,
    SVC_APPLY_PALETTE = 77,
};

// The interface version answered by item 20, and the identity answered by item 56.
const LRESULT SVC_InterfaceVersion = 0x0101010A;
const LRESULT SVC_Identity = 0x10010332;
// Item 56 copies the program's name into text and the profile key, the
// registry key under HKEY_CURRENT_USER that holds the settings' sections,
// into record; each buffer takes this many bytes, NUL included.
const int SVC_IdentityRoom = 64;

// The record of item 27, a format row offered by an extension module: a
// fixed byte layout without pointers, the same for both architectures.
#pragma pack(push, 1)
struct FormatOffer {
    char extension[4];     // upper case, without the dot, NUL-terminated
    char description[80];  // the filter lists' text
    char module[128];      // the module's file name, made a full path when found
    LONG canRead;          // non-zero: the module exports ZT_Fmt_Load
    LONG canWrite;         // non-zero: the module exports ZT_Fmt_Save
    BYTE capability[6];    // one byte per depth, as the format table keeps them
    BYTE unused[2];
    LONG id;               // the format id
};
#pragma pack(pop)
static_assert(sizeof(FormatOffer) == 232, "the format offer is 232 bytes");

// The record of items 73 to 75, the steps of Optimized Cut, one field set
// per step: 73 counts pixels (colors, width, height, bits); 74 writes up to
// count colours into table; 75 maps pixels into dest (width, height, bits as
// the source's, destBits, colors). Rows are padded to 32 bits.
struct CutStep {
    const BYTE* pixels;
    BYTE* dest;
    const RGBQUAD* colors;
    RGBQUAD* table;
    LONG width;
    LONG height;
    LONG bits;
    LONG destBits;
    LONG count;
};

// Items 51 and 61 write the filter text into the buffer that value points
// to and the format ids into the LONG array that record points to (when
// record is null, into the array value2 points to, which only a 32-bit block
// can carry).

// The block of a service call. On i686 it is the 56-byte wire format of
// 32-bit fields; on x86_64 the handle and pointer fields widen to pointer size.
struct ServiceBlock {
    HWND window;       // image window
    HGLOBAL hDIB;      // DIB handle
    LPSTR text;        // pointer to a string
    LONG attribute;    // record or info attribute number
    LONG_PTR object;   // a device context or palette
    LPVOID record;     // pointer to an item-specific record
    LONG flag;         // first option
    LONG option;       // second option
    LONG_PTR value;    // first value (an attribute's value may be a handle)
    LONG value2;       // second value
    LONG value3;       // third value
    LONG value4;       // fourth value
    LONG row;          // format row
    LONG formatId;     // format id; -1 for none
};

#if !defined(_WIN64) && (defined(_WIN32) || UINTPTR_MAX == 0xFFFFFFFFu)
static_assert(sizeof(ServiceBlock) == 56, "the service block is 14 32-bit fields");
static_assert(offsetof(ServiceBlock, text) == 8 && offsetof(ServiceBlock, attribute) == 12 &&
                  offsetof(ServiceBlock, flag) == 24 && offsetof(ServiceBlock, value) == 32 &&
                  offsetof(ServiceBlock, row) == 48 && offsetof(ServiceBlock, formatId) == 52,
              "service block wire layout");
#endif

// CoreMemObject: a 1024-byte named mapping holding a service block in its
// 32-bit wire form, with the file name at byte 56. Its byte layout is the same
// for both architectures, so that the pointer at byte 8 is only a 32-bit
// field each side fills with its own view address plus 56 (truncated on
// x86_64) and never reads: the receiver takes the text at byte 56.
inline constexpr char CMO_Name[] = "CoreMemObject";
const DWORD CMO_Size = 1024;
const DWORD CMO_TextPointerAt = 8;
const DWORD CMO_RowAt = 48;
const DWORD CMO_FormatIdAt = 52;
const DWORD CMO_TextAt = 56;
const DWORD CMO_TextRoom = CMO_Size - CMO_TextAt;  // 968, NUL included
