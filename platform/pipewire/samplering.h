// A bounded queue of bytes between one real-time thread and one other.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

/// Single producer, single consumer, lock-free. Positions count bytes since the start and never
/// wrap in practice (64 bits).
// Each side's position has a cache line of its own.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
class SampleRing
{
public:
    /// Room for at least `bytes`. Not while a thread uses the ring.
    void resize(uint32_t bytes)
    {
        capacity = 1;
        while (capacity < bytes)
            capacity *= 2;
        storage = std::make_unique<std::byte[]>(capacity);
    }

    /// Producer: what is in the ring now will not be read.
    void discard() noexcept
    {
        floor.store(writePosition.load(std::memory_order_relaxed), std::memory_order_release);
    }

    /// Bytes in the ring; exact for either side, and the other side can only make it better.
    [[nodiscard]] uint32_t available() const noexcept
    {
        // The lower end first: read the other way round, it could have passed the upper one.
        const uint64_t from = lowerEnd();
        return uint32_t(writePosition.load(std::memory_order_acquire) - from);
    }
    [[nodiscard]] uint32_t room() const noexcept { return capacity - available(); }

    /// Producer: appends what has room; returns the number of bytes.
    uint32_t write(const void *from, uint32_t bytes) noexcept
    {
        bytes = std::min(bytes, room());
        const uint64_t position = writePosition.load(std::memory_order_relaxed);
        const uint32_t offset = position & (capacity - 1);
        const uint32_t first = std::min(bytes, capacity - offset);
        std::memcpy(storage.get() + offset, from, first);
        std::memcpy(storage.get(), static_cast<const std::byte *>(from) + first, bytes - first);
        writePosition.store(position + bytes, std::memory_order_release);
        return bytes;
    }

    /// Consumer: takes at most `bytes`; returns their number.
    uint32_t read(void *to, uint32_t bytes) noexcept
    {
        const uint64_t position = lowerEnd();
        bytes = std::min(bytes, uint32_t(writePosition.load(std::memory_order_acquire) - position));
        const uint32_t offset = position & (capacity - 1);
        const uint32_t first = std::min(bytes, capacity - offset);
        std::memcpy(to, storage.get() + offset, first);
        std::memcpy(static_cast<std::byte *>(to) + first, storage.get(), bytes - first);
        readPosition.store(position + bytes, std::memory_order_release);
        return bytes;
    }

    /// Consumer: takes at most `bytes` and drops them.
    void skip(uint32_t bytes) noexcept
    {
        const uint64_t position = lowerEnd();
        bytes = std::min(bytes, uint32_t(writePosition.load(std::memory_order_acquire) - position));
        readPosition.store(position + bytes, std::memory_order_release);
    }

private:
    [[nodiscard]] uint64_t lowerEnd() const noexcept
    {
        return std::max(readPosition.load(std::memory_order_acquire),
                        floor.load(std::memory_order_acquire));
    }

    std::unique_ptr<std::byte[]> storage;
    uint32_t capacity = 0;
    // Each on a cache line of its own: the two threads write one each.
    alignas(64) std::atomic<uint64_t> readPosition{0};
    alignas(64) std::atomic<uint64_t> writePosition{0};
    std::atomic<uint64_t> floor{0}; ///< the writer's: nothing below it is read any more
};
