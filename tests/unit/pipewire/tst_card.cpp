// The card's endpoints on a server: shown and hidden, what applications play into them, idleness.
#include "openfile.h"
#include "platform/pipewire/card.h"
#include "platform/pipewire/speakerrings.h"
#include "servertools.h"
#include "streamfixture.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <cmath>
#include <thread>

namespace
{
constexpr int listTimeout = 5000;

const card::CardEndpoint &endpointOf(tavoriDeviceType type, EDataFlow flow = eRender)
{
    const Channel &channel = *channelOfType(type);
    return *card::endpointOfNodeName(flow == eRender ? channel.renderSuffix
                                                     : channel.captureSuffix);
}

bool isListed(const card::CardEndpoint &endpoint)
{
    return endpoint.flow == eRender ? servertools::hasSink(endpoint.nodeName)
                                    : servertools::hasSource(endpoint.nodeName);
}

/// The largest sample within so many bytes of sound; 0 if it does not come in time.
int peakRead(const OpenFile &file, qsizetype bytes)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray sound;
    while (sound.size() < bytes && timer.elapsed() < 10'000)
        sound += file.read();
    const auto *samples = reinterpret_cast<const qint16 *>(sound.constData());
    int peak = 0;
    for (qsizetype i = 0; i < sound.size() / 2; ++i)
        peak = std::max(peak, std::abs(int(samples[i])));
    return peak;
}
} // namespace

