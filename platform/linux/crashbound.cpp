#include "platform/linux/crashbound.h"

#include <csignal>

CrashBound::CrashBound(std::chrono::milliseconds longest) : longest(longest)
{
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    isThere = timer_create(CLOCK_MONOTONIC, &event, &timer) == 0;
}

CrashBound::~CrashBound()
{
    if (isThere)
        timer_delete(timer);
}

void CrashBound::begin() noexcept
{
    set(longest);
}

void CrashBound::end() noexcept
{
    set(std::chrono::milliseconds::zero());
}

void CrashBound::set(std::chrono::milliseconds left) noexcept
{
    using std::chrono::duration_cast;
    const auto seconds = duration_cast<std::chrono::seconds>(left);
    itimerspec once{};
    once.it_value.tv_sec = seconds.count();
    once.it_value.tv_nsec = std::chrono::nanoseconds(left - seconds).count();
    if (isThere)
        timer_settime(timer, 0, &once, nullptr);
}
