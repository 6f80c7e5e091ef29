// The frame services that need no window: the colour engine's reductions and
// the registration of a module's format row. Portable, so that the headless
// builds and their tests run them as the frame does.
#pragma once

#include "core/service_block.h"

// Items 41, 43, 44 and 72 to 76; the result is the message's (a new DIB
// handle, the step's result, or 0).
LRESULT SVC_ColourService(int item, ServiceBlock* block);
// Whether an item is one of those.
int SVC_IsColourService(int item);
// Item 27: adds the offered row to the format table; its row number, or -1.
int SVC_RegisterFormat(const FormatOffer* offer);
