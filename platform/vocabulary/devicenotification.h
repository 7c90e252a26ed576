// Window messages about devices and sessions, and how a window asks for them.
#pragma once

#include "platform/vocabulary/basetypes.h"

#include <cstddef>

using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using HDEVNOTIFY = LPVOID;

struct POINT
{
    LONG x;
    LONG y;
};

struct MSG
{
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

inline constexpr UINT WM_DEVICECHANGE = 0x0219;
inline constexpr UINT WM_WTSSESSION_CHANGE = 0x02B1;

// wParam of WM_DEVICECHANGE; lParam is a broadcast's address with these two.
inline constexpr WPARAM DBT_DEVICEARRIVAL = 0x8000;
inline constexpr WPARAM DBT_DEVICEREMOVECOMPLETE = 0x8004;
inline constexpr WPARAM DBT_DEVNODES_CHANGED = 0x0007;
// wParam of WM_WTSSESSION_CHANGE.
inline constexpr WPARAM WTS_SESSION_LOCK = 0x7;

inline constexpr DWORD DBT_DEVTYP_OEM = 0;
inline constexpr DWORD DBT_DEVTYP_VOLUME = 2;
inline constexpr DWORD DBT_DEVTYP_PORT = 3;
inline constexpr DWORD DBT_DEVTYP_DEVICEINTERFACE = 5;
inline constexpr DWORD DBT_DEVTYP_HANDLE = 6;

/// The beginning of every broadcast. Sizes are in bytes, of the whole structure.
struct DEV_BROADCAST_HDR
{
    DWORD dbch_size;
    DWORD dbch_devicetype;
    DWORD dbch_reserved;
};

inline constexpr WORD DBTF_MEDIA = 0x0001;
inline constexpr WORD DBTF_NET = 0x0002;

struct DEV_BROADCAST_VOLUME
{
    DWORD dbcv_size;
    DWORD dbcv_devicetype;
    DWORD dbcv_reserved;
    DWORD dbcv_unitmask; ///< bit 0 is drive A
    WORD dbcv_flags;
};

/// The name goes on behind the structure, to its terminator.
struct DEV_BROADCAST_PORT_W
{
    DWORD dbcp_size;
    DWORD dbcp_devicetype;
    DWORD dbcp_reserved;
    WCHAR dbcp_name[1];
};

/// The device path goes on behind the structure, to its terminator.
struct DEV_BROADCAST_DEVICEINTERFACE_W
{
    DWORD dbcc_size;
    DWORD dbcc_devicetype;
    DWORD dbcc_reserved;
    GUID dbcc_classguid;
    WCHAR dbcc_name[1];
};
static_assert(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) == 32);

inline constexpr DWORD DEVICE_NOTIFY_WINDOW_HANDLE = 0;
inline constexpr DWORD NOTIFY_FOR_THIS_SESSION = 0;

/// Sends the window WM_DEVICECHANGE for interfaces of the filter's class, from now on. Null on
/// failure. Main thread.
HDEVNOTIFY RegisterDeviceNotificationW(HANDLE recipient, LPVOID notificationFilter, DWORD flags);

/// Sends the window WM_WTSSESSION_CHANGE.
BOOL WTSRegisterSessionNotification(HWND window, DWORD flags);
