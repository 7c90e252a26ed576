// IMMDeviceEnumerator and IMMDeviceCollection.
#pragma once

#include "platform/linux/endpointservice.h"
#include "platform/linux/subscriptions.h"
#include "platform/posix/comobject.h"

namespace pulse
{
/// A snapshot of endpoints, taken when it was asked for.
class DeviceCollection final : public posix::ComObject<IMMDeviceCollection>
{
public:
    explicit DeviceCollection(std::vector<Endpoint> endpoints) : endpoints(std::move(endpoints)) {}

    HRESULT STDMETHODCALLTYPE GetCount(UINT *count) override;
    HRESULT STDMETHODCALLTYPE Item(UINT index, IMMDevice **device) override;

private:
    const std::vector<Endpoint> endpoints;
};

/// Reads come from the table and never wait.
class DeviceEnumerator final : public posix::ComObject<IMMDeviceEnumerator>
{
public:
    explicit DeviceEnumerator(EndpointService &service);

    HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow flow, DWORD stateMask,
                                                 IMMDeviceCollection **devices) override;
    /// The server has one default for all roles.
    HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow flow, ERole role,
                                                      IMMDevice **device) override;
    HRESULT STDMETHODCALLTYPE GetDevice(LPCWSTR id, IMMDevice **device) override;
    HRESULT STDMETHODCALLTYPE
    RegisterEndpointNotificationCallback(IMMNotificationClient *client) override;
    HRESULT STDMETHODCALLTYPE
    UnregisterEndpointNotificationCallback(IMMNotificationClient *client) override;

private:
    EndpointService &service;
    Subscriptions<IMMNotificationClient> clients;
};
} // namespace pulse
