// When the controller lets processes be trimmed: its own, and those that the client names.
#include "platform/simulated/calls.h"
#include "platform/simulated/simulated.h"
#include "supervision/memorycheck.h"
#include "tests/unit/app/controllerfixture.h"

#include <QTest>
#include <QTimer>

#include <unistd.h>

namespace
{
constexpr int editor = 4711;
const QString ownOpening = QStringLiteral("OpenProcess %1 510").arg(::getpid());

void addProcess(DWORD pid)
{
    simulated::Application process;
    process.processId = pid;
    simulated::setApplication(process);
}

QTimer *timerOf(const ControllerFixture &fixture)
{
    return fixture.widget->findChild<MemoryCheck *>()->findChild<QTimer *>();
}
} // namespace

class ControllerMemoryTest : public QObject
{
    Q_OBJECT

private slots:
    void theOwnProcessIsOnTheListOnceTheEventLoopRuns()
    {
        ControllerFixture fixture;
        fixture.widget = std::make_unique<QuorvaneWidget>();
        QCOMPARE(simulated::countCalls("OpenProcess"), 0);
        QVERIFY(!timerOf(fixture)->isActive());
        QTRY_VERIFY_WITH_TIMEOUT(timerOf(fixture)->isActive(), 30000);
        QCOMPARE(simulated::calls().filter("OpenProcess"), QStringList(ownOpening));
        QCOMPARE(timerOf(fixture)->interval(), 600000);
        QCOMPARE(fixture.log.lines().filter("获取进程句柄失败"), QStringList());
    }

    void aNamedProcessJoinsAndThePeriodBegins()
    {
        ControllerFixture fixture;
        addProcess(editor);
        fixture.start();
        for (int round = 1; round <= 3; ++round) {
            timerOf(fixture)->stop();
            fixture.send("addMemoryCheck", {{"pid", editor}});
            fixture.settle();
            QCOMPARE(simulated::countCalls("OpenProcess 4711 510"), round);
            QCOMPARE(simulated::countCalls("CloseHandle process4711"), round - 1);
            QVERIFY(timerOf(fixture)->isActive());
        }
        QCOMPARE(simulated::countCalls("SetProcessWorkingSetSize"), 0);
        QMetaObject::invokeMethod(timerOf(fixture), "timeout");
        QVERIFY(simulated::waitForCalls("SetProcessWorkingSetSize", 2, 30000));
        QCOMPARE(simulated::countCalls("SetProcessWorkingSetSize 4711 -1 -1"), 1);
    }

    void aProcessThatIsNotThereIsTold_data()
    {
        QTest::addColumn<QJsonObject>("payload");
        QTest::addColumn<QString>("opening");
        QTest::newRow("none") << QJsonObject() << "OpenProcess 0 510";
        QTest::newRow("zero") << QJsonObject{{"pid", 0}} << "OpenProcess 0 510";
        QTest::newRow("negative") << QJsonObject{{"pid", -1}} << "OpenProcess 4294967295 510";
    }
    void aProcessThatIsNotThereIsTold()
    {
        QFETCH(const QJsonObject, payload);
        QFETCH(const QString, opening);
        ControllerFixture fixture;
        fixture.start();
        fixture.send("addMemoryCheck", payload);
        fixture.settle();
        QCOMPARE(simulated::countCalls(opening), 1);
        QCOMPARE(fixture.log.lines().filter("获取进程句柄失败"),
                 QStringList("Warning: 获取进程句柄失败，错误码： 87"));
        QVERIFY(timerOf(fixture)->isActive());
        QCOMPARE(fixture.pendingEvents(), QStringList());
    }

    void theEndClosesTheHandles()
    {
        ControllerFixture fixture;
        addProcess(editor);
        fixture.start();
        fixture.send("addMemoryCheck", {{"pid", editor}});
        fixture.settle();
        simulated::clearCalls();
        fixture.quit();
        QCOMPARE(simulated::countCalls("CloseHandle process4711"), 1);
        QCOMPARE(simulated::countCalls(QStringLiteral("CloseHandle process%1").arg(::getpid())), 1);
    }
};

QTEST_MAIN(ControllerMemoryTest)
#include "tst_controller_memory.moc"
