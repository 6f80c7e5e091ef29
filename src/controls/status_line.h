// What the Local status bar says about an image window: the run of coloured
// pieces, worked out from the window's facts without touching a window, so
// that the drawing code only measures and draws.
#pragma once

#include "core/image_record.h"
#include "platform/win32.h"

#include <cstdlib>

// Colours of the pieces.
const COLORREF STA_Black = 0x000000;
const COLORREF STA_Blue = 0xFF0000;
const COLORREF STA_Red = 0x0000FF;

// String ids of the Local bar.
enum StatusText : UINT {
    STA_TXT_NO_ACTIVE = 17155,   // "<< No Active Image >>"
    STA_TXT_EMPTY = 17156,       // "<< Empty Window >>"
    STA_TXT_TYPE = 17157,        // "Type: "
    STA_TXT_MONOCHROME = 17158,  // "Monochrome", then 16-Color ... 32-Bit to 17163
    STA_TXT_SIZE = 17164,        // ", Size: "
    STA_TXT_FORMAT = 17165,      // ", Format: "
    STA_TXT_MODIFIED = 17171,    // "; Modified"
    STA_TXT_WAVE = 17174,        // "Waveform"
    STA_TXT_MIDI = 17175,        // "MIDI"
    STA_TXT_FILE_SIZE = 17176,   // ", File Size:"
};

// The facts of the active window that the Local bar shows.
struct StatusFacts {
    int window;         // an image window with a record is active
    int hasDib;         // its record holds a DIB
    DWORD flags;        // IF_ bits
    DWORD bits;         // the depth the document claims
    DWORD compressed;   // the compressed attribute
    LONG fileSize;      // -1 when the file can't be measured
    LONG width;         // of the DIB
    LONG height;        // of the DIB, either sign
    WORD bitCount;      // the DIB's own bits per pixel
    const char* formatName;  // the name of the window's format row
};

const int STA_PieceRoom = 160;
const int STA_MaxPieces = 9;
struct StatusPiece {
    COLORREF colour;
    char text[STA_PieceRoom];
};

// Bytes of the pixels: each row rounded up to a multiple of 32 bits, times the height.
inline DWORD STA_PixelBytes(LONG width, LONG height, WORD bitCount)
{
    const unsigned long long row = (static_cast<unsigned long long>(width < 0 ? 0 : width) * bitCount + 31) / 32 * 4;
    return static_cast<DWORD>(row * static_cast<unsigned long long>(std::labs(height)));
}

// The string id of the depth's name: 1, 4, 8, 16, 24, 32 bits; 0 for any other value.
inline UINT STA_DepthText(DWORD bits)
{
    static const DWORD depths[] = {1, 4, 8, 16, 24, 32};
    for (UINT i = 0; i < 6; i++)
        if (depths[i] == bits) return STA_TXT_MONOCHROME + i;
    return 0;
}

// Fills the pieces of the Local line in drawing order and returns their count;
// *centred tells that the single piece stands in the middle of the bar.
inline int STA_LocalPieces(const StatusFacts& facts, StatusPiece* pieces, int* centred)
{
    int count = 0;
    auto add = [&](COLORREF colour, UINT id) {
        StatusPiece& piece = pieces[count++];
        piece.colour = colour;
        if (!id || LoadStringA(nullptr, id, piece.text, STA_PieceRoom) <= 0) piece.text[0] = 0;
        return &piece;
    };
    const DWORD sound = IF_WAVE | IF_MIDI;
    *centred = 0;
    if (!facts.window || (!facts.hasDib && !(facts.flags & sound))) {
        add(STA_Black, facts.window ? STA_TXT_EMPTY : STA_TXT_NO_ACTIVE);
        *centred = 1;
        return count;
    }
    add(STA_Black, STA_TXT_TYPE);
    if (facts.flags & IF_WAVE)
        add(STA_Blue, STA_TXT_WAVE);
    else if (facts.flags & IF_MIDI)
        add(STA_Blue, STA_TXT_MIDI);
    else if (UINT id = STA_DepthText(facts.bits))
        add(STA_Blue, id);
    else
        wsprintfA(add(STA_Blue, 0)->text, "%lu", static_cast<unsigned long>(facts.bits));
    if (!(facts.flags & sound)) {
        add(STA_Black, STA_TXT_SIZE);
        wsprintfA(add(STA_Blue, 0)->text, "%lu (%u x %u)",
                  static_cast<unsigned long>(STA_PixelBytes(facts.width, facts.height, facts.bitCount)),
                  static_cast<unsigned>(facts.width), static_cast<unsigned>(std::labs(facts.height)));
    }
    add(STA_Black, STA_TXT_FILE_SIZE);
    StatusPiece* size = add(facts.compressed ? STA_Red : STA_Blue, 0);
    if (facts.fileSize == -1)
        lstrcpyA(size->text, " NA");
    else
        wsprintfA(size->text, " %lu", static_cast<unsigned long>(facts.fileSize));
    add(STA_Black, STA_TXT_FORMAT);
    lstrcpynA(add(STA_Blue, 0)->text, facts.formatName ? facts.formatName : "", STA_PieceRoom);
    if (facts.flags & IF_MODIFIED) add(STA_Black, STA_TXT_MODIFIED);
    return count;
}
