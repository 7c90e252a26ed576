// When a thread has come to a wait, of which nothing else tells.
#pragma once

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <atomic>

#ifndef _WIN32
#include <unistd.h>
#endif

/// One thread's way into a wait. It may still be taken for waiting where it only paused: a test
/// looks after the watch for what must not have happened, and is not red for what has not happened
/// yet.
class WaitWatch
{
public:
    /// For the thread itself, as the last thing before the wait.
    void begin() noexcept { thread.store(ownThread()); }

    /// Returns when the thread sleeps or has ended; false when the time is over.
    [[nodiscard]] bool waitUntilAsleep(int timeoutMs = 30'000) const
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (!isAsleep(thread.load())) {
            if (deadline.hasExpired())
                return false;
            QThread::msleep(1);
        }
        return true;
    }

private:
#ifdef _WIN32
    // The system does not tell: it gets a moment.
    static int ownThread() noexcept
    {
        return 1;
    }
    static bool isAsleep(int thread)
    {
        QThread::msleep(100);
        return thread != 0;
    }
#else
    static int ownThread() noexcept
    {
        return gettid();
    }
    static bool isAsleep(int thread)
    {
        if (thread == 0)
            return false;
        QFile file(QStringLiteral("/proc/self/task/%1/stat").arg(thread));
        if (!file.open(QIODevice::ReadOnly))
            return true; // it has ended
        const QByteArray stat = file.readAll();
        // Behind the thread's name, which stands in brackets and may hold any character.
        return stat.mid(stat.lastIndexOf(')') + 1).trimmed().startsWith('S');
    }
#endif

    std::atomic<int> thread{0};
};
