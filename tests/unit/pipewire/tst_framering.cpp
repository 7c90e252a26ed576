// The ring of a speaker: what readers get, and that the writer never waits for them.
#include "platform/pipewire/framering.h"
#include "tests/support/waitwatch.h"

#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace
{
/// Frames that count up from `first`, one number in both samples' place.
std::vector<qint16> countingFrames(uint32_t first, uint32_t frames)
{
    std::vector<qint16> samples(size_t(frames) * 2);
    for (uint32_t i = 0; i < frames; ++i) {
        const uint32_t number = first + i;
        memcpy(&samples[size_t(i) * 2], &number, sizeof number);
    }
    return samples;
}

void write(FrameRing &ring, uint32_t first, uint32_t frames)
{
    ring.write(countingFrames(first, frames).data(), frames);
}
} // namespace

class TestFrameRing : public QObject
{
    Q_OBJECT

private slots:
    void init() { ring = std::make_unique<FrameRing>(); }

    void aReaderStartsAtTheEnd()
    {
        write(*ring, 0, 100);
        uint64_t position = ring->end();
        uint32_t frame = 0;
        QCOMPARE(ring->read(position, &frame, 1), 0u);
        write(*ring, 100, 1);
        QCOMPARE(ring->read(position, &frame, 1), 1u);
        QCOMPARE(frame, 100u);
    }

    void readsAtMostWhatIsAsked()
    {
        uint64_t position = ring->end();
        write(*ring, 0, 100);
        std::vector<uint32_t> frames(200);
        QCOMPARE(ring->read(position, frames.data(), 30), 30u);
        QCOMPARE(frames[29], 29u);
        QCOMPARE(ring->read(position, frames.data(), 200), 70u);
        QCOMPARE(frames[0], 30u);
        QCOMPARE(frames[69], 99u);
    }

    void keepsTheNewest()
    {
        uint64_t position = ring->end();
        const uint32_t total = 5 * FrameRing::keptFrames + 17;
        for (uint32_t first = 0; first < total; first += 1000)
            write(*ring, first, std::min(1000u, total - first));
        std::vector<uint32_t> frames(total);
        QCOMPARE(ring->read(position, frames.data(), total), FrameRing::keptFrames);
        QCOMPARE(frames[0], total - FrameRing::keptFrames);
        QCOMPARE(frames[FrameRing::keptFrames - 1], total - 1);
        QCOMPARE(ring->read(position, frames.data(), total), 0u);
    }

    void aBlockLargerThanTheRingLeavesItsEnd()
    {
        uint64_t position = ring->end();
        const uint32_t total = 3 * FrameRing::keptFrames;
        write(*ring, 0, total);
        std::vector<uint32_t> frames(total);
        QCOMPARE(ring->read(position, frames.data(), total), FrameRing::keptFrames);
        QCOMPARE(frames[0], total - FrameRing::keptFrames);
    }

    void everyReaderGetsEverything()
    {
        uint64_t one = ring->end();
        uint64_t other = ring->end();
        write(*ring, 0, 10);
        uint32_t frames[10] = {};
        QCOMPARE(ring->read(one, frames, 10), 10u);
        QCOMPARE(ring->read(other, frames, 10), 10u);
        QCOMPARE(frames[9], 9u);
    }

    void waitEndsWithFrames()
    {
        const std::atomic<bool> never{false};
        const uint64_t position = ring->end();
        WaitWatch reader;
        std::thread writer([&] {
            (void)reader.waitUntilAsleep();
            write(*ring, 0, 1);
        });
        // An hour: only the frame can end it in time.
        reader.begin();
        ring->wait(position, never, std::chrono::hours(1));
        writer.join();
        QCOMPARE(ring->end(), position + 1);
    }

    void waitEndsWhenCancelled()
    {
        std::atomic<bool> cancelled{false};
        WaitWatch reader;
        std::thread canceller([&] {
            (void)reader.waitUntilAsleep();
            cancelled = true;
            ring->wake();
        });
        reader.begin();
        ring->wait(ring->end(), cancelled, std::chrono::hours(1));
        canceller.join();
        QVERIFY(cancelled);
    }

    // Whether the wait has begun by then or not.
    void aCancelIsNeverMissed()
    {
        for (int i = 0; i < 2000; ++i) {
            std::atomic<bool> cancelled{false};
            std::atomic<bool> begins{false};
            std::thread canceller([&] {
                while (!begins)
                    ;
                cancelled = true;
                ring->wake();
            });
            begins = true;
            ring->wait(ring->end(), cancelled, std::chrono::hours(1));
            canceller.join();
        }
    }

    void waitEndsWithTheTime()
    {
        constexpr std::chrono::milliseconds interval(30);
        const std::atomic<bool> never{false};
        const auto before = std::chrono::steady_clock::now();
        ring->wait(ring->end(), never, interval);
        QVERIFY(std::chrono::steady_clock::now() - before >= interval);
    }

    // However the two race: what a reader gets counts up without a torn or repeated frame.
    void aFastWriterNeverTearsWhatIsRead()
    {
        constexpr uint32_t total = 4'000'000;
        std::atomic<bool> isDone{false};
        uint64_t position = ring->end();
        std::thread writer([&] {
            for (uint32_t first = 0; first < total; first += 2000)
                write(*ring, first, 2000);
            isDone = true;
        });
        std::vector<uint32_t> frames(FrameRing::keptFrames);
        uint32_t next = 0;
        bool isOrdered = true;
        while (isOrdered && (!isDone || position != ring->end())) {
            const uint32_t count = ring->read(position, frames.data(), uint32_t(frames.size()));
            for (uint32_t i = 0; i < count; ++i) {
                isOrdered = isOrdered && (i == 0 ? frames[0] >= next : frames[i] == frames[0] + i);
                next = frames[i] + 1;
            }
        }
        writer.join();
        QVERIFY(isOrdered);
        QCOMPARE(next, total);
    }

private:
    std::unique_ptr<FrameRing> ring;
};

QTEST_GUILESS_MAIN(TestFrameRing)
#include "tst_framering.moc"
