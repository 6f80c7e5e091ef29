// Numbers of the program's own resources and of the frame's fixed child
// windows. Shared by the resource script and the C++ code, so only #defines.
#pragma once

// Class icons: the frame's and the image windows'.
#define IDI_FRAME 400
#define IDI_IMAGE 401

// The cursor of the capture drag.
#define IDC_CAPTURE 600

// The frame's accelerator table.
#define IDR_ACCELERATORS 500

// The MDI client: its control id, the id of the first image window in the
// Window menu's list, and the position of that menu in the menu bar.
#define IDC_MDICLIENT 3244
#define IDM_FIRSTCHILD 2320
#define MENUPOS_WINDOW 4
