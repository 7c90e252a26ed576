// Which context a reported level gets, whatever the server joins, drops or somebody else does.
#include "platform/linux/trackedlevel.h"

#include <QtTest>

using pulse::TrackedLevel;
using namespace std::chrono_literals;

class tst_trackedlevel : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void aReportWithoutARequestIsSomebodyElses();
    void aRequestIsReadBackAtOnce();
    void aReportOfARequestCarriesItsContext();
    void aReportMayComeBeforeTheAnswer();
    void severalRequestsKeepTheirContexts();
    void joinedReportsCarryTheLastContext();
    void equalRequestsAreMatchedInTheirOrder();
    void somebodyElseInBetweenIsToldApart();
    void somebodyElseAfterwardsIsNotOurs();
    void aStaleReportSaysNothing();
    void thereAndBackLeavesNothingBehind();
    void aRequestWithoutEffectLeavesNothingBehind();
    void aRefusedRequestIsForgotten();
    void aRequestThatNobodyFollowsIsForgottenInTime();
    void roundingIsNoChange();
    void stepsOfTheHardwareAreStillOurs();
    void resetForgetsEverything();

private:
    static GUID guid(quint32 number) { return {number, 0, 0, {}}; }
    // 0 for anybody else's change, -1 for none.
    qint64 report(float value)
    {
        const std::optional<GUID> context = level.report(value, now);
        return context ? qint64(context->Data1) : -1;
    }

    TrackedLevel level;
    TrackedLevel::Clock::time_point now;
};

void tst_trackedlevel::init()
{
    now = TrackedLevel::Clock::time_point(1h);
    level.reset(0.5f);
}

void tst_trackedlevel::aReportWithoutARequestIsSomebodyElses()
{
    QCOMPARE(report(0.8f), 0);
    QCOMPARE(level.value(now), 0.8f);
    QCOMPARE(report(0.8f), -1);
}

void tst_trackedlevel::aRequestIsReadBackAtOnce()
{
    level.request(1, 0.3f, guid(7));
    QCOMPARE(level.value(now), 0.3f);
    QCOMPARE(level.reported(), 0.5f);
}

void tst_trackedlevel::aReportOfARequestCarriesItsContext()
{
    level.request(1, 0.3f, guid(7));
    level.answered(1, true, now);
    QCOMPARE(report(0.3f), 7);
    QCOMPARE(report(0.3f), -1);
    QCOMPARE(report(0.5f), 0);
}

void tst_trackedlevel::aReportMayComeBeforeTheAnswer()
{
    level.request(1, 0.3f, guid(7));
    QCOMPARE(report(0.3f), 7);
    level.answered(1, true, now);
    QCOMPARE(report(0.5f), 0);
    QCOMPARE(report(0.3f), 0);
}

void tst_trackedlevel::severalRequestsKeepTheirContexts()
{
    level.request(1, 0.1f, guid(7));
    level.request(2, 0.2f, guid(8));
    level.request(3, 0.3f, guid(9));
    QCOMPARE(report(0.1f), 7);
    QCOMPARE(report(0.2f), 8);
    QCOMPARE(level.value(now), 0.3f);
    QCOMPARE(report(0.3f), 9);
}

void tst_trackedlevel::joinedReportsCarryTheLastContext()
{
    level.request(1, 0.1f, guid(7));
    level.request(2, 0.2f, guid(8));
    level.request(3, 0.3f, guid(9));
    QCOMPARE(report(0.3f), 9);
    QCOMPARE(report(0.1f), 0);
    QCOMPARE(report(0.2f), 0);
}

void tst_trackedlevel::equalRequestsAreMatchedInTheirOrder()
{
    level.request(1, 0.3f, guid(7));
    level.request(2, 0.4f, guid(8));
    level.request(3, 0.3f, guid(9));
    QCOMPARE(report(0.3f), 7);
    QCOMPARE(report(0.4f), 8);
    QCOMPARE(report(0.3f), 9);
}

