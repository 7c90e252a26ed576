// A player's whole life with each call of the platform failing in turn: nothing is left behind.
#include "tests/unit/engines/playerfixture.h"

using namespace playerfixture;

namespace
{

constexpr DWORD refused = 0x88890004;
constexpr int bound = 30000; // ms

} // namespace

class TestPlayerFaults : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void everyCallFailing_data();
    void everyCallFailing();
    void quitEventThatCannotBeSet();
    void eventsThatCannotBeClosed();

private:
    /// Opens, plays, reopens elsewhere, plays, closes and destroys a player.
    void useEverything();
    /// Turns the clock once, and waits until the thread has answered and waits again, or has ended.
    void turn(simulated::RenderStream stream, const LogCapture &log, qsizetype opened) const;

    QString first;
    QString second;
};

void TestPlayerFaults::init()
{
    simulated::reset();
    first = simulated::addEndpoint({.name = "Speakers", .id = "{0.0.0.00000000}.{a}"});
    second = simulated::addEndpoint({.name = "Headset", .id = "{0.0.0.00000000}.{b}"});
}

void TestPlayerFaults::turn(simulated::RenderStream stream, const LogCapture &log,
                            qsizetype opened) const
{
    const QString release = "IAudioRenderClient::ReleaseBuffer";
    const QString wait = "WaitForMultipleObjects";
    const qsizetype releases = simulated::countCalls(release);
    const qsizetype waits = simulated::countCalls(wait);
    stream.signalEvent();
    QVERIFY(QTest::qWaitFor(
        [&] {
            const bool hasAnswered =
                simulated::countCalls(release) > releases && simulated::countCalls(wait) > waits;
            return hasAnswered || log.lines().filter("play audio - end").size() == opened;
        },
        bound));
}

void TestPlayerFaults::useEverything()
{
    const LogCapture log;
    qsizetype opened = 0;
    auto player = makePlayer();
    for (const QString &id : {first, second}) {
        const qsizetype waits = simulated::countCalls("WaitForMultipleObjects");
        player->openDevice(id, "Name");
        const auto stream = simulated::renderStreams(id).value(0);
        if (!stream)
            continue;
        ++opened;
        QVERIFY(simulated::waitForCalls("WaitForMultipleObjects", waits + 1, bound)); // it listens
        player->play(pattern(1920), 48000, 2);
        turn(stream, log, opened); // the whole buffer is free
        turn(stream, log, opened); // and now what the block left of it
    }
    player->closeDevice();
    player.reset();
}

void TestPlayerFaults::everyCallFailing_data()
{
    init();
    useEverything();
    QStringList calls = simulated::calls();
    calls.removeDuplicates();

    QTest::addColumn<QString>("call");
    for (const QString &call : std::as_const(calls)) {
        // Those that return nothing cannot fail; the two that end what is open have tests of
        // their own.
        const bool fails = !call.startsWith("release ") && call != "CoUninitialize" &&
                           call != "CoTaskMemFree" && !call.startsWith("requestRealtimeScheduling");
        if (fails && !call.startsWith("SetEvent") && !call.startsWith("CloseHandle"))
            QTest::newRow(qPrintable(call)) << call;
    }
}

void TestPlayerFaults::everyCallFailing()
{
    QFETCH(QString, call);
    simulated::failAlways(call, refused);
    useEverything();
    QVERIFY(simulated::countCalls(call) > 0);
    QCOMPARE(simulated::leakReport(), QString());

    // The first such call alone.
    init();
    simulated::failNext(call, refused);
    useEverything();
    QCOMPARE(simulated::leakReport(), QString());
    QCOMPARE(simulated::countCalls("CoInitializeEx"), simulated::countCalls("CoUninitialize"));
}

void TestPlayerFaults::quitEventThatCannotBeSet()
{
    auto player = makePlayer();
    auto stream = openPlaying(*player, first);
    QVERIFY(stream);
    simulated::failNext("SetEvent", ERROR_INVALID_HANDLE);
    // Comes back after its bounded wait; the thread keeps what it may still touch.
    player->closeDevice();
    QCOMPARE(player->deviceID(), QString());
    player.reset();
    QVERIFY(simulated::liveObjects() > 0);

    stream.signalEvent();
    QVERIFY(QTest::qWaitFor([] { return simulated::liveObjects() == 0; }, bound));
}

void TestPlayerFaults::eventsThatCannotBeClosed()
{
    const LogCapture log;
    const auto player = makePlayer();
    simulated::failAlways("CloseHandle", ERROR_INVALID_HANDLE);
    QVERIFY(openPlaying(*player, first));
    player->closeDevice();
    auto stream = openPlaying(*player, second);
    QVERIFY(stream);
    player->play(pattern(400), 48000, 2);
    stream.turn(0);
    QCOMPARE(soundOf(stream), pattern(400));
    player->closeDevice();
    QCOMPARE(simulated::countCalls("CloseHandle"), 4); // each once, since the second open
    QCOMPARE(log.linesOf("Critical"), QStringList());
}

QTEST_GUILESS_MAIN(TestPlayerFaults)
#include "tst_playerfaults.moc"
