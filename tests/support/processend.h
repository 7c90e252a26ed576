// The end of a process that a test has started.
#pragma once

#include <QProcess>

/// Waits up to boundMs; false if it still runs then. Of a process that an event loop has already
/// seen end, QProcess::waitForFinished alone says false too.
[[nodiscard]] inline bool hasEnded(QProcess &process, int boundMs)
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(boundMs);
}
