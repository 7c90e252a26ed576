// AudioSessionManager: construction, end, and what the owner asks for.
#include "sessions/audiosessionmanager.h"

#include "platform/endpointtext.h"
#include "platform/signalstack.h"
#include "platform/threads.h"
#include "sessions/deviceaudiosession.h"

#include <QDebug>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>

AudioSessionManager::AudioSessionManager(bool useWorkerThread, QObject *parent) : QObject(parent)
{
    // For slots that are called by name, across threads.
    qRegisterMetaType<BOOL>("BOOL");
    qRegisterMetaType<GUID>("GUID");
    if (useWorkerThread) {
        workerThread = std::make_unique<QThread>();
        workerThread->setObjectName("AudioSessionManager");
        moveToThread(workerThread.get());
        SignalStack::provideTo(*workerThread);
        workerThread->start(QThread::InheritPriority);
    }
    if (workerThread)
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    else
        CoInitialize(nullptr);

    if (FAILED(CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                                IID_IMMDeviceEnumerator, enumerator.receiveVoid()))) {
        qCritical() << "AudioSessionManager::AudioSessionManager"
                    << "CoCreateInstance faild!";
    } else {
        defaultRenderID = getDefaultRenderDeviceID();
        defaultCaptureID = getDefaultCaptureDeviceID();
        resetAllDeviceAudioSessionInfos();
    }
    fetchPolicyFactory();
}

AudioSessionManager::~AudioSessionManager() = default;

void AudioSessionManager::end(AudioSessionManager *manager)
{
    if (!manager)
        return;
    manager->leavePlatform();
    disconnect(manager, nullptr, nullptr, nullptr);
    if (auto thread = std::move(manager->workerThread))
        endOnItsThread(manager, std::move(thread));
    else
        delete manager;
}

void AudioSessionManager::leavePlatform()
{
    clearDeviceSessions();
    enumerator.reset();
    policyFactory.reset();
    CoUninitialize();
}

void AudioSessionManager::clearDeviceSessions()
{
    const QMutexLocker locker(&mutex);
    while (!deviceSessions.isEmpty())
        delete deviceSessions.takeFirst();
}

QString AudioSessionManager::defaultDeviceID(EDataFlow flow)
{
    ComPtr<IMMDevice> device;
    if (!enumerator ||
        FAILED(enumerator->GetDefaultAudioEndpoint(flow, eConsole, device.receive())))
        return {};
    return endpointID(device.get());
}

QString AudioSessionManager::getDefaultCaptureDeviceID()
{
    return defaultDeviceID(eCapture);
}

QString AudioSessionManager::getDefaultRenderDeviceID()
{
    return defaultDeviceID(eRender);
}

DeviceAudioSession *AudioSessionManager::findDevice(const QString &deviceID) const
{
    const auto found =
        std::ranges::find_if(deviceSessions, [&](const QPointer<DeviceAudioSession> &device) {
            return device && device->getDeviceID() == deviceID;
        });
    return found == deviceSessions.end() ? nullptr : found->data();
}

QJsonObject AudioSessionManager::getAllAudioSessionInfos(bool reset)
{
    if (reset)
        resetAllDeviceAudioSessionInfos();
    const QMutexLocker locker(&mutex);
    QJsonObject infos;
    for (const QPointer<DeviceAudioSession> &device : std::as_const(deviceSessions)) {
        if (device)
            infos.insert(device->getDeviceID(), device->getDeviceAudioSessionInfos());
    }
    return infos;
}

QJsonArray AudioSessionManager::getDeviceAudioSessionInfos(const QString &deviceID)
{
    const QMutexLocker locker(&mutex);
    DeviceAudioSession *device = findDevice(deviceID);
    return device ? device->getDeviceAudioSessionInfos() : QJsonArray();
}

void AudioSessionManager::onDefaultRenderDeviceChanged(const QString &deviceID)
{
    tryToUpdateDeviceAudioSessionsInfo(deviceID);
    tryToUpdateDeviceAudioSessionsInfo(defaultRenderID);
    defaultRenderID = deviceID;
}

void AudioSessionManager::onDefaultCaptureDeviceChanged(const QString &deviceID)
{
    tryToUpdateDeviceAudioSessionsInfo(deviceID);
    // The output's, not the input's: clients have come to expect this refresh.
    tryToUpdateDeviceAudioSessionsInfo(defaultRenderID);
    defaultCaptureID = deviceID;
}

void AudioSessionManager::tryToUpdateAudioSessionsInfos()
{
    const QMutexLocker locker(&mutex);
    QJsonObject infos;
    for (const QPointer<DeviceAudioSession> &device : std::as_const(deviceSessions)) {
        if (!device)
            continue;
        device->refreshDeviceAudioSession(true);
        infos.insert(device->getDeviceID(), device->getDeviceAudioSessionInfos());
    }
    emit sigUpdateAudioSessionInfos(infos);
}

void AudioSessionManager::tryToUpdateDeviceAudioSessionsInfo(const QString &deviceID)
{
    const QMutexLocker locker(&mutex);
    if (DeviceAudioSession *device = findDevice(deviceID))
        device->refreshDeviceAudioSession(true);
}

void AudioSessionManager::tryToUpdateDeviceAudioSessionsVolumeOrMute(const QString &deviceID,
                                                                     BOOL bMuted,
                                                                     float fMasterVolume,
                                                                     GUID eventContext)
{
    const QMutexLocker locker(&mutex);
    const DeviceAudioSession *device = findDevice(deviceID);
    ComPtr<IAudioSessionEnumerator> sessions;
    if (!device || !device->sessionManager() ||
        FAILED(device->sessionManager()->GetSessionEnumerator(sessions.receive())) || !sessions)
        return;
    int count = 0;
    if (FAILED(sessions->GetCount(&count)))
        return;
    for (int index = 0; index < count; ++index) {
        ComPtr<IAudioSessionControl> control;
        ComPtr<IAudioSessionControl2> control2;
        ComPtr<ISimpleAudioVolume> volume;
        if (FAILED(sessions->GetSession(index, control.receive())) || !control)
            continue;
        if (FAILED(control->QueryInterface(IID_IAudioSessionControl2, control2.receiveVoid())))
            continue;
        if (FAILED(control2->QueryInterface(IID_ISimpleAudioVolume, volume.receiveVoid())))
            continue;
        volume->SetMute(bMuted, &eventContext);
        volume->SetMasterVolume(std::max(1.0f, fMasterVolume), &eventContext);
    }
}
