// Asks the system each question that Quorvane asks it, and tells the answers: one line each, the
// call and its result code. Which system misses what is seen by comparing two of them.
#include "platform/applications.h"
#include "platform/audiopolicyconfig.h"
#include "platform/comptr.h"
#include "platform/devicenotification.h"
#include "platform/packagemanager.h"
#include "platform/policyconfig.h"

#include <cstdio>

namespace
{

/// Whether the call was good.
bool tell(const char *call, HRESULT code)
{
    std::printf("%s\t0x%08lx\n", call, static_cast<unsigned long>(code));
    return SUCCEEDED(code);
}

/// For a call that tells its failure by GetLastError.
bool tellTruth(const char *call, bool good)
{
    const DWORD error = GetLastError();
    return tell(call, good ? S_OK : HRESULT_FROM_WIN32(error));
}

// Sinks that nobody needs to keep: they live as long as the program.
template <typename Interface>
struct Sink : public Interface
{
    virtual ~Sink() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **result) override
    {
        *result = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

struct EndpointSink final : public Sink<IMMNotificationClient>
{
    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR, DWORD) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow, ERole, LPCWSTR) override
    {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR, const PROPERTYKEY) override
    {
        return S_OK;
    }
};

struct LevelSink final : public Sink<IAudioEndpointVolumeCallback>
{
    HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA) override { return S_OK; }
};

struct SessionSink final : public Sink<IAudioSessionNotification>
{
    HRESULT STDMETHODCALLTYPE OnSessionCreated(IAudioSessionControl *) override { return S_OK; }
};

struct SessionEvents final : public Sink<IAudioSessionEvents>
{
    HRESULT STDMETHODCALLTYPE OnDisplayNameChanged(LPCWSTR, LPCGUID) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnIconPathChanged(LPCWSTR, LPCGUID) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnSimpleVolumeChanged(float, BOOL, LPCGUID) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnChannelVolumeChanged(DWORD, float *, DWORD, LPCGUID) override
    {
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnGroupingParamChanged(LPCGUID, LPCGUID) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStateChanged(AudioSessionState) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnSessionDisconnected(AudioSessionDisconnectReason) override
    {
        return S_OK;
    }
};

void askVolume(IMMDevice *device)
{
    static LevelSink sink;
    ComPtr<IAudioEndpointVolume> volume;
    if (!tell(
            "IMMDevice::Activate IAudioEndpointVolume",
            device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.receiveVoid())))
        return;
    float level = 0;
    BOOL muted = FALSE;
    tell("IAudioEndpointVolume::GetMasterVolumeLevelScalar",
         volume->GetMasterVolumeLevelScalar(&level));
    tell("IAudioEndpointVolume::SetMasterVolumeLevelScalar",
         volume->SetMasterVolumeLevelScalar(1, nullptr));
    tell("IAudioEndpointVolume::GetMute", volume->GetMute(&muted));
    tell("IAudioEndpointVolume::SetMute", volume->SetMute(FALSE, nullptr));
    tell("IAudioEndpointVolume::RegisterControlChangeNotify",
         volume->RegisterControlChangeNotify(&sink));
    tell("IAudioEndpointVolume::UnregisterControlChangeNotify",
         volume->UnregisterControlChangeNotify(&sink));
}

void askSession(IAudioSessionControl2 *session)
{
    static SessionEvents events;
    AudioSessionState state{};
    DWORD process = 0;
    GUID group{};
    tell("IAudioSessionControl2::GetState", session->GetState(&state));
    tell("IAudioSessionControl2::GetProcessId", session->GetProcessId(&process));
    tell("IAudioSessionControl2::GetGroupingParam", session->GetGroupingParam(&group));
    tell("IAudioSessionControl2::IsSystemSoundsSession", session->IsSystemSoundsSession());
    tell("IAudioSessionControl2::RegisterAudioSessionNotification",
         session->RegisterAudioSessionNotification(&events));
    tell("IAudioSessionControl2::UnregisterAudioSessionNotification",
         session->UnregisterAudioSessionNotification(&events));
    ComPtr<ISimpleAudioVolume> volume;
    if (tell("IAudioSessionControl2 as ISimpleAudioVolume",
             session->QueryInterface(IID_ISimpleAudioVolume, volume.receiveVoid()))) {
        tell("ISimpleAudioVolume::SetMasterVolume", volume->SetMasterVolume(1, nullptr));
        tell("ISimpleAudioVolume::SetMute", volume->SetMute(FALSE, nullptr));
    }
}

