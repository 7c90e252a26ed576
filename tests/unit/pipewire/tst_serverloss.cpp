// The server comes late, is stopped or killed while sound runs, and comes back.
#include "openfile.h"
#include "platform/pipewire/card.h"
#include "servertools.h"
#include "streamfixture.h"

#include <QElapsedTimer>
#include <QTest>

namespace
{
constexpr int comeBackTimeout = 15'000;

const card::CardEndpoint &speakerOf(tavoriDeviceType type)
{
    return *card::endpointOfNodeName(channelOfType(type)->renderSuffix);
}

/// Reads until there is sound, as long as it may take a server to come back.
bool hears(const OpenFile &file)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < comeBackTimeout) {
        const QByteArray bytes = file.read();
        if (bytes.count('\0') < bytes.size())
            return true;
    }
    return false;
}

DWORD fillZeros(BYTE *, UINT32)
{
    return AUDCLNT_BUFFERFLAGS_SILENT;
}
} // namespace

class TestServerLoss : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        for (const card::CardEndpoint &endpoint : card::endpoints())
            card::setShown(endpoint.id, false);
    }

    void theCardAndItsSoundComeBack_data()
    {
        QTest::addColumn<bool>("isKilled");
        QTest::newRow("stopped") << false;
        QTest::newRow("killed") << true;
        QTest::newRow("stopped again") << false;
    }
    void theCardAndItsSoundComeBack()
    {
        QFETCH(bool, isKilled);
        const card::CardEndpoint &game = speakerOf(tavoriGame);
        const card::CardEndpoint &chat = speakerOf(tavoriChat);
        const QString tone = servertools::toneFile(servertools::tonePeak);
        QCOMPARE(card::setShown(game.id, true), S_OK);
        const OpenFile file(tavoriGame);
        Stream stream(speakersTarget);
        QCOMPARE(stream.open(), S_OK);
        {
            const RenderLoop loop(stream, fillZeros);
            const servertools::Application application("pw-play",
                                                       {"--target=" + game.nodeName, tone});
            QVERIFY(hears(file));

            QVERIFY(isKilled ? servertools::killServer() : servertools::stopServer());
            QTRY_VERIFY(loop.hasEnded());
            QCOMPARE(loop.result(), AUDCLNT_E_DEVICE_INVALIDATED);
            // The event of a period that was still on its way may come, and then no more.
            static_cast<void>(stream.waitForEvent(300));
            QVERIFY(!stream.waitForEvent(300));
        }
        // Without a server files open and read, what is shown stays so and can be changed.
        QVERIFY(OpenFile(tavoriGame).isOpen());
        QTRY_COMPARE(file.read().size(), 0);
        QVERIFY(card::isShown(game.id));
        QCOMPARE(card::setShown(chat.id, true), S_OK);
        Stream late(speakersTarget);
        QCOMPARE(late.initialize(), AUDCLNT_E_SERVICE_NOT_RUNNING);

        QVERIFY(servertools::startServer());
        QTRY_VERIFY_WITH_TIMEOUT(servertools::hasSink(game.nodeName), comeBackTimeout);
        QTRY_VERIFY_WITH_TIMEOUT(servertools::hasSink(chat.nodeName), comeBackTimeout);
        const servertools::Application application("pw-play", {"--target=" + game.nodeName, tone});
        QVERIFY(hears(file));
        // The lost stream stays lost; a new one plays.
        UINT32 frames = 0;
        QCOMPARE(stream.client->GetBufferSize(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
        Stream again(speakersTarget);
        QTRY_COMPARE(Stream(speakersTarget).open(), S_OK);
        QCOMPARE(again.open(), S_OK);
        QVERIFY(again.waitForEvent());
    }
};

QTEST_GUILESS_MAIN(TestServerLoss)
#include "tst_serverloss.moc"
