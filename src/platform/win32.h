// The one way portable code reaches the Win32 API. On Windows this is the real
// <windows.h>; on native builds it is the subset in platform/posix/.
#pragma once

#include <cstdint>
#include <cstring>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include "platform/posix/win32_posix.h"
#endif
