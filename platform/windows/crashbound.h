// Ends a crash whose dump does not get written.
#pragma once

#include "platform/crashevent.h"

#include <chrono>

/// Whoever writes the dump takes memory for it, and waits for ever if the crashed thread has the
/// heap's lock. A thread that stands ready ends the process then, without a dump. It cannot while
/// the writer keeps all threads stopped, which is the smaller part of its work.
class CrashBound
{
public:
    /// Returns when its thread stands ready, or has not got so within `longestBeginning`.
    explicit CrashBound(std::chrono::milliseconds longest);
    CrashBound(const CrashBound &) = delete;
    CrashBound &operator=(const CrashBound &) = delete;
    /// Never destroyed, like the handler that it belongs to: its thread runs to the process's end.
    ~CrashBound() = delete;

    void begin() noexcept;
    void end() noexcept;

private:
    [[noreturn]] void run() noexcept;

    const std::chrono::milliseconds longest;
    CrashEvent ready;
    CrashEvent begun;
    CrashEvent ended;
};
