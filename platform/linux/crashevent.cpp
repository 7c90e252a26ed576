#include "platform/crashevent.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

CrashEvent::CrashEvent() : event(eventfd(0, EFD_CLOEXEC)) {}

void CrashEvent::signal() noexcept
{
    const std::uint64_t one = 1;
    while (write(int(event), &one, sizeof(one)) < 0 && errno == EINTR) {
    }
}

void CrashEvent::await() noexcept
{
    std::uint64_t count = 0;
    while (read(int(event), &count, sizeof(count)) < 0 && errno == EINTR) {
    }
    // A wait that fails, for want of an event, must not spin.
    while (event < 0)
        pause();
}

bool CrashEvent::awaitWithin(std::chrono::milliseconds bound) noexcept
{
    using std::chrono::ceil, std::chrono::milliseconds, std::chrono::steady_clock;
    const auto end = steady_clock::now() + bound;
    pollfd entry{int(event), POLLIN, 0};
    int found = -1;
    do {
        const auto left =
            std::max(milliseconds::zero(), ceil<milliseconds>(end - steady_clock::now()));
        found = poll(&entry, 1, int(left.count()));
    } while (found < 0 && errno == EINTR);
    if (found != 1)
        return false;
    await(); // taken, for the next time
    return true;
}

void nameCrashAnnouncer()
{
    pthread_setname_np(pthread_self(), "crash-announcer");
}
