// SystemSoundMonitor: volume and mute of one endpoint.
#include "endpoints/endpointlevel.h"
#include "endpoints/endpointmonitorentry.h"
#include "endpoints/systemsoundmonitor.h"
#include "platform/resulttext.h"

#include <QDebug>
#include <QMutexLocker>

#include <algorithm>
#include <cmath>

namespace
{

constexpr float sameScalar = 0.000001f; ///< below this difference a volume counts as unchanged

} // namespace

const GUID *SystemSoundMonitor::contextOrNull(bool useContext) const
{
    return useContext ? &eventContext : nullptr;
}

ComPtr<IMMDevice> SystemSoundMonitor::deviceByID(const QString &id, const char *function)
{
    ComPtr<IMMDevice> device;
    const HRESULT result = enumerator->GetDevice(id.toStdWString().c_str(), device.receive());
    if (SUCCEEDED(result))
        return device;
    qCritical() << function << ": "
                << "Failed to GetDevice: " << resultText(result);
    return {};
}

ComPtr<IAudioEndpointVolume> SystemSoundMonitor::activateVolume(const QString &id,
                                                                const char *function)
{
    const ComPtr<IMMDevice> device = deviceByID(id, function);
    if (!device)
        return {};
    ComPtr<IAudioEndpointVolume> volume;
    const HRESULT result =
        device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.receiveVoid());
    if (SUCCEEDED(result))
        return volume;
    qCritical() << function << ": "
                << "Failed to Activate: " << resultText(result);
    return {};
}

bool SystemSoundMonitor::isDeviceMuted(const QString &id)
{
    const QMutexLocker locker(&mutex);
    if (const EndpointMonitorEntry *entry = findEntryWithVolume(id))
        return muteOf(*entry->volume.get());
    if (!enumerator)
        return false;
    const auto volume = activateVolume(id, "SystemSoundMonitor::isDeviceMuted");
    return volume && muteOf(*volume.get());
}

bool SystemSoundMonitor::setDeviceMuted(const QString &id, bool mute, bool useContext)
{
    const QMutexLocker locker(&mutex);
    if (EndpointMonitorEntry *entry = findEntryWithVolume(id)) {
        if (muteOf(*entry->volume.get()) == mute) {
            notifyUnchanged(*entry, mute, scalarOf(*entry->volume.get()));
            return true;
        }
        return entry->volume->SetMute(mute, contextOrNull(useContext)) == S_OK;
    }
    if (!enumerator)
        return false;
    const auto volume = activateVolume(id, "SystemSoundMonitor::setDeviceMuted");
    return volume && volume->SetMute(mute, contextOrNull(useContext)) == S_OK;
}

int SystemSoundMonitor::getDeviceVolume(const QString &id)
{
    const QMutexLocker locker(&mutex);
    if (const EndpointMonitorEntry *entry = findEntryWithVolume(id))
        return percentOf(*entry->volume.get());
    if (!enumerator)
        return -1;
    const auto volume = activateVolume(id, "SystemSoundMonitor::getDeviceVolume");
    return volume ? percentOf(*volume.get()) : 0;
}

bool SystemSoundMonitor::setDeviceVolume(const QString &id, int percent, bool useContext)
{
    const QMutexLocker locker(&mutex);
    const float target = static_cast<float>(std::clamp(percent, 0, 100)) / 100.0f;
    if (EndpointMonitorEntry *entry = findEntryWithVolume(id)) {
        applyVolume(*entry, target, useContext);
        return true;
    }
    if (!enumerator)
        return false;
    const auto volume = activateVolume(id, "SystemSoundMonitor::setDeviceVolume");
    return volume && volume->SetMasterVolumeLevelScalar(target, contextOrNull(useContext)) == S_OK;
}

bool SystemSoundMonitor::increaseDeviceVolume(const QString &id, unsigned int step, bool useContext)
{
    return stepVolume(id, step, useContext, "SystemSoundMonitor::increaseDeviceVolume");
}

bool SystemSoundMonitor::decreaseDeviceVolume(const QString &id, unsigned int step, bool useContext)
{
    // Unsigned arithmetic wraps: adding the complement subtracts.
    return stepVolume(id, 0u - step, useContext, "SystemSoundMonitor::decreaseDeviceVolume");
}

bool SystemSoundMonitor::stepVolume(const QString &id, unsigned int signedStep, bool useContext,
                                    const char *function)
{
    const QMutexLocker locker(&mutex);
    EndpointMonitorEntry *entry = findEntryWithVolume(id);
    if (!entry) {
        qWarning() << function << "Device not find:" << id;
        return false;
    }
    const unsigned int current = static_cast<unsigned int>(percentOf(*entry->volume.get()));
    const int percent = std::clamp(static_cast<int>(current + signedStep), 0, 100);
    applyVolume(*entry, static_cast<float>(percent) / 100.0f, useContext);
    return true;
}

void SystemSoundMonitor::applyVolume(EndpointMonitorEntry &entry, float target, bool useContext)
{
    IAudioEndpointVolume &volume = *entry.volume.get();
    const float current = scalarOf(volume);
    if (std::fabs(current - target) < sameScalar)
        notifyUnchanged(entry, muteOf(volume), current);
    else
        volume.SetMasterVolumeLevelScalar(target, contextOrNull(useContext));
}

/// The platform tells nothing when nothing changes; whoever asked hears the state all the same.
void SystemSoundMonitor::notifyUnchanged(EndpointMonitorEntry &entry, bool muted, float scalar)
{
    AUDIO_VOLUME_NOTIFICATION_DATA data{};
    data.guidEventContext = eventContext;
    data.bMuted = muted;
    data.fMasterVolume = scalar;
    data.nChannels = 0;
    entry.callback->OnNotify(&data);
}
