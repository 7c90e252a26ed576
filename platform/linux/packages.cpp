// Packages and version information from desktop entries. An application that was started for an
// entry is packaged: the entry's ID is its package, the entry's file its install path. Any other
// executable has the version information of the entry that starts it.
#include "platform/vocabulary/packages.h"

#include "platform/linux/desktopentries.h"
#include "platform/linux/processfiles.h"
#include "platform/linux/processhandle.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/versionblock.h"
#include "platform/posix/widetext.h"
#include "platform/vocabulary/versioninfo.h"

/// What a reference to a package points to.
struct PACKAGE_INFO_REFERENCE__
{
    QString installPath;
};

namespace
{
std::optional<posix::VersionBlock> versionOf(LPCWSTR fileName)
{
    const auto entry = desktopentries::byExecutable(QString::fromWCharArray(fileName));
    if (!entry)
        return std::nullopt;
    return posix::VersionBlock({{QStringLiteral("FileDescription"), entry->name},
                                {QStringLiteral("ProductName"), entry->genericName}});
}
} // namespace

LONG GetPackageFullName(HANDLE process, UINT32 *length, LPWSTR fullName)
{
    const QString id = processfiles::desktopId(processOfHandle(process));
    if (id.isEmpty() || !desktopentries::byId(id))
        return APPMODEL_ERROR_NO_PACKAGE;
    const UINT32 room = fullName ? *length : 0;
    *length = static_cast<UINT32>(id.toStdWString().size() + 1);
    const bool fits = posix::copyWideText(id, fullName, room).has_value();
    return fits ? LONG{ERROR_SUCCESS} : LONG{ERROR_INSUFFICIENT_BUFFER};
}

LONG OpenPackageInfoByFullName(LPCWSTR fullName, UINT32, PACKAGE_INFO_REFERENCE *reference)
{
    const auto entry = desktopentries::byId(QString::fromWCharArray(fullName));
    if (!entry)
        return LONG{ERROR_NOT_FOUND};
    *reference = new PACKAGE_INFO_REFERENCE__{entry->file};
    return LONG{ERROR_SUCCESS};
}

LONG GetPackageInfo(PACKAGE_INFO_REFERENCE reference, UINT32, UINT32 *length, BYTE *buffer,
                    UINT32 *count)
{
    const UINT32 room = *length;
    const std::size_t characters = reference->installPath.toStdWString().size() + 1;
    *length = static_cast<UINT32>(sizeof(PACKAGE_INFO) + characters * sizeof(wchar_t));
    *count = 1;
    if (!buffer || room < *length)
        return LONG{ERROR_INSUFFICIENT_BUFFER};
    auto *path = reinterpret_cast<wchar_t *>(buffer + sizeof(PACKAGE_INFO));
    posix::copyWideText(reference->installPath, path, characters);
    *reinterpret_cast<PACKAGE_INFO *>(buffer) = PACKAGE_INFO{0, 0, path, nullptr, nullptr};
    return LONG{ERROR_SUCCESS};
}

LONG ClosePackageInfo(PACKAGE_INFO_REFERENCE reference)
{
    delete reference;
    return LONG{ERROR_SUCCESS};
}

// Desktop entries say their names themselves.
HRESULT SHLoadIndirectString(LPCWSTR, LPWSTR, UINT, void **)
{
    return E_INVALIDARG;
}

DWORD GetFileVersionInfoSizeW(LPCWSTR fileName, DWORD *)
{
    const auto block = versionOf(fileName);
    if (!block)
        posix::setLastError(ERROR_FILE_NOT_FOUND);
    return block ? block->bytes() : 0;
}

BOOL GetFileVersionInfoW(LPCWSTR fileName, DWORD, DWORD bytes, LPVOID block)
{
    const auto known = versionOf(fileName);
    return known && known->copyTo(block, bytes) ? TRUE : FALSE;
}

BOOL VerQueryValueW(const void *block, LPCWSTR subBlock, LPVOID *value, UINT *length)
{
    return posix::VersionBlock::query(block, subBlock, value, length) ? TRUE : FALSE;
}
