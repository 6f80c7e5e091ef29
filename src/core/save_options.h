// The decisions of Save As and of its dialog, apart from any window: the
// save options word and its column of controls, the names the dialog
// proposes and accepts, and what Save As does to an image before it writes.
#pragma once

#include "platform/win32.h"

// The save options word. The control of a bit has id FIL_OptionControlBase plus the bit.
enum SaveOption : WORD {
    FIL_OPT_1BIT = 0x001,
    FIL_OPT_4BIT = 0x002,
    FIL_OPT_8BIT = 0x004,
    FIL_OPT_16BIT = 0x008,
    FIL_OPT_24BIT = 0x010,
    FIL_OPT_32BIT = 0x020,
    FIL_OPT_COLOR = 0x040,
    FIL_OPT_GRAY = 0x080,
    FIL_OPT_COMPRESSED = 0x100,
};
const WORD FIL_OPT_DEPTHS = 0x03F;
const int FIL_OptionControlBase = 0xF000;

// The column's controls by position: the six depths (their position is also
// the depth index of the capability bytes), Colour, Gray, Compressed.
enum SaveControl { FIL_CTL_DEPTH_FIRST = 0, FIL_CTL_COLOR = 6, FIL_CTL_GRAY = 7, FIL_CTL_COMPRESSED = 8 };
const int FIL_ControlCount = 9;
// The option bit of a control position, and its control id.
WORD FIL_ControlBit(int position);
inline int FIL_ControlId(int position) { return FIL_OptionControlBase + FIL_ControlBit(position); }

// The option bit of a depth (1, 4, 8, 16, 24, 32), 0 for any other.
WORD FIL_DepthOption(int bits);
// The depth of the first depth bit set in options, 0 when none is.
int FIL_OptionDepth(WORD options);

// What the column shows: which controls are enabled and checked, and whether
// the depth texts are to be reset (the format changed).
struct SaveColumn {
    BYTE enabled[FIL_ControlCount];
    BYTE checked[FIL_ControlCount];
    BYTE resetTexts;
};
// The modes of FIL_UpdateOptions.
enum { FIL_MODE_FORMAT = 1, FIL_MODE_DEPTH = 2, FIL_MODE_COLOR = 3, FIL_MODE_COMPRESSED = 4 };

// The column's checks from an options word (everything enabled).
void FIL_ColumnFromOptions(SaveColumn* column, WORD options);
// The options word from the column's checks.
WORD FIL_OptionsFromColumn(const SaveColumn* column);
// Brings the column in line with the capability bytes of the selected format
// after a change of the given mode: enables what the format can hold, moves
// a depth that became impossible to another (upward first, then 16, 8, 4, 1),
// and falls back to Gray when Colour is impossible.
void FIL_UpdateColumn(SaveColumn* column, const BYTE capability[6], int mode);
// A click on control position: a depth checks only itself (mode 2), Colour
// and Gray exclude each other (mode 3), Compressed toggles (mode 4).
void FIL_ClickColumn(SaveColumn* column, const BYTE capability[6], int position);

// Save As presets the options from the document: compressed, colour or gray, depth.
WORD FIL_PresetOptions(int compressed, int color, int bits);

// Names are never cut: a result that doesn't fit size leaves the name as it
// was (the proposal empty).
// The name Save As proposes: the title cut at its first "." with "." and the extension added.
void FIL_ProposedName(LPCSTR title, LPCSTR extension, LPSTR out, int size);
// The name after a change of filter: what follows the first "." becomes the
// extension; a name without "." stays.
void FIL_NameForFilter(LPSTR name, int size, LPCSTR extension);
// The name at accept: a name without "." gets "." and the extension.
void FIL_NameAtAccept(LPSTR name, int size, LPCSTR extension);
// The name checks of Save As: 0 when the name passes, else the message id
// (8238 for an extension of 4 characters or more, 8237 for a base name of
// 129 or more). The name's part behind the last "\" and then the last "/" is
// split at its first ".".
UINT FIL_CheckSaveName(LPCSTR path);

// What Save As does to the image between the dialog and the write.
struct SaveFacts {
    int oldColor, newColor;  // IF_COLOR before, option 0x40 after
    int oldBits, newBits;    // depth before, depth chosen
    int toIcon;              // the chosen row is ICO
    int warn;                // save_warn_colorloss
};
struct SavePlan {
    int ask;         // the colour-loss question is asked
    int makeGray;    // colour to gray: IMG_MakeGray, and the old depth is capped at 8
    int setColor;    // gray to colour: only IF_COLOR is set
    int fromBits;    // the depth the conversion starts from
    int toBits;      // the depth written: the chosen one, or the old one when none was chosen
    int convert;     // a depth conversion runs (from fromBits to toBits)
};
void FIL_PlanSave(const SaveFacts* facts, SavePlan* plan);
