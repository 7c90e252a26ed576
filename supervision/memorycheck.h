// Trims the working sets of long-running processes.
#pragma once

#include <QObject>

/// The place of the working-set trimmer. It takes its orders and does not trim yet.
class MemoryCheck : public QObject
{
    Q_OBJECT

public:
    explicit MemoryCheck(QObject *parent) : QObject(parent) {}

    /// Puts a process on the list. Not acted on yet.
    void addMonitorProcess(uint pid) { Q_UNUSED(pid) }
    /// Starts or restarts the period. Not acted on yet.
    void start() {}
    void stop() {}
};
