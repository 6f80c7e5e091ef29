// kv_gui_probe.dll: loaded into the program under test by a window hook, it
// answers the GUI driver's queries from inside the program's process.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "probe_protocol.h"

namespace {

using namespace kvprobe;

void AppendMenu(HWND window, HMENU menu, int depth, bool open, std::string* out)
{
    const int count = GetMenuItemCount(menu);
    for (int pos = 0; pos < count; ++pos) {
        char text[256] = {};
        MENUITEMINFOA info{};
        info.cbSize = sizeof info;
        info.fMask = MIIM_ID | MIIM_FTYPE | MIIM_STATE | MIIM_SUBMENU | MIIM_STRING;
        info.dwTypeData = text;
        info.cch = sizeof text - 1;
        if (!GetMenuItemInfoA(menu, pos, TRUE, &info))
            continue;
        if (open && info.hSubMenu) {
            // Let the program set the popup's states as when it opens.
            SendMessageA(window, WM_INITMENUPOPUP, reinterpret_cast<WPARAM>(info.hSubMenu),
                         MAKELPARAM(pos, FALSE));
            GetMenuItemInfoA(menu, pos, TRUE, &info);
        }
        char fields[96];
        std::snprintf(fields, sizeof fields, "%d%c%u%c%u%c%u%c%d%c", depth, kFieldSeparator, info.wID,
                      kFieldSeparator, info.fType, kFieldSeparator, info.fState, kFieldSeparator,
                      info.hSubMenu ? 1 : 0, kFieldSeparator);
        *out += fields;
        *out += (info.fType & MFT_SEPARATOR) ? "" : text;
        *out += '\n';
        if (info.hSubMenu)
            AppendMenu(window, info.hSubMenu, depth + 1, open, out);
    }
}

void AppendValue(std::string* out, const char* key, unsigned long long value)
{
    char line[128];
    std::snprintf(line, sizeof line, "%s=%llu\n", key, value);
    *out += line;
}

// Which of the program's icon resources 400 and 401 the handle is, else 0.
unsigned IconResource(HICON icon)
{
    HINSTANCE program = GetModuleHandleA(nullptr);
    for (unsigned id : {400u, 401u}) {
        if (icon && LoadIconA(program, MAKEINTRESOURCEA(id)) == icon)
            return id;
    }
    return 0;
}

std::string ClassInfo(HWND window)
{
    std::string out;
    const auto icon = reinterpret_cast<HICON>(GetClassLongPtrA(window, GCLP_HICON));
    const auto cursor = reinterpret_cast<HCURSOR>(GetClassLongPtrA(window, GCLP_HCURSOR));
    AppendValue(&out, "style", GetClassLongPtrA(window, GCL_STYLE));
    AppendValue(&out, "cls_extra", GetClassLongPtrA(window, GCL_CBCLSEXTRA));
    AppendValue(&out, "wnd_extra", GetClassLongPtrA(window, GCL_CBWNDEXTRA));
    AppendValue(&out, "background", GetClassLongPtrA(window, GCLP_HBRBACKGROUND));
    AppendValue(&out, "icon_resource", IconResource(icon));
    AppendValue(&out, "cursor_is_arrow", cursor && cursor == LoadCursorA(nullptr, IDC_ARROW));
    const ULONG_PTR menu = GetClassLongPtrA(window, GCLP_MENUNAME);
    if (menu > 0xFFFF)
        out += std::string("menu_name=") + reinterpret_cast<const char*>(menu) + "\n";
    else
        AppendValue(&out, "menu_id", menu);
    char module[MAX_PATH] = {};
    GetModuleFileNameA(reinterpret_cast<HMODULE>(GetClassLongPtrA(window, GCLP_HMODULE)), module,
                       MAX_PATH);
    out += std::string("module=") + module + "\n";
    return out;
}

// Runs the service call waiting in the mapping on the frame, inside the
// program, and writes its answer back; "ok" when it ran.
std::string RunService(HWND frame)
{
    HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, kServiceMapping);
    if (!mapping)
        return {};
    auto* view = static_cast<unsigned char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    if (!view) {
        CloseHandle(mapping);
        return {};
    }
    auto* call = reinterpret_cast<ServiceCall*>(view);
    if (call->dibBytes) {
        HGLOBAL dib = GlobalAlloc(GMEM_MOVEABLE, call->dibBytes);
        if (void* to = dib ? GlobalLock(dib) : nullptr) {
            std::memcpy(to, view + sizeof(ServiceCall), call->dibBytes);
            GlobalUnlock(dib);
        }
        call->block.hDIB = reinterpret_cast<intptr_t>(dib);
    }
    Block block = call->block;
    call->text[sizeof call->text - 1] = 0;
    block.textPointer = call->hasText ? reinterpret_cast<intptr_t>(call->text) : 0;
    if (call->recordBytes)
        block.record = reinterpret_cast<intptr_t>(call->record);
    call->result = SendMessageA(frame, WM_USER + 4660 + call->item, 0, reinterpret_cast<LPARAM>(&block));
    block.textPointer = 0;
    block.record = call->recordBytes ? 0 : block.record;
    call->block = block;
    const auto made = reinterpret_cast<HGLOBAL>(call->result);
    const SIZE_T size = call->resultDib && made ? GlobalSize(made) : 0;
    const void* bytes = size && size <= kServiceMappingSize - sizeof *call ? GlobalLock(made) : nullptr;
    call->dibBytes = bytes ? static_cast<unsigned>(size) : 0;
    if (bytes) {
        std::memcpy(view + sizeof *call, bytes, size);
        GlobalUnlock(made);
    }
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    return "ok";
}

