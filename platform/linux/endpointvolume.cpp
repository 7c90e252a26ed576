#include "platform/linux/endpointvolume.h"

#include <algorithm>
#include <cstddef>

namespace pulse
{
namespace
{
// The structure ends in one volume for each channel, though it declares only the first.
void tell(IAudioEndpointVolumeCallback &callback, const Event &event)
{
    const auto &change = std::get<LevelEvent>(event);
    constexpr std::size_t head = offsetof(AUDIO_VOLUME_NOTIFICATION_DATA, afChannelVolumes);
    constexpr std::size_t largest = head + PA_CHANNELS_MAX * sizeof(float);
    alignas(AUDIO_VOLUME_NOTIFICATION_DATA) std::array<std::byte, largest> storage{};
    auto *data = reinterpret_cast<AUDIO_VOLUME_NOTIFICATION_DATA *>(storage.data());
    data->guidEventContext = change.context;
    data->bMuted = change.muted ? TRUE : FALSE;
    data->fMasterVolume = change.scalar;
    data->nChannels = change.volume.channels;
    auto *channel = reinterpret_cast<float *>(storage.data() + head);
    for (UINT index = 0; index < data->nChannels; ++index)
        channel[index] =
            std::min(1.0f, static_cast<float>(change.volume.values[index]) / PA_VOLUME_NORM);
    callback.OnNotify(data);
}

const GUID &contextOf(LPCGUID context)
{
    return context ? *context : GUID_NULL;
}
} // namespace

EndpointVolume::EndpointVolume(EndpointService &service, const QString &id)
    : service(service), id(id), callbacks(service.events())
{
}

HRESULT EndpointVolume::RegisterControlChangeNotify(IAudioEndpointVolumeCallback *callback)
{
    return callbacks.add(callback, id, &tell);
}

HRESULT EndpointVolume::UnregisterControlChangeNotify(IAudioEndpointVolumeCallback *callback)
{
    return callbacks.remove(callback);
}

HRESULT EndpointVolume::SetMasterVolumeLevelScalar(float level, LPCGUID context)
{
    if (!(level >= 0.0f && level <= 1.0f))
        return E_INVALIDARG;
    return service.server().setVolume(id, level, contextOf(context));
}

HRESULT EndpointVolume::GetMasterVolumeLevelScalar(float *level)
{
    if (!level)
        return E_POINTER;
    const std::optional<Levels> levels = service.endpoints().levels(id);
    if (!levels)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    *level = levels->volume;
    return S_OK;
}

HRESULT EndpointVolume::SetMute(BOOL mute, LPCGUID context)
{
    return service.server().setMute(id, mute != FALSE, contextOf(context));
}

HRESULT EndpointVolume::GetMute(BOOL *mute)
{
    if (!mute)
        return E_POINTER;
    const std::optional<Levels> levels = service.endpoints().levels(id);
    if (!levels)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    *mute = levels->muted ? TRUE : FALSE;
    return S_OK;
}
} // namespace pulse
