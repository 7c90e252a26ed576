#include "platform/crashevent.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

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
}

bool CrashEvent::awaitWithin(std::chrono::milliseconds bound) noexcept
{
    pollfd entry{int(event), POLLIN, 0};
    if (poll(&entry, 1, int(bound.count())) != 1)
        return false;
    await(); // taken, for the next time
    return true;
}

void nameCrashAnnouncer()
{
    pthread_setname_np(pthread_self(), "crash-announcer");
}
