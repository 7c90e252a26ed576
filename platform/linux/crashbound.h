// Ends a crash whose dump does not get written.
#pragma once

#include <chrono>
#include <ctime>

/// Who writes the dump stops every thread of the process first, and waits for each: one that is
/// deep in the kernel (a dead disk, a child of vfork) would hold the crash up for ever. No thread
/// of ours could tell, being stopped like the others. The kernel's own clock can: it ends the
/// process with SIGKILL, and without a dump.
class CrashBound
{
public:
    explicit CrashBound(std::chrono::milliseconds longest);
    CrashBound(const CrashBound &) = delete;
    CrashBound &operator=(const CrashBound &) = delete;
    ~CrashBound();

    // From a signal handler too. Nothing happens where the kernel has no such timer for us.
    void begin() noexcept;
    void end() noexcept;

private:
    void set(std::chrono::milliseconds left) noexcept;

    const std::chrono::milliseconds longest;
    timer_t timer{};
    bool isThere = false;
};
