// Packaged applications: the package of a process, where it is installed, texts of its resources.
#pragma once

#include "platform/vocabulary/basetypes.h"

inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr LONG APPMODEL_ERROR_NO_PACKAGE = 15700;
inline constexpr UINT32 PACKAGE_FILTER_HEAD = 0x10;

using PACKAGE_INFO_REFERENCE = struct PACKAGE_INFO_REFERENCE__ *;

struct PACKAGE_INFO
{
    UINT32 reserved;
    UINT32 flags;
    LPWSTR path;
    LPWSTR packageFullName;
    LPWSTR packageFamilyName;
};

/// `length` counts characters with the terminator. ERROR_INSUFFICIENT_BUFFER, with the length,
/// when the buffer is too small; APPMODEL_ERROR_NO_PACKAGE for a process without a package.
LONG GetPackageFullName(HANDLE process, UINT32 *length, LPWSTR fullName);

LONG OpenPackageInfoByFullName(LPCWSTR fullName, UINT32 reserved,
                               PACKAGE_INFO_REFERENCE *reference);
/// Fills in PACKAGE_INFO structures, followed by their texts. `length` is in bytes.
LONG GetPackageInfo(PACKAGE_INFO_REFERENCE reference, UINT32 flags, UINT32 *length, BYTE *buffer,
                    UINT32 *count);
LONG ClosePackageInfo(PACKAGE_INFO_REFERENCE reference);

/// Loads the text behind "@{index file?ms-resource:key}".
HRESULT SHLoadIndirectString(LPCWSTR source, LPWSTR text, UINT size, void **reserved);
