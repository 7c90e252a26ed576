#include "playedpackage.h"

#include "platform/applications.h"

#include <algorithm>

namespace
{
const std::wstring fullName = L"Maker.Player_1.0.0.0_x64__abc";
std::wstring installFolder;

/// Nothing is copied where there is no room, as the system does it.
LONG hand(const std::wstring &text, UINT32 *length, PWSTR buffer)
{
    const UINT32 room = buffer ? *length : 0;
    *length = static_cast<UINT32>(text.size() + 1);
    if (room < *length)
        return ERROR_INSUFFICIENT_BUFFER;
    std::copy_n(text.c_str(), *length, buffer);
    return ERROR_SUCCESS;
}
} // namespace

void playPackage(const std::wstring &folder)
{
    installFolder = folder;
}

LONG GetPackageFullName(HANDLE, UINT32 *length, PWSTR name)
{
    return installFolder.empty() ? APPMODEL_ERROR_NO_PACKAGE : hand(fullName, length, name);
}

LONG OpenPackageInfoByFullName(PCWSTR name, UINT32, PACKAGE_INFO_REFERENCE *reference)
{
    if (name != fullName)
        return ERROR_NOT_FOUND;
    *reference = reinterpret_cast<PACKAGE_INFO_REFERENCE>(&installFolder);
    return ERROR_SUCCESS;
}

LONG GetPackageInfo(PACKAGE_INFO_REFERENCE, UINT32, UINT32 *length, BYTE *buffer, UINT32 *count)
{
    const UINT32 room = buffer ? *length : 0;
    *length = sizeof(PACKAGE_INFO);
    *count = 1;
    if (room < *length)
        return ERROR_INSUFFICIENT_BUFFER;
    PACKAGE_INFO info{};
    info.path = installFolder.data();
    *reinterpret_cast<PACKAGE_INFO *>(buffer) = info;
    return ERROR_SUCCESS;
}

LONG ClosePackageInfo(PACKAGE_INFO_REFERENCE)
{
    return ERROR_SUCCESS;
}
