// IAudioEndpointVolume.
#pragma once

#include "platform/linux/endpointservice.h"
#include "platform/linux/subscriptions.h"
#include "platform/posix/comobject.h"

namespace pulse
{
/// Volume and mute of one endpoint. The scalar is the server's own percentage, as its mixers show
/// it; what is above 100 percent reads as 1.0. The channels keep their balance. Every call but the
/// registrations gives AUDCLNT_E_DEVICE_INVALIDATED while the server does not list the endpoint.
class EndpointVolume final : public posix::ComObject<IAudioEndpointVolume>
{
public:
    EndpointVolume(EndpointService &service, const QString &id);

    HRESULT STDMETHODCALLTYPE
    RegisterControlChangeNotify(IAudioEndpointVolumeCallback *callback) override;
    HRESULT STDMETHODCALLTYPE
    UnregisterControlChangeNotify(IAudioEndpointVolumeCallback *callback) override;
    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(float level, LPCGUID context) override;
    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(float *level) override;
    HRESULT STDMETHODCALLTYPE SetMute(BOOL mute, LPCGUID context) override;
    HRESULT STDMETHODCALLTYPE GetMute(BOOL *mute) override;

private:
    EndpointService &service;
    const QString id;
    Subscriptions<IAudioEndpointVolumeCallback> callbacks;
};
} // namespace pulse
