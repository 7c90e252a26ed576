// What wakes a thread in a process that has crashed.
#pragma once

#include <chrono>
#include <cstdint>

/// One thread signals it, another waits; a signal that was waited for is taken. It is the system's
/// own, so that none of the process's locks and memory is needed, and it lasts as long as the
/// process: there is no end of it.
class CrashEvent
{
public:
    CrashEvent();
    CrashEvent(const CrashEvent &) = delete;
    CrashEvent &operator=(const CrashEvent &) = delete;

    // From a signal handler too.
    void signal() noexcept;
    void await() noexcept;
    /// False when the time has passed without a signal.
    [[nodiscard]] bool awaitWithin(std::chrono::milliseconds bound) noexcept;

private:
    const std::intptr_t event; ///< a file descriptor, or on Windows a handle
};

/// How long a thread of ours that is needed in a crash is waited for when it begins. While it still
/// does, a crash of another one that has the heap's lock would keep it from ever being ready.
inline constexpr std::chrono::milliseconds longestBeginning{2000};

/// Lets whoever looks at the process know what the calling thread is for.
void nameCrashAnnouncer();
