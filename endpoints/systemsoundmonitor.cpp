// SystemSoundMonitor: construction, wiring and end.
#include "endpoints/systemsoundmonitor.h"

#include "endpoints/audiodeviceeventnotificationclient.h"
#include "endpoints/endpointmonitorentry.h"
#include "platform/signalstack.h"
#include "platform/threads.h"

#include <QDebug>
#include <QMutexLocker>
#include <QThread>

#include <utility>

SystemSoundMonitor::SystemSoundMonitor(bool useWorkerThread, QObject *parent)
    : QObject(parent), notificationClient(new AudioDeviceEventNotificationClient(this))
{
    if (useWorkerThread) {
        workerThread = std::make_unique<QThread>();
        workerThread->setObjectName("SystemSoundMonitor");
        moveToThread(workerThread.get());
        SignalStack::provideTo(*workerThread);
        workerThread->start(QThread::InheritPriority);
    }
    connectNotificationClient();

    if (FAILED(CoCreateGuid(&eventContext)))
        eventContext = GUID{};

    if (workerThread)
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    else
        CoInitialize(nullptr);

    if (FAILED(CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IMMDeviceEnumerator, enumerator.receiveVoid()))) {
        qCritical() << "SystemSoundMonitor::SystemSoundMonitor"
                    << "CoCreateInstance faild!";
        return;
    }
    updateAudioEndpointVolumeMonitor();
    if (FAILED(enumerator->RegisterEndpointNotificationCallback(notificationClient)))
        qCritical() << "Failed to register notification callback.";
}

void SystemSoundMonitor::connectNotificationClient()
{
    using Client = AudioDeviceEventNotificationClient;
    const Client *client = notificationClient;
    connect(client, &Client::sigDefaultCaptureDeviceChanged, this,
            &SystemSoundMonitor::onDefaultCaptureDeviceChanged);
    connect(client, &Client::sigDefaultRenderDeviceChanged, this,
            &SystemSoundMonitor::onDefaultRenderDeviceChanged);
    connect(client, &Client::sigDeviceAdded, this, &SystemSoundMonitor::onDeviceAdded);
    connect(client, &Client::sigDeviceRemoved, this, &SystemSoundMonitor::onDeviceRemoved);
    connect(client, &Client::sigDeviceActive, this, &SystemSoundMonitor::onDeviceActive);
    connect(client, &Client::sigDeviceDisabled, this, &SystemSoundMonitor::onDeviceDisabled);
    connect(client, &Client::sigDeviceNotPresent, this, &SystemSoundMonitor::onDeviceNotPresent);
    connect(client, &Client::sigDeviceUnplugged, this, &SystemSoundMonitor::onDeviceUnplugged);
    // Straight through: the entry and its level sink stay as they are.
    connect(client, &Client::sigPropertyValueChanged, this,
            &SystemSoundMonitor::sigPropertyValueChanged);
}

void SystemSoundMonitor::end(SystemSoundMonitor *monitor)
{
    if (!monitor)
        return;
    monitor->leavePlatform();
    disconnect(monitor, nullptr, nullptr, nullptr);
    if (auto thread = std::move(monitor->workerThread))
        endOnItsThread(monitor, std::move(thread));
    else
        delete monitor;
}

/// The worker may still be at work: from here on it finds neither entries nor enumerator.
void SystemSoundMonitor::leavePlatform()
{
    ComPtr<IMMDeviceEnumerator> last;
    {
        const QMutexLocker locker(&mutex);
        destroyEntries();
        last = std::move(enumerator);
    }
    if (last)
        last->UnregisterEndpointNotificationCallback(notificationClient);
    last.reset();
    CoUninitialize();
}

SystemSoundMonitor::~SystemSoundMonitor()
{
    notificationClient->releaseByParent();
}
