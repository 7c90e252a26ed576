#include "endpoints/endpointmonitorentry.h"

EndpointMonitorEntry::EndpointMonitorEntry(const QString &deviceID, EDataFlow flow,
                                           ComPtr<IMMDevice> device,
                                           ComPtr<IAudioEndpointVolume> volume,
                                           ComPtr<AudioEndpointVolumeCallback> callback)
    : deviceID(deviceID), flow(flow), device(std::move(device)), volume(std::move(volume)),
      callback(std::move(callback))
{
}

EndpointMonitorEntry::~EndpointMonitorEntry()
{
    device.reset();
    volume->UnregisterControlChangeNotify(callback.get());
    volume.reset();
    callback.reset();
}
