// The endpoints of single applications.
#pragma once

#include "platform/linux/endpointservice.h"
#include "platform/posix/comobject.h"

namespace pulse
{
/// Moves the streams of a process and remembers the endpoint for the next ones of its executable.
class AudioPolicyConfig final : public posix::ComObject<IAudioPolicyConfig>
{
public:
    explicit AudioPolicyConfig(EndpointService &service) : service(service) {}

    // Nobody inspects the class.
    HRESULT STDMETHODCALLTYPE GetIids(ULONG *, IID **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel *) override { return E_NOTIMPL; }

    /// Waits for the server, a bounded time. E_INVALIDARG for a process that can't be told,
    /// E_NOTFOUND for an endpoint that is not active in that direction, E_ACCESSDENIED when the
    /// server refuses to move a stream; nothing is remembered then. An empty endpoint ends the
    /// application's own route and leaves its streams where they are.
    HRESULT STDMETHODCALLTYPE SetPersistedDefaultAudioEndpoint(UINT32 processId, EDataFlow flow,
                                                               ERole role,
                                                               HSTRING endpoint) override;
    HRESULT STDMETHODCALLTYPE GetPersistedDefaultAudioEndpoint(UINT32 processId, EDataFlow flow,
                                                               ERole role,
                                                               HSTRING *endpoint) override;

private:
    EndpointService &service;
};
} // namespace pulse
