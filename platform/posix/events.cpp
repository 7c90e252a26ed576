#include "platform/posix/events.h"

#include "platform/coreaudio.h"
#include "platform/posix/lasterror.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
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
    ~Event() override
    {
        ::close(descriptor);
        if (timer.load() >= 0)
            ::close(timer.load());
    }

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

    /// Makes the timer; false when no descriptor is left.
    bool allowDelay()
    {
        if (timer.load() >= 0)
            return true;
        const int made = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        int none = -1;
        if (made >= 0 && !timer.compare_exchange_strong(none, made))
            ::close(made);
        return timer.load() >= 0;
    }

    bool setAfter(std::chrono::nanoseconds delay)
    {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
        itimerspec order{};
        order.it_value.tv_sec = seconds.count();
        order.it_value.tv_nsec = (delay - seconds).count();
        return ::timerfd_settime(timer.load(), 0, &order, nullptr) == 0;
    }

    /// Takes the signal away; false if it was not set. `byTimer` is where it came from.
    bool consume(bool byTimer = false)
    {
        uint64_t count = 0;
        if (::read(byTimer ? timer.load() : descriptor, &count, sizeof(count)) != sizeof(count))
            return false;
        // The wake-up of a close is for every waiter: put back what belonged to all.
        if (isClosed())
            set();
        return true;
    }

    [[nodiscard]] bool isClosed() const { return closed.load(); }

    [[nodiscard]] int timerDescriptor() const { return timer.load(); }

    const int descriptor;
    const bool manualReset;

private:
    std::atomic<int> timer{-1}; ///< for delayed signals, made when they are allowed
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
        // poll passes over a descriptor of -1.
        polled[2 * count] = {events[count]->descriptor, POLLIN, 0};
        polled[2 * count + 1] = {events[count]->timerDescriptor(), POLLIN, 0};
        ++count;
        return true;
    }

    /// The result of the wait as far as it is decided by what poll has just reported.
    std::optional<DWORD> take()
    {
        for (std::size_t index = 0; index < count; ++index) {
            if (events[index]->isClosed())
                return failed();
        }
        for (std::size_t index = 0; index < count; ++index) {
            const bool isSet = (polled[2 * index].revents & POLLIN) != 0;
            const bool isTimed = (polled[2 * index + 1].revents & POLLIN) != 0;
            if (!isSet && !isTimed)
                continue;
            Event &event = *events[index];
            // Another wait may have been faster with an auto-reset event.
            if (!event.manualReset && !(isSet && event.consume()) &&
                !(isTimed && event.consume(true)))
                continue;
            return event.isClosed() ? failed() : WAIT_OBJECT_0 + DWORD(index);
        }
        return std::nullopt;
    }

    int poll(const timespec *timeout)
    {
        return ::ppoll(polled.data(), 2 * count, timeout, nullptr);
    }

private:
    static DWORD failed()
    {
        setLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }

    std::array<Reference, maximumWaitHandles> references;
    std::array<Event *, maximumWaitHandles> events{};
    std::array<pollfd, std::size_t(2) * maximumWaitHandles> polled{};
    std::size_t count = 0;
};

} // namespace

bool closeForeignHandle(HANDLE)
{
    setLastError(ERROR_INVALID_HANDLE);
    return false;
}

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
    if (reference->timerDescriptor() >= 0)
        reference->consume(true);
    return true;
}

bool allowDelay(HANDLE event)
{
    const ReferenceTo<Event> reference(event);
    if (!reference) {
        setLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    return reference->allowDelay();
}

bool setEventAfter(HANDLE event, std::chrono::nanoseconds delay)
{
    const ReferenceTo<Event> reference(event);
    if (!reference) {
        setLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    return reference->setAfter(delay);
}

DWORD waitForMultiple(DWORD count, const HANDLE *handles, DWORD milliseconds)
{
    if (count == 0 || count > maximumWaitHandles || !handles) {
        setLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    WaitSet waitSet;
    for (std::size_t index = 0; index < count; ++index) {
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
