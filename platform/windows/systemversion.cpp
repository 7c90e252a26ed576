#include "platform/systemversion.h"

#include "platform/windows/sdk.h"

namespace
{

using RtlGetVersionFunction = LONG(WINAPI *)(OSVERSIONINFOEXW *);

RtlGetVersionFunction findRtlGetVersion()
{
    const HMODULE module = GetModuleHandleW(L"ntdll.dll");
    if (!module)
        return nullptr;
    // By way of void *, since the two function types have nothing in common.
    return reinterpret_cast<RtlGetVersionFunction>(
        reinterpret_cast<void *>(GetProcAddress(module, "RtlGetVersion")));
}

} // namespace

bool readSystemVersion(int &major, int &minor, int &build)
{
    const RtlGetVersionFunction rtlGetVersion = findRtlGetVersion();
    if (!rtlGetVersion)
        return false;

    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    static_assert(sizeof(version) == 284);
    if (rtlGetVersion(&version) != 0)
        return false;

    major = static_cast<int>(version.dwMajorVersion);
    minor = static_cast<int>(version.dwMinorVersion);
    build = static_cast<int>(version.dwBuildNumber);
    return true;
}
