// The profile store: the registry on Windows, one text file per product and
// version elsewhere (the format is described in profile.h).
#include "platform/profile.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#ifndef _WIN32
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {
bool locationSet = false;
std::string location;

// A decimal integer with optional blanks around it and a sign, in the range
// of a signed or an unsigned 32-bit value; the result keeps the low 32 bits.
bool ParseInteger(const std::string& text, DWORD* value)
{
    size_t at = 0, n = text.size();
    while (at < n && (text[at] == ' ' || text[at] == '\t')) at++;
    bool negative = false;
    if (at < n && (text[at] == '-' || text[at] == '+')) negative = text[at++] == '-';
    if (at >= n || text[at] < '0' || text[at] > '9') return false;
    uint64_t magnitude = 0;
    while (at < n && text[at] >= '0' && text[at] <= '9') {
        magnitude = magnitude * 10 + static_cast<uint64_t>(text[at++] - '0');
        if (magnitude > 0xFFFFFFFFULL) return false;
    }
    while (at < n && (text[at] == ' ' || text[at] == '\t')) at++;
    if (at != n) return false;
    if (negative && magnitude > 0x80000000ULL) return false;
    *value = negative ? static_cast<DWORD>(0U - static_cast<DWORD>(magnitude)) : static_cast<DWORD>(magnitude);
    return true;
}

// Platform halves: read a value as text, write text.
bool ReadValue(HPROFILE profile, LPCSTR key, std::string* text, DWORD* number, bool* isNumber);
void WriteValue(HPROFILE profile, LPCSTR key, const std::string& text);
}  // namespace

void PRF_VersionText(LPSTR buffer) { wsprintfA(buffer, "%u.%0.2u", PRF_VersionMajor, PRF_VersionMinor); }

HPROFILE PRF_OpenSection(LPCSTR section)
{
    char version[16];
    PRF_VersionText(version);
    return PRF_Open(PRF_ProductName, version, section);
}

void PRF_SetLocation(LPCSTR where)
{
    locationSet = where != nullptr;
    location = where ? where : "";
}

int PRF_GetString(HPROFILE profile, LPCSTR key, LPSTR buffer, int size)
{
    if (!profile || !key || !buffer || size <= 0) return 0;
    std::string text;
    DWORD number = 0;
    bool isNumber = false;
    if (!ReadValue(profile, key, &text, &number, &isNumber)) return 0;
    if (isNumber) {
        char digits[16];
        wsprintfA(digits, "%lu", static_cast<unsigned long>(number));
        text = digits;
    }
    size_t n = text.size() < static_cast<size_t>(size - 1) ? text.size() : static_cast<size_t>(size - 1);
    memcpy(buffer, text.data(), n);
    buffer[n] = 0;
    return 1;
}

void PRF_SetString(HPROFILE profile, LPCSTR key, LPCSTR text, int length)
{
    if (!profile || !key) return;
    if (!text) text = "";
    size_t n = length < 0 ? strlen(text) : static_cast<size_t>(length);
    WriteValue(profile, key, std::string(text, n));
}

void PRF_GetDword(HPROFILE profile, LPCSTR key, DWORD* value)
{
    if (!profile || !key || !value) return;
    std::string text;
    DWORD number = 0;
    bool isNumber = false;
    if (!ReadValue(profile, key, &text, &number, &isNumber)) return;
    if (isNumber || ParseInteger(text, &number)) *value = number;
}

void PRF_SetDword(HPROFILE profile, LPCSTR key, DWORD value)
{
    char digits[16];
    wsprintfA(digits, "%lu", static_cast<unsigned long>(value));
    PRF_SetString(profile, key, digits, -1);
}

void PRF_GetLong(HPROFILE profile, LPCSTR key, LONG* value)
{
    if (!value) return;
    DWORD bits = static_cast<DWORD>(*value);
    PRF_GetDword(profile, key, &bits);
    *value = static_cast<LONG>(bits);
}

