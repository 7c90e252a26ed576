// The scripted device files.
#include "common/channels.h"
#include "platform/coreaudio.h"
#include "platform/devicereads.h"
#include "platform/simulated/simulated.h"

#include <QElapsedTimer>
#include <QTest>

#include <thread>

namespace
{

const QString game = QStringLiteral("tavori.Game.WaveSpeaker");

HANDLE openFile(int index, const QString &suffix = game)
{
    const std::wstring path =
        deviceFilePath(index, QLatin1StringView(suffix.toLatin1())).toStdWString();
    return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

/// What a read of at most `length` bytes gives; "failed" when it fails.
QByteArray readFrom(HANDLE file, DWORD length)
{
    QByteArray buffer(static_cast<qsizetype>(length), '\0');
    DWORD bytes = 0;
    if (!ReadFile(file, buffer.data(), length, &bytes, nullptr))
        return "failed";
    return buffer.first(static_cast<qsizetype>(bytes));
}

} // namespace

class TestSimulatedFiles : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }
    void cleanup() { QCOMPARE(simulated::leakReport(), QString()); }

    void opensAtTheDriversIndexOnly();
    void opensEveryChannelsFile();
    void oneFileCanBeAbsent();
    void writesAreKept();
    void readsGiveOneBlockAtMost();
    void readWaitsABoundedTime();
    void readWakesWhenAudioComes();
    void closeEndsARead();
    void endedWaitsGiveNothing();
    void requestsAreKept();
    void faultOfOneFile();
};

void TestSimulatedFiles::opensAtTheDriversIndexOnly()
{
    QCOMPARE(openFile(0), INVALID_HANDLE_VALUE);
    QCOMPARE(GetLastError(), ERROR_FILE_NOT_FOUND);
    simulated::publishDriver(163);
    QCOMPARE(openFile(162), INVALID_HANDLE_VALUE);
    const HANDLE first = openFile(163);
    const HANDLE second = openFile(163);
    QVERIFY(first != INVALID_HANDLE_VALUE && second != INVALID_HANDLE_VALUE);
    QCOMPARE(simulated::openDeviceFiles(game), 2);
    simulated::withdrawDriver();
    QCOMPARE(openFile(163), INVALID_HANDLE_VALUE);
    QVERIFY(CloseHandle(first));
    QVERIFY(CloseHandle(second));
    QCOMPARE(simulated::openDeviceFiles(game), 0);
    QVERIFY(simulated::calls().contains(
        "CreateFileW " + deviceFilePath(163, QLatin1StringView("tavori.Game.WaveSpeaker")) +
        " c0000000 0 3 80"));
}

void TestSimulatedFiles::opensEveryChannelsFile()
{
    simulated::publishDriver(1);
    for (const Channel &channel : channels) {
        const HANDLE file = openFile(1, channel.fileSuffix);
        QVERIFY2(file != INVALID_HANDLE_VALUE, channel.fileSuffix.data());
        QVERIFY(CloseHandle(file));
    }
    QCOMPARE(openFile(1, "tavori.Other.WaveSpeaker"), INVALID_HANDLE_VALUE);
}

void TestSimulatedFiles::oneFileCanBeAbsent()
{
    simulated::publishDriver(0);
    simulated::setDeviceFilePresent(game, false);
    QCOMPARE(openFile(0), INVALID_HANDLE_VALUE);
    const HANDLE other = openFile(0, "tavori.Aux.WaveSpeaker");
    QVERIFY(CloseHandle(other));
    simulated::setDeviceFilePresent(game, true);
    QVERIFY(CloseHandle(openFile(0)));
}

void TestSimulatedFiles::writesAreKept()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    DWORD written = 99;
    QVERIFY(WriteFile(file, "\x06\x01", 2, &written, nullptr));
    QCOMPARE(written, 2u);
    QVERIFY(WriteFile(file, "", 0, &written, nullptr));
    QCOMPARE(written, 0u);
    QCOMPARE(simulated::writesTo(game), QList<QByteArray>({"\x06\x01", ""}));
    QVERIFY(simulated::calls().contains("WriteFile " + game + " 06 01"));
    QVERIFY(CloseHandle(file));
    QVERIFY(!WriteFile(file, "\x06", 1, &written, nullptr));
    QCOMPARE(GetLastError(), ERROR_INVALID_HANDLE);
}

