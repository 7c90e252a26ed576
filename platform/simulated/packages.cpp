// Packages, version information and indirect strings.
#include "platform/applications.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/versionblock.h"
#include "platform/posix/widetext.h"
#include "platform/simulated/applicationtable.h"
#include "platform/simulated/census.h"
#include "platform/simulated/record.h"

using simulated::failsWithError;
using simulated::faultOf;
using simulated::textOf;

/// What a reference to a package points to.
struct PACKAGE_INFO_REFERENCE__
{
    QString installPath;
};

namespace
{

posix::VersionBlock versionOf(const simulated::Application &application)
{
    return posix::VersionBlock(application.version);
}

} // namespace

LONG GetPackageFullName(HANDLE process, UINT32 *length, LPWSTR fullName)
{
    const DWORD id = simulated::processOfHandle(process);
    const QString purpose = fullName ? QStringLiteral("text") : QStringLiteral("length");
    if (const auto fault = faultOf(QStringLiteral("GetPackageFullName %1 %2").arg(id).arg(purpose)))
        return *fault;
    const auto application = simulated::findApplication(id);
    if (!application || application->packageFullName.isEmpty())
        return APPMODEL_ERROR_NO_PACKAGE;
    const UINT32 room = fullName ? *length : 0;
    *length = static_cast<UINT32>(application->packageFullName.toStdWString().size() + 1);
    const bool fits = posix::copyWideText(application->packageFullName, fullName, room).has_value();
    return fits ? LONG{ERROR_SUCCESS} : LONG{ERROR_INSUFFICIENT_BUFFER};
}

LONG OpenPackageInfoByFullName(LPCWSTR fullName, UINT32, PACKAGE_INFO_REFERENCE *reference)
{
    if (const auto fault = faultOf(QStringLiteral("OpenPackageInfoByFullName ") + textOf(fullName)))
        return *fault;
    const auto package = simulated::findPackage(textOf(fullName));
    if (!package)
        return LONG{ERROR_NOT_FOUND};
    *reference = new PACKAGE_INFO_REFERENCE__{package->installPath};
    simulated::enterCensus(*reference, QStringLiteral("package"));
    return LONG{ERROR_SUCCESS};
}

LONG GetPackageInfo(PACKAGE_INFO_REFERENCE reference, UINT32 flags, UINT32 *length, BYTE *buffer,
                    UINT32 *count)
{
    const QString purpose = buffer ? QStringLiteral("info") : QStringLiteral("length");
    if (const auto fault = faultOf(QStringLiteral("GetPackageInfo %1 %2").arg(flags).arg(purpose)))
        return *fault;
    const UINT32 room = buffer ? *length : 0;
    const std::size_t characters = reference->installPath.toStdWString().size() + 1;
    *length = static_cast<UINT32>(sizeof(PACKAGE_INFO) + characters * sizeof(wchar_t));
    *count = 1;
    if (room < *length)
        return LONG{ERROR_INSUFFICIENT_BUFFER};
    auto *path = reinterpret_cast<wchar_t *>(buffer + sizeof(PACKAGE_INFO));
    posix::copyWideText(reference->installPath, path, characters);
    PACKAGE_INFO info{};
    info.path = path;
    *reinterpret_cast<PACKAGE_INFO *>(buffer) = info;
    return LONG{ERROR_SUCCESS};
}

LONG ClosePackageInfo(PACKAGE_INFO_REFERENCE reference)
{
    simulated::record(QStringLiteral("ClosePackageInfo"));
    simulated::leaveCensus(reference);
    delete reference;
    return LONG{ERROR_SUCCESS};
}

HRESULT SHLoadIndirectString(LPCWSTR source, LPWSTR text, UINT size, void **)
{
    if (const auto fault = faultOf(QStringLiteral("SHLoadIndirectString ") + textOf(source)))
        return *fault;
    const auto loaded = simulated::findIndirectString(textOf(source));
    if (!loaded)
        return E_INVALIDARG;
    return posix::copyWideText(*loaded, text, size) ? S_OK : E_FAIL;
}

DWORD GetFileVersionInfoSizeW(LPCWSTR fileName, DWORD *)
{
    if (failsWithError(QStringLiteral("GetFileVersionInfoSizeW ") + textOf(fileName)))
        return 0;
    const auto application = simulated::findApplicationByPath(textOf(fileName));
    if (application && !application->version.isEmpty())
        return versionOf(*application).bytes();
    posix::setLastError(ERROR_FILE_NOT_FOUND);
    return 0;
}

BOOL GetFileVersionInfoW(LPCWSTR fileName, DWORD, DWORD bytes, LPVOID block)
{
    if (failsWithError(QStringLiteral("GetFileVersionInfoW ") + textOf(fileName)))
        return FALSE;
    const auto application = simulated::findApplicationByPath(textOf(fileName));
    return application && versionOf(*application).copyTo(block, bytes) ? TRUE : FALSE;
}

BOOL VerQueryValueW(const void *block, LPCWSTR subBlock, LPVOID *value, UINT *length)
{
    if (failsWithError(QStringLiteral("VerQueryValueW ") + textOf(subBlock)))
        return FALSE;
    if (!posix::VersionBlock::query(block, subBlock, value, length))
        return FALSE;
    if (*value == block)
        *length = simulated::translationBytes();
    return TRUE;
}
