// Streams of real applications as sessions: where they are, what they tell, how they end.
#include "privateserver.h"
#include "sessionsinks.h"

#include <QtTest>

#include <memory>

namespace
{
const QString speakers = endpointIdOf("speakers", eRender);
const QString headset = endpointIdOf("headset", eRender);
const QString microphone = endpointIdOf("real_microphone", eCapture);
constexpr int patience = 30000; // ms

/// An application that plays silence or records until it is ended.
class Player
{
public:
    Player(const QString &program, const QStringList &arguments)
    {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardInputFile(QStringLiteral("/dev/zero"));
        process.start(program, arguments);
        process.waitForStarted(patience);
    }
    ~Player() { end(); }

    [[nodiscard]] qint64 id() const { return process.processId(); }
    void end()
    {
        process.kill();
        process.waitForFinished(patience);
    }

private:
    QProcess process;
};

std::unique_ptr<Player> pulsePlayer(const QString &sink)
{
    return std::make_unique<Player>("pacat",
                                    QStringList{"--playback", "--raw", "--device=" + sink});
}

std::unique_ptr<Player> pipewirePlayer(const QString &file)
{
    return std::make_unique<Player>("pw-play", QStringList{"--target=headset", file});
}

/// The server's number of the stream of a process.
QString streamOf(qint64 processId)
{
    const QStringList blocks = privateserver::pactl({"list", "sink-inputs"}).split("Sink Input #");
    for (const QString &block : blocks) {
        if (block.contains(QStringLiteral("application.process.id = \"%1\"").arg(processId)))
            return block.section('\n', 0, 0);
    }
    return {};
}
} // namespace

class tst_sessionstreams : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void threeApplicationsOnThreeEndpoints();
    void identifiersBeginWithTheEndpoint();
    void arrivalsAreAnnouncedOnce();
    void aMoveEndsOneSessionAndBeginsAnother();
    void endingIsExpiry();
    void aRemovedEndpointDisconnects();
    void volumeAndMuteOfASession();
    void aLostServerDisconnectsAll();

private:
    QTemporaryDir folder;
    QString tone;
};

void tst_sessionstreams::initTestCase()
{
    tone = folder.filePath("tone.wav");
    privateserver::run(QFileInfo(PRIVATE_SERVER).path() + "/make-tone.py",
                       {"440", "120", tone, "0.1"});
    QVERIFY(QFile::exists(tone));
}

void tst_sessionstreams::cleanup()
{
    QTRY_VERIFY_WITH_TIMEOUT(sessionsAt(speakers).empty() && sessionsAt(headset).empty(), patience);
}

void tst_sessionstreams::threeApplicationsOnThreeEndpoints()
{
    const auto pulse = pulsePlayer("speakers");
    const auto pipewire = pipewirePlayer(tone);
    Player recorder("parecord", {"--device=real_microphone", "--raw"});
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, pulse->id()), patience);
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(headset, pipewire->id()), patience);
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(microphone, recorder.id()), patience);
    QVERIFY(!sessionOf(headset, pulse->id()));
    QVERIFY(!sessionOf(speakers, pipewire->id()));

    const auto stateOfPlayer = [&] {
        return textsOf(sessionOf(headset, pipewire->id()).get()).state;
    };
    QTRY_COMPARE_WITH_TIMEOUT(stateOfPlayer(), AudioSessionStateActive, patience);
    const SessionTexts texts = textsOf(sessionOf(headset, pipewire->id()).get());
    QCOMPARE(texts.displayName, "pw-play");
    QCOMPARE(texts.isSystemSounds, S_FALSE);
}

void tst_sessionstreams::identifiersBeginWithTheEndpoint()
{
    const auto one = pulsePlayer("speakers");
    const auto other = pulsePlayer("speakers");
    QTRY_COMPARE_WITH_TIMEOUT(sessionsAt(speakers).size(), std::size_t{2}, patience);
    const SessionTexts first = textsOf(sessionOf(speakers, one->id()).get());
    const SessionTexts second = textsOf(sessionOf(speakers, other->id()).get());
    QVERIFY(first.identifier.startsWith(speakers));
    QVERIFY(first.instanceIdentifier.startsWith(speakers));
    QCOMPARE(first.identifier, second.identifier);
    QVERIFY(first.instanceIdentifier != second.instanceIdentifier);
}

void tst_sessionstreams::arrivalsAreAnnouncedOnce()
{
    const auto manager = sessionManagerOf(speakers);
    const auto elsewhere = sessionManagerOf(headset);
    const auto sink = makeSink<ArrivalSink>();
    const auto silent = makeSink<ArrivalSink>();
    QCOMPARE(manager->RegisterSessionNotification(sink.get()), S_OK);
    QCOMPARE(elsewhere->RegisterSessionNotification(silent.get()), S_OK);
    QList<DWORD> expected;
    {
        const auto first = pulsePlayer("speakers");
        expected.append(DWORD(first->id()));
        QTRY_COMPARE_WITH_TIMEOUT(sink->processes(), expected, patience);
        const auto second = pulsePlayer("speakers");
        expected.append(DWORD(second->id()));
        QTRY_COMPARE_WITH_TIMEOUT(sink->processes(), expected, patience);
    }
    QCOMPARE(manager->UnregisterSessionNotification(sink.get()), S_OK);
    const auto unheard = pulsePlayer("speakers");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, unheard->id()), patience);
    QCOMPARE(sink->processes(), expected);
    QCOMPARE(silent->processes(), QList<DWORD>());
}

