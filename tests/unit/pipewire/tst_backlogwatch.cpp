// When a backlog that nobody needs is cut.
#include "platform/pipewire/backlogwatch.h"

#include <QTest>

namespace
{
constexpr uint32_t cycle = 100;

/// What is told after each of `cycles` cycles that leave `left` frames, added up.
uint32_t cutIn(BacklogWatch &watch, int cycles, uint32_t left)
{
    uint32_t cut = 0;
    for (int i = 0; i < cycles; ++i)
        cut += watch.surplusAfter(cycle, left);
    return cut;
}
} // namespace

class TestBacklogWatch : public QObject
{
    Q_OBJECT

private slots:
    void whatWasLeftAllTheTimeIsSurplus_data()
    {
        QTest::addColumn<uint>("left");
        QTest::addColumn<uint>("surplus");
        QTest::newRow("nothing") << 0u << 0u;
        QTest::newRow("less than half a cycle") << 49u << 0u;
        QTest::newRow("half a cycle") << 50u << 50u;
        QTest::newRow("a cycle and more") << 120u << 120u;
    }
    void whatWasLeftAllTheTimeIsSurplus()
    {
        QFETCH(uint, left);
        QFETCH(uint, surplus);
        BacklogWatch watch(1000, 4000);
        QCOMPARE(cutIn(watch, 9, left), 0u);
        QCOMPARE(watch.surplusAfter(cycle, left), surplus);
    }

    void whatWasNeededOnceStays()
    {
        BacklogWatch watch(1000, 4000);
        QCOMPARE(cutIn(watch, 5, 100), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 0), 0u);
        QCOMPARE(cutIn(watch, 4, 100), 0u);
        // The next look is as long again, at what is left from now on.
        QCOMPARE(cutIn(watch, 9, 100), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 100), 100u);
    }

    void theLeastIsCut()
    {
        BacklogWatch watch(1000, 4000);
        QCOMPARE(cutIn(watch, 8, 200), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 60), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 200), 60u);
    }

    void eachCutDoublesTheWait()
    {
        BacklogWatch watch(1000, 4000);
        for (const int cycles : {10, 20, 40, 40, 40}) {
            QCOMPARE(cutIn(watch, cycles - 1, 100), 0u);
            QCOMPARE(watch.surplusAfter(cycle, 100), 100u);
        }
        watch.restart();
        QCOMPARE(cutIn(watch, 9, 100), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 100), 100u);
    }

    void aLookWithoutACutDoublesNothing()
    {
        BacklogWatch watch(1000, 4000);
        QCOMPARE(cutIn(watch, 50, 0), 0u);
        QCOMPARE(cutIn(watch, 9, 100), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 100), 100u);
    }

    void aRestartForgetsWhatWasSeen()
    {
        BacklogWatch watch(1000, 4000);
        QCOMPARE(cutIn(watch, 5, 0), 0u);
        watch.restart();
        QCOMPARE(cutIn(watch, 9, 100), 0u);
        QCOMPARE(watch.surplusAfter(cycle, 100), 100u);
    }
};

QTEST_APPLESS_MAIN(TestBacklogWatch)
#include "tst_backlogwatch.moc"
