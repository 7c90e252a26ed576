#include "platform/posix/realtimepriority.h"
#include "platform/threads.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
// The service's own limit: what an audio thread may compute without a pause, in microseconds.
constexpr rlim_t longestBurst = 200'000;
constexpr int answerTimeout = 500; // ms

bool scheduleDirectly(int priority)
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0;
}

// The service grants nothing to a process that could hold a processor for ever.
bool boundBursts()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_RTTIME, &limit) != 0)
        return false;
    if (limit.rlim_max > longestBurst)
        limit.rlim_max = longestBurst;
    limit.rlim_cur = limit.rlim_max;
    return setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

void askService(int priority)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected() || !boundBursts())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.RealtimeKit1"),
        QStringLiteral("/org/freedesktop/RealtimeKit1"),
        QStringLiteral("org.freedesktop.RealtimeKit1"), QStringLiteral("MakeThreadRealtime"));
    call << quint64(::gettid()) << quint32(priority);
    bus.call(call, QDBus::Block, answerTimeout);
}
} // namespace

void requestRealtimeScheduling(SoundThread thread)
{
    const int priority = thread == SoundThread::Paced ? posix::pacedPriority : posix::fedPriority;
    if (!scheduleDirectly(priority))
        askService(priority);
}
