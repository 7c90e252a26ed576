// The end of a process that a test has started.
#pragma once

#include <QProcess>

/// Waits up to boundMs; false if it still runs then. QProcess::waitForFinished also says false of a
/// process whose end an event loop between the two has already told.
[[nodiscard]] inline bool hasEnded(QProcess &process, int boundMs)
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(boundMs);
}
