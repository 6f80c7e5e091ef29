// The conversation between the GUI test driver and kv_gui_probe.dll, which a
// window hook loads into the program under test so that the driver can read
// what Wine only shows inside the owning process (menus, class data).
//
// The driver sends the registered message kProbeMessage to a window of the
// program with the query in wParam and its own reply window in lParam. The
// probe's WH_CALLWNDPROC hook sees it first, inside the program, and answers
// with WM_COPYDATA to the reply window (dwData = the query) before the send
// returns. The program's own window procedure ignores the message.
#pragma once

#include <cstdint>

namespace kvprobe {

// RegisterWindowMessageA name of the query message.
inline constexpr char kProbeMessage[] = "KorvantaGuiProbe";

// Exported hook procedure of the probe DLL.
inline constexpr char kHookProcName[] = "KvProbeHook";

enum Query : unsigned {
    // The window's menu bar with every popup, one line per entry in order:
    // depth, id, type, state, popup flag (0/1) and text, separated by '\x1F'.
    kMenuTree = 1,
    // The same after WM_INITMENUPOPUP was sent for each popup, as when the
    // user opens it, so that the states are the ones the program computes.
    kMenuTreeOpened = 2,
    // Facts of the window's class as "key=value" lines.
    kClassInfo = 3,
    // Calls a frame service inside the program: the window the query is sent
    // to is the frame; the call is read from and answered into the mapping
    // kServiceMapping (a ServiceCall), and the answer text is "ok".
    kService = 4,
    // Drops files on the window as the shell does: the probe builds the
    // drop handle inside the program from the names in the mapping kDropMapping
    // (each ended by NUL, the list by an empty name), posts WM_DROPFILES and
    // answers "ok".
    kDropFiles = 5,
};

// Named mapping of a drop, written by the driver and read by the probe.
inline constexpr char kDropMapping[] = "KorvantaGuiProbeDrop";
inline constexpr unsigned kDropMappingSize = 1u << 16;

// Named mapping of a service call, written by the driver and answered by the probe.
inline constexpr char kServiceMapping[] = "KorvantaGuiProbeService";
inline constexpr unsigned kServiceMappingSize = 1u << 20;

// The service block as the program's services take it, as an outside
// program lays it out: 14 fields, of which the handles and pointers
// (window, hDIB, text, object, record, value) are pointer-sized.
struct Block {
    intptr_t window = 0;
    intptr_t hDIB = 0;
    intptr_t textPointer = 0;
    long attribute = 0;
    intptr_t object = 0;
    intptr_t record = 0;
    long flag = 0;
    long option = 0;
    intptr_t value = 0;
    long value2 = 0;
    long value3 = 0;
    long value4 = 0;
    long row = 0;
    long formatId = -1;
};

// A service call in the mapping: the item, the block (its text pointer
// unset), an optional text for it and an optional packed DIB that the
// probe puts in a movable block of the program for hDIB. The probe writes
// the result and the block as the call left it.
// With resultDib set the probe copies the DIB the call returned in place of
// the one sent; with recordBytes set the block's record points to record.
struct ServiceCall {
    unsigned item;
    unsigned hasText;
    unsigned dibBytes;  // 0: hDIB is taken as given
    unsigned resultDib;
    unsigned recordBytes;
    intptr_t result;
    Block block;
    char text[1024];
    unsigned char record[1024];
    // dibBytes bytes of a packed DIB follow.
};

inline constexpr char kFieldSeparator = '\x1F';

}  // namespace kvprobe
