#ifndef KPXML_PLATFORM_WIN32_WINDOWSAPI_H
#define KPXML_PLATFORM_WIN32_WINDOWSAPI_H

// <windows.h> without the min/max macros and the rarely used parts, for the Win32 side of the
// platform layer.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#endif
