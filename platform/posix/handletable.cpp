#include "platform/posix/handletable.h"

#include "platform/posix/lasterror.h"

#include <array>
#include <atomic>
#include <optional>

namespace posix
{

namespace
{

// One atomic word tells everything about a slot: the generation in the upper half tells apart the
// handles that the slot has had, the open bit admits newcomers, and the rest counts references,
// the open handle's own included. A lower half of zero is a free slot.
constexpr uint64_t openBit = 0x80000000;
constexpr uint64_t countMask = 0x7FFFFFFF;
constexpr uint64_t lowerHalf = 0xFFFFFFFF;
constexpr int generationShift = 32;

struct Slot
{
    std::atomic<uint64_t> state{0};
    std::atomic<Object *> object{nullptr};
};

std::array<Slot, maximumHandles> table;
std::atomic<std::size_t> searchStart{0};
std::atomic<std::size_t> openCount{0};

struct Name
{
    std::size_t slot;
    uint64_t generation;
};

// Handles are multiples of four and never zero, like the system's own.
constexpr int slotShift = 2;
constexpr int handleGenerationShift = 20;
static_assert((maximumHandles << slotShift) < (1u << handleGenerationShift));

HANDLE toHandle(Name name)
{
    const uint64_t value =
        (name.generation << handleGenerationShift) | ((name.slot + 1) << slotShift);
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

std::optional<Name> toName(HANDLE handle)
{
    const auto value = static_cast<uint64_t>(reinterpret_cast<std::uintptr_t>(handle));
    if (value % (1u << slotShift) != 0)
        return std::nullopt;
    const uint64_t number = (value & ((1u << handleGenerationShift) - 1)) >> slotShift;
    if (number == 0 || number > maximumHandles)
        return std::nullopt;
    return Name{static_cast<std::size_t>(number - 1), value >> handleGenerationShift};
}

bool isOpen(uint64_t state, uint64_t generation)
{
    return (state & openBit) != 0 && state >> generationShift == generation;
}

// The pointer is read before the count drops: from then on the slot may belong to another.
void dropReference(Slot &slot)
{
    Object *object = slot.object.load(std::memory_order_relaxed);
    const uint64_t before = slot.state.fetch_sub(1, std::memory_order_acq_rel);
    if ((before & lowerHalf) == 1)
        delete object;
}

} // namespace

Reference::~Reference()
{
    if (object)
        dropReference(table[slot]);
}

HANDLE createHandle(std::unique_ptr<Object> object)
{
    const std::size_t start = searchStart.fetch_add(1, std::memory_order_relaxed);
    for (std::size_t step = 0; step < maximumHandles; ++step) {
        const std::size_t index = (start + step) % maximumHandles;
        Slot &slot = table[index];
        uint64_t state = slot.state.load(std::memory_order_relaxed);
        if ((state & lowerHalf) != 0)
            continue;
        const uint64_t generation = ((state >> generationShift) + 1) & lowerHalf;
        const uint64_t claimed = (generation << generationShift) | 1;
        if (!slot.state.compare_exchange_strong(state, claimed, std::memory_order_acquire))
            continue;
        slot.object.store(object.release(), std::memory_order_relaxed);
        slot.state.fetch_or(openBit, std::memory_order_release);
        openCount.fetch_add(1, std::memory_order_relaxed);
        return toHandle({index, generation});
    }
    setLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

Reference acquire(HANDLE handle)
{
    const std::optional<Name> name = toName(handle);
    if (!name)
        return {};
    Slot &slot = table[name->slot];
    uint64_t state = slot.state.load(std::memory_order_relaxed);
    while (isOpen(state, name->generation) && (state & countMask) != countMask) {
        if (slot.state.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                             std::memory_order_relaxed))
            return {slot.object.load(std::memory_order_relaxed), name->slot};
    }
    return {};
}

bool closeHandle(HANDLE handle)
{
    const std::optional<Name> name = toName(handle);
    Slot *slot = name ? &table[name->slot] : nullptr;
    uint64_t state = slot ? slot->state.load(std::memory_order_relaxed) : 0;
    while (slot && isOpen(state, name->generation)) {
        // The handle's own reference stays until close() has returned.
        if (!slot->state.compare_exchange_weak(state, state & ~openBit, std::memory_order_acq_rel,
                                               std::memory_order_relaxed))
            continue;
        slot->object.load(std::memory_order_relaxed)->close();
        openCount.fetch_sub(1, std::memory_order_relaxed);
        dropReference(*slot);
        return true;
    }
    return closeForeignHandle(handle);
}

std::size_t openHandles()
{
    return openCount.load(std::memory_order_relaxed);
}

} // namespace posix
