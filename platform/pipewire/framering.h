// The newest sound of one virtual speaker, for any number of readers.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>

/// A ring of stereo 16-bit frames that one real-time thread overwrites for ever. It never waits and
/// never fills: each reader has a position of its own and is moved up when it fell behind, so that
/// nothing old gathers while nobody reads.
class FrameRing
{
public:
    static constexpr uint32_t frameBytes = 4;
    /// The most that a reader can catch up with: the largest quantum of a PipeWire graph.
    static constexpr uint32_t keptFrames = 8192;

    /// Appends interleaved samples. Real-time safe; one writer at a time.
    void write(const int16_t *samples, uint32_t frames) noexcept;

    /// The position behind the newest frame; a reader that starts here hears nothing old.
    [[nodiscard]] uint64_t end() const noexcept
    {
        return published.load(std::memory_order_acquire);
    }

    /// Copies at most `maxFrames` frames from `position` on and moves it; returns their number.
    [[nodiscard]] uint32_t read(uint64_t &position, void *to, uint32_t maxFrames) const noexcept;

    /// Waits until there are frames behind `position`, `cancelled` is set and told by wake(), or
    /// `longest` is over.
    void wait(uint64_t position, const std::atomic<bool> &cancelled,
              std::chrono::milliseconds longest) noexcept;
    /// Ends all waits, for their callers to look again.
    void wake() noexcept;

private:
    // Twice of what is kept, so that a block of the largest size can be written while a reader
    // copies the oldest kept frames.
    static constexpr uint32_t capacity = 2 * keptFrames;

    [[nodiscard]] bool copy(uint64_t position, void *to, uint32_t frames) const noexcept;

    std::array<std::atomic<uint32_t>, capacity> ring{};
    std::atomic<uint64_t> reserved{0};  ///< behind the frames that are being written
    std::atomic<uint64_t> published{0}; ///< behind the frames that can be read
    std::atomic<uint32_t> changes{0};   ///< what waiting readers sleep on
    std::atomic<uint32_t> waiting{0};
};