void PRF_SetLong(HPROFILE profile, LPCSTR key, LONG value)
{
    char digits[16];
    wsprintfA(digits, "%ld", static_cast<long>(value));
    PRF_SetString(profile, key, digits, -1);
}

void PRF_GetInt(HPROFILE profile, LPCSTR key, int* value)
{
    if (!value) return;
    DWORD bits = static_cast<DWORD>(*value);
    PRF_GetDword(profile, key, &bits);
    *value = static_cast<int>(static_cast<LONG>(bits));
}

void PRF_SetInt(HPROFILE profile, LPCSTR key, int value) { PRF_SetLong(profile, key, static_cast<LONG>(value)); }

void PRF_AddDefault(HPROFILE profile, LPCSTR key, int value)
{
    if (!profile || !key) return;
    std::string text;
    DWORD number = 0;
    bool isNumber = false;
    if (!ReadValue(profile, key, &text, &number, &isNumber)) PRF_SetInt(profile, key, value);
}

#ifdef _WIN32
// ---- the registry ---------------------------------------------------------------------

struct ProfileSection {
    HKEY key;
    bool written;
};

HPROFILE PRF_Open(LPCSTR product, LPCSTR version, LPCSTR section)
{
    if (!product || !version || !section) return nullptr;
    std::string path = locationSet ? location : std::string("Software");
    path += "\\";
    path += product;
    path += "\\";
    path += version;
    path += "\\";
    path += section;
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE,
                        nullptr, &key, nullptr) != ERROR_SUCCESS)
        return nullptr;
    ProfileSection* profile = new (std::nothrow) ProfileSection{key, false};
    if (!profile) RegCloseKey(key);
    return profile;
}

void PRF_Close(HPROFILE profile)
{
    if (!profile) return;
    if (profile->written) RegFlushKey(profile->key);
    RegCloseKey(profile->key);
    delete profile;
}

