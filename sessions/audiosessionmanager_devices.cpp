// AudioSessionManager: endpoints that come and go.
#include "platform/endpointtext.h"
#include "sessions/audiosessionmanager.h"
#include "sessions/deviceaudiosession.h"

#include <QDebug>
#include <QMutexLocker>

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

/// Null, and logged, if the platform cannot list the active endpoints.
ComPtr<IMMDeviceCollection> activeEndpoints(IMMDeviceEnumerator &enumerator, EDataFlow flow,
                                            const char *function, UINT &count)
{
    const FlowWords &words = flow == eRender ? renderWords : captureWords;
    ComPtr<IMMDeviceCollection> endpoints;
    count = 0;
    if (FAILED(enumerator.EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, endpoints.receive()))) {
        qCritical() << function << words.enumerationFailed;
        return {};
    }
    if (FAILED(endpoints->GetCount(&count)) || count == 0) {
        count = 0;
        qCritical() << function << words.noneFound;
    }
    return endpoints;
}

} // namespace

void AudioSessionManager::resetAllDeviceAudioSessionInfos()
{
    clearDeviceSessions();
    const QMutexLocker locker(&mutex);
    if (enumerator) {
        appendAllDevices(eRender);
        appendAllDevices(eCapture);
    }
    QJsonObject infos;
    for (const auto &[deviceID, sessionInfos] : std::as_const(storedSessionInfos))
        infos.insert(deviceID, sessionInfos);
    emit sigUpdateAudioSessionInfos(infos);
}

void AudioSessionManager::appendAllDevices(EDataFlow flow)
{
    UINT count = 0;
    const auto endpoints = activeEndpoints(
        *enumerator.get(), flow, "AudioSessionManager::resetAllDeviceAudioSessionInfos", count);
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IMMDevice> device;
        if (FAILED(endpoints->Item(index, device.receive())))
            continue;
        const QString deviceID = endpointID(device.get());
        if (!deviceID.isEmpty())
            appendDevice(flow, deviceID, device.get());
    }
}

DeviceAudioSession *AudioSessionManager::appendDevice(EDataFlow flow, const QString &deviceID,
                                                      IMMDevice *device)
{
    ComPtr<IAudioSessionManager2> sessionManager;
    if (FAILED(device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, nullptr,
                                sessionManager.receiveVoid())))
        return nullptr;
    // Not used: the look-up as such belongs to what an arrival does.
    static_cast<void>(friendlyName(device));
    auto *added = new DeviceAudioSession(flow == eCapture, deviceID, sessionManager.get());
    connectDeviceSession(added);
    deviceSessions.append(added);
    return added;
}

void AudioSessionManager::onRenderDeviceAdded(const QString &deviceID)
{
    addDevice(eRender, deviceID, "AudioSessionManager::onRenderDeviceAdded");
}

void AudioSessionManager::onCaptureDeviceAdded(const QString &deviceID)
{
    addDevice(eCapture, deviceID, "AudioSessionManager::onCaptureDeviceAdded");
}

void AudioSessionManager::addDevice(EDataFlow flow, const QString &deviceID, const char *function)
{
    const QMutexLocker locker(&mutex);
    if (!enumerator)
        return;
    UINT count = 0;
    const auto endpoints = activeEndpoints(*enumerator.get(), flow, function, count);
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IMMDevice> device;
        if (FAILED(endpoints->Item(index, device.receive())) ||
            endpointID(device.get()) != deviceID)
            continue;
        if (DeviceAudioSession *added = appendDevice(flow, deviceID, device.get()))
            emit sigUpdateDeviceAudioSessionInfos(deviceID, added->getDeviceAudioSessionInfos());
        return;
    }
}

void AudioSessionManager::removeDeviceAudioSession(const QString &deviceID)
{
    const QMutexLocker locker(&mutex);
    DeviceAudioSession *device = findDevice(deviceID);
    if (!device)
        return;
    deviceSessions.removeOne(device);
    delete device;
}