class TestCard : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        for (const card::CardEndpoint &endpoint : card::endpoints())
            card::setShown(endpoint.id, false);
    }

    void startsHidden()
    {
        for (const card::CardEndpoint &endpoint : card::endpoints()) {
            QVERIFY(!card::isShown(endpoint.id));
            QVERIFY(!isListed(endpoint));
        }
    }

    void showsAndHides_data()
    {
        QTest::addColumn<QString>("nodeName");
        for (const card::CardEndpoint &endpoint : card::endpoints())
            QTest::newRow(qPrintable(endpoint.nodeName)) << endpoint.nodeName;
    }
    void showsAndHides()
    {
        QFETCH(QString, nodeName);
        const card::CardEndpoint &endpoint = *card::endpointOfNodeName(nodeName);
        QCOMPARE(card::setShown(endpoint.id, true), S_OK);
        QVERIFY(card::isShown(endpoint.id));
        QTRY_VERIFY_WITH_TIMEOUT(isListed(endpoint), listTimeout);
        const char *kind = endpoint.flow == eRender ? "sinks" : "sources";
        QVERIFY(servertools::run("pactl", {"list", kind})
                    .contains("Description: " + endpoint.description.toUtf8()));
        // Once more changes nothing.
        QCOMPARE(card::setShown(endpoint.id, true), S_OK);

        QCOMPARE(card::setShown(endpoint.id, false), S_OK);
        QVERIFY(!card::isShown(endpoint.id));
        QTRY_VERIFY_WITH_TIMEOUT(!isListed(endpoint), listTimeout);
        QCOMPARE(card::setShown(endpoint.id, false), S_OK);
    }

    void neverBecomesTheDefaultByItself()
    {
        QCOMPARE(card::setShown(endpointOf(tavoriGame).id, true), S_OK);
        QTRY_VERIFY_WITH_TIMEOUT(isListed(endpointOf(tavoriGame)), listTimeout);
        QCOMPARE(servertools::run("pactl", {"get-default-sink"}).trimmed(), "speakers");
    }

    void soundArrivesAtFullScale_data()
    {
        QTest::addColumn<QString>("player");
        QTest::addColumn<QString>("volume");
        QTest::addColumn<bool>("isMuted");
        for (const char *player : {"pw-play", "paplay"}) {
            QTest::addRow("%s", player) << player << "100%" << false;
            QTest::addRow("%s at 20 percent", player) << player << "20%" << false;
            QTest::addRow("%s muted", player) << player << "100%" << true;
        }
    }
    void soundArrivesAtFullScale()
    {
        QFETCH(QString, player);
        QFETCH(QString, volume);
        QFETCH(bool, isMuted);
        const card::CardEndpoint &game = endpointOf(tavoriGame);
        QCOMPARE(card::setShown(game.id, true), S_OK);
        QTRY_VERIFY_WITH_TIMEOUT(isListed(game), listTimeout);
        QVERIFY(servertools::succeeds("pactl", {"set-sink-volume", game.nodeName, volume}));
        QVERIFY(
            servertools::succeeds("pactl", {"set-sink-mute", game.nodeName, isMuted ? "1" : "0"}));

        const OpenFile file(tavoriGame);
        const QString device = player == "paplay" ? "--device=" : "--target=";
        const servertools::Application application(
            player, {device + game.nodeName, servertools::toneFile(servertools::tonePeak)});
        const int peak = peakRead(file, 4 * 24000);
        QVERIFY2(std::abs(peak - servertools::tonePeak) <= 300, qPrintable(QString::number(peak)));
    }

    void eachSpeakerHasItsOwnSound()
    {
        QCOMPARE(card::setShown(endpointOf(tavoriGame).id, true), S_OK);
        QCOMPARE(card::setShown(endpointOf(tavoriChat).id, true), S_OK);
        const OpenFile game(tavoriGame);
        const OpenFile chat(tavoriChat);
        const servertools::Application application(
            "pw-play",
            {"--target=" + endpointOf(tavoriChat).nodeName, servertools::toneFile(9000)});
        // A starved application may begin with silence.
        QTRY_VERIFY(peakRead(chat, 4 * 4800) > 8000);
        QCOMPARE(game.read().size(), 0);
    }

    // An open player puts the speaker under another clock while the application starts.
    void aRoutedSpeakerSoundsEachTime()
    {
        const card::CardEndpoint &game = endpointOf(tavoriGame);
        QCOMPARE(card::setShown(game.id, true), S_OK);
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, [](BYTE *, UINT32) { return AUDCLNT_BUFFERFLAGS_SILENT; });
        for (int i = 0; i < 5; ++i) {
            const OpenFile file(tavoriGame);
            const servertools::Application application(
                "pw-play",
                {"--target=" + game.nodeName, servertools::toneFile(servertools::tonePeak)});
            // A second: the player begins with silence, longer on a busy machine.
            QVERIFY(peakRead(file, 4 * 48000) > 0);
        }
    }

    // A program that was killed leaves its nodes for a moment, under the names of ours.
    void aPredecessorsNodeIsOutlasted()
    {
        const card::CardEndpoint &game = endpointOf(tavoriGame);
        const QByteArray module = servertools::run(
            "pactl", {"load-module", "module-null-sink", "sink_name=" + game.nodeName});
        QTRY_VERIFY_WITH_TIMEOUT(isListed(game), listTimeout);
        HRESULT result = E_FAIL;
        std::atomic<bool> isDone = false;
        std::thread shower([&] {
            result = card::setShown(game.id, true);
            isDone = true;
        });
        const bool isEarly = QTest::qWaitFor([&] { return isDone.load(); }, 300);
        const bool isUnloaded = servertools::succeeds("pactl", {"unload-module", module.trimmed()});
        shower.join();
        QVERIFY(isUnloaded);
        QVERIFY(!isEarly);
        QCOMPARE(result, S_OK);
        // What reads the speaker has not gone with the other node.
        const OpenFile file(tavoriGame);
        const servertools::Application application(
            "pw-play", {"--target=" + game.nodeName, servertools::toneFile(servertools::tonePeak)});
        QVERIFY(peakRead(file, 4 * 48000) > 0);
    }

    void aSilentApplicationLeavesTheSpeakerIdle()
    {
        const card::CardEndpoint &game = endpointOf(tavoriGame);
        QCOMPARE(card::setShown(game.id, true), S_OK);
        const FrameRing &ring = *speakerRing(game.channel->fileSuffix);
        const uint64_t atFirst = ring.end();
        QTest::qWait(500);
        QCOMPARE(ring.end(), atFirst);

        servertools::Application application(
            "pw-play", {"--target=" + game.nodeName, servertools::toneFile(servertools::tonePeak)});
        QTRY_VERIFY_WITH_TIMEOUT(ring.end() > atFirst + 4800, listTimeout);
        application.end();
        // Nothing arrives any more, soon after the application has gone.
        uint64_t last = 0;
        QTRY_VERIFY_WITH_TIMEOUT(std::exchange(last, ring.end()) == ring.end(), listTimeout);
        QTest::qWait(500);
        QCOMPARE(ring.end(), last);
    }

    void aLineCarriesItsRenderSide_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("Microphone") << int(tavoriChatCapture);
        QTest::newRow("Stream") << int(tavoriStream);
    }
    void aLineCarriesItsRenderSide()
    {
        QFETCH(int, type);
        const card::CardEndpoint &render = endpointOf(tavoriDeviceType(type));
        const card::CardEndpoint &capture = endpointOf(tavoriDeviceType(type), eCapture);
        QCOMPARE(card::setShown(capture.id, true), S_OK);
        QCOMPARE(card::setShown(render.id, true), S_OK);
        QTRY_VERIFY_WITH_TIMEOUT(isListed(capture) && isListed(render), listTimeout);
        // The level of the render side must not scale what goes to the line.
        QVERIFY(servertools::succeeds("pactl", {"set-sink-volume", render.nodeName, "20%"}));
        const servertools::Application application(
            "pw-play",
            {"--target=" + render.nodeName, servertools::toneFile(servertools::tonePeak)});
        const int full = servertools::peakOfSource(capture.nodeName, 1.5);
        QVERIFY2(std::abs(full - servertools::tonePeak) <= 300, qPrintable(QString::number(full)));
        // The line's own mute is the server's to apply.
        QVERIFY(servertools::succeeds("pactl", {"set-source-mute", capture.nodeName, "1"}));
        QCOMPARE(servertools::peakOfSource(capture.nodeName, 1), 0);
        QVERIFY(servertools::succeeds("pactl", {"set-source-mute", capture.nodeName, "0"}));
    }
};

QTEST_GUILESS_MAIN(TestCard)
#include "tst_card.moc"
