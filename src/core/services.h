// The frame's service messages (5684 + item), answered by the frame's window procedure.
#pragma once

#include "core/service_block.h"

// Whether a frame message is one of the services the frame answers; the
// unassigned items and numbers above the last go to the frame's default handling.
int MAI_IsService(UINT message);
// Runs a service; lParam is the ServiceBlock (null only for the items that
// take none, and for 31, which then reads CoreMemObject). The result is the message's.
LRESULT MAI_Service(HWND frame, UINT message, LPARAM lParam);
