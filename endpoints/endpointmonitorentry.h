// The record of one monitored endpoint.
#pragma once

#include "endpoints/audioendpointvolumecallback.h"
#include "platform/comptr.h"

/// Keeps the interfaces of one active endpoint and the level sink that its maker registers on
/// it. Its end releases the device, unregisters the sink, releases the volume, then the sink.
struct EndpointMonitorEntry
{
    EndpointMonitorEntry(const QString &deviceID, EDataFlow flow, ComPtr<IMMDevice> device,
                         ComPtr<IAudioEndpointVolume> volume,
                         ComPtr<AudioEndpointVolumeCallback> callback);
    ~EndpointMonitorEntry();
    EndpointMonitorEntry(const EndpointMonitorEntry &) = delete;
    EndpointMonitorEntry &operator=(const EndpointMonitorEntry &) = delete;

    const QString deviceID;
    const qint32 flow; ///< eRender or eCapture
    ComPtr<IMMDevice> device;
    ComPtr<IAudioEndpointVolume> volume;
    ComPtr<AudioEndpointVolumeCallback> callback;
};
