// The card where no server is: identities, settings, device files, and what is shown.
#include "app/virtualendpoints.h"
#include "openfile.h"
#include "platform/devicereads.h"
#include "platform/pipewire/card.h"
#include "platform/pipewire/devicefile.h"
#include "platform/pipewire/endpointid.h"
#include "platform/pipewire/speakerrings.h"
#include "platform/posix/lasterror.h"
#include "platform/settingstree.h"
#include "tests/support/waitwatch.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <future>

namespace
{
// What a read waits that nothing ends.
constexpr int longestReadMs = 5000;

/// A read on a thread of its own, which waits for sound.
class SleepingReader
{
public:
    explicit SleepingReader(const OpenFile &file)
        : read(std::async(std::launch::async, [this, &file] {
              watch.begin();
              return file.read();
          }))
    {
        (void)watch.waitUntilAsleep();
    }
    QByteArray result() { return read.get(); }

private:
    WaitWatch watch;
    std::future<QByteArray> read;
};

/// Whether a read ends before its time is over. One that does so among many is enough, for this
/// machine may stand still: without a cause none of them does.
template <typename Attempt>
bool endsEarly(const Attempt &attempt)
{
    for (int i = 0; i < 30; ++i) {
        const OpenFile file(tavoriGame);
        QElapsedTimer timer;
        timer.start();
        if (!attempt(file))
            return false;
        if (timer.elapsed() < longestReadMs)
            return true;
    }
    return false;
}
} // namespace

