// Dialog 309, "Icon Types/Sizes", and its controls. Shared by the resource
// script and the C++ code, so only #defines.
#pragma once

#define IDD_ICON_TYPES 309
#define IDC_ICON_LIST 339
#define IDC_ICON_BOX 350
