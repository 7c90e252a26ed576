#include "platform/crashevent.h"

#include "platform/windows/sdk.h"

namespace
{

constexpr DWORD retryMs = 1000;

[[nodiscard]] bool isSignalledWithin(std::intptr_t event, DWORD milliseconds) noexcept
{
    // It resets itself.
    return WaitForSingleObject(reinterpret_cast<HANDLE>(event), milliseconds) == WAIT_OBJECT_0;
}

} // namespace

CrashEvent::CrashEvent()
    : event(reinterpret_cast<std::intptr_t>(CreateEventW(nullptr, FALSE, FALSE, nullptr)))
{
}

void CrashEvent::signal() noexcept
{
    SetEvent(reinterpret_cast<HANDLE>(event));
}

void CrashEvent::await() noexcept
{
    // A wait that fails, for want of an event, must not spin.
    while (!isSignalledWithin(event, INFINITE))
        Sleep(retryMs);
}

bool CrashEvent::awaitWithin(std::chrono::milliseconds bound) noexcept
{
    return isSignalledWithin(event, DWORD(bound.count()));
}

void nameCrashAnnouncer()
{
    // The first Windows 10 does not have it yet.
    using SetDescription = HRESULT(WINAPI *)(HANDLE thread, const wchar_t *description);
    const auto setDescription = reinterpret_cast<SetDescription>(reinterpret_cast<void *>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription")));
    if (setDescription)
        setDescription(GetCurrentThread(), L"crash-announcer");
}