void tst_sessionstreams::aMoveEndsOneSessionAndBeginsAnother()
{
    const auto player = pulsePlayer("speakers");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, player->id()), patience);
    const auto session = sessionOf(speakers, player->id());
    const auto sink = makeSink<SessionSink>();
    const auto arrival = makeSink<ArrivalSink>();
    const auto target = sessionManagerOf(headset);
    session->RegisterAudioSessionNotification(sink.get());
    target->RegisterSessionNotification(arrival.get());
    // The server forgets a move that comes while it is still linking the stream.
    const auto hasArrived = [&] {
        return arrival->processes() == QList<DWORD>{DWORD(player->id())};
    };
    bool isThere = false;
    for (int tries = 0; tries < 10 && !isThere; ++tries) {
        privateserver::pactl({"move-sink-input", streamOf(player->id()), "headset"});
        isThere = QTest::qWaitFor(hasArrived, patience / 10);
    }
    QVERIFY(isThere);
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().endsWith("state 2"), patience);
    QVERIFY(!sessionOf(speakers, player->id()));
    QVERIFY(textsOf(sessionOf(headset, player->id()).get()).identifier.startsWith(headset));
    // The one that is over still tells who it was.
    const SessionTexts over = textsOf(session.get());
    QCOMPARE(over.state, AudioSessionStateExpired);
    QCOMPARE(over.processId, DWORD(player->id()));
    QVERIFY(over.identifier.startsWith(speakers));
}

void tst_sessionstreams::endingIsExpiry()
{
    const auto player = pulsePlayer("speakers");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, player->id()), patience);
    const auto session = sessionOf(speakers, player->id());
    const auto sink = makeSink<SessionSink>();
    session->RegisterAudioSessionNotification(sink.get());
    player->end();
    QTRY_COMPARE_WITH_TIMEOUT(sink->events().filter("state 2").size(), 1, patience);
    QCOMPARE(textsOf(session.get()).state, AudioSessionStateExpired);
    QCOMPARE(sink->events().filter("disconnected"), QStringList());
}

void tst_sessionstreams::aRemovedEndpointDisconnects()
{
    const QString module = privateserver::loadSink("extra", "Extra");
    const QString extra = endpointIdOf("extra", eRender);
    QTRY_COMPARE_WITH_TIMEOUT(stateOf(extra), DEVICE_STATE_ACTIVE, patience);
    const auto player = pulsePlayer("extra");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(extra, player->id()), patience);
    const auto session = sessionOf(extra, player->id());
    const auto sink = makeSink<SessionSink>();
    session->RegisterAudioSessionNotification(sink.get());
    privateserver::unload(module);
    // Whether its streams or the sink itself go first is the server's to decide.
    const auto isOver = [&] {
        return sink->events().contains("disconnected 0") || sink->events().contains("state 2");
    };
    QTRY_VERIFY_WITH_TIMEOUT(isOver(), patience);
    QVERIFY(sessionsAt(extra).empty());
    // The server plays it elsewhere.
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, player->id()) || sessionOf(headset, player->id()),
                             patience);
}

void tst_sessionstreams::volumeAndMuteOfASession()
{
    const auto player = pulsePlayer("speakers");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, player->id()), patience);
    const auto session = sessionOf(speakers, player->id());
    ComPtr<ISimpleAudioVolume> volume;
    QCOMPARE(session->QueryInterface(IID_ISimpleAudioVolume, volume.receiveVoid()), S_OK);
    const auto sink = makeSink<SessionSink>();
    session->RegisterAudioSessionNotification(sink.get());
    const GUID context{77, 0, 0, {}};
    QCOMPARE(volume->SetMasterVolume(0.5f, &context), S_OK);
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().contains("volume 50 open 77"), patience);
    QCOMPARE(volume->SetMute(TRUE, &context), S_OK);
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().contains("volume 50 muted 77"), patience);
    BOOL muted = FALSE;
    QCOMPARE(volume->GetMute(&muted), S_OK);
    QCOMPARE(muted, TRUE);
    QCOMPARE(volume->SetMasterVolume(1.5f, &context), E_INVALIDARG);
    privateserver::pactl({"set-sink-input-mute", streamOf(player->id()), "0"});
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().contains("volume 50 open 0"), patience);
    privateserver::pactl({"set-sink-input-volume", streamOf(player->id()), "100%"});
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().contains("volume 100 open 0"), patience);
    player->end();
    QTRY_COMPARE_WITH_TIMEOUT(volume->SetMute(TRUE, &context), AUDCLNT_E_DEVICE_INVALIDATED,
                              patience);
}

void tst_sessionstreams::aLostServerDisconnectsAll()
{
    const auto player = pulsePlayer("speakers");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, player->id()), patience);
    const auto session = sessionOf(speakers, player->id());
    const auto sink = makeSink<SessionSink>();
    session->RegisterAudioSessionNotification(sink.get());
    privateserver::kill();
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().contains("disconnected 1"), patience);
    QVERIFY(privateserver::start());
    QTRY_COMPARE_WITH_TIMEOUT(stateOf(speakers), DEVICE_STATE_ACTIVE, patience);
    const auto again = pulsePlayer("speakers");
    QTRY_VERIFY_WITH_TIMEOUT(sessionOf(speakers, again->id()), patience);
}

QTEST_GUILESS_MAIN(tst_sessionstreams)
#include "tst_sessionstreams.moc"
