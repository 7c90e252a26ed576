// Volume and mute on a real server, in both directions, and whose change it was.
#include "endpointsinks.h"
#include "privateserver.h"

#include <QRegularExpression>
#include <QtTest>

#include <cmath>

class tst_endpointlevels : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void percentagesAreTheServers_data();
    void percentagesAreTheServers();
    void aVolumeFromOutside();
    void aVolumeOfOurs();
    void aMuteFromOutside();
    void aMuteOfOurs();
    void aVolumeWithoutAContext();
    void levelsOfACaptureEndpoint();
    void theBalanceIsKept();
    void allChannelsAreTold();
    void severalChangesOfOurs();
    void somebodyElseInBetween();
    void aChangeWithoutADifference();
    void somebodyElseWinsTheRace();
    void twoSinksOfOneEndpoint();
    void sinksHearTheirEndpointOnly();
    void registrationsOfAnObjectEndWithIt();
    void levelsThatCannotBe();
    void anEndpointThatIsGone();

private:
    static GUID guid(quint32 number) { return {number, 1, 2, {3}}; }
    static QString percentOf(const QString &what, const QString &name);
    float level() const;

    const QString speakers = endpointIdOf("speakers", eRender);
    ComPtr<IAudioEndpointVolume> volume;
    ComPtr<LevelSink> sink;
};

// "30% 30%": what a mixer shows for the channels.
QString tst_endpointlevels::percentOf(const QString &what, const QString &name)
{
    const QString text = privateserver::pactl({"get-" + what + "-volume", name});
    static const QRegularExpression percent("(\\d+)%");
    QStringList found;
    for (auto match = percent.globalMatch(text); match.hasNext();)
        found += match.next().captured();
    return found.join(' ');
}

float tst_endpointlevels::level() const
{
    float result = -1;
    volume->GetMasterVolumeLevelScalar(&result);
    return result;
}

void tst_endpointlevels::init()
{
    privateserver::pactl({"set-sink-volume", "speakers", "50%"});
    privateserver::pactl({"set-sink-mute", "speakers", "0"});
    volume = volumeOf(speakers);
    QVERIFY(volume);
    BOOL muted = TRUE;
    QTRY_VERIFY(std::fabs(level() - 0.5f) < 0.0001f);
    QTRY_VERIFY(volume->GetMute(&muted) == S_OK && !muted);
    sink = makeSink<LevelSink>();
    QCOMPARE(volume->RegisterControlChangeNotify(sink.get()), S_OK);
}

void tst_endpointlevels::cleanup()
{
    QCOMPARE(volume->UnregisterControlChangeNotify(sink.get()), S_OK);
    sink.reset();
    volume.reset();
    QCOMPARE(posix::liveComObjects(), std::size_t(0));
}

void tst_endpointlevels::percentagesAreTheServers_data()
{
    QTest::addColumn<QString>("shown");
    QTest::addColumn<float>("scalar");
    QTest::newRow("0") << "0%" << 0.0f;
    QTest::newRow("1") << "1%" << 0.01f;
    QTest::newRow("33") << "33%" << 0.33f;
    QTest::newRow("51") << "51%" << 0.51f;
    QTest::newRow("100") << "100%" << 1.0f;
    QTest::newRow("150 is told as 100") << "150%" << 1.0f;
}

void tst_endpointlevels::percentagesAreTheServers()
{
    QFETCH(QString, shown);
    QFETCH(float, scalar);
    privateserver::pactl({"set-sink-volume", "speakers", shown});
    QTRY_VERIFY(std::fabs(level() - scalar) < 0.0001f);
    QTRY_COMPARE(sink->events(), QStringList(QString("%1 open 0").arg(qRound(scalar * 100))));
}

void tst_endpointlevels::aVolumeFromOutside()
{
    privateserver::pactl({"set-sink-volume", "speakers", "30%"});
    QTRY_COMPARE(sink->events(), QStringList("30 open 0"));
    QVERIFY(std::fabs(level() - 0.3f) < 0.0001f);
}

void tst_endpointlevels::aVolumeOfOurs()
{
    const GUID context = guid(7);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.3f, &context), S_OK);
    QCOMPARE(level(), 0.3f); // at once
    QTRY_COMPARE(sink->events(), QStringList("30 open 7"));
    QCOMPARE(level(), 0.3f); // to the last bit, whatever the server made of it
    QCOMPARE(percentOf("sink", "speakers"), QString("30% 30%"));
}