void askSessions(IMMDevice *device)
{
    static SessionSink sink;
    ComPtr<IAudioSessionManager2> manager;
    if (!tell("IMMDevice::Activate IAudioSessionManager2",
              device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, nullptr,
                               manager.receiveVoid())))
        return;
    tell("IAudioSessionManager2::RegisterSessionNotification",
         manager->RegisterSessionNotification(&sink));
    tell("IAudioSessionManager2::UnregisterSessionNotification",
         manager->UnregisterSessionNotification(&sink));
    ComPtr<IAudioSessionEnumerator> sessions;
    if (!tell("IAudioSessionManager2::GetSessionEnumerator",
              manager->GetSessionEnumerator(sessions.receive())))
        return;
    int count = 0;
    ComPtr<IAudioSessionControl> session;
    tell("IAudioSessionEnumerator::GetCount", sessions->GetCount(&count));
    if (!tell("IAudioSessionEnumerator::GetSession", sessions->GetSession(0, session.receive())))
        return;
    ComPtr<IAudioSessionControl2> control;
    if (tell("IAudioSessionControl as IAudioSessionControl2",
             session->QueryInterface(IID_IAudioSessionControl2, control.receiveVoid())))
        askSession(control.get());
}

void askLowLatency(IMMDevice *device)
{
    ComPtr<IAudioClient> client;
    device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.receiveVoid());
    ComPtr<IAudioClient3> low;
    if (!client || !tell("IAudioClient as IAudioClient3",
                         client->QueryInterface(IID_IAudioClient3, low.receiveVoid())))
        return;
    WAVEFORMATEX *format = nullptr;
    UINT32 usual = 0, step = 0, least = 0, most = 0;
    tell("IAudioClient::GetMixFormat", low->GetMixFormat(&format));
    tell("IAudioClient3::GetSharedModeEnginePeriod",
         low->GetSharedModeEnginePeriod(format, &usual, &step, &least, &most));
    tell("IAudioClient3::InitializeSharedAudioStream",
         low->InitializeSharedAudioStream(AUDCLNT_STREAMFLAGS_EVENTCALLBACK, least, format,
                                          nullptr));
    CoTaskMemFree(format);
}

/// As the engines do it, so that the endpoint also has a session.
ComPtr<IAudioClient> askStream(IMMDevice *device)
{
    ComPtr<IAudioClient> client;
    if (!tell("IMMDevice::Activate IAudioClient",
              device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.receiveVoid())))
        return {};
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    REFERENCE_TIME usual = 0, least = 0;
    tell("IAudioClient::GetDevicePeriod", client->GetDevicePeriod(&usual, &least));
    tell("IAudioClient::Initialize",
         client->Initialize(AUDCLNT_SHAREMODE_SHARED,
                            AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                                AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY |
                                AUDCLNT_STREAMFLAGS_EVENTCALLBACK,
                            least, 0, &format, nullptr));
    tell("IAudioClient::SetEventHandle",
         client->SetEventHandle(CreateEventW(nullptr, FALSE, FALSE, nullptr)));
    ComPtr<IAudioRenderClient> render;
    UINT32 frames = 0, padding = 0;
    BYTE *buffer = nullptr;
    tell("IAudioClient::GetService",
         client->GetService(IID_IAudioRenderClient, render.receiveVoid()));
    tell("IAudioClient::Reset", client->Reset());
    tell("IAudioClient::Start", client->Start());
    tell("IAudioClient::GetBufferSize", client->GetBufferSize(&frames));
    tell("IAudioClient::GetCurrentPadding", client->GetCurrentPadding(&padding));
    if (render && tell("IAudioRenderClient::GetBuffer", render->GetBuffer(frames / 2, &buffer)))
        tell("IAudioRenderClient::ReleaseBuffer",
             render->ReleaseBuffer(frames / 2, AUDCLNT_BUFFERFLAGS_SILENT));
    return client;
}

void askProperties(IMMDevice *device)
{
    LPWSTR id = nullptr;
    DWORD state = 0;
    tell("IMMDevice::GetId", device->GetId(&id));
    CoTaskMemFree(id);
    tell("IMMDevice::GetState", device->GetState(&state));
    ComPtr<IPropertyStore> store;
    if (!tell("IMMDevice::OpenPropertyStore",
              device->OpenPropertyStore(STGM_READ, store.receive())))
        return;
    PROPVARIANT value{};
    tell("IPropertyStore::GetValue", store->GetValue(PKEY_Device_FriendlyName, &value));
    PropVariantClear(&value);
}