void tst_trackedlevel::somebodyElseInBetweenIsToldApart()
{
    level.request(1, 0.1f, guid(7));
    level.request(2, 0.2f, guid(8));
    QCOMPARE(report(0.1f), 7);
    QCOMPARE(report(0.9f), 0);
    QCOMPARE(level.value(now), 0.2f);
    QCOMPARE(report(0.2f), 8);
}

// The server had taken ours and tells something else: ours was overruled.
void tst_trackedlevel::somebodyElseAfterwardsIsNotOurs()
{
    level.request(1, 0.1f, guid(7));
    level.answered(1, true, now);
    QCOMPARE(report(0.9f), 0);
    QCOMPARE(level.value(now), 0.9f);
    QCOMPARE(report(0.1f), 0);
}

void tst_trackedlevel::aStaleReportSaysNothing()
{
    level.request(1, 0.3f, guid(7));
    QCOMPARE(report(0.5f), -1);
    level.answered(1, true, now);
    QCOMPARE(report(0.5f), -1);
    QCOMPARE(level.value(now), 0.3f);
    QCOMPARE(report(0.3f), 7);
}

void tst_trackedlevel::thereAndBackLeavesNothingBehind()
{
    level.request(1, 0.3f, guid(7));
    level.request(2, 0.5f, guid(8));
    QCOMPARE(report(0.5f), -1); // asked for before the server took either
    QCOMPARE(report(0.3f), 7);
    QCOMPARE(report(0.5f), 8);

    level.request(3, 0.3f, guid(7));
    level.request(4, 0.5f, guid(8));
    level.answered(3, true, now);
    level.answered(4, true, now);
    QCOMPARE(report(0.5f), -1); // both joined
    QCOMPARE(report(0.3f), 0);
    QCOMPARE(report(0.5f), 0);
}

void tst_trackedlevel::aRequestWithoutEffectLeavesNothingBehind()
{
    level.request(1, 0.500001f, guid(7));
    level.answered(1, true, now);
    QCOMPARE(report(0.5f), -1);
    QCOMPARE(report(0.8f), 0);
    QCOMPARE(report(0.5f), 0);
}

void tst_trackedlevel::aRefusedRequestIsForgotten()
{
    level.request(1, 0.3f, guid(7));
    level.answered(1, false, now);
    QCOMPARE(level.value(now), 0.5f);
    QCOMPARE(report(0.3f), 0);
}

void tst_trackedlevel::aRequestThatNobodyFollowsIsForgottenInTime()
{
    level.request(1, 0.3f, guid(7));
    level.answered(1, true, now);
    now += TrackedLevel::patience - 1ms;
    QCOMPARE(level.value(now), 0.3f);
    now += 1ms;
    QCOMPARE(level.value(now), 0.5f);
    QCOMPARE(report(0.3f), 0);
}

void tst_trackedlevel::roundingIsNoChange()
{
    level.request(1, 0.33f, guid(7));
    QCOMPARE(report(21626.0f / 65536.0f), 7);
    QCOMPARE(level.value(now), 0.33f); // as asked for, to the last bit
    QCOMPARE(report(21627.0f / 65536.0f), -1);
    QCOMPARE(level.value(now), 0.33f);
}

void tst_trackedlevel::stepsOfTheHardwareAreStillOurs()
{
    level.request(1, 0.33f, guid(7));
    QCOMPARE(report(0.3281f), 7);
    QCOMPARE(level.value(now), 0.3281f);
    level.request(2, 0.6f, guid(8));
    QCOMPARE(report(0.61f), 0);
}

void tst_trackedlevel::resetForgetsEverything()
{
    level.request(1, 0.3f, guid(7));
    level.reset(0.9f);
    QCOMPARE(level.value(now), 0.9f);
    QCOMPARE(report(0.3f), 0);
}

QTEST_GUILESS_MAIN(tst_trackedlevel)
#include "tst_trackedlevel.moc"