namespace {
bool ReadValue(HPROFILE profile, LPCSTR key, std::string* text, DWORD* number, bool* isNumber)
{
    DWORD type = 0, size = 0;
    if (RegQueryValueExA(profile->key, key, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return false;
    if (type == REG_DWORD) {
        DWORD value = 0, valueSize = sizeof value;
        if (RegQueryValueExA(profile->key, key, nullptr, &type, reinterpret_cast<BYTE*>(&value), &valueSize) !=
                ERROR_SUCCESS ||
            valueSize != sizeof value)
            return false;
        *number = value;
        *isNumber = true;
        return true;
    }
    if (type != REG_SZ && type != REG_EXPAND_SZ) return false;
    std::vector<char> data(static_cast<size_t>(size) + 1, 0);
    DWORD got = size;
    if (RegQueryValueExA(profile->key, key, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &got) !=
        ERROR_SUCCESS)
        return false;
    if (got > size) got = size;
    // The stored bytes may or may not end with their NUL.
    text->assign(data.data(), strnlen(data.data(), got));
    *isNumber = false;
    return true;
}

void WriteValue(HPROFILE profile, LPCSTR key, const std::string& text)
{
    // REG_SZ data carries its terminating NUL.
    if (RegSetValueExA(profile->key, key, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>(text.size() + 1)) == ERROR_SUCCESS)
        profile->written = true;
}
}  // namespace

#else
// ---- the text file ---------------------------------------------------------------------

namespace {
typedef std::vector<std::pair<std::string, std::string>> Values;

struct Section {
    std::string name;
    Values values;
};

// Refuses to treat anything larger as a profile, so a stray file is neither read nor rewritten.
const long kLargestStore = 16L << 20;

bool SameName(const std::string& a, const std::string& b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); i++) {
        unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
        if (x >= 'a' && x <= 'z') x = static_cast<unsigned char>(x - 32);
        if (y >= 'a' && y <= 'z') y = static_cast<unsigned char>(y - 32);
        if (x != y) return false;
    }
    return true;
}

void Escape(const std::string& text, std::string* out)
{
    static const char hex[] = "0123456789ABCDEF";
    for (unsigned char c : text) {
        switch (c) {
        case '\\': *out += "\\\\"; break;
        case '=': *out += "\\="; break;
        case '[': *out += "\\["; break;
        case ']': *out += "\\]"; break;
        case ';': *out += "\\;"; break;
        case '\n': *out += "\\n"; break;
        case '\r': *out += "\\r"; break;
        case '\t': *out += "\\t"; break;
        default:
            if (c < 0x20 || c == 0x7F) {
                *out += "\\x";
                *out += hex[c >> 4];
                *out += hex[c & 15];
            } else {
                *out += static_cast<char>(c);
            }
        }
    }
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Decodes from line[at] until the unescaped stop character (or the end);
// returns the position of the stop character, or npos when there was none.
size_t Unescape(const std::string& line, size_t at, char stop, std::string* out)
{
    while (at < line.size()) {
        char c = line[at];
        if (c == stop) return at;
        if (c == '\\' && at + 1 < line.size()) {
            char e = line[at + 1];
            at += 2;
            switch (e) {
            case 'n': *out += '\n'; break;
            case 'r': *out += '\r'; break;
            case 't': *out += '\t'; break;
            case 'x':
                if (at + 1 < line.size() && HexDigit(line[at]) >= 0 && HexDigit(line[at + 1]) >= 0) {
                    *out += static_cast<char>(HexDigit(line[at]) * 16 + HexDigit(line[at + 1]));
                    at += 2;
                } else {
                    *out += 'x';
                }
                break;
            default: *out += e; break;
            }
            continue;
        }
        *out += c;
        at++;
    }
    return std::string::npos;
}

// The folder that stands for the user's configuration folder, empty when none.
std::string ConfigFolder()
{
    if (locationSet) return location;
    const char* env = getenv("KORVANTA_PROFILE");
    if (env && *env) return env;
    env = getenv("XDG_CONFIG_HOME");
    if (env && *env) return env;
    env = getenv("HOME");
    if (env && *env) return std::string(env) + "/.config";
    return std::string();
}

std::string LowerCase(const char* text)
{
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    return out;
}

// Reads and parses the store; false when the file exists but can't be used.
bool ReadStore(const std::string& path, std::vector<Section>* sections)
{
    sections->clear();
    FILE* f = fopen(path.c_str(), "rb");
    if (!f) return errno == ENOENT;
    std::string data;
    char chunk[4096];
    size_t got;
    bool ok = true;
    while ((got = fread(chunk, 1, sizeof chunk, f)) > 0) {
        if (data.size() + got > static_cast<size_t>(kLargestStore)) {
            ok = false;
            break;
        }
        data.append(chunk, got);
    }
    if (ferror(f)) ok = false;
    fclose(f);
    if (!ok) return false;

    Section* current = nullptr;
    size_t start = 0;
    while (start < data.size()) {
        size_t end = data.find('\n', start);
        if (end == std::string::npos) end = data.size();
        std::string line = data.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            std::string name;
            if (Unescape(line, 1, ']', &name) == std::string::npos) {
                current = nullptr;  // a broken header: its keys belong to no section
                continue;
            }
            current = nullptr;
            for (Section& s : *sections)
                if (SameName(s.name, name)) current = &s;
            if (!current) {
                sections->push_back(Section{name, Values()});
                current = &sections->back();
            }
            continue;
        }
        if (!current) continue;
        std::string key, value;
        size_t equals = Unescape(line, 0, '=', &key);
        if (equals == std::string::npos) continue;
        Unescape(line, equals + 1, '\0', &value);
        bool replaced = false;
        for (auto& kv : current->values)
            if (SameName(kv.first, key)) {
                kv.second = value;
                replaced = true;
            }
        if (!replaced) current->values.emplace_back(key, value);
    }
    return true;
}

// Creates the folders of a path that don't exist yet.
void MakeFolders(const std::string& file)
{
    for (size_t at = 1; at < file.size(); at++) {
        if (file[at] != '/') continue;
        std::string folder = file.substr(0, at);
        mkdir(folder.c_str(), 0700);
    }
}

// Writes the whole store through a temporary file that then replaces it.
bool WriteStore(const std::string& path, const std::vector<Section>& sections, const std::string& title)
{
    std::string data = "; " + title + "\n";
    for (const Section& s : sections) {
        data += "[";
        Escape(s.name, &data);
        data += "]\n";
        for (const auto& kv : s.values) {
            Escape(kv.first, &data);
            data += "=";
            Escape(kv.second, &data);
            data += "\n";
        }
    }
    MakeFolders(path);
    std::string temporary = path + ".new" + std::to_string(getpid());
    FILE* f = fopen(temporary.c_str(), "wb");
    if (!f) return false;
    bool ok = fwrite(data.data(), 1, data.size(), f) == data.size();
    ok = fflush(f) == 0 && ok;
    ok = fsync(fileno(f)) == 0 && ok;
    ok = fclose(f) == 0 && ok;
    if (ok) ok = rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok) remove(temporary.c_str());
    return ok;
}
}  // namespace

