// A thread's loop of queued calls: none is lost, none comes twice or early, and none wakes up
// alone.
#include "platform/queuedcallloop.h"

#include <QEventLoop>
#include <QPointer>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace
{
/// A running thread with such a loop, and an object on it.
struct LoopThread
{
    LoopThread() : loop(new QueuedCallLoop)
    {
        thread.setEventDispatcher(loop);
        object->moveToThread(&thread);
    }
    ~LoopThread()
    {
        thread.quit();
        thread.wait();
    }

    template <typename Call>
    void queue(Call call)
    {
        QMetaObject::invokeMethod(object.get(), call, Qt::QueuedConnection);
    }
    /// When all that was queued so far is done.
    template <typename Call>
    void callAndWait(Call call)
    {
        std::promise<void> done;
        queue([&] {
            call();
            done.set_value();
        });
        done.get_future().wait();
    }

    QThread thread;
    QPointer<QueuedCallLoop> loop; ///< the thread's
    std::unique_ptr<QObject> object = std::make_unique<QObject>();
};
} // namespace

class TestQueuedCallLoop : public QObject
{
    Q_OBJECT

private slots:
    void callsComeInOrderOnTheThread()
    {
        LoopThread running;
        running.thread.start();
        std::vector<int> seen;
        bool isOnThread = true;
        for (int i = 0; i < 1000; ++i)
            running.queue([&, i] {
                seen.push_back(i);
                isOnThread = isOnThread && QThread::currentThread() == &running.thread;
            });
        running.callAndWait([] {});
        QVERIFY(isOnThread);
        QCOMPARE(seen.size(), size_t(1000));
        QVERIFY(std::is_sorted(seen.begin(), seen.end()));
    }

    void whatWasQueuedBeforeTheStartIsDone()
    {
        LoopThread running;
        std::atomic<bool> isDone{false};
        running.queue([&] { isDone = true; });
        running.thread.start();
        QTRY_VERIFY(isDone);
    }

    void aCallMayQueueAnother()
    {
        LoopThread running;
        running.thread.start();
        std::atomic<int> left{1000};
        std::function<void()> step = [&] {
            if (--left > 0)
                running.queue(step);
        };
        running.queue(step);
        QTRY_COMPARE(left.load(), 0);
    }

    void noneOfManyThreadsCallsIsLost()
    {
        constexpr int threads = 4;
        constexpr int calls = 20'000;
        LoopThread running;
        running.thread.start();
        int seen = 0;
        std::vector<std::thread> callers;
        for (int i = 0; i < threads; ++i)
            callers.emplace_back([&] {
                for (int call = 0; call < calls; ++call)
                    running.queue([&] { ++seen; });
            });
        for (std::thread &caller : callers)
            caller.join();
        running.callAndWait([] {});
        QCOMPARE(seen, threads * calls);
    }

    // One at a time, so that the loop falls asleep between them.
    void eachOfManySingleCallsWakesUp()
    {
        LoopThread running;
        running.thread.start();
        int seen = 0;
        for (int i = 0; i < 2000; ++i)
            running.callAndWait([&] { ++seen; });
        QCOMPARE(seen, 2000);
    }

    void sleepsUntilItIsCalled()
    {
        LoopThread running;
        std::atomic<int> wakeUps{0};
        connect(
            running.loop, &QAbstractEventDispatcher::awake, running.loop, [&] { ++wakeUps; },
            Qt::DirectConnection);
        running.thread.start();
        running.callAndWait([] {});
        const int before = wakeUps;
        QTest::qSleep(300);
        // The call itself may have come just when the loop was looking, which then looks again.
        QVERIFY(wakeUps - before <= 1);
    }

    void quitEndsItAsleepAndBefore()
    {
        LoopThread asleep;
        asleep.thread.start();
        asleep.callAndWait([] {});
        asleep.thread.quit();
        QVERIFY(asleep.thread.wait(30'000));
        QVERIFY(!asleep.loop);

        for (int i = 0; i < 200; ++i) {
            LoopThread starting;
            starting.thread.start();
            starting.thread.quit();
            QVERIFY(starting.thread.wait(30'000));
        }
    }

    void deletesWhatIsToGo()
    {
        LoopThread running;
        running.thread.start();
        QPointer<QObject> object = running.object.release();
        object->deleteLater();
        QTRY_VERIFY(!object);

        running.object = std::make_unique<QObject>();
        running.object->moveToThread(&running.thread);
        object = running.object.release();
        object->deleteLater();
        running.thread.quit();
        QVERIFY(running.thread.wait(30'000));
        QVERIFY(!object);
    }

    void aLoopWithinACallGoesOn()
    {
        LoopThread running;
        running.thread.start();
        std::atomic<bool> isDone{false};
        running.queue([&] {
            QEventLoop inner;
            running.queue([&] { inner.quit(); });
            inner.exec();
            isDone = true;
        });
        QTRY_VERIFY(isDone);
    }

    void looksWithoutWaiting()
    {
        LoopThread running;
        running.thread.start();
        bool first = false;
        bool second = true;
        bool isDone = false;
        running.callAndWait([&] {
            running.queue([&] { isDone = true; });
            first = running.loop->processEvents(QEventLoop::AllEvents);
            second = running.loop->processEvents(QEventLoop::AllEvents);
        });
        QVERIFY(first);
        QVERIFY(isDone);
        QVERIFY(!second);
    }

    void saysWhatItHasNot()
    {
        LoopThread running;
        running.thread.start();
        QTest::ignoreMessage(QtWarningMsg,
                             "QueuedCallLoop: a timer is started in a thread that has none");
        QTest::ignoreMessage(QtWarningMsg,
                             "QueuedCallLoop: a socket is watched in a thread that watches none");
        running.callAndWait([&] {
            running.object->killTimer(running.object->startTimer(1));
            running.loop->registerSocketNotifier(nullptr);
        });
        bool hasNone = false;
        running.callAndWait([&] {
            hasNone = running.loop->registeredTimers(running.object.get()).isEmpty() &&
                      !running.loop->unregisterTimer(1) &&
                      !running.loop->unregisterTimers(running.object.get()) &&
                      running.loop->remainingTime(1) == -1;
        });
        QVERIFY(hasNone);
    }
};

QTEST_GUILESS_MAIN(TestQueuedCallLoop)
#include "tst_queuedcallloop.moc"
