#include "platform/comptr.h"
#include "systemcalls.h"

namespace
{
constexpr DWORD packetBoundMs = 30000;
constexpr DWORD notificationBoundMs = 2000; // there is none to wait for where Wine is as told

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
    HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA) override
    {
        SetEvent(called);
        return S_OK;
    }
    const HANDLE called = CreateEventW(nullptr, FALSE, FALSE, nullptr);
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

ComPtr<IAudioEndpointVolume> volumeOf(IMMDevice *device)
{
    ComPtr<IAudioEndpointVolume> volume;
    tell("IMMDevice::Activate IAudioEndpointVolume",
         device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.receiveVoid()));
    return volume;
}

/// Of an endpoint that somebody else has set to half its level.
void askVolume(IMMDevice *device)
{
    static LevelSink sink;
    const ComPtr<IAudioEndpointVolume> volume = volumeOf(device);
    const ComPtr<IAudioEndpointVolume> other = volumeOf(device);
    if (!volume || !other)
        return;
    float level = 0;
    BOOL muted = FALSE;
    tell("IAudioEndpointVolume::GetMasterVolumeLevelScalar",
         volume->GetMasterVolumeLevelScalar(&level));
    tellEffect("IAudioEndpointVolume::GetMasterVolumeLevelScalar", level < 0.9f);
    tell("IAudioEndpointVolume::SetMasterVolumeLevelScalar",
         volume->SetMasterVolumeLevelScalar(1, nullptr));
    tell("IAudioEndpointVolume::RegisterControlChangeNotify",
         volume->RegisterControlChangeNotify(&sink));
    tell("IAudioEndpointVolume::SetMute", volume->SetMute(TRUE, nullptr));
    tell("IAudioEndpointVolume::GetMute", other->GetMute(&muted));
    tellEffect("IAudioEndpointVolume::SetMute", muted);
    tellEffect("IAudioEndpointVolume::RegisterControlChangeNotify",
               WaitForSingleObject(sink.called, notificationBoundMs) == WAIT_OBJECT_0);
    volume->SetMute(FALSE, nullptr);
    tell("IAudioEndpointVolume::UnregisterControlChangeNotify",
         volume->UnregisterControlChangeNotify(&sink));
}

void tellText(const char *call, IAudioSessionControl2 *session,
              HRESULT (STDMETHODCALLTYPE IAudioSessionControl2::*read)(LPWSTR *))
{
    LPWSTR text = nullptr;
    tell(call, (session->*read)(&text));
    CoTaskMemFree(text);
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
    tellText("IAudioSessionControl2::GetSessionIdentifier", session,
             &IAudioSessionControl2::GetSessionIdentifier);
    tellText("IAudioSessionControl2::GetSessionInstanceIdentifier", session,
             &IAudioSessionControl2::GetSessionInstanceIdentifier);
    tellText("IAudioSessionControl2::GetDisplayName", session,
             &IAudioSessionControl2::GetDisplayName);
    tellText("IAudioSessionControl2::GetIconPath", session, &IAudioSessionControl2::GetIconPath);
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

/// As the capturer does it, until the first packet.
void askCapture(IMMDevice *device)
{
    ComPtr<IAudioClient> client;
    ComPtr<IAudioCaptureClient> capture;
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    const HANDLE ready = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.receiveVoid());
    if (!client ||
        !tell("IAudioClient::Initialize of a capture",
              client->Initialize(AUDCLNT_SHAREMODE_SHARED,
                                 AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                                     AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY |
                                     AUDCLNT_STREAMFLAGS_EVENTCALLBACK,
                                 0, 0, &format, nullptr)) ||
        !tell("IAudioClient::GetService of a capture",
              client->GetService(IID_IAudioCaptureClient, capture.receiveVoid())))
        return;
    client->SetEventHandle(ready);
    client->Start();
    UINT32 frames = 0;
    BYTE *buffer = nullptr;
    DWORD flags = 0;
    // The first events can come before the first packet.
    for (int event = 0; event < 100 && frames == 0; ++event) {
        if (!tellTruth("WaitForMultipleObjects",
                       WaitForMultipleObjects(1, &ready, FALSE, packetBoundMs) == WAIT_OBJECT_0) ||
            !tell("IAudioCaptureClient::GetNextPacketSize", capture->GetNextPacketSize(&frames)))
            return;
    }
    tell("IAudioCaptureClient::GetBuffer",
         capture->GetBuffer(&buffer, &frames, &flags, nullptr, nullptr));
    tell("IAudioCaptureClient::ReleaseBuffer", capture->ReleaseBuffer(frames));
    client->Stop();
    CloseHandle(ready);
}

void askProperties(IMMDevice *device)
{
    DWORD state = 0;
    tell("IMMDevice::GetState", device->GetState(&state));
    ComPtr<IPropertyStore> store;
    if (!tell("IMMDevice::OpenPropertyStore",
              device->OpenPropertyStore(STGM_READ, store.receive())))
        return;
    PROPVARIANT value{};
    tell("IPropertyStore::GetValue", store->GetValue(PKEY_Device_FriendlyName, &value));
    PropVariantClear(&value);
}

void askCollection(IMMDeviceEnumerator *enumerator)
{
    ComPtr<IMMDeviceCollection> all;
    ComPtr<IMMDevice> first;
    ComPtr<IMMDevice> again;
    UINT count = 0;
    LPWSTR id = nullptr;
    if (!tell("IMMDeviceEnumerator::EnumAudioEndpoints",
              enumerator->EnumAudioEndpoints(eRender, DEVICE_STATEMASK_ALL, all.receive())))
        return;
    tell("IMMDeviceCollection::GetCount", all->GetCount(&count));
    if (!tell("IMMDeviceCollection::Item", all->Item(0, first.receive())))
        return;
    tell("IMMDevice::GetId", first->GetId(&id));
    tell("IMMDeviceEnumerator::GetDevice", enumerator->GetDevice(id, again.receive()));
    CoTaskMemFree(id);
}
} // namespace

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
    askCollection(enumerator.get());
    ComPtr<IMMDevice> microphone;
    enumerator->GetDefaultAudioEndpoint(eCapture, eConsole, microphone.receive());
    if (microphone)
        askCapture(microphone.get());
    ComPtr<IMMDevice> device;
    if (!tell("IMMDeviceEnumerator::GetDefaultAudioEndpoint",
              enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.receive())))
        return;
    askProperties(device.get());
    const ComPtr<IAudioClient> stream = askStream(device.get());
    askLowLatency(device.get());
    askVolume(device.get());
    askSessions(device.get());
    if (stream)
        tell("IAudioClient::Stop", stream->Stop());
}