struct ProfileSection {
    std::string path;   // the store file
    std::string title;  // product and version, for the file's first line
    std::string name;   // the section
    Values values;      // as read at open, with this handle's changes
    std::vector<std::string> changed;  // keys written through this handle
    bool create;        // the section wasn't in the file at open
    bool usable;        // the file could be read, so it may be rewritten
};

HPROFILE PRF_Open(LPCSTR product, LPCSTR version, LPCSTR section)
{
    if (!product || !version || !section) return nullptr;
    std::string folder = ConfigFolder();
    if (folder.empty()) return nullptr;
    ProfileSection* profile = new (std::nothrow) ProfileSection();
    if (!profile) return nullptr;
    profile->path = folder + "/" + LowerCase(product) + "/" + version + ".ini";
    profile->title = std::string(product) + " " + version;
    profile->name = section;
    std::vector<Section> sections;
    profile->usable = ReadStore(profile->path, &sections);
    profile->create = true;
    for (Section& s : sections)
        if (SameName(s.name, profile->name)) {
            profile->values = std::move(s.values);
            profile->create = false;
        }
    return profile;
}

void PRF_Close(HPROFILE profile)
{
    if (!profile) return;
    if (profile->usable && (profile->create || !profile->changed.empty())) {
        // Merge into the file as it stands now: other handles may have written since.
        std::vector<Section> sections;
        if (ReadStore(profile->path, &sections)) {
            Section* mine = nullptr;
            for (Section& s : sections)
                if (SameName(s.name, profile->name)) mine = &s;
            if (!mine) {
                sections.push_back(Section{profile->name, Values()});
                mine = &sections.back();
            }
            for (const std::string& key : profile->changed) {
                const std::string* value = nullptr;
                for (const auto& kv : profile->values)
                    if (SameName(kv.first, key)) value = &kv.second;
                if (!value) continue;
                bool replaced = false;
                for (auto& kv : mine->values)
                    if (SameName(kv.first, key)) {
                        kv.second = *value;
                        replaced = true;
                    }
                if (!replaced) mine->values.emplace_back(key, *value);
            }
            WriteStore(profile->path, sections, profile->title);
        }
    }
    delete profile;
}

namespace {
bool ReadValue(HPROFILE profile, LPCSTR key, std::string* text, DWORD*, bool* isNumber)
{
    *isNumber = false;
    for (const auto& kv : profile->values)
        if (SameName(kv.first, key)) {
            *text = kv.second;
            return true;
        }
    return false;
}

void WriteValue(HPROFILE profile, LPCSTR key, const std::string& text)
{
    std::string name(key);
    bool found = false;
    for (auto& kv : profile->values)
        if (SameName(kv.first, name)) {
            kv.second = text;
            found = true;
        }
    if (!found) profile->values.emplace_back(name, text);
    for (const std::string& k : profile->changed)
        if (SameName(k, name)) return;
    profile->changed.push_back(name);
}
}  // namespace
#endif
