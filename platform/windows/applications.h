// The SDK headers that processes, packages, version information and manifests stand in.
#pragma once

#include "platform/windows/sdk.h"

// clang-format off
#include <msxml2.h>
#include <oleauto.h>
#include <psapi.h>
#include <shlwapi.h>
#include <tlhelp32.h>
#include <winver.h>
// clang-format on

#if __has_include(<appmodel.h>)
#include <appmodel.h>
#else
// MinGW lacks the header of the package functions.
inline constexpr UINT32 PACKAGE_FILTER_HEAD = 0x10;

using PACKAGE_INFO_REFERENCE = struct PACKAGE_INFO_REFERENCE__ *;

#pragma pack(push, 4)
struct PACKAGE_ID
{
    UINT32 reserved;
    UINT32 processorArchitecture;
    UINT64 version;
    PWSTR name;
    PWSTR publisher;
    PWSTR resourceId;
    PWSTR publisherId;
};

struct PACKAGE_INFO
{
    UINT32 reserved;
    UINT32 flags;
    PWSTR path;
    PWSTR packageFullName;
    PWSTR packageFamilyName;
    PACKAGE_ID packageId;
};
#pragma pack(pop)

extern "C" {
LONG WINAPI GetPackageFullName(HANDLE process, UINT32 *length, PWSTR fullName);
LONG WINAPI OpenPackageInfoByFullName(PCWSTR fullName, UINT32 reserved,
                                      PACKAGE_INFO_REFERENCE *reference);
LONG WINAPI GetPackageInfo(PACKAGE_INFO_REFERENCE reference, UINT32 flags, UINT32 *length,
                           BYTE *buffer, UINT32 *count);
LONG WINAPI ClosePackageInfo(PACKAGE_INFO_REFERENCE reference);
}
#endif
