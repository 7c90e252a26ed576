// Waits until endpoints have appeared. Nothing in the program needs it.
#pragma once

#include "platform/comptr.h"
#include "platform/coreaudio.h"

#include <QObject>
#include <QStringList>

class AudioDeviceEventNotificationClient;
class QTimer;

/// Raises sigFinished one second after the last endpoint of the waiting list has been added or
/// become active. With an empty list any endpoint will do, and several raise it several times.
/// Handlers run on the object's own thread.
class TaSiPrepare : public QObject
{
    Q_OBJECT

public:
    explicit TaSiPrepare(QObject *parent);
    ~TaSiPrepare() override;

signals:
    void sigFinished();

protected:
    /// Ends the wait when it runs out; whoever derives sets and starts it, this class does neither.
    QTimer *timer = nullptr;
    /// The IDs of the endpoints that are still to come, for whoever derives to fill.
    QStringList waitingList;

private:
    void onDeviceAdded(const QString &deviceID);
    void onDeviceActive(const QString &deviceID);
    void onTimeout();
    void takeOff(const QString &deviceID);
    void finish();

    ComPtr<IMMDeviceEnumerator> enumerator;
    AudioDeviceEventNotificationClient *notificationClient = nullptr;
};
