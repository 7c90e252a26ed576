#include "platform/windows/crashbound.h"

#include "platform/windows/sdk.h"

#include <thread>

CrashBound::CrashBound(std::chrono::milliseconds longest) : longest(longest)
{
    std::thread(&CrashBound::run, this).detach();
    static_cast<void>(ready.awaitWithin(longestBeginning));
}

void CrashBound::begin() noexcept
{
    begun.signal();
}

void CrashBound::end() noexcept
{
    ended.signal();
}

void CrashBound::run() noexcept
{
    ready.signal();
    while (true) {
        begun.await();
        if (!ended.awaitWithin(longest))
            TerminateProcess(GetCurrentProcess(), ERROR_TIMEOUT);
    }
}
