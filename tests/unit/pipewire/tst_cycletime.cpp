// The time that is left of a cycle.
#include "platform/pipewire/cycletime.h"

#include <QTest>

using namespace std::chrono_literals;

class TestCycleTime : public QObject
{
    Q_OBJECT

private slots:
    void untilNext_data()
    {
        QTest::addColumn<qint64>("now");
        QTest::addColumn<qint64>("left");
        // A cycle of 21 ms that began at 1,000 ms.
        QTest::newRow("at the start") << qint64(1000) << qint64(21);
        QTest::newRow("called late") << qint64(1005) << qint64(16);
        QTest::newRow("at the last moment") << qint64(1020) << qint64(1);
        QTest::newRow("told of the cycle before") << qint64(1024) << qint64(18);
        QTest::newRow("exactly a cycle later") << qint64(1021) << qint64(21);
        QTest::newRow("told of a cycle long ago") << qint64(1215) << qint64(16);
        QTest::newRow("told of one that is to come") << qint64(990) << qint64(21);
    }
    void untilNext()
    {
        QFETCH(qint64, now);
        QFETCH(qint64, left);
        QCOMPARE(untilNextCycle(1000ms, std::chrono::milliseconds(now), 21ms) / 1ms, left);
    }
};

QTEST_GUILESS_MAIN(TestCycleTime)
#include "tst_cycletime.moc"
