// The Colors menu's operations on a document held as a DIB, its claimed
// depth and its colour flag. The window operations of the program and the
// headless converter both run these, so that a conversion gives the same
// bytes with or without a window.
#include "colour/conversions.h"

#include "colour/depth.h"
#include "colour/error_diffusion.h"
#include "colour/flat_cut.h"
#include "colour/median_cut.h"
#include "platform/dib.h"

namespace {
void Fill(ColourChange* change, HGLOBAL dib, int bits, int color)
{
    change->dib = dib;
    change->bits = bits;
    change->color = color;
}

// A command of the popup and what it runs.
enum Operation { OP_COLOR, OP_GRAY, OP_FLAT, OP_FLAT_DITHER, OP_OPTIMIZED, OP_OPTIMIZED_DITHER, OP_INCREASE };
struct CommandRow {
    int command;
    Operation operation;
    int argument;  // target depth or colour count
    int alpha;
    int below;     // offered when bits is below this (increases) ...
    int above;     // ... or above this (reductions); 0 = always
};
const CommandRow kCommands[] = {
    {CLR_CMD_COLOR, OP_COLOR, 0, 0, 0, 0},
    {CLR_CMD_GRAY, OP_GRAY, 0, 0, 0, 0},
    {CLR_CMD_MONO_FLAT, OP_FLAT, 1, 0, 0, 1},
    {CLR_CMD_MONO_FLAT_DITHER, OP_FLAT_DITHER, 1, 0, 0, 1},
    {CLR_CMD_16_INCREASE, OP_INCREASE, 4, 0, 4, 0},
    {CLR_CMD_16_FLAT, OP_FLAT, 4, 0, 0, 4},
    {CLR_CMD_16_OPTIMIZED, OP_OPTIMIZED, 16, 0, 0, 4},
    {CLR_CMD_16_FLAT_DITHER, OP_FLAT_DITHER, 4, 0, 0, 4},
    {CLR_CMD_16_OPTIMIZED_DITHER, OP_OPTIMIZED_DITHER, 16, 0, 0, 4},
    {CLR_CMD_256_INCREASE, OP_INCREASE, 8, 0, 8, 0},
    {CLR_CMD_256_FLAT, OP_FLAT, 8, 0, 0, 8},
    {CLR_CMD_256_OPTIMIZED, OP_OPTIMIZED, 256, 0, 0, 8},
    {CLR_CMD_256_FLAT_DITHER, OP_FLAT_DITHER, 8, 0, 0, 8},
    {CLR_CMD_256_OPTIMIZED_DITHER, OP_OPTIMIZED_DITHER, 256, 0, 0, 8},
    {CLR_CMD_16BIT_INCREASE, OP_INCREASE, 16, 0, 16, 0},
    {CLR_CMD_16BIT_FLAT, OP_FLAT, 16, 0, 0, 16},
    {CLR_CMD_16BIT_FLAT_DITHER, OP_FLAT_DITHER, 16, 0, 0, 16},
    {CLR_CMD_24BIT_DECREASE, OP_FLAT, 24, 0, 0, 24},
    {CLR_CMD_24BIT_INCREASE, OP_INCREASE, 24, 0, 24, 0},
    {CLR_CMD_32BIT_OPAQUE, OP_INCREASE, 32, 255, 32, 0},
    {CLR_CMD_32BIT_TRANSPARENT, OP_INCREASE, 32, 0, 32, 0},
};

const CommandRow* FindCommand(int command)
{
    for (const CommandRow& row : kCommands)
        if (row.command == command) return &row;
    return nullptr;
}
}  // namespace

int CLR_DocSetColor(const ColourDocument* doc, ColourChange* change)
{
    Fill(change, nullptr, doc->bits, CLR_COLOR_SET);
    return 1;
}

int CLR_DocMakeGray(const ColourDocument* doc, ColourChange* change)
{
    HGLOBAL gray;
    if (!CLR_GrayDib(doc->dib, &gray)) return 0;
    Fill(change, gray, CLR_GrayBits(doc->bits), CLR_COLOR_CLEAR);
    return 1;
}

int CLR_DocFlatCut(const ColourDocument* doc, int target, int dither, ColourChange* change)
{
    const int gray = doc->color ? 0 : 1;
    CLR_SetFlatProgress(1);
    HGLOBAL out;
    int ok = dither ? CLR_FlatDither(doc->dib, &out, target, gray) : CLR_FlatReduce(doc->dib, &out, target, gray);
    if (!ok) return 0;
    Fill(change, out, target, target == 1 ? CLR_COLOR_CLEAR : CLR_COLOR_KEEP);
    return 1;
}

