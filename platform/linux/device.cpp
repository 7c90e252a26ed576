#include "platform/linux/device.h"

#include "platform/linux/endpointvolume.h"
#include "platform/linux/sessionobjects.h"
#include "platform/pipewire/audiostream.h"
#include "platform/posix/taskmemory.h"

namespace pulse
{
namespace
{
HRESULT activateStream(const Endpoint &endpoint, REFIID id, void **result)
{
    ComPtr<IAudioClient> client;
    const StreamTarget target{endpoint.nodeName, endpoint.flow, endpoint.sampleRate,
                              endpoint.channels};
    const HRESULT made = createAudioClient(target, client.receive());
    return FAILED(made) ? made : client->QueryInterface(id, result);
}
} // namespace

Device::Device(EndpointService &service, Endpoint endpoint)
    : service(service), known(std::move(endpoint))
{
}

HRESULT Device::Activate(REFIID id, DWORD, PROPVARIANT *, void **result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    const bool isStream = id == IID_IAudioClient || id == IID_IAudioClient3;
    const bool isManager = id == IID_IAudioSessionManager2;
    if (!isStream && !isManager && id != IID_IAudioEndpointVolume)
        return E_NOINTERFACE;
    const std::optional<Endpoint> now = service.endpoints().endpoint(known.id);
    if (!now || now->state != DEVICE_STATE_ACTIVE)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    if (isStream)
        return activateStream(*now, id, result);
    if (isManager) {
        *result = static_cast<IAudioSessionManager2 *>(new SessionManager(service, known.id));
        return S_OK;
    }
    *result = static_cast<IAudioEndpointVolume *>(new EndpointVolume(service, known.id));
    return S_OK;
}

HRESULT Device::OpenPropertyStore(DWORD access, IPropertyStore **store)
{
    if (!store)
        return E_POINTER;
    *store = nullptr;
    if (access != STGM_READ)
        return E_ACCESSDENIED;
    const std::optional<Endpoint> now = service.endpoints().endpoint(known.id);
    *store = new PropertyStore(now ? now->description : known.description);
    return S_OK;
}

HRESULT Device::GetId(LPWSTR *id)
{
    if (!id)
        return E_POINTER;
    *id = posix::taskMemoryString(known.id);
    return *id ? S_OK : E_OUTOFMEMORY;
}

HRESULT Device::GetState(DWORD *state)
{
    if (!state)
        return E_POINTER;
    const std::optional<Endpoint> now = service.endpoints().endpoint(known.id);
    *state = now ? now->state : DEVICE_STATE_NOTPRESENT;
    return S_OK;
}

HRESULT PropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT *value)
{
    if (!value)
        return E_POINTER;
    PropVariantInit(value);
    if (!(key == PKEY_Device_FriendlyName))
        return S_OK;
    value->pwszVal = posix::taskMemoryString(friendlyName);
    if (!value->pwszVal)
        return E_OUTOFMEMORY;
    value->vt = VT_LPWSTR;
    return S_OK;
}
} // namespace pulse
