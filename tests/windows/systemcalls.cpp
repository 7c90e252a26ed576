// Asks the system each question that Quorvane asks it, and tells the answers: one line each, the
// call and its result code. Which system misses what is seen by comparing two of them.
#include "systemcalls.h"

#include "platform/audiopolicyconfig.h"
#include "platform/comptr.h"
#include "platform/devicenotification.h"
#include "platform/hid.h"
#include "platform/packagemanager.h"
#include "platform/policyconfig.h"

#include <psapi.h>

#include <cstdio>
#include <initializer_list>
#include <vector>

bool tell(const char *call, HRESULT code)
{
    std::printf("%s\t0x%08lx\n", call, static_cast<unsigned long>(code));
    return SUCCEEDED(code);
}

bool tellTruth(const char *call, bool good)
{
    const DWORD error = GetLastError();
    return tell(call, good ? S_OK : HRESULT_FROM_WIN32(error));
}

bool tellError(const char *call, LONG error)
{
    return tell(call, HRESULT_FROM_WIN32(error));
}

void tellEffect(const char *call, bool isThere)
{
    std::printf("%s\t%s\n", call, isThere ? "works" : "does nothing");
}

namespace
{
void askFactory(const char *call, const wchar_t *className, REFIID id)
{
    HSTRING_HEADER header{};
    HSTRING name = nullptr;
    ComPtr<IUnknown> factory;
    tell("WindowsCreateStringReference",
         WindowsCreateStringReference(className, static_cast<UINT32>(wcslen(className)), &header,
                                      &name));
    tell(call, RoGetActivationFactory(name, id, factory.receiveVoid()));
}

void askPolicy()
{
    ComPtr<IUnknown> policy;
    tell("CoCreateInstance PolicyConfig",
         CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_INPROC_SERVER, IID_IPolicyConfig,
                          policy.receiveVoid()));
    tell("CoCreateInstance PolicyConfigVista",
         CoCreateInstance(CLSID_PolicyConfigVista, nullptr, CLSCTX_INPROC_SERVER,
                          IID_IPolicyConfigVista, policy.receiveVoid()));
    askFactory("RoGetActivationFactory AudioPolicyConfig", audioPolicyConfigClass,
               IID_IAudioPolicyConfig);
    askFactory("RoGetActivationFactory PackageManager", packageManagerClass,
               IID_RuntimeActivationFactory);
}

void askStrings()
{
    HSTRING name = nullptr;
    tell("WindowsCreateString", WindowsCreateString(L"name", 4, &name));
    tell("WindowsGetStringRawBuffer",
         wcscmp(WindowsGetStringRawBuffer(name, nullptr), L"name") == 0 ? S_OK : E_FAIL);
    tell("WindowsDeleteString", WindowsDeleteString(name));
}

void askVersion()
{
    using RtlGetVersion = LONG(WINAPI *)(OSVERSIONINFOEXW *);
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    const HMODULE module = GetModuleHandleW(L"ntdll.dll");
    tellTruth("GetModuleHandleW", module != nullptr);
    const auto get = reinterpret_cast<RtlGetVersion>(
        reinterpret_cast<void *>(GetProcAddress(module, "RtlGetVersion")));
    if (tellTruth("GetProcAddress", get != nullptr))
        tell("RtlGetVersion", get(&version) == 0 ? S_OK : E_FAIL);
}

/// The device that the system always has, opened as the driver's are.
void askDeviceFile()
{
    const HANDLE file = CreateFileW(LR"(\\.\NUL)", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    char byte = 0;
    DWORD count = 0;
    tellTruth("CreateFileW", file != INVALID_HANDLE_VALUE);
    tellTruth("WriteFile", WriteFile(file, &byte, 1, &count, nullptr));
    tellTruth("ReadFile", ReadFile(file, &byte, 1, &count, nullptr));
    tellTruth("CloseHandle", CloseHandle(file));
}

SIZE_T workingSet(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(process, &counters, sizeof(counters));
    return counters.WorkingSetSize;
}

void askTrimming()
{
    constexpr std::size_t size = 64 << 20;
    const std::vector<char> touched(size, 'x');
    const HANDLE own = OpenProcess(PROCESS_SET_QUOTA | PROCESS_QUERY_INFORMATION | PROCESS_VM_READ,
                                   FALSE, GetCurrentProcessId());
    const SIZE_T before = workingSet(own);
    tellTruth("SetProcessWorkingSetSize",
              SetProcessWorkingSetSize(own, static_cast<SIZE_T>(-1), static_cast<SIZE_T>(-1)));
    tellTruth("a working set to measure", before > size);
    tellEffect("SetProcessWorkingSetSize", workingSet(own) < before - size / 2);
    CloseHandle(own);
}

void askProcess()
{
    GUID guid{};
    ULONG reserve = 32768;
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    tellTruth("CreateEventW", event != nullptr);
    tellTruth("SetEvent", SetEvent(event));
    tellTruth("WaitForSingleObject", WaitForSingleObject(event, 0) == WAIT_OBJECT_0);
    tellTruth("SetThreadStackGuarantee", SetThreadStackGuarantee(&reserve));
    tellTruth("MessageBeep", MessageBeep(0));
    tell("CoCreateGuid", CoCreateGuid(&guid));
    tell("hid_init", hid_init() == 0 ? S_OK : E_FAIL);
    CloseHandle(event);
}

void askHotplug()
{
    const HWND window =
        CreateWindowExW(0, L"Message", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof(filter);
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    bool all = true;
    for (const GUID &watched :
         {deviceclass::usbDevice, deviceclass::disk, deviceclass::hid, deviceclass::networkAdapter,
          deviceclass::serialPort, deviceclass::ports, deviceclass::parallelPort,
          deviceclass::parallelDevice}) {
        filter.dbcc_classguid = watched;
        all = all && RegisterDeviceNotificationW(window, &filter, DEVICE_NOTIFY_WINDOW_HANDLE);
    }
    tellTruth("RegisterDeviceNotificationW", all);
    tellTruth("WTSRegisterSessionNotification",
              WTSRegisterSessionNotification(window, NOTIFY_FOR_THIS_SESSION));
}

} // namespace

int main()
{
    if (!tell("CoInitializeEx", CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 1;
    askEndpoints();
    askPolicy();
    askStrings();
    askApplications();
    askVersion();
    askDeviceFile();
    askProcess();
    askTrimming();
    askHotplug();
    CoUninitialize();
    tell("CoInitialize", CoInitialize(nullptr));
    CoUninitialize();
    return 0;
}