void askEndpoints()
{
    static EndpointSink sink;
    ComPtr<IMMDeviceEnumerator> enumerator;
    if (!tell("CoCreateInstance MMDeviceEnumerator",
              CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                               IID_IMMDeviceEnumerator, enumerator.receiveVoid())))
        return;
    tell("IMMDeviceEnumerator::RegisterEndpointNotificationCallback",
         enumerator->RegisterEndpointNotificationCallback(&sink));
    tell("IMMDeviceEnumerator::UnregisterEndpointNotificationCallback",
         enumerator->UnregisterEndpointNotificationCallback(&sink));
    ComPtr<IMMDeviceCollection> all;
    tell("IMMDeviceEnumerator::EnumAudioEndpoints",
         enumerator->EnumAudioEndpoints(eRender, DEVICE_STATEMASK_ALL, all.receive()));
    ComPtr<IMMDevice> device;
    if (!tell("IMMDeviceEnumerator::GetDefaultAudioEndpoint",
              enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.receive())))
        return;
    askProperties(device.get());
    const ComPtr<IAudioClient> stream = askStream(device.get());
    askLowLatency(device.get());
    askVolume(device.get());
    askSessions(device.get());
}

void askFactory(const char *call, const wchar_t *className, REFIID id)
{
    HSTRING name = nullptr;
    ComPtr<IUnknown> factory;
    WindowsCreateString(className, static_cast<UINT32>(wcslen(className)), &name);
    tell(call, RoGetActivationFactory(name, id, factory.receiveVoid()));
    WindowsDeleteString(name);
}

void askPolicy()
{
    ComPtr<IUnknown> policy;
    tell("CoCreateInstance PolicyConfig",
         CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_ALL, IID_IPolicyConfig,
                          policy.receiveVoid()));
    tell("CoCreateInstance PolicyConfigVista",
         CoCreateInstance(CLSID_PolicyConfigVista, nullptr, CLSCTX_ALL, IID_IPolicyConfigVista,
                          policy.receiveVoid()));
    askFactory("RoGetActivationFactory AudioPolicyConfig", audioPolicyConfigClass,
               IID_IAudioPolicyConfig);
    askFactory("RoGetActivationFactory PackageManager", packageManagerClass,
               IID_RuntimeActivationFactory);
}

void askApplications()
{
    const DWORD own = GetCurrentProcessId();
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, own);
    tellTruth("OpenProcess", process != nullptr);
    WCHAR text[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    UINT32 length = 0;
    HMODULE module = nullptr;
    tellTruth("QueryFullProcessImageNameW", QueryFullProcessImageNameW(process, 0, text, &size));
    tellTruth("GetFileVersionInfoSizeW",
              GetFileVersionInfoSizeW(L"C:\\windows\\system32\\kernel32.dll", nullptr) != 0);
    tellTruth("K32EnumProcessModules",
              K32EnumProcessModules(process, &module, sizeof(module), &size));
    tellTruth("K32GetModuleBaseNameW", K32GetModuleBaseNameW(process, module, text, MAX_PATH) != 0);
    const LONG package = GetPackageFullName(process, &length, nullptr);
    tell("GetPackageFullName", HRESULT_FROM_WIN32(package));
    CloseHandle(process);
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    tellTruth("CreateToolhelp32Snapshot", all != INVALID_HANDLE_VALUE);
    tellTruth("Process32FirstW", Process32FirstW(all, &entry));
    CloseHandle(all);
    const HANDLE trimmed = OpenProcess(PROCESS_SET_QUOTA | PROCESS_QUERY_INFORMATION, FALSE, own);
    tellTruth("SetProcessWorkingSetSize",
              SetProcessWorkingSetSize(trimmed, static_cast<SIZE_T>(-1), static_cast<SIZE_T>(-1)));
    CloseHandle(trimmed);
    ComPtr<IUnknown> document;
    tell("CoCreateInstance of the manifests' document",
         CoCreateInstance(CLSID_ManifestDocument, nullptr, CLSCTX_INPROC_SERVER,
                          IID_ManifestDocument, document.receiveVoid()));
}

void askHotplug()
{
    const HWND window =
        CreateWindowExW(0, L"Message", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof(filter);
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    filter.dbcc_classguid = deviceclass::hid;
    tellTruth("RegisterDeviceNotificationW",
              RegisterDeviceNotificationW(window, &filter, DEVICE_NOTIFY_WINDOW_HANDLE) != nullptr);
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
    askApplications();
    askHotplug();
    CoUninitialize();
    return 0;
}
