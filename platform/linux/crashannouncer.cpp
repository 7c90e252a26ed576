#include "platform/linux/crashannouncer.h"

#include "platform/signalstack.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <thread>

namespace
{

void signalEvent(int event) noexcept
{
    const std::uint64_t one = 1;
    while (write(event, &one, sizeof(one)) < 0 && errno == EINTR) {
    }
}

void awaitEvent(int event) noexcept
{
    std::uint64_t count = 0;
    while (read(event, &count, sizeof(count)) < 0 && errno == EINTR) {
    }
}

bool isSignalledWithin(int event, std::chrono::milliseconds bound) noexcept
{
    pollfd entry{event, POLLIN, 0};
    if (poll(&entry, 1, int(bound.count())) != 1)
        return false;
    awaitEvent(event); // taken, for the next time
    return true;
}

} // namespace

CrashAnnouncer::CrashAnnouncer(Announce announce)
    : tell(std::move(announce)), request(eventfd(0, EFD_CLOEXEC)), answer(eventfd(0, EFD_CLOEXEC))
{
    std::thread(&CrashAnnouncer::run, this).detach();
}

bool CrashAnnouncer::announce(const char *dumpPath, bool isWritten) noexcept
{
    path = dumpPath;
    succeeded = isWritten;
    signalEvent(request);
    return isSignalledWithin(answer, longestAnnouncement) ? result : isWritten;
}

void CrashAnnouncer::run()
{
    pthread_setname_np(pthread_self(), "crash-announcer");
    SignalStack::provide();
    while (true) {
        awaitEvent(request);
        result = tell(path, succeeded);
        signalEvent(answer);
    }
}
