// Events and waits.
#include "platform/posix/events.h"
#include "platform/posix/lasterror.h"
#include "platform/vocabulary/kernel.h"
#include "tests/support/waitwatch.h"

#include <QElapsedTimer>
#include <QTest>

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace
{

/// Closes its handle at the end of its life.
class ScopedEvent
{
public:
    ScopedEvent(bool manualReset, bool initiallySet)
        : handle(posix::createEvent(manualReset, initiallySet))
    {
    }
    ~ScopedEvent() { posix::closeHandle(handle); }
    ScopedEvent(const ScopedEvent &) = delete;
    ScopedEvent &operator=(const ScopedEvent &) = delete;

    operator HANDLE() const { return handle; }

private:
    const HANDLE handle;
};

constexpr bool manualReset = true;
constexpr bool autoReset = false;
constexpr DWORD bound = 10000; ///< ms; only a failing test waits this long

DWORD waitFor(HANDLE event, DWORD milliseconds)
{
    return posix::waitForMultiple(1, &event, milliseconds);
}

class NoEvent final : public posix::Object
{
};

} // namespace

class TestEvents : public QObject
{
    Q_OBJECT

private slots:
    void autoResetReleasesOneWait();
    void autoResetReleasesOneOfManyWaiters();
    void manualResetStaysSet();
    void startsAsAsked();
    void lowestIndexWins();
    void takesOnlyTheEventThatWon();
    void timesOutNotBeforeItsTime();
    void setWakesAnEndlessWait();
    void closeWakesEveryWaiter_data();
    void closeWakesEveryWaiter();
    void refusesWrongArguments();
    void waitsForSixtyFour();
    void losesNoSignalBetweenThreads();
    void survivesCloseUnderUse();
};

void TestEvents::autoResetReleasesOneWait()
{
    const ScopedEvent event(autoReset, false);
    QCOMPARE(waitFor(event, 0), WAIT_TIMEOUT);
    QVERIFY(posix::setEvent(event));
    QVERIFY(posix::setEvent(event)); // set is set, it does not count
    QCOMPARE(waitFor(event, 0), WAIT_OBJECT_0);
    QCOMPARE(waitFor(event, 0), WAIT_TIMEOUT);
    QVERIFY(posix::setEvent(event));
    QVERIFY(posix::resetEvent(event));
    QCOMPARE(waitFor(event, 0), WAIT_TIMEOUT);
}

void TestEvents::autoResetReleasesOneOfManyWaiters()
{
    const ScopedEvent event(autoReset, false);
    const ScopedEvent over(manualReset, false);
    const std::array<HANDLE, 2> handles{event, over};
    std::atomic<int> released{0};
    std::vector<std::thread> threads;
    for (int waiter = 0; waiter < 4; ++waiter) {
        threads.emplace_back([&] {
            if (posix::waitForMultiple(2, handles.data(), bound) == WAIT_OBJECT_0)
                ++released;
        });
    }
    QVERIFY(posix::setEvent(event));
    QTRY_COMPARE(released.load(), 1);
    QVERIFY(posix::setEvent(over));
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(released.load(), 1);
}

void TestEvents::manualResetStaysSet()
{
    const ScopedEvent event(manualReset, false);
    QVERIFY(posix::setEvent(event));
    QCOMPARE(waitFor(event, 0), WAIT_OBJECT_0);
    QCOMPARE(waitFor(event, 0), WAIT_OBJECT_0);
    QVERIFY(posix::resetEvent(event));
    QCOMPARE(waitFor(event, 0), WAIT_TIMEOUT);
    QVERIFY(posix::resetEvent(event)); // of an event that is not set
}

void TestEvents::startsAsAsked()
{
    const ScopedEvent manual(manualReset, true);
    const ScopedEvent automatic(autoReset, true);
    QCOMPARE(waitFor(manual, 0), WAIT_OBJECT_0);
    QCOMPARE(waitFor(automatic, 0), WAIT_OBJECT_0);
    QCOMPARE(waitFor(automatic, 0), WAIT_TIMEOUT);
}

void TestEvents::lowestIndexWins()
{
    const ScopedEvent first(autoReset, false);
    const ScopedEvent second(manualReset, true);
    const ScopedEvent third(manualReset, true);
    const std::array<HANDLE, 3> handles{first, second, third};
    QCOMPARE(posix::waitForMultiple(3, handles.data(), INFINITE), WAIT_OBJECT_0 + 1);
    QVERIFY(posix::setEvent(first));
    QCOMPARE(posix::waitForMultiple(3, handles.data(), INFINITE), WAIT_OBJECT_0);
    QCOMPARE(posix::waitForMultiple(3, handles.data(), INFINITE), WAIT_OBJECT_0 + 1);
}

void TestEvents::takesOnlyTheEventThatWon()
{
    const ScopedEvent first(autoReset, true);
    const ScopedEvent second(autoReset, true);
    const std::array<HANDLE, 2> handles{first, second};
    QCOMPARE(posix::waitForMultiple(2, handles.data(), 0), WAIT_OBJECT_0);
    QCOMPARE(posix::waitForMultiple(2, handles.data(), 0), WAIT_OBJECT_0 + 1);
    QCOMPARE(posix::waitForMultiple(2, handles.data(), 0), WAIT_TIMEOUT);
}

