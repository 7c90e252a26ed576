#include "platform/simulated/notifications.h"

#include "platform/simulated/endpoints.h"
#include "platform/simulated/immortal.h"
#include "platform/simulated/sessiontable.h"
#include "platform/simulated/sinks.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace simulated
{

namespace
{

using EndpointCall = std::function<void(IMMNotificationClient *, LPCWSTR)>;

void post(const QString &id, EndpointCall call)
{
    dispatcher().post([id, call = std::move(call)] {
        const std::wstring wide = id.toStdWString();
        const LPCWSTR argument = id.isNull() ? nullptr : wide.c_str();
        endpointSinks().deliver({}, [&](IMMNotificationClient *sink) { call(sink, argument); });
    });
}

/// The data of a level change; its array holds one volume for each channel.
std::vector<std::max_align_t> levelData(const Endpoint &endpoint, REFGUID context)
{
    const std::size_t channels = std::max<WORD>(endpoint.channels, 1);
    const std::size_t bytes =
        sizeof(AUDIO_VOLUME_NOTIFICATION_DATA) + (channels - 1) * sizeof(float);
    std::vector<std::max_align_t> storage(bytes / sizeof(std::max_align_t) + 1);
    auto *data = reinterpret_cast<AUDIO_VOLUME_NOTIFICATION_DATA *>(storage.data());
    data->guidEventContext = context;
    data->bMuted = endpoint.muted ? TRUE : FALSE;
    data->fMasterVolume = endpoint.volume;
    data->nChannels = endpoint.channels;
    std::fill_n(&data->afChannelVolumes[0], channels, endpoint.volume);
    return storage;
}

} // namespace

SinkList<IMMNotificationClient> &endpointSinks()
{
    return immortal<SinkList<IMMNotificationClient>>();
}

SinkList<IAudioEndpointVolumeCallback> &levelSinks()
{
    return immortal<SinkList<IAudioEndpointVolumeCallback>>();
}

void announceLevel(const QString &endpointId, REFGUID context)
{
    dispatcher().post([endpointId, storage = levelData(endpoint(endpointId), context)] {
        levelSinks().deliver(endpointId, [&](IAudioEndpointVolumeCallback *sink) {
            auto copy = storage; // a sink may write into what it is given
            sink->OnNotify(reinterpret_cast<PAUDIO_VOLUME_NOTIFICATION_DATA>(copy.data()));
        });
    });
}

void notifyDeviceAdded(const QString &id)
{
    post(id, [](IMMNotificationClient *sink, LPCWSTR name) { sink->OnDeviceAdded(name); });
}

void notifyDeviceRemoved(const QString &id)
{
    post(id, [](IMMNotificationClient *sink, LPCWSTR name) { sink->OnDeviceRemoved(name); });
}

void notifyDeviceState(const QString &id, DWORD state)
{
    post(id, [state](IMMNotificationClient *sink, LPCWSTR name) {
        sink->OnDeviceStateChanged(name, state);
    });
}

void notifyDefaultChanged(EDataFlow flow, ERole role, const QString &id)
{
    post(id, [flow, role](IMMNotificationClient *sink, LPCWSTR name) {
        sink->OnDefaultDeviceChanged(flow, role, name);
    });
}

void notifyPropertyChanged(const QString &id, const PROPERTYKEY &key)
{
    post(id, [key](IMMNotificationClient *sink, LPCWSTR name) {
        sink->OnPropertyValueChanged(name, key);
    });
}

void changeVolumeFromOutside(const QString &id, float scalar)
{
    setVolume(id, scalar);
    announceLevel(id, GUID_NULL);
}

void changeMuteFromOutside(const QString &id, bool muted)
{
    setMute(id, muted);
    announceLevel(id, GUID_NULL);
}

void drain()
{
    dispatcher().drain();
}

qsizetype notificationSinks()
{
    return endpointSinks().count({});
}

qsizetype volumeSinks(const QString &endpointId)
{
    return levelSinks().count(endpointId);
}

void resetSinks()
{
    dispatcher().drain();
    endpointSinks().clear();
    levelSinks().clear();
    sessionEventSinks().clear();
    newSessionSinkList().clear();
}

} // namespace simulated
