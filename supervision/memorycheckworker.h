// The thread that trims working sets, and the processes that it trims.
#pragma once

#include "platform/coreaudio.h"

#include <QMap>
#include <QMutex>
#include <QObject>

#include <memory>

class QThread;

/// Keeps an open handle of each monitored process. Lives on a thread of its own, which its
/// constructor starts.
class MemoryCheckWorker : public QObject
{
    Q_OBJECT

public:
    MemoryCheckWorker();

    /// Closes the handles and ends the worker with its thread, on the owner's; waits for that at
    /// most 100 ms beyond a trim that is under way. Null is legal.
    static void end(MemoryCheckWorker *worker);

    /// Opens the process anew; one that can't be opened is told in the log and not monitored any
    /// more. Any thread; waits for a trim that is under way.
    void addMonitorProcess(uint pid);

public slots:
    /// Asks the system to take out of each monitored process what pages it can. A process that
    /// has ended or refuses is passed over in silence.
    void handleMemoryCheck();

private:
    ~MemoryCheckWorker() override = default;
    void removeMonitorProcess(uint pid);
    void removeAll();
    /// Under the lock.
    void closeEntry(uint pid);

    std::unique_ptr<QThread> workerThread;
    QMap<quint32, HANDLE> processes;
    QMutex processesMutex;
};
