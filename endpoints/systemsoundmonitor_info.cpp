// SystemSoundMonitor: names and device info objects.
#include "endpoints/endpointlevel.h"
#include "endpoints/endpointmonitorentry.h"
#include "endpoints/systemsoundmonitor.h"
#include "platform/endpointtext.h"

#include <QDebug>
#include <QMutexLocker>

#include <algorithm>

namespace
{

QJsonObject deviceInfo(const QString &name, const QString &id, bool muted, int volume)
{
    return {
        {"deviceName", name}, {"deviceID", id}, {"deviceMute", muted}, {"deviceVolume", volume}};
}

} // namespace

QJsonArray SystemSoundMonitor::getInputDeviceInfos()
{
    return deviceInfos(eCapture);
}

QJsonArray SystemSoundMonitor::getOutputDeviceInfos()
{
    return deviceInfos(eRender);
}

QJsonArray SystemSoundMonitor::deviceInfos(EDataFlow flow)
{
    const QMutexLocker locker(&mutex);
    QJsonArray infos;
    for (const EndpointMonitorEntry *entry : std::as_const(entries)) {
        if (entry->flow != flow || entry->deviceID.isEmpty() || !entry->device || !entry->volume)
            continue;
        const QString name = friendlyName(entry->device.get());
        if (name.isEmpty())
            continue;
        IAudioEndpointVolume &volume = *entry->volume.get();
        const bool muted = muteOf(volume);
        infos.append(deviceInfo(name, entry->deviceID, muted, percentOf(volume)));
    }
    return infos;
}

QJsonObject SystemSoundMonitor::getDefaultInputDeviceInfo()
{
    return defaultDeviceInfo(enumerator.get(), eCapture);
}

QJsonObject SystemSoundMonitor::getDefaultOutputDeviceInfo()
{
    return defaultDeviceInfo(enumerator.get(), eRender);
}

QJsonObject SystemSoundMonitor::defaultDeviceInfo(IMMDeviceEnumerator *source, EDataFlow flow)
{
    if (!source)
        return {};
    ComPtr<IMMDevice> device;
    if (FAILED(source->GetDefaultAudioEndpoint(flow, eConsole, device.receive()))) {
        qCritical() << (flow == eRender ? "SystemSoundMonitor::getDefaultOutputDeviceInfo"
                                        : "SystemSoundMonitor::getDefaultInputDeviceInfo")
                    << "GetDefaultAudioEndpoint faild.";
        return {};
    }
    const QString name = friendlyName(device.get());
    if (name.isEmpty())
        return {};
    const QString id = endpointID(device.get());
    device.reset();
    const bool muted = isDeviceMuted(id);
    return deviceInfo(name, id, muted, getDeviceVolume(id));
}

QString SystemSoundMonitor::getDeviceName(const QString &id)
{
    const QMutexLocker locker(&mutex);
    if (const EndpointMonitorEntry *entry = findEntry(id); entry && entry->device) {
        QString name = friendlyName(entry->device.get());
        if (!name.isEmpty())
            return name;
    }
    if (!enumerator)
        return {};
    const auto device = deviceByID(id, "SystemSoundMonitor::getDeviceName");
    return device ? friendlyName(device.get()) : QString();
}

bool SystemSoundMonitor::isOutputDevice(const QString &id)
{
    if (id.isEmpty())
        return false; // an entry whose endpoint tells no ID is not meant
    const QMutexLocker locker(&mutex);
    return std::ranges::any_of(entries, [&id](const EndpointMonitorEntry *entry) {
        return entry->flow == eRender && entry->device && endpointID(entry->device.get()) == id;
    });
}
