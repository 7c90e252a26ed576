// The control port is one a machine: whoever tests on it takes turns.
#pragma once

#include <QDir>
#include <QLockFile>

inline constexpr quint16 fixedControlPort = 24925;

/// Holds the machine's turn on the control port for its lifetime; waits up to five minutes for it.
class FixedPortTurn
{
public:
    FixedPortTurn() : lock(QDir::temp().filePath("quorvane-port-24925.lock"))
    {
        lock.setStaleLockTime(0);
        lock.tryLock(300'000);
    }
    [[nodiscard]] bool isHeld() const { return lock.isLocked(); }

private:
    QLockFile lock;
};
