#include "platform/pipewire/framering.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace
{
static_assert(std::atomic<uint32_t>::is_always_lock_free);
static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "the kernel sleeps on the word");

constexpr int64_t nanosecondsPerSecond = 1'000'000'000;

/// Sleeps while the word is `expected`, at longest until `deadline` on the monotonic clock.
void futexWait(std::atomic<uint32_t> &word, uint32_t expected, const timespec &deadline)
{
    syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, expected, &deadline, nullptr,
            FUTEX_BITSET_MATCH_ANY);
}

timespec fromNow(std::chrono::milliseconds duration)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t end = now.tv_sec * nanosecondsPerSecond + now.tv_nsec +
                        std::chrono::nanoseconds(duration).count();
    return {end / nanosecondsPerSecond, end % nanosecondsPerSecond};
}

bool isPast(const timespec &deadline)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec > deadline.tv_sec ||
           (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec);
}
} // namespace

void FrameRing::write(const int16_t *samples, uint32_t frames) noexcept
{
    if (frames > keptFrames) {
        samples += size_t(frames - keptFrames) * 2;
        frames = keptFrames;
    }
    const uint64_t start = published.load(std::memory_order_relaxed);
    reserved.store(start + frames, std::memory_order_relaxed);
    for (uint32_t i = 0; i < frames; ++i) {
        uint32_t frame;
        std::memcpy(&frame, samples + size_t(i) * 2, frameBytes);
        // Release: a reader that sees the new frame also sees that it was reserved.
        ring[(start + i) % capacity].store(frame, std::memory_order_release);
    }
    published.store(start + frames, std::memory_order_release);
    wake();
}

uint32_t FrameRing::read(uint64_t &position, void *to, uint32_t maxFrames) const noexcept
{
    for (;;) {
        const uint64_t newest = end();
        if (newest - position > keptFrames)
            position = newest - keptFrames;
        const auto frames = uint32_t(std::min<uint64_t>(newest - position, maxFrames));
        if (frames == 0 || copy(position, to, frames)) {
            position += frames;
            return frames;
        }
    }
}

/// False when the writer came round and overwrote what was being copied.
bool FrameRing::copy(uint64_t position, void *to, uint32_t frames) const noexcept
{
    auto *bytes = static_cast<char *>(to);
    for (uint32_t i = 0; i < frames; ++i) {
        const uint32_t frame = ring[(position + i) % capacity].load(std::memory_order_acquire);
        std::memcpy(bytes + size_t(i) * frameBytes, &frame, frameBytes);
    }
    return reserved.load(std::memory_order_relaxed) - position <= capacity;
}

void FrameRing::wait(uint64_t position, const std::atomic<bool> &cancelled,
                     std::chrono::milliseconds longest) noexcept
{
    if (end() != position || cancelled.load())
        return;
    const timespec deadline = fromNow(longest);
    waiting.fetch_add(1);
    for (;;) {
        const uint32_t seen = changes.load();
        if (end() != position || cancelled.load() || isPast(deadline))
            break;
        futexWait(changes, seen, deadline);
    }
    waiting.fetch_sub(1);
}

void FrameRing::wake() noexcept
{
    changes.fetch_add(1);
    if (waiting.load() != 0)
        syscall(SYS_futex, &changes, FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr, nullptr, 0);
}
