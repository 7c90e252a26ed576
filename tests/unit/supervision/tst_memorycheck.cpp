// Which processes are opened, trimmed and let go, as the platform sees it.
#include "platform/simulated/simulated.h"
#include "supervision/memorycheck.h"
#include "supervision/memorycheckworker.h"
#include "tests/support/logcapture.h"
#include "tests/support/waitwatch.h"

#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <thread>

namespace
{
constexpr DWORD editor = 4711;
constexpr DWORD player = 815;
constexpr int patience = 30000;

void addProcess(DWORD pid, bool isClosed = false)
{
    simulated::Application process;
    process.processId = pid;
    process.isClosed = isClosed;
    simulated::setApplication(process);
}

/// A trimmer, and two other processes.
class Fixture
{
public:
    Fixture()
    {
        simulated::reset();
        addProcess(editor);
        addProcess(player);
        trimmer = std::make_unique<MemoryCheck>(nullptr);
    }

    [[nodiscard]] QTimer &timer() const { return *trimmer->findChild<QTimer *>(); }
    /// Lets the period end, and returns when as many processes as told have been trimmed.
    void elapse(int processes) const
    {
        const auto before = simulated::countCalls("SetProcessWorkingSetSize");
        QMetaObject::invokeMethod(&timer(), "timeout");
        QVERIFY(simulated::waitForCalls("SetProcessWorkingSetSize", before + processes, patience));
    }

    LogCapture log;
    std::unique_ptr<MemoryCheck> trimmer;
};

QString opened(DWORD pid)
{
    return QStringLiteral("OpenProcess %1 510").arg(pid);
}
QString trimmed(DWORD pid)
{
    return QStringLiteral("SetProcessWorkingSetSize %1 -1 -1").arg(pid);
}
QString closed(DWORD pid)
{
    return QStringLiteral("CloseHandle process%1").arg(pid);
}
} // namespace

class TestMemoryCheck : public QObject
{
    Q_OBJECT

private slots:
    void theTimerIsMadeAndNotStarted()
    {
        const Fixture fixture;
        QCOMPARE(fixture.timer().timerType(), Qt::PreciseTimer);
        QCOMPARE(fixture.timer().interval(), 600000);
        QVERIFY(!fixture.timer().isSingleShot());
        QVERIFY(!fixture.timer().isActive());
        QCOMPARE(simulated::calls(), QStringList());
    }

    void startStartsThePeriodAnewAndStopEndsIt()
    {
        const Fixture fixture;
        fixture.trimmer->start();
        QVERIFY(fixture.timer().isActive());
        const auto left = [&] { return fixture.timer().remainingTime(); };
        QTRY_VERIFY_WITH_TIMEOUT(left() < 600000 - 500, patience);
        const int before = left();
        fixture.trimmer->start();
        QVERIFY(fixture.timer().isActive());
        QVERIFY(left() > before);
        fixture.trimmer->stop();
        QVERIFY(!fixture.timer().isActive());
        fixture.trimmer->stop();
    }

