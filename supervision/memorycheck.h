// Trims the working sets of long-running processes.
#pragma once

#include <QObject>

#include <memory>

class MemoryCheckWorker;
class QTimer;

/// Every ten minutes each monitored process gives back the pages that it does not need. The timer
/// runs on the owner's thread, the trimming on a thread of its own. Owner's thread only.
class MemoryCheck : public QObject
{
    Q_OBJECT

public:
    explicit MemoryCheck(QObject *parent);
    ~MemoryCheck() override;

    /// Puts a process on the list, in place of an earlier one with its ID.
    void addMonitorProcess(uint pid);
    /// Starts or restarts the period: the first trim comes at its end.
    void start();
    void stop();

private:
    QTimer *timer;
    std::unique_ptr<MemoryCheckWorker, void (*)(MemoryCheckWorker *)> worker;
};
