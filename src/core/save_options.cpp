// The decisions of Save As and of its dialog's option column.
#include "core/save_options.h"

#include <cstring>
#include <string>

namespace {
const int kDepths[6] = {1, 4, 8, 16, 24, 32};
const UINT kNameTooLong = 8237;       // "Illegal DOS file name -- name too long"
const UINT kExtensionTooLong = 8238;  // "Illegal DOS extension -- extension too long"

// The first checked depth's position, -1 when none is checked.
int CheckedDepth(const SaveColumn* column)
{
    for (int i = 0; i < 6; i++)
        if (column->checked[i]) return i;
    return -1;
}

// The capability test of a depth position; a missing depth has no capability.
bool Test(const BYTE capability[6], int depth, int mask) { return depth >= 0 && depth < 6 && (capability[depth] & mask) != 0; }

// Puts text into out of size bytes only when it fits whole; otherwise out
// stays as it was: a cut name would be some other file.
void CopyWhole(LPSTR out, int size, const std::string& text)
{
    if (size > 0 && text.size() < static_cast<size_t>(size)) memcpy(out, text.c_str(), text.size() + 1);
}
}  // namespace

WORD FIL_ControlBit(int position)
{
    if (position < 0 || position >= FIL_ControlCount) return 0;
    return static_cast<WORD>(1u << position);
}

WORD FIL_DepthOption(int bits)
{
    for (int i = 0; i < 6; i++)
        if (kDepths[i] == bits) return static_cast<WORD>(1u << i);
    return 0;
}

int FIL_OptionDepth(WORD options)
{
    for (int i = 0; i < 6; i++)
        if (options & (1u << i)) return kDepths[i];
    return 0;
}

void FIL_ColumnFromOptions(SaveColumn* column, WORD options)
{
    for (int i = 0; i < FIL_ControlCount; i++) {
        column->enabled[i] = 1;
        column->checked[i] = (options & FIL_ControlBit(i)) ? 1 : 0;
    }
    column->resetTexts = 0;
}

WORD FIL_OptionsFromColumn(const SaveColumn* column)
{
    WORD options = 0;
    for (int i = 0; i < FIL_ControlCount; i++)
        if (column->checked[i]) options |= FIL_ControlBit(i);
    return options;
}

void FIL_UpdateColumn(SaveColumn* column, const BYTE capability[6], int mode)
{
    const int d = CheckedDepth(column);
    BYTE* enabled = column->enabled;
    BYTE* checked = column->checked;
    switch (mode) {
    case FIL_MODE_FORMAT:
        column->resetTexts = 1;
        for (int i = 0; i < 6; i++) enabled[i] = capability[i] != 0;
        enabled[FIL_CTL_COLOR] = Test(capability, d, 1);
        enabled[FIL_CTL_GRAY] = 1;
        enabled[FIL_CTL_COMPRESSED] = Test(capability, d, 4);
        if (Test(capability, d, 8)) checked[FIL_CTL_COMPRESSED] = 1;
        if (!Test(capability, d, 12)) checked[FIL_CTL_COMPRESSED] = 0;
        break;
    case FIL_MODE_DEPTH:
        enabled[FIL_CTL_COLOR] = Test(capability, d, 1);
        enabled[FIL_CTL_GRAY] = 1;
        enabled[FIL_CTL_COMPRESSED] = Test(capability, d, 4);
        if (Test(capability, d, 8)) checked[FIL_CTL_COMPRESSED] = 1;
        break;
    case FIL_MODE_COLOR:
    case FIL_MODE_COMPRESSED:
        // With Compressed checked only the depths that can be compressed stay open.
        for (int i = 0; i < 6; i++)
            enabled[i] = capability[i] != 0 && (!checked[FIL_CTL_COMPRESSED] || Test(capability, i, 12));
        if (mode == FIL_MODE_COLOR) {
            enabled[FIL_CTL_COMPRESSED] = Test(capability, d, 4);
            if (Test(capability, d, 8)) checked[FIL_CTL_COMPRESSED] = 1;
        } else {
            enabled[FIL_CTL_COLOR] = Test(capability, d, 1);
            enabled[FIL_CTL_GRAY] = 1;
        }
        break;
    default:
        return;
    }

    // A checked depth that became impossible moves to another one: upward
    // first, then down from 32 through 16, 8, 4 and 1; 24 is not among those.
    if (d >= 0 && !enabled[d]) {
        checked[d] = 0;
        int found = -1;
        for (int i = d + 1; i < 6 && found < 0; i++)
            if (enabled[i]) found = i;
        for (int i = 3; i >= 0 && found < 0; i--)
            if (i != d && enabled[i]) found = i;
        if (found >= 0) {
            checked[found] = 1;
            FIL_UpdateColumn(column, capability, FIL_MODE_DEPTH);
            return;
        }
    }
    if (!enabled[FIL_CTL_COLOR]) {
        checked[FIL_CTL_GRAY] = 1;
        checked[FIL_CTL_COLOR] = 0;
    }
}