void tst_endpointlevels::aMuteFromOutside()
{
    privateserver::pactl({"set-sink-mute", "speakers", "1"});
    QTRY_COMPARE(sink->events(), QStringList("50 muted 0"));
    BOOL muted = FALSE;
    QCOMPARE(volume->GetMute(&muted), S_OK);
    QVERIFY(muted);
}

void tst_endpointlevels::aMuteOfOurs()
{
    const GUID context = guid(7);
    QCOMPARE(volume->SetMute(TRUE, &context), S_OK);
    BOOL muted = FALSE;
    volume->GetMute(&muted);
    QVERIFY(muted);
    QTRY_COMPARE(sink->events(), QStringList("50 muted 7"));
    QCOMPARE(privateserver::pactl({"get-sink-mute", "speakers"}), QString("Mute: yes"));
    QCOMPARE(volume->SetMute(TRUE, &context), S_FALSE);
    QCOMPARE(volume->SetMute(FALSE, nullptr), S_OK);
    QTRY_COMPARE(sink->events(), QStringList({"50 muted 7", "50 open 0"}));
}

void tst_endpointlevels::aVolumeWithoutAContext()
{
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.3f, nullptr), S_OK);
    QTRY_COMPARE(sink->events(), QStringList("30 open 0"));
}

void tst_endpointlevels::levelsOfACaptureEndpoint()
{
    const ComPtr<IAudioEndpointVolume> microphone =
        volumeOf(endpointIdOf("real_microphone", eCapture));
    QVERIFY(microphone);
    const ComPtr<LevelSink> heard = makeSink<LevelSink>();
    microphone->RegisterControlChangeNotify(heard.get());
    const GUID context = guid(7);
    QCOMPARE(microphone->SetMasterVolumeLevelScalar(0.25f, &context), S_OK);
    QTRY_COMPARE(heard->events(), QStringList("25 open 7"));
    QCOMPARE(percentOf("source", "real_microphone"), QString("25% 25%"));
    privateserver::pactl({"set-source-mute", "real_microphone", "1"});
    QTRY_COMPARE(heard->events(), QStringList({"25 open 7", "25 muted 0"}));
    QCOMPARE(microphone->SetMute(FALSE, &context), S_OK);
    QTRY_COMPARE(heard->events().value(2), QString("25 open 7"));
    QCOMPARE(sink->events(), QStringList());
    QCOMPARE(microphone->UnregisterControlChangeNotify(heard.get()), S_OK);
}

void tst_endpointlevels::theBalanceIsKept()
{
    privateserver::pactl({"set-sink-volume", "speakers", "20%", "40%"});
    QTRY_COMPARE(sink->events(), QStringList("40 open 0"));
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.8f, nullptr), S_OK);
    QTRY_COMPARE(percentOf("sink", "speakers"), QString("40% 80%"));
    QTRY_COMPARE(sink->events().size(), 2);
}

void tst_endpointlevels::allChannelsAreTold()
{
    privateserver::pactl({"set-sink-volume", "speakers", "20%", "40%"});
    QTRY_COMPARE(sink->events().size(), 1);
    QCOMPARE(sink->channelCount(), 2u);
}

void tst_endpointlevels::severalChangesOfOurs()
{
    for (quint32 number = 1; number <= 40; ++number) {
        const GUID context = guid(number);
        QCOMPARE(volume->SetMasterVolumeLevelScalar(float(number) / 100.0f, &context), S_OK);
        QCOMPARE(level(), float(number) / 100.0f);
    }
    QTRY_VERIFY(sink->events().contains("40 open 40"));
    // The server may join changes; what it tells has the context of just that value.
    for (const QString &event : sink->events()) {
        const QStringList words = event.split(' ');
        QCOMPARE(words[0], words[2]);
    }
    privateserver::pactl({"set-sink-volume", "speakers", "10%"});
    QTRY_COMPARE(sink->events().last(), QString("10 open 0"));
}

void tst_endpointlevels::somebodyElseInBetween()
{
    for (quint32 round = 1; round <= 5; ++round) {
        sink->clear();
        const GUID context = guid(round);
        // Another level each time: the server may join both changes, and then there must be one.
        const quint32 percent = 20 + round;
        const QString ours = QString("%1 open ").arg(percent);
        privateserver::pactl({"set-sink-volume", "speakers", "80%"});
        QCOMPARE(volume->SetMasterVolumeLevelScalar(float(percent) / 100.0f, &context), S_OK);
        QTRY_VERIFY(sink->events().contains(ours + QString::number(round)));
        for (const QString &event : sink->events())
            QVERIFY2(event == "80 open 0" || event.startsWith(ours), qPrintable(event));
    }
}

