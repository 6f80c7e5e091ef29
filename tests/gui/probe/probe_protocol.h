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

// The service block as the program's services take it, restated here as an
// outside program lays it out: 14 32-bit fields, of which the handles and
// pointers widen to pointer size on 64-bit systems.
struct WireBlock {
    void* window;
    void* hDIB;
    char* text;
    long attribute;
    intptr_t object;
    void* record;
    long flag;
    long option;
    intptr_t value;
    long value2;
    long value3;
    long value4;
    long row;
    long formatId;
};

// A service call in the mapping: the item, the block's values (pointers as
// integers), an optional text for the block's text field and an optional
// packed DIB that the probe puts in a movable block of the program for hDIB.
// The probe writes the result and the block's values after the call back.
struct ServiceCall {
    unsigned item;
    unsigned hasText;
    unsigned dibBytes;  // 0: hDIB is taken as given
    intptr_t result;
    intptr_t window, hDIB, object, value;
    long attribute, flag, option, value2, value3, value4, row, formatId;
    char text[1024];
    // dibBytes bytes of a packed DIB follow.
};

inline constexpr char kFieldSeparator = '\x1F';

}  // namespace kvprobe
