// SystemSoundMonitor: the list of monitored endpoints.
#include "endpoints/endpointmonitorentry.h"
#include "endpoints/systemsoundmonitor.h"
#include "platform/endpointtext.h"

#include <QDebug>
#include <QMutexLocker>

#include <algorithm>
#include <memory>

namespace
{

struct FlowWords
{
    const char *enumerationFailed;
    const char *noneFound;
};

constexpr FlowWords renderWords{"eRender EnumAudioEndpoints faild!", "No eRender endpoints found."};
constexpr FlowWords captureWords{"eCapture EnumAudioEndpoints faild!",
                                 "No eCapture endpoints found."};

const FlowWords &wordsOf(EDataFlow flow)
{
    return flow == eRender ? renderWords : captureWords;
}

/// Null if the platform cannot list the active endpoints.
ComPtr<IMMDeviceCollection> activeEndpoints(IMMDeviceEnumerator &enumerator, EDataFlow flow)
{
    ComPtr<IMMDeviceCollection> endpoints;
    if (FAILED(enumerator.EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, endpoints.receive())))
        return {};
    return endpoints;
}

UINT countOf(IMMDeviceCollection &endpoints)
{
    UINT count = 0;
    return SUCCEEDED(endpoints.GetCount(&count)) ? count : 0;
}

} // namespace

ComPtr<IMMDeviceEnumerator> SystemSoundMonitor::heldEnumerator()
{
    const QMutexLocker locker(&mutex);
    return enumerator;
}

EndpointMonitorEntry *SystemSoundMonitor::findEntry(const QString &id) const
{
    const auto found = std::ranges::find(entries, id, &EndpointMonitorEntry::deviceID);
    return found == entries.end() ? nullptr : *found;
}

EndpointMonitorEntry *SystemSoundMonitor::findEntryWithVolume(const QString &id) const
{
    EndpointMonitorEntry *entry = findEntry(id);
    return entry && entry->volume ? entry : nullptr;
}

void SystemSoundMonitor::destroyEntries()
{
    while (!entries.isEmpty())
        delete entries.takeFirst();
}

void SystemSoundMonitor::updateAudioEndpointVolumeMonitor()
{
    if (!enumerator)
        return;
    // Both look-ups take the mutex themselves.
    defaultCaptureID = getDefaultInputDeviceInfo()["deviceID"].toString();
    defaultRenderID = getDefaultOutputDeviceInfo()["deviceID"].toString();

    const QMutexLocker locker(&mutex);
    destroyEntries();
    appendAllEndpoints(eRender);
    appendAllEndpoints(eCapture);
}

void SystemSoundMonitor::appendAllEndpoints(EDataFlow flow)
{
    const ComPtr<IMMDeviceCollection> endpoints = activeEndpoints(*enumerator.get(), flow);
    if (!endpoints) {
        qCritical() << wordsOf(flow).enumerationFailed;
        return;
    }
    const UINT count = countOf(*endpoints.get());
    if (count == 0)
        qCritical() << wordsOf(flow).noneFound;
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IMMDevice> device;
        if (FAILED(endpoints->Item(index, device.receive())))
            continue;
        const QString id = endpointID(device.get());
        if (!id.isEmpty())
            appendEntry(device.get(), id, flow);
    }
}

bool SystemSoundMonitor::addAudioEndpointVolumeCallbackMonitor(const QString &id)
{
    const QMutexLocker locker(&mutex);
    if (findEntry(id))
        return true;
    if (!enumerator)
        return false;
    return appendEndpoint(eRender, id) || appendEndpoint(eCapture, id);
}

bool SystemSoundMonitor::appendEndpoint(EDataFlow flow, const QString &id)
{
    const ComPtr<IMMDeviceCollection> endpoints = activeEndpoints(*enumerator.get(), flow);
    if (!endpoints) {
        qCritical() << "SystemSoundMonitor::addAudioEndpointVolumeCallbackMonitor"
                    << wordsOf(flow).enumerationFailed;
        return false;
    }
    const UINT count = countOf(*endpoints.get());
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IMMDevice> device;
        if (FAILED(endpoints->Item(index, device.receive())))
            continue;
        if (endpointID(device.get()) == id && appendEntry(device.get(), id, flow))
            return true;
    }
    return false;
}

bool SystemSoundMonitor::appendEntry(IMMDevice *device, const QString &id, EDataFlow flow)
{
    ComPtr<IAudioEndpointVolume> volume;
    if (FAILED(
            device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.receiveVoid())))
        return false;

    using Callback = AudioEndpointVolumeCallback;
    auto callback = ComPtr<Callback>::adopt(new Callback(eventContext, id));
    connect(callback.get(), &Callback::sigDeviceControlChanged, this,
            [this](const QString &sDeviceID, BOOL bMuted, float fMasterVolume, GUID context) {
                emit sigDeviceControlChanged(sDeviceID, bMuted != FALSE,
                                             static_cast<int>(fMasterVolume), context);
            });
    connect(callback.get(), &Callback::sigDeviceStateChanged, this,
            [this](const QString &sDeviceID, BOOL bMuted, float fMasterVolume, GUID context) {
                emit sigDeviceStateChanged(sDeviceID, bMuted != FALSE,
                                           static_cast<int>(fMasterVolume), context);
            });
    auto entry = std::make_unique<EndpointMonitorEntry>(id, flow, ComPtr<IMMDevice>::retain(device),
                                                        std::move(volume), std::move(callback));
    entry->volume->RegisterControlChangeNotify(entry->callback.get());
    entries.append(entry.release());
    return true;
}

bool SystemSoundMonitor::removeAudioEndpointVolumeCallbackMonitor(const QString &id)
{
    const QMutexLocker locker(&mutex);
    EndpointMonitorEntry *entry = findEntry(id);
    if (!entry)
        return false;
    entries.removeOne(entry);
    delete entry;
    return true;
}