void FIL_ClickColumn(SaveColumn* column, const BYTE capability[6], int position)
{
    if (position >= 0 && position < 6) {
        for (int i = 0; i < 6; i++) column->checked[i] = 0;
        column->checked[position] = 1;
        FIL_UpdateColumn(column, capability, FIL_MODE_DEPTH);
    } else if (position == FIL_CTL_COLOR || position == FIL_CTL_GRAY) {
        column->checked[FIL_CTL_COLOR] = position == FIL_CTL_COLOR;
        column->checked[FIL_CTL_GRAY] = position == FIL_CTL_GRAY;
        FIL_UpdateColumn(column, capability, FIL_MODE_COLOR);
    } else if (position == FIL_CTL_COMPRESSED) {
        column->checked[FIL_CTL_COMPRESSED] = !column->checked[FIL_CTL_COMPRESSED];
        FIL_UpdateColumn(column, capability, FIL_MODE_COMPRESSED);
    }
}

WORD FIL_PresetOptions(int compressed, int color, int bits)
{
    WORD options = 0;
    if (compressed) options |= FIL_OPT_COMPRESSED;
    options |= color ? FIL_OPT_COLOR : FIL_OPT_GRAY;
    options |= FIL_DepthOption(bits);
    return options;
}

void FIL_ProposedName(LPCSTR title, LPCSTR extension, LPSTR out, int size)
{
    if (size <= 0) return;
    out[0] = 0;
    std::string name(title);
    name = name.substr(0, name.find('.'));
    CopyWhole(out, size, name + "." + extension);
}

void FIL_NameForFilter(LPSTR name, int size, LPCSTR extension)
{
    char* dot = strchr(name, '.');
    if (!dot) return;
    CopyWhole(name, size, std::string(name, static_cast<size_t>(dot + 1 - name)) + extension);
}

void FIL_NameAtAccept(LPSTR name, int size, LPCSTR extension)
{
    if (!strchr(name, '.')) CopyWhole(name, size, std::string(name) + "." + extension);
}

UINT FIL_CheckSaveName(LPCSTR path)
{
    LPCSTR part = path;
    if (LPCSTR slash = strrchr(part, '\\')) part = slash + 1;
    if (LPCSTR slash = strrchr(part, '/')) part = slash + 1;
    const char* dot = strchr(part, '.');
    const size_t base = dot ? static_cast<size_t>(dot - part) : strlen(part);
    const size_t extension = dot ? strlen(dot + 1) : 0;
    if (extension >= 4) return kExtensionTooLong;
    if (base >= 129) return kNameTooLong;
    return 0;
}

void FIL_PlanSave(const SaveFacts* facts, SavePlan* plan)
{
    // No depth chosen keeps the document's own.
    const int newBits = facts->newBits ? facts->newBits : facts->oldBits;
    // An icon keeps a 32-bit image unreduced: its writer works on it itself.
    const bool iconKeeps = facts->toIcon && facts->oldBits == 32;
    const bool loses = (facts->oldColor && !facts->newColor) || newBits < facts->oldBits;
    plan->ask = facts->warn && loses && !iconKeeps;
    plan->makeGray = facts->oldColor && !facts->newColor;
    plan->setColor = !facts->oldColor && facts->newColor;
    plan->fromBits = plan->makeGray && facts->oldBits > 8 ? 8 : facts->oldBits;
    plan->toBits = newBits;
    plan->convert = !(facts->toIcon && plan->fromBits == 32) && plan->fromBits != newBits;
}