// Posts WM_DROPFILES to window with the names waiting in the drop mapping;
// "ok" when posted. The program owns and finishes the handle.
std::string DropFiles(HWND window)
{
    HANDLE mapping = OpenFileMappingA(FILE_MAP_READ, FALSE, kDropMapping);
    if (!mapping)
        return {};
    const auto* names = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    std::string list;
    if (names) {
        for (size_t at = 0; at < kDropMappingSize - 1 && names[at];) {
            const size_t length = strnlen(names + at, kDropMappingSize - 1 - at);
            list.append(names + at, length);
            list += '\0';
            at += length + 1;
        }
        UnmapViewOfFile(names);
    }
    CloseHandle(mapping);
    list += '\0';
    // DROPFILES: offset of the names, drop point, non-client flag, wide flag.
    struct DropHeader {
        DWORD files;
        POINT point;
        BOOL nonClient;
        BOOL wide;
    } header{sizeof(DropHeader), {10, 10}, FALSE, FALSE};
    HGLOBAL drop = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof header + list.size());
    void* at = drop ? GlobalLock(drop) : nullptr;
    if (!at) {
        if (drop)
            GlobalFree(drop);
        return {};
    }
    std::memcpy(at, &header, sizeof header);
    std::memcpy(static_cast<char*>(at) + sizeof header, list.data(), list.size());
    GlobalUnlock(drop);
    if (!PostMessageA(window, WM_DROPFILES, reinterpret_cast<WPARAM>(drop), 0)) {
        GlobalFree(drop);
        return {};
    }
    return "ok";
}

void Answer(HWND window, unsigned query, HWND reply)
{
    std::string text;
    switch (query) {
    case kMenuTree:
    case kMenuTreeOpened:
        if (HMENU bar = GetMenu(window))
            AppendMenu(window, bar, 0, query == kMenuTreeOpened, &text);
        break;
    case kClassInfo:
        text = ClassInfo(window);
        break;
    case kService:
        text = RunService(window);
        break;
    case kDropFiles:
        text = DropFiles(window);
        break;
    default:
        return;
    }
    COPYDATASTRUCT data{};
    data.dwData = query;
    data.cbData = static_cast<DWORD>(text.size());
    data.lpData = text.empty() ? nullptr : text.data();
    SendMessageA(reply, WM_COPYDATA, reinterpret_cast<WPARAM>(window), reinterpret_cast<LPARAM>(&data));
}

}  // namespace

extern "C" __declspec(dllexport) LRESULT CALLBACK KvProbeHook(int code, WPARAM wParam, LPARAM lParam)
{
    static const UINT message = RegisterWindowMessageA(kProbeMessage);
    if (code == HC_ACTION) {
        const auto* call = reinterpret_cast<const CWPSTRUCT*>(lParam);
        if (call->message == message)
            Answer(call->hwnd, static_cast<unsigned>(call->wParam), reinterpret_cast<HWND>(call->lParam));
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}