    void aProcessIsOpenedAtOnceAndTrimmedWhenThePeriodEnds()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        QCOMPARE(simulated::calls(), QStringList(opened(editor)));
        fixture.elapse(1);
        fixture.elapse(1);
        QCOMPARE(simulated::calls(),
                 QStringList({opened(editor), trimmed(editor), trimmed(editor)}));
        QCOMPARE(fixture.log.lines(), QStringList());
    }

    void processesAreTrimmedInTheOrderOfTheirIds()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        fixture.trimmer->addMonitorProcess(player);
        simulated::clearCalls();
        fixture.elapse(2);
        QCOMPARE(simulated::calls(), QStringList({trimmed(player), trimmed(editor)}));
    }

    void trimmingHoldsUpNoOwner()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        fixture.elapse(1);
        for (const simulated::Call &call : simulated::callRecords())
            QCOMPARE(call.thread == std::this_thread::get_id(), call.text == opened(editor));
    }

    void theSameProcessAgainClosesTheFirstHandle()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        fixture.trimmer->addMonitorProcess(editor);
        QCOMPARE(simulated::calls(), QStringList({opened(editor), closed(editor), opened(editor)}));
        QCOMPARE(simulated::liveObjects(), 1);
        simulated::clearCalls();
        fixture.elapse(1);
        QCOMPARE(simulated::calls(), QStringList(trimmed(editor)));
    }

    void aProcessThatCannotBeOpenedIsTold()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(0);
        QCOMPARE(fixture.log.lines(),
                 QStringList("Warning: 获取进程句柄失败，错误码： 87")); // no such process
        addProcess(editor, true);
        fixture.trimmer->addMonitorProcess(editor);
        QCOMPARE(fixture.log.lines().last(), "Warning: 获取进程句柄失败，错误码： 5");
        fixture.trimmer->addMonitorProcess(player);
        fixture.elapse(1);
        QCOMPARE(simulated::calls().filter("SetProcessWorkingSetSize"),
                 QStringList(trimmed(player)));
    }

    void aFailedOpeningRemovesTheEarlierEntry()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        fixture.trimmer->addMonitorProcess(player);
        simulated::failNext("OpenProcess", ERROR_ACCESS_DENIED);
        fixture.trimmer->addMonitorProcess(editor);
        QCOMPARE(fixture.log.lines(), QStringList("Warning: 获取进程句柄失败，错误码： 5"));
        QCOMPARE(simulated::countCalls(closed(editor)), 1);
        simulated::clearCalls();
        fixture.elapse(1);
        QCOMPARE(simulated::calls(), QStringList(trimmed(player)));
    }

    void aFailedTrimIsSilentAndTheProcessStays()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        fixture.trimmer->addMonitorProcess(player);
        simulated::clearCalls();
        simulated::failNext("SetProcessWorkingSetSize", ERROR_ACCESS_DENIED, 2);
        fixture.elapse(2);
        fixture.elapse(2);
        QCOMPARE(simulated::countCalls("SetProcessWorkingSetSize"), 4);
        QCOMPARE(simulated::countCalls("CloseHandle"), 0);
        QCOMPARE(fixture.log.lines(), QStringList());
    }

    void whoAddsWaitsForATrimUnderWay()
    {
        const Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        QSemaphore inside;
        QSemaphore goOn;
        simulated::onCall("SetProcessWorkingSetSize", [&] {
            inside.release();
            goOn.acquire();
        });
        QMetaObject::invokeMethod(&fixture.timer(), "timeout");
        QVERIFY(inside.tryAcquire(1, patience));
        simulated::clearCalls();
        WaitWatch watch;
        std::thread adder([&] {
            watch.begin();
            fixture.trimmer->addMonitorProcess(player);
        });
        (void)watch.waitUntilAsleep();
        const QStringList meanwhile = simulated::calls();
        goOn.release();
        adder.join();
        QCOMPARE(meanwhile, QStringList());
        QCOMPARE(simulated::calls(), QStringList(opened(player)));
    }

    void allHandlesAreClosedAtTheEnd()
    {
        Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        fixture.trimmer->addMonitorProcess(player);
        fixture.trimmer->start();
        simulated::clearCalls();
        fixture.trimmer.reset();
        QCOMPARE(simulated::calls(), QStringList({closed(player), closed(editor)}));
        QVERIFY2(simulated::liveObjects() == 0, qPrintable(simulated::leakReport()));
    }

    void theEndWaitsForATrimUnderWay()
    {
        Fixture fixture;
        fixture.trimmer->addMonitorProcess(editor);
        QSemaphore inside;
        QSemaphore goOn;
        std::atomic<bool> isTrimming = false;
        std::atomic<bool> isClosedMeanwhile = false;
        simulated::onCall("SetProcessWorkingSetSize", [&] {
            isTrimming = true;
            inside.release();
            goOn.acquire();
            isTrimming = false;
        });
        simulated::onCall("CloseHandle", [&] { isClosedMeanwhile = isTrimming.load(); });
        QMetaObject::invokeMethod(&fixture.timer(), "timeout");
        QVERIFY(inside.tryAcquire(1, patience));
        WaitWatch watch;
        std::thread helper([&] {
            (void)watch.waitUntilAsleep();
            goOn.release();
        });
        watch.begin();
        fixture.trimmer.reset();
        helper.join();
        QCOMPARE(simulated::countCalls(closed(editor)), 1);
        QVERIFY(!isClosedMeanwhile);
        QVERIFY2(simulated::liveObjects() == 0, qPrintable(simulated::leakReport()));
    }

    void theSlotIsTheWorkersOnlyMethod()
    {
        const QMetaObject &meta = MemoryCheckWorker::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        QCOMPARE(meta.method(meta.methodOffset()).methodSignature(),
                 QByteArray("handleMemoryCheck()"));
        QCOMPARE(MemoryCheck::staticMetaObject.methodCount(),
                 QObject::staticMetaObject.methodCount());
    }
};

QTEST_GUILESS_MAIN(TestMemoryCheck)
#include "tst_memorycheck.moc"
