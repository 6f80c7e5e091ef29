// Shell registration of the program and its extensions for the current user.
#include "platform/shell_registration.h"

#include <new>
#include <string>

#ifdef _WIN32
#include <shlobj.h>
#endif

namespace {
std::string lastRegistered;
bool locationSet = false;
std::string location;
}  // namespace

struct ShellRegistration {
    std::string app;
    std::string added;  // the extensions, blank separated
#ifdef _WIN32
    HKEY classes = nullptr;
    bool changed = false;
#endif
};

LPCSTR REG_LastRegistered() { return lastRegistered.c_str(); }

void REG_SetLocation(LPCSTR keyPath)
{
    locationSet = keyPath != nullptr;
    location = keyPath ? keyPath : "";
}

#ifdef _WIN32
namespace {
// Gives a key's default (or named) string value, unless it already holds it
// or, with keepExisting, holds any non-empty text. True when it wrote.
bool SetText(HKEY parent, const std::string& subKey, LPCSTR name, const std::string& text, bool keepExisting)
{
    HKEY key = nullptr;
    if (RegCreateKeyExA(parent, subKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        return false;
    char old[1024];
    DWORD type = 0, size = sizeof old - 1;
    bool same = false, occupied = false;
    if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(old), &size) == ERROR_SUCCESS &&
        (type == REG_SZ || type == REG_EXPAND_SZ)) {
        old[size < sizeof old ? size : sizeof old - 1] = 0;
        same = text == old;
        occupied = old[0] != 0;
    }
    bool wrote = false;
    if (!same && !(keepExisting && occupied))
        wrote = RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                               static_cast<DWORD>(text.size() + 1)) == ERROR_SUCCESS;
    RegCloseKey(key);
    return wrote;
}

// An empty REG_NONE value, the form of an "Open with" entry. True when it wrote.
bool SetMarker(HKEY parent, const std::string& subKey, const std::string& name)
{
    HKEY key = nullptr;
    if (RegCreateKeyExA(parent, subKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS)
        return false;
    bool wrote = false;
    if (RegQueryValueExA(key, name.c_str(), nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        wrote = RegSetValueExA(key, name.c_str(), 0, REG_NONE, nullptr, 0) == ERROR_SUCCESS;
    RegCloseKey(key);
    return wrote;
}
}  // namespace

int REG_OpenApp(HREGAPP* reg, LPCSTR app, LPCSTR executable, LPCSTR classId, int flags)
{
    if (!reg) return 0;
    *reg = nullptr;
    if (!app || !*app || !executable) return 0;
    ShellRegistration* r = new (std::nothrow) ShellRegistration();
    if (!r) return 0;
    r->app = app;
    std::string root = locationSet ? location : std::string("Software\\Classes");
    if (RegCreateKeyExA(HKEY_CURRENT_USER, root.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE,
                        nullptr, &r->classes, nullptr) != ERROR_SUCCESS) {
        delete r;
        return 0;
    }
    std::string path(executable);
    bool changed = SetText(r->classes, r->app, nullptr, r->app, false);
    if (classId && *classId) changed |= SetText(r->classes, r->app + "\\CLSID", nullptr, classId, false);
    changed |= SetText(r->classes, r->app + "\\DefaultIcon", nullptr, path + ",-401", false);
    if (flags & REG_OPEN_COMMAND)
        changed |= SetText(r->classes, r->app + "\\shell\\open\\command", nullptr, "\"" + path + "\" %1", false);
    r->changed = changed;
    *reg = r;
    return 1;
}

void REG_AddExtension(HREGAPP reg, LPCSTR extension, LPCSTR app)
{
    if (!reg || !extension || !*extension) return;
    std::string progId = app && *app ? app : reg->app;
    std::string key = std::string(".") + extension;
    reg->changed |= SetText(reg->classes, key, nullptr, progId, true);
    reg->changed |= SetMarker(reg->classes, key + "\\OpenWithProgids", progId);
    if (!reg->added.empty()) reg->added += ' ';
    reg->added += extension;
}

void REG_CloseApp(HREGAPP reg)
{
    if (!reg) return;
    RegCloseKey(reg->classes);
    if (reg->changed) SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr);
    lastRegistered = reg->added;
    delete reg;
}

#else

int REG_OpenApp(HREGAPP* reg, LPCSTR app, LPCSTR executable, LPCSTR, int)
{
    if (!reg) return 0;
    *reg = nullptr;
    if (!app || !*app || !executable) return 0;
    ShellRegistration* r = new (std::nothrow) ShellRegistration();
    if (!r) return 0;
    r->app = app;
    *reg = r;
    return 1;
}

void REG_AddExtension(HREGAPP reg, LPCSTR extension, LPCSTR)
{
    if (!reg || !extension || !*extension) return;
    if (!reg->added.empty()) reg->added += ' ';
    reg->added += extension;
}

void REG_CloseApp(HREGAPP reg)
{
    if (!reg) return;
    lastRegistered = reg->added;
    delete reg;
}
#endif
