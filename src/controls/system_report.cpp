// The rules of the System Info report that need no window.
#include "controls/system_report.h"

#include <cstdio>

std::string SYS_String(UINT id)
{
    char text[256];
    return LoadStringA(nullptr, id, text, sizeof text) > 0 ? text : "";
}

namespace {
const UINT kUnknown = 1334;

struct Pair {
    int key;
    UINT text;
};

UINT Find(const Pair* table, size_t count, int key)
{
    for (size_t i = 0; i < count; i++)
        if (table[i].key == key) return table[i].text;
    return kUnknown;
}

// A line string with its "%s" replaced by value as it stands: a value may hold
// a percent sign of its own.
std::string Fill(UINT id, const std::string& value)
{
    std::string text = SYS_String(id);
    const size_t at = text.find("%s");
    if (at != std::string::npos) text.replace(at, 2, value);
    return text;
}

// One line of the report: its string, the control whose text it carries (0 for
// a heading), and the modules listed beneath it.
enum ModuleList { kNone, kFunctions, kFormats };
struct Line {
    UINT text;
    int control;
    ModuleList list;
};
const Line kReport[] = {
    {1315, 0, kNone},      {12288, 10, kNone},      {12289, 11, kNone},  {12290, 12, kNone},  {12291, 13, kNone},
    {1316, 0, kNone},      {12292, 20, kNone},      {12293, 21, kNone},  {12294, 22, kNone},  {12295, 23, kNone},
    {1317, 0, kNone},      {12296, 30, kNone},      {12318, 31, kNone},  {1318, 0, kNone},    {12297, 40, kNone},
    {12298, 41, kNone},    {1319, 0, kNone},        {12299, 50, kFunctions}, {12300, 51, kFormats},
    {1320, 0, kNone},      {12301, 60, kNone},      {12302, 61, kNone},  {1321, 0, kNone},    {12303, 70, kNone},
    {12304, 72, kNone},    {1322, 0, kNone},        {12305, 80, kNone},  {12306, 82, kNone},  {12307, 83, kNone},
    {12308, 84, kNone},    {12309, 85, kNone},      {12310, 86, kNone},  {12311, 87, kNone},  {12312, 88, kNone},
    {12313, 89, kNone},    {12314, 90, kNone},      {12315, 91, kNone},  {1323, 0, kNone},    {12316, 110, kNone},
    {12317, 111, kNone},
};
}  // namespace

UINT SYS_CodePageText(UINT codePage)
{
    static const Pair kPages[] = {{437, 1328}, {850, 1329}, {860, 1330}, {861, 1331},
                                  {863, 1332}, {865, 1333}, {932, 1357}};
    return Find(kPages, sizeof kPages / sizeof *kPages, static_cast<int>(codePage));
}

UINT SYS_KeyboardText(int type, int subtype)
{
    static const Pair kTypes[] = {{1, 1335}, {2, 1336}, {3, 1337}, {4, 1338}, {5, 1339}, {6, 1340}};
    // Type 7 is the Japanese family, told apart by the subtype; an unnamed one is the standard.
    static const Pair kJapanese[] = {{0, 1358},     {1, 1359},     {2, 1360},     {3, 1361},    {4, 1362},
                                     {0xD01, 1363}, {0xD02, 1364}, {0xD03, 1365}, {0xD04, 1366}};
    if (type != 7) return Find(kTypes, sizeof kTypes / sizeof *kTypes, type);
    const UINT text = Find(kJapanese, sizeof kJapanese / sizeof *kJapanese, subtype);
    return text == kUnknown ? 1367 : text;
}

UINT SYS_MouseText(int present, int swapped)
{
    if (!present) return 1345;
    return swapped ? 1346 : 1344;
}

std::string SYS_CpuText(DWORD type, int count)
{
    static const struct {
        DWORD type;
        const char* name;
    } kNames[] = {{386, "386"}, {486, "486"}, {586, "Pentium"}, {4000, "R4000"}, {21064, "Alpha"}};
    for (const auto& entry : kNames) {
        if (entry.type != type) continue;
        char text[48];
        snprintf(text, sizeof text, "%s (%d)", entry.name, count);
        return text;
    }
    return "";
}

std::string SYS_RasterText(int caps)
{
    static const Pair kBits[] = {{0x2, 0}, {0x1, 1}, {0x8, 2}, {0x80, 3}, {0x200, 4}, {0x100, 5}};
    static const char* const kNames[] = {";Bnd", ";Blt", ";B64", ";DIB", ";Drw", ";Pal"};
    std::string text = "Ras";
    for (const Pair& bit : kBits)
        if (caps & bit.key) text += kNames[bit.text];
    return text;
}

std::vector<std::string> SYS_ReportLines(const SYS_ReportFacts& facts)
{
    std::vector<std::string> lines;
    for (const Line& line : kReport) {
        lines.push_back(line.control ? Fill(line.text, facts.control(line.control)) : SYS_String(line.text));
        if (line.list == kNone) continue;
        for (const std::string& module : line.list == kFunctions ? facts.functionModules : facts.formatModules)
            lines.push_back("\t\t" + module + "\n");
    }
    return lines;
}

size_t SYS_LineIndent(const std::string& line, int height, int* x, int* y)
{
    size_t at = 0;
    for (; at < line.size() && (line[at] == '\t' || line[at] == '\n'); at++) {
        // The unit is the text height on both axes, not a character width.
        if (line[at] == '\t')
            *x += 4 * height;
        else
            *y += height;
    }
    return at;
}
