// Fuzzes the command line parser and string lookups with arbitrary bytes.
#include "core/command_line.h"
#include "platform/win32.h"

#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<char> line(data, data + size);
    line.push_back(0);
    LPSTR name = nullptr;
    UINT flags = 0;
    int found = MAI_ParseCommandLine(line.data(), &name, &flags);
    if (found && (name < line.data() || name >= line.data() + line.size() - 1)) __builtin_trap();
    if (!found && name) __builtin_trap();
    if (size >= 2) {
        char text[64];
        LoadStringA(nullptr, static_cast<UINT>(data[0] | (data[1] << 8)), text, 1 + data[0] % 64);
    }
    return 0;
}
