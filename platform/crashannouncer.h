// Tells of a dump from a thread that has not crashed.
#pragma once

#include "platform/crashevent.h"
#include "platform/signalstack.h"

#include <chrono>
#include <functional>
#include <thread>
#include <type_traits>
#include <utility>

/// The crashed thread may hold the heap's lock, the log's or any other. So whoever has written the
/// dump only wakes this object's thread, which stands ready from the beginning, and waits for it
/// with a bound: if what is to be told needs such a lock, the process ends without its having been
/// told. `Dump` is what the system says of a dump; handed over by value, without any memory.
template <typename Dump>
class CrashAnnouncer
{
    static_assert(std::is_trivially_copyable_v<Dump>);

public:
    /// Called on the announcer's thread with the dump and whether it was written.
    using Announce = std::function<bool(const Dump &dump, bool succeeded)>;

    /// Never destroyed, like the handler that it belongs to: its thread runs to the process's end.
    /// Returns when that stands ready, or has not got so within `longestBeginning`.
    explicit CrashAnnouncer(Announce announce) : tell(std::move(announce))
    {
        std::thread(&CrashAnnouncer::run, this).detach();
        static_cast<void>(ready.awaitWithin(longestBeginning));
    }
    CrashAnnouncer(const CrashAnnouncer &) = delete;
    CrashAnnouncer &operator=(const CrashAnnouncer &) = delete;
    ~CrashAnnouncer() = delete;

    /// From the crashed thread's signal handler: calls nothing that is unsafe there. The announced
    /// result, or `succeeded` itself when there is no answer within the bound. What the dump points
    /// to must stay.
    bool announce(const Dump &writtenDump, bool isWritten) noexcept
    {
        dump = writtenDump;
        succeeded = isWritten;
        request.signal();
        return answer.awaitWithin(longestAnnouncement) ? result : isWritten;
    }

    static constexpr std::chrono::milliseconds longestAnnouncement{2000};

private:
    void run()
    {
        nameCrashAnnouncer();
        SignalStack::provide();
        ready.signal();
        while (true) {
            request.await();
            result = tell(dump, succeeded);
            answer.signal();
        }
    }

    const Announce tell;
    CrashEvent ready;
    CrashEvent request;
    CrashEvent answer;
    Dump dump{}; ///< handed over by the request, as is the next
    bool succeeded = false;
    bool result = false; ///< handed over by the answer
};