void TestSimulatedFiles::readsGiveOneBlockAtMost()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    simulated::queueAudio(game, "abcdef");
    simulated::queueAudio(game, "");
    simulated::queueAudio(game, "gh");
    QVERIFY(!simulated::waitUntilRead(game, 1));
    QCOMPARE(readFrom(file, 4), QByteArray("abcd"));
    QCOMPARE(readFrom(file, 4), QByteArray("ef"));
    QCOMPARE(readFrom(file, 4), QByteArray());
    QCOMPARE(readFrom(file, 4), QByteArray("gh"));
    QVERIFY(simulated::waitUntilRead(game, 1));
    QVERIFY(CloseHandle(file));
}

void TestSimulatedFiles::readWaitsABoundedTime()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(readFrom(file, 4), QByteArray());
    QVERIFY(timer.nsecsElapsed() >= 50'000'000);
    QVERIFY(CloseHandle(file));
}

void TestSimulatedFiles::readWakesWhenAudioComes()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    QByteArray heard;
    std::thread reader([&] {
        for (int attempt = 0; attempt < 100 && heard.isEmpty(); ++attempt)
            heard = readFrom(file, 100);
    });
    QVERIFY(simulated::waitForCall("ReadFile " + game));
    simulated::queueAudio(game, "sound");
    reader.join();
    QCOMPARE(heard, QByteArray("sound"));
    QVERIFY(CloseHandle(file));
}

void TestSimulatedFiles::closeEndsARead()
{
    simulated::publishDriver(0);
    // A close that comes too late for the read's 50 ms proves nothing, so it may try again.
    QByteArray result;
    for (int attempt = 0; attempt < 20 && result != "failed"; ++attempt) {
        const HANDLE file = openFile(0);
        DWORD error = ERROR_SUCCESS;
        std::thread reader([&] {
            result = readFrom(file, 100);
            error = GetLastError();
        });
        while (simulated::readRequests(game).size() <= attempt)
            std::this_thread::yield();
        QVERIFY(CloseHandle(file));
        reader.join();
        if (result == "failed")
            QCOMPARE(error, ERROR_INVALID_HANDLE);
    }
    QCOMPARE(result, QByteArray("failed"));
}

// So many that they would take ten seconds if each waited for its time.
void TestSimulatedFiles::endedWaitsGiveNothing()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    endReadWaits(file);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 200; ++i)
        QCOMPARE(readFrom(file, 100), QByteArray());
    QVERIFY(timer.elapsed() < 8000);
    simulated::queueAudio(game, "sound");
    QCOMPARE(readFrom(file, 100), QByteArray("sound"));
    QVERIFY(CloseHandle(file));
}

void TestSimulatedFiles::requestsAreKept()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    QByteArray buffer(100, '\0');
    buffer[0] = 6;
    buffer[2] = 1;
    DWORD bytes = 0;
    simulated::queueAudio(game, "sound");
    QVERIFY(ReadFile(file, buffer.data(), 100, &bytes, nullptr));
    buffer[99] = 7;
    simulated::queueAudio(game, "sound");
    QVERIFY(ReadFile(file, buffer.data(), 100, &bytes, nullptr));
    const auto requests = simulated::readRequests(game);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests[0].length, 100u);
    QCOMPARE(requests[0].head, QByteArray("\6\0\1", 3) + QByteArray(13, '\0'));
    QVERIFY(requests[0].restIsZero);
    QCOMPARE(requests[1].head.first(5), QByteArray("sound"));
    QVERIFY(!requests[1].restIsZero);
    QVERIFY(CloseHandle(file));
}

void TestSimulatedFiles::faultOfOneFile()
{
    simulated::publishDriver(0);
    const HANDLE file = openFile(0);
    simulated::queueAudio(game, "sound");
    simulated::failNext("ReadFile tavori.Aux.WaveSpeaker", ERROR_ACCESS_DENIED);
    QCOMPARE(readFrom(file, 100), QByteArray("sound"));
    simulated::failNext("ReadFile " + game, ERROR_ACCESS_DENIED);
    QCOMPARE(readFrom(file, 100), QByteArray("failed"));
    QCOMPARE(GetLastError(), ERROR_ACCESS_DENIED);
    QVERIFY(CloseHandle(file));
}

QTEST_GUILESS_MAIN(TestSimulatedFiles)
#include "tst_simulatedfiles.moc"
