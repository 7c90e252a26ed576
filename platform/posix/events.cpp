#include "platform/posix/events.h"

#include "platform/posix/lasterror.h"
#include "platform/vocabulary/kernel.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

namespace posix
{

namespace
{

class Event final : public Object
{
public:
    Event(int descriptor, bool manualReset) : descriptor(descriptor), manualReset(manualReset) {}
    ~Event() override { ::close(descriptor); }

    void close() override
    {
        closed.store(true);
        set();
    }

    void set()
    {
        const uint64_t one = 1;
        // Fails only when the counter is full, and then the event is set anyway.
        [[maybe_unused]] const auto written = ::write(descriptor, &one, sizeof(one));
    }

    /// Takes the signal away; false if it was not set.
    bool consume()
    {
        uint64_t count = 0;
        if (::read(descriptor, &count, sizeof(count)) != sizeof(count))
            return false;
        // The wake-up of a close is for every waiter: put back what belonged to all.
        if (isClosed())
            set();
        return true;
    }

    [[nodiscard]] bool isClosed() const { return closed.load(); }

    const int descriptor;
    const bool manualReset;

private:
    std::atomic<bool> closed{false};
};

class Deadline
{
public:
    explicit Deadline(DWORD milliseconds) : endless(milliseconds == INFINITE)
    {
        if (!endless)
            end = Clock::now() + std::chrono::milliseconds(milliseconds);
    }

    /// For ppoll: null waits without end.
    const timespec *remaining(timespec &storage) const
    {
        using namespace std::chrono;
        if (endless)
            return nullptr;
        const auto left = std::max(nanoseconds::zero(), nanoseconds(end - Clock::now()));
        storage.tv_sec = duration_cast<seconds>(left).count();
        storage.tv_nsec = (left % seconds(1)).count();
        return &storage;
    }

private:
    using Clock = std::chrono::steady_clock;
    bool endless;
    Clock::time_point end;
};

/// The events of one wait, kept alive while it lasts.
class WaitSet
{
public:
    bool add(HANDLE handle)
    {
        references[count] = acquire(handle);
        events[count] = dynamic_cast<Event *>(references[count].get());
        if (!events[count])
            return false;
        polled[count] = {events[count]->descriptor, POLLIN, 0};
        ++count;
        return true;
    }

    /// The result of the wait as far as it is decided by what poll has just reported.
    std::optional<DWORD> take()
    {
        for (DWORD index = 0; index < count; ++index) {
            if (events[index]->isClosed())
                return failed();
        }
        for (DWORD index = 0; index < count; ++index) {
            if ((polled[index].revents & POLLIN) == 0)
                continue;
            Event &event = *events[index];
            // Another wait may have been faster with an auto-reset event.
            if (!event.manualReset && !event.consume())
                continue;
            return event.isClosed() ? failed() : WAIT_OBJECT_0 + index;
        }
        return std::nullopt;
    }

    int poll(const timespec *timeout) { return ::ppoll(polled.data(), count, timeout, nullptr); }

private:
    static DWORD failed()
    {
        setLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }

    std::array<Reference, maximumWaitHandles> references;
    std::array<Event *, maximumWaitHandles> events{};
    std::array<pollfd, maximumWaitHandles> polled{};
    DWORD count = 0;
};

} // namespace

HANDLE createEvent(bool manualReset, bool initiallySet)
{
    const int descriptor = ::eventfd(initiallySet ? 1 : 0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (descriptor < 0) {
        setLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return createHandle(std::make_unique<Event>(descriptor, manualReset));
}

bool setEvent(HANDLE event)
{
    const ReferenceTo<Event> reference(event);
    if (!reference) {
        setLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    reference->set();
    return true;
}

bool resetEvent(HANDLE event)
{
    const ReferenceTo<Event> reference(event);
    if (!reference) {
        setLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    reference->consume();
    return true;
}

DWORD waitForMultiple(DWORD count, const HANDLE *handles, DWORD milliseconds)
{
    if (count == 0 || count > maximumWaitHandles || !handles) {
        setLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    WaitSet waitSet;
    for (DWORD index = 0; index < count; ++index) {
        if (!waitSet.add(handles[index])) {
            setLastError(ERROR_INVALID_HANDLE);
            return WAIT_FAILED;
        }
    }
    const Deadline deadline(milliseconds);
    for (;;) {
        timespec storage{};
        const int ready = waitSet.poll(deadline.remaining(storage));
        if (ready < 0) // interrupted by a signal
            continue;
        if (const auto result = waitSet.take())
            return *result;
        if (ready == 0)
            return WAIT_TIMEOUT;
    }
}

} // namespace posix
