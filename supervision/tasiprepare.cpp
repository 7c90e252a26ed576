#include "supervision/tasiprepare.h"

#include "endpoints/audiodeviceeventnotificationclient.h"

#include <QDebug>
#include <QTimer>

namespace
{
/// From the last endpoint's arrival to the end of the wait.
constexpr int settlingMs = 1000;
} // namespace

TaSiPrepare::TaSiPrepare(QObject *parent)
    : QObject(parent), timer(new QTimer(this)),
      notificationClient(new AudioDeviceEventNotificationClient(this))
{
    qInfo() << "TaSiPrepare::TaSiPrepare";
    using Client = AudioDeviceEventNotificationClient;
    connect(notificationClient, &Client::sigDeviceAdded, this, &TaSiPrepare::onDeviceAdded);
    connect(notificationClient, &Client::sigDeviceActive, this, &TaSiPrepare::onDeviceActive);

    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IMMDeviceEnumerator, enumerator.receiveVoid())))
        qCritical() << "TaSiPrepare::TaSiPrepare"
                    << "CoCreateInstance faild!";
    else if (FAILED(enumerator->RegisterEndpointNotificationCallback(notificationClient)))
        qCritical() << "TaSiPrepare::TaSiPrepare"
                    << "Failed to register notification callback.";

    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, &TaSiPrepare::onTimeout);
}

TaSiPrepare::~TaSiPrepare()
{
    qInfo() << "TaSiPrepare::~TaSiPrepare";
    if (enumerator) {
        enumerator->UnregisterEndpointNotificationCallback(notificationClient);
        enumerator.reset();
    }
    CoUninitialize();
    notificationClient->releaseByParent();
}

void TaSiPrepare::onDeviceAdded(const QString &deviceID)
{
    qInfo() << "TaSiPrepare::onDeviceAdded" << deviceID;
    takeOff(deviceID);
}

void TaSiPrepare::onDeviceActive(const QString &deviceID)
{
    qInfo() << "TaSiPrepare::onDeviceActive" << deviceID;
    takeOff(deviceID);
}

void TaSiPrepare::takeOff(const QString &deviceID)
{
    waitingList.removeOne(deviceID);
    if (!waitingList.isEmpty())
        return;
    timer->stop();
    QTimer::singleShot(settlingMs, this, &TaSiPrepare::finish);
}

void TaSiPrepare::onTimeout()
{
    qInfo() << "TaSiPrepare::timeout";
    timer->stop();
    waitingList.clear();
    finish();
}

void TaSiPrepare::finish()
{
    qInfo() << "TaSiPrepare::finished";
    emit sigFinished();
}
