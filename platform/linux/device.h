// IMMDevice and IPropertyStore.
#pragma once

#include "platform/linux/endpointservice.h"
#include "platform/posix/comobject.h"

namespace pulse
{
/// One endpoint, by its ID. It outlives the endpoint: its name stays readable, its state is then
/// DEVICE_STATE_NOTPRESENT.
class Device final : public posix::ComObject<IMMDevice>
{
public:
    Device(EndpointService &service, Endpoint endpoint);

    /// IAudioEndpointVolume, IAudioClient, IAudioClient3 and IAudioSessionManager2.
    /// AUDCLNT_E_DEVICE_INVALIDATED unless the endpoint is active, E_NOINTERFACE for anything else.
    HRESULT STDMETHODCALLTYPE Activate(REFIID id, DWORD context, PROPVARIANT *parameters,
                                       void **result) override;
    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD access, IPropertyStore **store) override;
    HRESULT STDMETHODCALLTYPE GetId(LPWSTR *id) override;
    HRESULT STDMETHODCALLTYPE GetState(DWORD *state) override;

private:
    EndpointService &service;
    const Endpoint known; ///< as it was when the object was made
};

/// A snapshot of an endpoint's properties; those that it lacks are VT_EMPTY.
class PropertyStore final : public posix::ComObject<IPropertyStore>
{
public:
    explicit PropertyStore(QString friendlyName) : friendlyName(std::move(friendlyName)) {}

    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT *value) override;

private:
    const QString friendlyName;
};
} // namespace pulse
