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

/// So long may a thread that crashes need take to begin: one that is still beginning when a thread
/// crashes with the heap's lock never gets ready.
inline constexpr std::chrono::milliseconds longestBeginning{2000};

/// Lets whoever looks at the process know what the calling thread is for.
void nameCrashAnnouncer();
