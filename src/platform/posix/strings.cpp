// LoadStringA, wsprintfA and the lstr*/CharUpper helpers for native builds.
// wvsprintfA follows Windows: no floating point, "l" means 32 bits, the
// output is cut at 1023 characters plus the terminator.
#include "platform/win32.h"
#include "platform/string_table.h"

#include <cctype>
#include <cstring>

int LoadStringA(HINSTANCE, UINT id, LPSTR buffer, int bufferMax)
{
    if (!buffer || bufferMax <= 0) return 0;
    unsigned length = 0;
    const char* text = STR_Lookup(id, &length);
    if (!text) {
        buffer[0] = 0;
        return 0;
    }
    if (length > static_cast<unsigned>(bufferMax - 1)) length = static_cast<unsigned>(bufferMax - 1);
    memcpy(buffer, text, length);
    buffer[length] = 0;
    return static_cast<int>(length);
}

namespace {

const int kPrintfLimit = 1024;

struct Output {
    LPSTR at;
    int used;
    bool cut;
    void Put(char c)
    {
        if (used < kPrintfLimit - 1) at[used++] = c;
        else cut = true;
    }
    void Repeat(char c, int n)
    {
        while (n-- > 0) Put(c);
    }
};

// Writes one converted field with its width and justification.
void PutField(Output& out, const char* prefix, const char* text, int length, int width, bool left, bool zero)
{
    int prefixLength = static_cast<int>(strlen(prefix));
    int pad = width - length - prefixLength;
    if (!left && !zero) out.Repeat(' ', pad);
    for (int i = 0; i < prefixLength; i++) out.Put(prefix[i]);
    if (!left && zero) out.Repeat('0', pad);
    for (int i = 0; i < length; i++) out.Put(text[i]);
    if (left) out.Repeat(' ', pad);
}

}  // namespace

int wvsprintfA(LPSTR out, LPCSTR format, va_list args)
{
    Output o{out, 0, false};
    for (const char* f = format; *f; f++) {
        if (*f != '%') {
            o.Put(*f);
            continue;
        }
        f++;
        bool left = false, zero = false, alternate = false;
        for (;; f++) {
            if (*f == '-') left = true;
            else if (*f == '0') zero = true;
            else if (*f == '#') alternate = true;
            else break;
        }
        int width = 0;
        while (*f >= '0' && *f <= '9') width = width * 10 + (*f++ - '0');
        int precision = -1;
        if (*f == '.') {
            precision = 0;
            f++;
            while (*f >= '0' && *f <= '9') precision = precision * 10 + (*f++ - '0');
        }
        if (*f == 'l' || *f == 'h') f++;  // both mean 32 bits or narrower here
        if (!*f) break;
        char digits[40];
        switch (*f) {
        case 'c':
        case 'C': {
            char c = static_cast<char>(va_arg(args, int));
            PutField(o, "", &c, 1, width, left, zero);
            break;
        }
        case 's':
        case 'S': {
            const char* text = va_arg(args, const char*);
            if (!text) text = "(null)";
            int length = static_cast<int>(strlen(text));
            if (precision >= 0 && length > precision) length = precision;
            PutField(o, "", text, length, width, left, zero);
            break;
        }
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'p': {
            bool negative = false;
            uint32_t value;
            uint64_t wide = 0;
            bool pointer = *f == 'p';
            if (pointer) {
                wide = reinterpret_cast<uintptr_t>(va_arg(args, void*));
                value = 0;
            } else if (*f == 'd' || *f == 'i') {
                int32_t v = va_arg(args, int32_t);
                negative = v < 0;
                value = negative ? 0U - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
            } else {
                value = va_arg(args, uint32_t);
            }
            const char* set = (*f == 'X') ? "0123456789ABCDEF" : "0123456789abcdef";
            unsigned base = (*f == 'x' || *f == 'X') ? 16 : 10;
            int n = 0;
            if (pointer) {
                for (int i = 0; i < static_cast<int>(2 * sizeof(void*)); i++) {
                    digits[n++] = "0123456789ABCDEF"[wide & 15];
                    wide >>= 4;
                }
            } else {
                do {
                    digits[n++] = set[value % base];
                    value /= base;
                } while (value);
            }
            while (n < precision && n < 32) digits[n++] = '0';
            char text[40];
            for (int i = 0; i < n; i++) text[i] = digits[n - 1 - i];
            const char* prefix = negative ? "-" : "";
            if (alternate && base == 16) prefix = *f == 'X' ? "0X" : "0x";
            PutField(o, prefix, text, n, width, left, zero);
            break;
        }
        default:
            o.Put(*f);  // "%%" and unknown conversions give the character itself
            break;
        }
    }
    out[o.used] = 0;
    // Windows answers a cut output with the buffer's full size.
    return o.cut ? kPrintfLimit : o.used;
}

int wsprintfA(LPSTR out, LPCSTR format, ...)
{
    va_list args;
    va_start(args, format);
    int n = wvsprintfA(out, format, args);
    va_end(args);
    return n;
}

DWORD CharUpperBuffA(LPSTR text, DWORD length)
{
    // Windows-1252: a-z, and the accented letters 0xE0-0xFE except 0xF7.
    for (DWORD i = 0; i < length; i++) {
        BYTE c = static_cast<BYTE>(text[i]);
        if (c >= 'a' && c <= 'z') c = static_cast<BYTE>(c - 32);
        else if (c >= 0xE0 && c <= 0xFE && c != 0xF7) c = static_cast<BYTE>(c - 32);
        else if (c == 0x9A || c == 0x9C || c == 0x9E) c = static_cast<BYTE>(c - 16);
        else if (c == 0xFF) c = 0x9F;
        text[i] = static_cast<char>(c);
    }
    return length;
}

LPSTR CharUpperA(LPSTR text)
{
    CharUpperBuffA(text, static_cast<DWORD>(strlen(text)));
    return text;
}

int lstrlenA(LPCSTR text) { return text ? static_cast<int>(strlen(text)) : 0; }

LPSTR lstrcpyA(LPSTR to, LPCSTR from) { return strcpy(to, from); }

LPSTR lstrcpynA(LPSTR to, LPCSTR from, int max)
{
    if (max <= 0) return to;
    int i = 0;
    for (; i < max - 1 && from[i]; i++) to[i] = from[i];
    to[i] = 0;
    return to;
}

LPSTR lstrcatA(LPSTR to, LPCSTR from) { return strcat(to, from); }

int lstrcmpA(LPCSTR a, LPCSTR b)
{
    int r = strcmp(a, b);
    return r < 0 ? -1 : r > 0 ? 1 : 0;
}

int lstrcmpiA(LPCSTR a, LPCSTR b)
{
    for (;; a++, b++) {
        int ca = tolower(static_cast<unsigned char>(*a)), cb = tolower(static_cast<unsigned char>(*b));
        if (ca != cb) return ca < cb ? -1 : 1;
        if (!ca) return 0;
    }
}
