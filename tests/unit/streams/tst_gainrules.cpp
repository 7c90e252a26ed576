#include "streams/gainrules.h"

#include <QTest>

#include <climits>

class TestGainRules : public QObject
{
    Q_OBJECT

private slots:
    void mixFactorFollowsTheProportion_data()
    {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<int>("proportion");
        QTest::addColumn<double>("factor");

        QTest::newRow("off") << false << -50 << 1.0;
        QTest::newRow("off at the end") << false << -100 << 1.0;
        QTest::newRow("silent") << true << -100 << 0.0;
        QTest::newRow("half") << true << -50 << 0.5;
        QTest::newRow("even") << true << 0 << 1.0;
        QTest::newRow("double") << true << 100 << 2.0;
        QTest::newRow("beyond") << true << 250 << 3.5;
        QTest::newRow("below") << true << -300 << -2.0;
        // Single precision, widened: not the double 0.7.
        QTest::newRow("single precision") << true << -30 << double(70.0f / 100.0f);
        QTest::newRow("largest") << true << INT_MAX << double(float(2147483747.0) / 100.0f);
        QTest::newRow("smallest") << true << INT_MIN << double(float(-2147483548.0) / 100.0f);
    }
    void mixFactorFollowsTheProportion()
    {
        QFETCH(bool, enabled);
        QFETCH(int, proportion);
        QFETCH(double, factor);
        QVERIFY(mixFactor(enabled, proportion) == factor);
    }

    void theFactorIsNotADouble() { QVERIFY(mixFactor(true, -30) != 0.7); }

    void aMutedOutputIsSilent_data()
    {
        QTest::addColumn<bool>("muted");
        QTest::addColumn<double>("volume");
        QTest::addColumn<float>("gain");

        QTest::newRow("muted") << true << 0.7 << 0.0f;
        QTest::newRow("not muted") << false << 0.7 << 0.7f;
        QTest::newRow("above full scale") << false << 1.5 << 1.5f;
        QTest::newRow("below zero") << false << -0.5 << -0.5f;
    }
    void aMutedOutputIsSilent()
    {
        QFETCH(bool, muted);
        QFETCH(double, volume);
        QFETCH(float, gain);
        QVERIFY(outputGain(muted, volume) == gain);
    }

    void theStreamSpeakerActsOnItsEndpointAlone_data()
    {
        QTest::addColumn<bool>("onStreamEndpoint");
        QTest::addColumn<bool>("muted");
        QTest::addColumn<bool>("speakerMuted");
        QTest::addColumn<float>("gain");

        QTest::newRow("stream endpoint") << true << false << false << 0.125f;
        QTest::newRow("stream endpoint, muted") << true << true << false << 0.0f;
        QTest::newRow("stream endpoint, speaker muted") << true << false << true << 0.0f;
        QTest::newRow("stream endpoint, both muted") << true << true << true << 0.0f;
        QTest::newRow("other endpoint") << false << false << false << 0.5f;
        QTest::newRow("other endpoint, muted") << false << true << false << 0.0f;
        QTest::newRow("other endpoint, speaker muted") << false << false << true << 0.5f;
        QTest::newRow("other endpoint, both muted") << false << true << true << 0.0f;
    }
    void theStreamSpeakerActsOnItsEndpointAlone()
    {
        QFETCH(bool, onStreamEndpoint);
        QFETCH(bool, muted);
        QFETCH(bool, speakerMuted);
        QFETCH(float, gain);
        const StreamingLevel level{
            .muted = muted, .volume = 0.5, .speakerMuted = speakerMuted, .speakerVolume = 0.25};
        QVERIFY(streamingGain(level, onStreamEndpoint) == gain);
    }
};

QTEST_APPLESS_MAIN(TestGainRules)
#include "tst_gainrules.moc"
