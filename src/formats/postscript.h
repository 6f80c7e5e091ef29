// PostScript text for a 24-bit image: the numbered strings that set up the
// image operator, the rows as hexadecimal, and the closing lines. Written
// against a sink so that the printer path (the driver's passthrough escape)
// and a file writer send the same bytes.
#pragma once

#include "platform/win32.h"

#include <cstddef>

// Bytes in front of the text of every packet handed to a sink: the text's
// length as a 32-bit little-endian number. A sink may overwrite them (the
// passthrough escape puts its own count there).
constexpr size_t PS_PacketHeader = 4;

// Where the text goes. send gets a packet (the header, then length bytes of
// text, which it may change) and returns the result of the device: above 0
// goes on, 0 or below ends the output with that result.
struct PS_Sink {
    int (*send)(void* context, char* packet, int length);
    void* context;
};

// Formats string id of the string table with the arguments and sends it.
// The result is the sink's; -5 when the string is missing or too long.
int PS_SendString(const PS_Sink& sink, UINT id, ...);

// The two upper-case hexadecimal digits of value, high digit first.
const char* PS_HexPair(BYTE value);

// Six upper-case hexadecimal digits per pixel, red, green, blue, from width
// pixels stored blue, green, red; out receives width times 6 characters.
void PS_HexRow(const BYTE* bgr, int width, char* out);

// The image at the origin, printedWidth by printedHeight in device units:
// the set-up strings, each row of the 24-bit DIB in memory order followed by
// a newline, and the closing lines. progress (may be null) gets the percent
// every tenth row and at the last. Returns the last result of the sink; 0 or
// below when the output ended early (-5 when memory for a row was short).
int PS_WriteImage(const PS_Sink& sink, const BITMAPINFOHEADER* header, const BYTE* pixels, int printedWidth,
                  int printedHeight, void (*progress)(int percent));
