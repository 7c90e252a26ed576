#include "platform/queuedcallloop.h"

#include <QCoreApplication>
#include <QDebug>

bool QueuedCallLoop::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    if (!wakeUps.tryAcquire()) {
        if (!flags.testFlag(QEventLoop::WaitForMoreEvents))
            return false;
        emit aboutToBlock();
        wakeUps.acquire();
    }
    emit awake();
    // Before looking: what is posted from here on wakes up again.
    isWokenUp.exchange(false);
    QCoreApplication::sendPostedEvents();
    return true;
}

void QueuedCallLoop::wakeUp()
{
    if (!isWokenUp.exchange(true))
        wakeUps.release();
}

void QueuedCallLoop::registerSocketNotifier(QSocketNotifier *)
{
    qWarning() << "QueuedCallLoop: a socket is watched in a thread that watches none";
}

void QueuedCallLoop::unregisterSocketNotifier(QSocketNotifier *) {}

void QueuedCallLoop::registerTimer(int, qint64, Qt::TimerType, QObject *)
{
    qWarning() << "QueuedCallLoop: a timer is started in a thread that has none";
}

bool QueuedCallLoop::unregisterTimer(int)
{
    return false;
}

bool QueuedCallLoop::unregisterTimers(QObject *)
{
    return false;
}

QList<QAbstractEventDispatcher::TimerInfo> QueuedCallLoop::registeredTimers(QObject *) const
{
    return {};
}

int QueuedCallLoop::remainingTime(int)
{
    return -1;
}