void tst_endpointlevels::aChangeWithoutADifference()
{
    const GUID context = guid(7);
    const float just_above = std::nextafter(level(), 1.0f);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(just_above, &context), S_OK);
    QCOMPARE(volume->SetMute(FALSE, &context), S_FALSE);
    privateserver::pactl({"set-sink-mute", "speakers", "1"});
    privateserver::pactl({"set-sink-volume", "speakers", "60%"});
    privateserver::pactl({"set-sink-volume", "speakers", "50%"});
    privateserver::pactl({"set-sink-mute", "speakers", "0"});
    QTRY_COMPARE(sink->events(),
                 QStringList({"50 muted 0", "60 muted 0", "50 muted 0", "50 open 0"}));
}

// Whoever comes last, what is read in the end is what the server has.
void tst_endpointlevels::somebodyElseWinsTheRace()
{
    const GUID context = guid(7);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.2f, &context), S_OK);
    privateserver::pactl({"set-sink-volume", "speakers", "80%"});
    QTRY_VERIFY(std::fabs(level() - 0.8f) < 0.0001f);
    QTRY_COMPARE(sink->events().last(), QString("80 open 0"));
}

void tst_endpointlevels::twoSinksOfOneEndpoint()
{
    const ComPtr<IAudioEndpointVolume> again = volumeOf(speakers);
    const ComPtr<LevelSink> other = makeSink<LevelSink>();
    QCOMPARE(again->RegisterControlChangeNotify(other.get()), S_OK);
    const GUID context = guid(7);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.3f, &context), S_OK);
    QTRY_COMPARE(sink->events(), QStringList("30 open 7"));
    QTRY_COMPARE(other->events(), QStringList("30 open 7"));
    QCOMPARE(again->UnregisterControlChangeNotify(other.get()), S_OK);
}

void tst_endpointlevels::sinksHearTheirEndpointOnly()
{
    privateserver::pactl({"set-sink-volume", "headset", "10%"});
    privateserver::pactl({"set-sink-volume", "speakers", "10%"});
    QTRY_COMPARE(sink->events(), QStringList("10 open 0"));
}

void tst_endpointlevels::registrationsOfAnObjectEndWithIt()
{
    const ComPtr<LevelSink> other = makeSink<LevelSink>();
    volumeOf(speakers)->RegisterControlChangeNotify(other.get());
    privateserver::pactl({"set-sink-volume", "speakers", "10%"});
    QTRY_COMPARE(sink->events(), QStringList("10 open 0"));
    QCOMPARE(other->events(), QStringList());
    QCOMPARE(volume->UnregisterControlChangeNotify(other.get()), E_NOTFOUND);
    QCOMPARE(volume->RegisterControlChangeNotify(nullptr), E_POINTER);
}

void tst_endpointlevels::levelsThatCannotBe()
{
    QCOMPARE(volume->SetMasterVolumeLevelScalar(-0.01f, nullptr), E_INVALIDARG);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(1.01f, nullptr), E_INVALIDARG);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(std::nanf(""), nullptr), E_INVALIDARG);
    QCOMPARE(volume->GetMasterVolumeLevelScalar(nullptr), E_POINTER);
    QCOMPARE(volume->GetMute(nullptr), E_POINTER);
    QVERIFY(std::fabs(level() - 0.5f) < 0.0001f);
}

void tst_endpointlevels::anEndpointThatIsGone()
{
    const QString id = endpointIdOf("extra", eRender);
    const QString module = privateserver::loadSink("extra", "Extra");
    QTRY_COMPARE(stateOf(id), DEVICE_STATE_ACTIVE);
    const ComPtr<IAudioEndpointVolume> extra = volumeOf(id);
    privateserver::unload(module);
    QTRY_VERIFY(!deviceOf(id));
    float scalar = 0;
    BOOL muted = FALSE;
    QCOMPARE(extra->GetMasterVolumeLevelScalar(&scalar), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(extra->SetMasterVolumeLevelScalar(0.5f, nullptr), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(extra->GetMute(&muted), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(extra->SetMute(TRUE, nullptr), AUDCLNT_E_DEVICE_INVALIDATED);
}

QTEST_GUILESS_MAIN(tst_endpointlevels)
#include "tst_endpointlevels.moc"