class TestCardOffline : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(runtime.isValid());
        qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
        qunsetenv("PIPEWIRE_REMOTE");
        qunsetenv("PIPEWIRE_RUNTIME_DIR");
    }

    void hasNineSpeakersAndTwoLines()
    {
        int renders = 0;
        int captures = 0;
        for (const card::CardEndpoint &endpoint : card::endpoints()) {
            ++(endpoint.flow == eRender ? renders : captures);
            QCOMPARE(endpoint.description, endpoint.channel->fullName());
            QCOMPARE(card::endpointOfId(endpoint.id), &endpoint);
            QCOMPARE(card::endpointOfNodeName(endpoint.nodeName), &endpoint);
        }
        QCOMPARE(renders, 9);
        QCOMPARE(captures, 2);
        QVERIFY(!card::endpointOfId("{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}"));
        QVERIFY(!card::endpointOfNodeName("speakers"));
    }

    void endpointIdsAreTheSameOnEveryRun()
    {
        const QString id = endpointIdOf("tavori.Game.WaveSpeaker", eRender);
        QCOMPARE(id, "{0.0.0.00000000}.{3e695382-e9a3-504e-aa94-d53ce642a1ad}");
        QCOMPARE(card::endpointOfNodeName("tavori.Game.WaveSpeaker")->id, id);
        QVERIFY(endpointIdOf("alsa_input", eCapture).startsWith("{0.0.1.00000000}.{"));
        // Version 5, variant 1.
        static const QRegularExpression form("^\\{[0-9a-f]{8}-[0-9a-f]{4}-5[0-9a-f]{3}-[89ab]"
                                             "[0-9a-f]{3}-[0-9a-f]{12}\\}$");
        QVERIFY(form.match(endpointGuid("any name")).hasMatch());
        QVERIFY(endpointGuid("one") != endpointGuid("other"));
    }

    void showingIsRememberedWithoutAServer()
    {
        for (const card::CardEndpoint &endpoint : card::endpoints()) {
            QVERIFY(!card::isShown(endpoint.id));
            QCOMPARE(card::setShown(endpoint.id, true), S_OK);
            QVERIFY(card::isShown(endpoint.id));
            QCOMPARE(card::setShown(endpoint.id, false), S_OK);
            QVERIFY(!card::isShown(endpoint.id));
        }
        QCOMPARE(card::setShown("nobody", true), E_NOTFOUND);
        QVERIFY(!card::isShown("nobody"));
    }

    void theCatalogueFindsAllEleven()
    {
        const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
        QCOMPARE(catalogue.size(), 11);
        for (const card::CardEndpoint &endpoint : card::endpoints()) {
            QVERIFY2(catalogue.contains(endpoint.id), qPrintable(endpoint.nodeName));
            // "Type" and the twenty properties.
            QCOMPARE(catalogue[endpoint.id].size(), 21);
            const QJsonObject entry = catalogue[endpoint.id];
            QCOMPARE(endpointIdOfEntry(catalogue, entry), endpoint.id);
            QCOMPARE(shortNameOfEntry(entry), endpoint.channel->shortName);
            QCOMPARE(isCaptureEntry(entry), endpoint.flow == eCapture);
        }
    }

    void anUnknownPathIsAnEmptyTree()
    {
        const auto tree = openSettingsTree("\\HKEY_LOCAL_MACHINE\\SOFTWARE\\Nothing");
        QVERIFY(tree);
        QVERIFY(tree->childGroups().isEmpty());
        QVERIFY(tree->allKeys().isEmpty());
        QVERIFY(!tree->value("Properties/any").isValid());
    }

    void onlyThePublishedIndexOpens_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("opens");
        for (const Channel &channel : channels) {
            const QByteArray suffix(channel.fileSuffix.data(), channel.fileSuffix.size());
            QTest::addRow("0000 %s", suffix.constData())
                << deviceFilePath(0, channel.fileSuffix) << true;
            QTest::addRow("0001 %s", suffix.constData())
                << deviceFilePath(1, channel.fileSuffix) << false;
        }
        QTest::newRow("unknown suffix")
            << deviceFilePath(0, QLatin1StringView("tavori.None.Wave")) << false;
        QTest::newRow("empty") << QString() << false;
    }
    void onlyThePublishedIndexOpens()
    {
        QFETCH(QString, path);
        QFETCH(bool, opens);
        HANDLE handle = CreateFileW(path.toStdWString().c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        QCOMPARE(handle != INVALID_HANDLE_VALUE, opens);
        if (opens)
            QVERIFY(posix::closeHandle(handle));
        else
            QCOMPARE(posix::lastError(), ERROR_FILE_NOT_FOUND);
    }

    void readsAtMostWhatIsAsked()
    {
        const OpenFile file(tavoriGame);
        play("abcdEFGHijkl");
        QCOMPARE(file.read(8), "abcdEFGH");
        // Whole frames only, and what is left stays.
        QCOMPARE(file.read(7), "ijkl");
    }

    void aReadWithoutSoundWaitsAndGivesNothing()
    {
        using Clock = std::chrono::steady_clock;
        for (const tavoriDeviceType type : {tavoriGame, tavoriChatCapture}) {
            const OpenFile file(type);
            const auto before = Clock::now();
            const QByteArray bytes = file.read();
            QVERIFY(!bytes.isNull());
            QCOMPARE(bytes.size(), 0);
            QVERIFY(Clock::now() - before >= std::chrono::milliseconds(longestReadMs));
        }
    }

    void aReaderThatIsToEndWaitsNoLonger()
    {
        QVERIFY(endsEarly([](const OpenFile &file) {
            SleepingReader reader(file);
            endReadWaits(file.get());
            const QByteArray bytes = reader.result();
            return !bytes.isNull() && bytes.isEmpty(); // no failure
        }));
    }

    void afterItsWaitsHaveEndedAFileStillGivesWhatIsThere()
    {
        const OpenFile file(tavoriGame);
        const OpenFile other(tavoriGame);
        endReadWaits(file.get());
        QCOMPARE(file.read().size(), 0);
        play("abcd");
        QCOMPARE(file.read(), "abcd");
        QCOMPARE(other.read(), "abcd");
        endReadWaits(INVALID_HANDLE_VALUE); // no file, no harm
    }

    void soundWakesTheReader()
    {
        QVERIFY(endsEarly([](const OpenFile &file) {
            SleepingReader reader(file);
            play("1234");
            return reader.result() == "1234";
        }));
    }

    void aClosedHandleEndsTheRead()
    {
        OpenFile file(tavoriChat);
        HANDLE handle = file.get();
        WaitWatch watch;
        auto reader = std::async(std::launch::async, [handle, &watch] {
            char buffer[64];
            DWORD count = 1;
            watch.begin();
            while (ReadFile(handle, buffer, sizeof buffer, &count, nullptr))
                ;
            return posix::lastError();
        });
        QVERIFY(watch.waitUntilAsleep());
        file.close();
        QCOMPARE(reader.get(), ERROR_INVALID_HANDLE);
    }

    void anOpenHearsNothingOld()
    {
        play("oldoldol");
        const OpenFile file(tavoriGame);
        endReadWaits(file.get()); // what is there, and no waiting for more
        QCOMPARE(file.read().size(), 0);
    }

    void everyOpenHearsTheSpeaker()
    {
        const OpenFile first(tavoriGame);
        {
            const OpenFile probe(tavoriGame);
            QVERIFY(probe.isOpen());
        }
        const OpenFile second(tavoriGame);
        play("abcd");
        QCOMPARE(first.read(), "abcd");
        QCOMPARE(second.read(), "abcd");
    }

    void nothingOldGathersWhileNobodyReads()
    {
        const OpenFile file(tavoriGame);
        endReadWaits(file.get());
        play(QByteArray(4 * 100'000, 'x') + "last");
        QByteArray all;
        for (QByteArray bytes = file.read(); !bytes.isEmpty(); bytes = file.read())
            all += bytes;
        QVERIFY(all.size() <= qsizetype(FrameRing::keptFrames * FrameRing::frameBytes));
        QVERIFY(all.endsWith("last"));
    }

    void writtenBytesAreRecorded()
    {
        const OpenFile file(tavoriMedia);
        const QString suffix = channelOfType(tavoriMedia)->fileSuffix;
        DWORD count = 9;
        QVERIFY(WriteFile(file.get(), "\x07", 1, &count, nullptr));
        QCOMPARE(count, 1u);
        QVERIFY(WriteFile(file.get(), "", 0, &count, nullptr));
        QCOMPARE(count, 0u);
        QVERIFY(WriteFile(file.get(), "\x07\x01", 2, nullptr, nullptr));
        QCOMPARE(card::writtenBytes(suffix), QByteArray("\x07\x07\x01"));
        QCOMPARE(card::writtenBytes("tavori.Aux3.WaveSpeaker"), QByteArray());
    }

    void anotherKindOfHandleIsRefused()
    {
        char buffer[4];
        DWORD count = 7;
        QVERIFY(!ReadFile(INVALID_HANDLE_VALUE, buffer, 4, &count, nullptr));
        QCOMPARE(posix::lastError(), ERROR_INVALID_HANDLE);
        QCOMPARE(count, 0u);
        QVERIFY(!WriteFile(nullptr, buffer, 4, &count, nullptr));
        QCOMPARE(posix::lastError(), ERROR_INVALID_HANDLE);
    }

private:
    /// As the server's data thread does, into the Gaming speaker.
    static void play(const QByteArray &bytes)
    {
        speakerRing(channelOfType(tavoriGame)->fileSuffix)
            ->write(reinterpret_cast<const qint16 *>(bytes.constData()),
                    uint32_t(bytes.size() / 4));
    }

    QTemporaryDir runtime;
};

QTEST_GUILESS_MAIN(TestCardOffline)
#include "tst_cardoffline.moc"
