// What is played into a line of the card, while somebody records from it and while nobody does.
#include "platform/pipewire/card.h"
#include "servertools.h"
#include "streamfixture.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <optional>

namespace
{
// An idle line offers 200 ms at once, a running one a quantum: far apart.
constexpr UINT32 idleFrames = 9600;
constexpr qint16 oldSample = 1000;
constexpr qint16 newSample = 20000;

const card::CardEndpoint &microphone(EDataFlow flow)
{
    const Channel &channel = *channelOfType(tavoriChatCapture);
    return *card::endpointOfNodeName(flow == eRender ? channel.renderSuffix
                                                     : channel.captureSuffix);
}

StreamTarget lineTarget(EDataFlow flow)
{
    return {microphone(flow).nodeName, flow, 48000, 2};
}

/// Plays into the line: one sample while it is idle, another while it runs.
class LinePlayer
{
public:
    LinePlayer()
        : result(stream.open()), loop(stream, [this](BYTE *data, UINT32 frames) {
              const bool isIdle = frames >= idleFrames;
              ++(isIdle ? idleRounds : runningRounds);
              std::fill_n(reinterpret_cast<qint16 *>(data), size_t(frames) * 2,
                          isIdle ? oldSample : newSample);
              return DWORD(0);
          })
    {
    }

private:
    Stream stream{lineTarget(eRender)};

public:
    const HRESULT result;
    std::atomic<int> idleRounds{0};
    std::atomic<int> runningRounds{0};

private:
    RenderLoop loop;
};

/// Counts what comes out of the line.
struct Heard
{
    int oldFrames = 0;
    int newFrames = 0;

    void add(const qint16 *samples, UINT32 frames)
    {
        for (UINT32 i = 0; i < frames; ++i) {
            oldFrames += samples[2 * i] == oldSample;
            newFrames += samples[2 * i] == newSample;
        }
    }
};

/// Records until so many new frames were heard, ten seconds at longest.
Heard record(int frames)
{
    Heard heard;
    Stream stream(lineTarget(eCapture));
    if (stream.open() != S_OK)
        return heard;
    QElapsedTimer timer;
    timer.start();
    while (heard.newFrames < frames && timer.elapsed() < 10'000 && stream.waitForEvent()) {
        BYTE *data = nullptr;
        UINT32 count = 0;
        DWORD flags = 0;
        while (stream.capture->GetBuffer(&data, &count, &flags, nullptr, nullptr) == S_OK) {
            heard.add(reinterpret_cast<const qint16 *>(data), count);
            stream.capture->ReleaseBuffer(count);
        }
    }
    return heard;
}
} // namespace

class TestLines : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (const EDataFlow flow : {eRender, eCapture})
            QCOMPARE(card::setShown(microphone(flow).id, true), S_OK);
    }

    void aLineThatNobodyRecordsStillCallsItsClient()
    {
        const LinePlayer player;
        QCOMPARE(player.result, S_OK);
        QTRY_VERIFY_WITH_TIMEOUT(player.idleRounds >= 20, 30'000);
    }

    void whoBeginsToRecordHearsNoBacklog()
    {
        const LinePlayer player;
        QCOMPARE(player.result, S_OK);
        QTRY_VERIFY_WITH_TIMEOUT(player.idleRounds >= 20, 30'000);
        const Heard heard = record(48000);
        QVERIFY2(heard.newFrames >= 48000, qPrintable(QString::number(heard.newFrames)));
        // What the client had gathered for the line at that moment is cut to one cycle's need.
        QVERIFY2(heard.oldFrames < int(idleFrames) / 2,
                 qPrintable(QString::number(heard.oldFrames)));
    }

    void aSilentClientIsCalledNowAndThenOnly()
    {
        std::atomic<bool> isSilent{true};
        Stream stream(lineTarget(eRender));
        QCOMPARE(stream.open(), S_OK);
        const RenderLoop loop(stream, [&](BYTE *, UINT32) {
            return isSilent ? DWORD(AUDCLNT_BUFFERFLAGS_SILENT) : DWORD(0);
        });
        // Beside one that has sound all the time.
        const LinePlayer sounding;
        QCOMPARE(sounding.result, S_OK);
        constexpr int several = 40;
        const auto callsMeanwhile = [&]() -> std::optional<int> {
            const int before = loop.rounds();
            const int end = sounding.idleRounds + several;
            if (!QTest::qWaitFor([&] { return sounding.idleRounds >= end; }, 30'000))
                return {};
            return loop.rounds() - before;
        };
        const auto isCalledSeldom = [&] {
            return callsMeanwhile().value_or(several) < several / 4;
        };
        QVERIFY(QTest::qWaitFor(isCalledSeldom, 60'000));
        for (int again = 0; again < 3; ++again)
            QVERIFY(callsMeanwhile().value_or(several) < several / 2);
        isSilent = false;
        QVERIFY(
            QTest::qWaitFor([&] { return callsMeanwhile().value_or(0) > several / 2; }, 60'000));
    }

    void aLineIsIdleAgainWhenTheRecorderHasGone()
    {
        const LinePlayer player;
        QCOMPARE(player.result, S_OK);
        QVERIFY(record(4800).newFrames >= 4800);
        const int before = player.idleRounds;
        QTRY_VERIFY_WITH_TIMEOUT(player.idleRounds >= before + 5, 30'000);
        const int running = player.runningRounds;
        QTRY_VERIFY_WITH_TIMEOUT(player.idleRounds >= before + 20, 30'000);
        QVERIFY2(player.runningRounds - running <= 1,
                 qPrintable(QString::number(player.runningRounds - running)));
    }

    void anotherStreamDoesNotKeepALineRunning()
    {
        const LinePlayer player;
        QCOMPARE(player.result, S_OK);
        Stream other(speakersTarget);
        QCOMPARE(other.open(), S_OK);
        const RenderLoop loop(other, [](BYTE *data, UINT32 frames) {
            std::fill_n(data, size_t(frames) * 4, BYTE(1));
            return DWORD(0);
        });
        QTRY_VERIFY_WITH_TIMEOUT(loop.rounds() > 20, 30'000);
        const int running = player.runningRounds;
        const int before = player.idleRounds;
        QTRY_VERIFY_WITH_TIMEOUT(player.idleRounds >= before + 20, 30'000);
        QVERIFY2(player.runningRounds - running <= 1,
                 qPrintable(QString::number(player.runningRounds - running)));
    }
};

QTEST_GUILESS_MAIN(TestLines)
#include "tst_lines.moc"
