// The real-time priorities of the threads that sound passes through.
#include "platform/posix/realtimepriority.h"
#include "platform/threads.h"

#include <QtTest>

#include <sched.h>

#include <functional>
#include <thread>

namespace
{
struct Scheduling
{
    int policy; ///< with its flag
    int priority;

    bool operator==(const Scheduling &) const = default;
};

Scheduling ownScheduling()
{
    sched_param parameters{};
    sched_getparam(0, &parameters);
    return {sched_getscheduler(0), parameters.sched_priority};
}

/// What a thread is left with after an action, which may ask for more than the rights allow.
Scheduling schedulingAfter(const std::function<void()> &action)
{
    Scheduling result{};
    std::thread([&] {
        action();
        result = ownScheduling();
    }).join();
    return result;
}

void attempt(const Scheduling &wanted)
{
    sched_param parameters{};
    parameters.sched_priority = wanted.priority;
    sched_setscheduler(0, wanted.policy, &parameters);
}
} // namespace

class TestRealtime : public QObject
{
    Q_OBJECT

private slots:
    void requestsAreMetAsTheRightsAllow_data()
    {
        QTest::addColumn<SoundThread>("thread");
        QTest::addColumn<int>("priority");
        QTest::newRow("paced") << SoundThread::Paced << 20;
        QTest::newRow("fed") << SoundThread::Fed << 19;
    }

    // What a bare attempt is allowed, a request gets too; and it never does harm.
    void requestsAreMetAsTheRightsAllow()
    {
        QFETCH(const SoundThread, thread);
        QFETCH(const int, priority);
        const Scheduling wanted{SCHED_RR | SCHED_RESET_ON_FORK, priority};
        const Scheduling allowed = schedulingAfter([&] { attempt(wanted); });
        const Scheduling granted = schedulingAfter([&] { requestRealtimeScheduling(thread); });
        // Where nothing is allowed, the service may have helped.
        QVERIFY(granted == wanted || (allowed != wanted && granted == allowed));
    }

    void higherPrioritiesAreLowered_data()
    {
        QTest::addColumn<int>("policy");
        QTest::addColumn<int>("priority");
        QTest::addColumn<int>("lowered");
        QTest::newRow("the graph's own") << SCHED_FIFO << 88 << 19;
        QTest::newRow("with the flag") << (SCHED_RR | SCHED_RESET_ON_FORK) << 88 << 19;
        QTest::newRow("that of a paced thread") << (SCHED_RR | SCHED_RESET_ON_FORK) << 20 << 19;
        QTest::newRow("that of a fed thread") << SCHED_FIFO << 19 << 19;
        QTest::newRow("a lower one") << SCHED_FIFO << 5 << 5;
        QTest::newRow("none") << SCHED_OTHER << 0 << 0;
    }

    void higherPrioritiesAreLowered()
    {
        QFETCH(const int, policy);
        QFETCH(const int, priority);
        QFETCH(const int, lowered);
        const Scheduling before = schedulingAfter([&] { attempt({policy, priority}); });
        const Scheduling after = schedulingAfter([&] {
            attempt({policy, priority});
            posix::lowerToFedPriority();
        });
        QCOMPARE(after.policy, before.policy);
        QCOMPARE(after.priority, std::min(before.priority, lowered));
    }
};

QTEST_GUILESS_MAIN(TestRealtime)
#include "tst_realtime.moc"
