// The stack on which a thread's crash is handled.
#include "platform/signalstack.h"
#include "tests/support/threadqueue.h"

#include <QFile>
#include <QThread>
#include <QtTest>

#include <csignal>
#include <memory>
#include <thread>

namespace
{

constexpr std::size_t leastSize = 16384;

/// Of the calling thread; 0 without one.
std::size_t stackSize()
{
    stack_t stack{};
    sigaltstack(nullptr, &stack);
    return (stack.ss_flags & SS_DISABLE) == 0 ? stack.ss_size : 0;
}

const void *stackPlace()
{
    stack_t stack{};
    sigaltstack(nullptr, &stack);
    return stack.ss_sp;
}

bool isBlocked(int signal)
{
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

} // namespace

class TestSignalStack : public QObject
{
    Q_OBJECT

private slots:
    void callingThreadGetsOne()
    {
        std::size_t size = 0;
        std::thread([&size] {
            SignalStack::provide();
            size = stackSize();
        }).join();
        QVERIFY(size >= leastSize);
    }

    void askingAgainChangesNothing()
    {
        bool same = false;
        std::thread([&same] {
            SignalStack::provide();
            const void *first = stackPlace();
            SignalStack::provide();
            same = stackPlace() == first;
        }).join();
        QVERIFY(same);
    }

    void threadToBeGetsOne()
    {
        std::size_t size = 0;
        const std::unique_ptr<QThread> thread(QThread::create([&size] { size = stackSize(); }));
        SignalStack::provideTo(*thread);
        thread->start();
        QVERIFY(thread->wait());
        QVERIFY(size >= leastSize);
    }

    void workersGetOne()
    {
        QThread thread;
        QObject worker;
        worker.moveToThread(&thread);
        SignalStack::provideTo(thread);
        thread.start();
        std::size_t size = 0;
        QMetaObject::invokeMethod(
            &worker, [&size] { size = stackSize(); }, Qt::QueuedConnection);
        awaitQueueOf(worker);
        thread.quit();
        QVERIFY(thread.wait());
        QVERIFY(size >= leastSize);
    }

    void somebodyElsesStays()
    {
        bool stays = false;
        std::thread([&stays] {
            const auto memory = std::make_unique<std::byte[]>(4 * leastSize);
            stack_t before{};
            sigaltstack(nullptr, &before);
            stack_t own{};
            own.ss_sp = memory.get();
            own.ss_size = 4 * leastSize;
            sigaltstack(&own, nullptr);
            SignalStack::provide();
            stays = stackPlace() == memory.get();
            sigaltstack(&before, nullptr);
        }).join();
        QVERIFY(stays);
    }

    void crashesGetThrough()
    {
        QList<int> blocked;
        bool othersStayBlocked = false;
        std::thread([&] {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            SignalStack::provide();
            for (const int signal : {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGBUS, SIGTRAP})
                if (isBlocked(signal))
                    blocked << signal;
            othersStayBlocked = isBlocked(SIGTERM) && isBlocked(SIGINT);
        }).join();
        QCOMPARE(blocked, QList<int>());
        QVERIFY(othersStayBlocked);
    }

    void endedThreadsGiveItBack()
    {
        const qint64 before = mappedBytes();
        for (int i = 0; i < 200; ++i)
            std::thread([] { SignalStack::provide(); }).join();
        QVERIFY(mappedBytes() - before < 200 * qint64(leastSize));
    }

private:
    static qint64 mappedBytes()
    {
        QFile file("/proc/self/statm");
        if (!file.open(QIODevice::ReadOnly))
            qFatal("no /proc");
        return file.readAll().split(' ').first().toLongLong() * 4096;
    }
};

QTEST_GUILESS_MAIN(TestSignalStack)
#include "tst_signalstack.moc"
