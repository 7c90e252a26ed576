// The event loop of a thread that only gets queued calls.
#pragma once

#include <QAbstractEventDispatcher>
#include <QSemaphore>

#include <atomic>

/// Events that are posted, and nothing else: no timers, no sockets, no messages of the system.
/// Sleeps on a semaphore, where Qt's own dispatchers ask the system what else there is each time a
/// thread wakes up: for a thread that gets each block of sound, that is most of its work.
///
/// For QThread::setEventDispatcher() before the thread starts; the thread owns it then.
class QueuedCallLoop final : public QAbstractEventDispatcher
{
public:
    QueuedCallLoop() = default;

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    /// Any thread; takes no lock.
    void wakeUp() override;
    void interrupt() override { wakeUp(); }

    // What it does not have: these say so in the log, and give nothing.

    void registerSocketNotifier(QSocketNotifier *notifier) override;
    void unregisterSocketNotifier(QSocketNotifier *notifier) override;
    void registerTimer(int id, qint64 interval, Qt::TimerType type, QObject *object) override;
    bool unregisterTimer(int id) override;
    bool unregisterTimers(QObject *object) override;
    [[nodiscard]] QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int id) override;

private:
    QSemaphore wakeUps{1};             ///< what was posted before the loop began is there at once
    std::atomic<bool> isWokenUp{true}; ///< the semaphore holds one, or its taker is about to look
};