int CLR_DocOptimizedCut(const ColourDocument* doc, int count, int dither, ColourChange* change)
{
    // No palette holds more than 256 colours: such a count (a 24-bit target
    // from 32 bits) keeps the image at 24 bits by dropping the fourth byte.
    if (count > 256) return CLR_DocFlatCut(doc, 24, 0, change);
    CLR_SetCutDither(dither ? 1 : 0);
    HGLOBAL out;
    if (!CLR_MedianCut(doc->dib, &out, count)) return 0;
    Fill(change, out, count < 17 ? 4 : 8, CLR_COLOR_KEEP);
    return 1;
}

int CLR_DocIncreaseDepth(const ColourDocument* doc, int target, int alpha, ColourChange* change)
{
    // A 16-bit document already holds a 24-bit DIB: it only claims the new depth.
    if (doc->bits == 16 && (target == 24 || target == 32)) {
        Fill(change, nullptr, target, CLR_COLOR_KEEP);
        return 1;
    }
    HGLOBAL out;
    if (!CLR_IncreaseDib(doc->dib, &out, target, static_cast<BYTE>(alpha & 0xFF))) return 0;
    Fill(change, out, target, CLR_COLOR_KEEP);
    return 1;
}

int CLR_CommandEnabled(int command, int bits)
{
    const CommandRow* row = FindCommand(command);
    if (!row) return 0;
    if (row->below) return bits < row->below;
    if (row->above) return bits > row->above;
    return 1;
}

int CLR_DocCommand(const ColourDocument* doc, int command, ColourChange* change)
{
    const CommandRow* row = FindCommand(command);
    if (!row || !doc->dib || !CLR_CommandEnabled(command, doc->bits)) return 0;
    switch (row->operation) {
    case OP_COLOR: return CLR_DocSetColor(doc, change);
    case OP_GRAY: return CLR_DocMakeGray(doc, change);
    case OP_FLAT: return CLR_DocFlatCut(doc, row->argument, 0, change);
    case OP_FLAT_DITHER: return CLR_DocFlatCut(doc, row->argument, 1, change);
    case OP_OPTIMIZED: return CLR_DocOptimizedCut(doc, row->argument, 0, change);
    case OP_OPTIMIZED_DITHER: return CLR_DocOptimizedCut(doc, row->argument, 1, change);
    case OP_INCREASE: return CLR_DocIncreaseDepth(doc, row->argument, row->alpha, change);
    }
    return 0;
}

int CLR_DocToDepth(const ColourDocument* doc, int target, int optimized, int dither, int rule, ColourChange* change)
{
    if (target > doc->bits) return CLR_DocIncreaseDepth(doc, target, 255, change);
    if (target == doc->bits) {
        Fill(change, nullptr, doc->bits, CLR_COLOR_KEEP);
        return 1;
    }
    bool cut = optimized && target != 1 && target != 16;
    if (rule == CLR_RULE_SAVE) {
        if (target == 24) {
            cut = false;
            dither = 0;
        }
    }
    if (cut) return CLR_DocOptimizedCut(doc, 1 << target, dither, change);
    return CLR_DocFlatCut(doc, target, dither, change);
}

int CLR_PaletteIsGray(HGLOBAL dib)
{
    BITMAPINFOHEADER* h;
    RGBQUAD* colors;
    if (!DIB_Lock(dib, &h, &colors, nullptr)) return 0;
    int gray = 0;
    if (h->biBitCount < 9) {
        // Only the entries the block really holds are walked.
        DWORD used = h->biClrUsed;
        SIZE_T room = GlobalSize(dib);
        room = room > h->biSize ? (room - h->biSize) / sizeof(RGBQUAD) : 0;
        if (used > room) used = static_cast<DWORD>(room);
        gray = 1;
        for (DWORD i = 0; i < used && gray; i++)
            if (colors[i].rgbRed != colors[i].rgbGreen || colors[i].rgbGreen != colors[i].rgbBlue) gray = 0;
    }
    GlobalUnlock(dib);
    return gray;
}

void CLR_ApplyChange(ColourDocument* doc, const ColourChange* change)
{
    if (change->dib) {
        if (doc->dib && doc->dib != change->dib) GlobalFree(doc->dib);
        doc->dib = change->dib;
        if (doc->color && CLR_PaletteIsGray(doc->dib)) doc->color = 0;
    }
    doc->bits = change->bits;
    if (change->color != CLR_COLOR_KEEP) doc->color = change->color;
}

int CLR_RunCommand(ColourDocument* doc, int command)
{
    ColourChange change;
    if (!CLR_DocCommand(doc, command, &change)) return 0;
    CLR_ApplyChange(doc, &change);
    return 1;
}

int CLR_ConvertDocument(ColourDocument* doc, int target, int optimized, int dither, int rule)
{
    ColourChange change;
    if (!CLR_DocToDepth(doc, target, optimized, dither, rule, &change)) return 0;
    CLR_ApplyChange(doc, &change);
    return 1;
}