void TestEvents::timesOutNotBeforeItsTime()
{
    const ScopedEvent event(autoReset, false);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(waitFor(event, 30), WAIT_TIMEOUT);
    QVERIFY(timer.nsecsElapsed() >= 30'000'000);
}

void TestEvents::setWakesAnEndlessWait()
{
    const ScopedEvent event(autoReset, false);
    DWORD result = WAIT_FAILED;
    std::thread waiter([&] { result = waitFor(event, INFINITE); });
    QVERIFY(posix::setEvent(event));
    waiter.join();
    QCOMPARE(result, WAIT_OBJECT_0);
}

void TestEvents::closeWakesEveryWaiter_data()
{
    QTest::addColumn<bool>("manual");
    QTest::newRow("manual-reset") << true;
    QTest::newRow("auto-reset") << false;
}

void TestEvents::closeWakesEveryWaiter()
{
    QFETCH(bool, manual);
    constexpr int waiters = 4;
    const HANDLE event = posix::createEvent(manual, false);
    std::atomic<int> failed{0};
    std::array<WaitWatch, waiters> watches;
    std::vector<std::thread> threads;
    for (WaitWatch &watch : watches) {
        threads.emplace_back([&] {
            watch.begin();
            if (waitFor(event, bound) == WAIT_FAILED && posix::lastError() == ERROR_INVALID_HANDLE)
                ++failed;
        });
    }
    for (const WaitWatch &watch : watches)
        QVERIFY(watch.waitUntilAsleep());
    QVERIFY(posix::closeHandle(event));
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(failed.load(), waiters);
}

void TestEvents::refusesWrongArguments()
{
    const ScopedEvent event(manualReset, true);
    const std::vector<HANDLE> many(65, event);
    const auto failsWith = [](DWORD count, const HANDLE *handles) {
        posix::setLastError(ERROR_SUCCESS);
        return posix::waitForMultiple(count, handles, 0) == WAIT_FAILED ? posix::lastError()
                                                                        : ERROR_SUCCESS;
    };
    QCOMPARE(failsWith(0, many.data()), ERROR_INVALID_PARAMETER);
    QCOMPARE(failsWith(65, many.data()), ERROR_INVALID_PARAMETER);
    QCOMPARE(failsWith(1, nullptr), ERROR_INVALID_PARAMETER);

    const HANDLE closed = posix::createEvent(true, true);
    QVERIFY(posix::closeHandle(closed));
    const HANDLE noEvent = posix::createHandle(std::make_unique<NoEvent>());
    for (const HANDLE bad : {closed, noEvent, HANDLE(nullptr), INVALID_HANDLE_VALUE}) {
        const std::array<HANDLE, 2> handles{event, bad};
        QCOMPARE(failsWith(2, handles.data()), ERROR_INVALID_HANDLE);
        posix::setLastError(ERROR_SUCCESS);
        QVERIFY(!posix::setEvent(bad));
        QCOMPARE(posix::lastError(), ERROR_INVALID_HANDLE);
        QVERIFY(!posix::resetEvent(bad));
    }
    QVERIFY(posix::closeHandle(noEvent));
}

void TestEvents::waitsForSixtyFour()
{
    std::vector<HANDLE> handles;
    for (DWORD index = 0; index < posix::maximumWaitHandles; ++index)
        handles.push_back(posix::createEvent(autoReset, index + 1 == posix::maximumWaitHandles));
    QCOMPARE(posix::waitForMultiple(64, handles.data(), INFINITE), WAIT_OBJECT_0 + 63);
    for (const HANDLE handle : handles)
        QVERIFY(posix::closeHandle(handle));
}

void TestEvents::losesNoSignalBetweenThreads()
{
    const ScopedEvent ping(autoReset, false);
    const ScopedEvent pong(autoReset, false);
    constexpr int rounds = 5000;
    int answered = 0;
    std::thread other([&] {
        for (int round = 0; round < rounds && waitFor(ping, bound) == WAIT_OBJECT_0; ++round)
            posix::setEvent(pong);
    });
    for (int round = 0; round < rounds; ++round) {
        posix::setEvent(ping);
        if (waitFor(pong, bound) != WAIT_OBJECT_0)
            break;
        ++answered;
    }
    other.join();
    QCOMPARE(answered, rounds);
}

void TestEvents::survivesCloseUnderUse()
{
    for (int round = 0; round < 100; ++round) {
        const HANDLE event = posix::createEvent(round % 2 == 0, false);
        QVERIFY(event);
        std::atomic<int> started{0};
        std::atomic<int> ended{0};
        const auto user = [&](auto action) {
            return std::thread([&, action] {
                ++started;
                action();
                ++ended;
            });
        };
        std::vector<std::thread> threads;
        // Each ends because the handle is closed, and for no other reason.
        DWORD result = WAIT_OBJECT_0;
        threads.push_back(user([event, &result] {
            while (result == WAIT_OBJECT_0)
                result = waitFor(event, bound);
        }));
        threads.push_back(user([event] {
            while (posix::setEvent(event)) {
            }
        }));
        threads.push_back(user([event] {
            while (posix::resetEvent(event)) {
            }
        }));
        while (started < 3)
            std::this_thread::yield();
        QVERIFY(posix::closeHandle(event));
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(ended.load(), 3);
        QCOMPARE(result, WAIT_FAILED);
    }
}

QTEST_GUILESS_MAIN(TestEvents)
#include "tst_events.moc"
