// Tells of a dump from a thread that has not crashed.
#pragma once

#include <chrono>
#include <functional>

/// The crashed thread may hold the heap's lock, the log's or any other. So it only wakes this
/// object's thread, which stands ready from the beginning, and waits for it with a bound: if what
/// is to be told needs such a lock, the process ends without its having been told.
class CrashAnnouncer
{
public:
    /// Called on the announcer's thread with the dump file's path and whether it was written.
    using Announce = std::function<bool(const char *path, bool succeeded)>;

    /// Never destroyed, like the handler that it belongs to: its thread runs to the process's end.
    explicit CrashAnnouncer(Announce announce);
    CrashAnnouncer(const CrashAnnouncer &) = delete;
    CrashAnnouncer &operator=(const CrashAnnouncer &) = delete;
    ~CrashAnnouncer() = delete;

    /// From the crashed thread's signal handler: calls nothing that is unsafe there. The announced
    /// result, or `succeeded` itself when there is no answer within the bound. The path must stay.
    bool announce(const char *path, bool succeeded) noexcept;

    static constexpr std::chrono::milliseconds longestAnnouncement{2000};

private:
    void run();

    const Announce tell;
    const int request; ///< eventfd, as is the next
    const int answer;
    const char *path = nullptr; ///< handed over by the request
    bool succeeded = false;
    bool result = false; ///< handed over by the answer
};
