#include "kr/core/internal/live_set.h"

#include <new>

namespace Kr::detail {

namespace {

constexpr std::size_t kSlotsPerLine = 64 / sizeof(std::uintptr_t);
constexpr std::size_t kFirstSlotCount = 8 * kSlotsPerLine;
constexpr unsigned kNeighbourhoodBits = 9;  // 512 bytes: about as many objects as a cache line has slots

std::uintptr_t addressOf(const KrBase* object) noexcept {
    return reinterpret_cast<std::uintptr_t>(object);
}

// Fibonacci hashing of the neighbourhood; the top bits choose the shard, the middle ones the line in it.
std::uint64_t hashOf(std::uintptr_t address) noexcept {
    return (std::uint64_t{address} >> kNeighbourhoodBits) * 0x9E3779B97F4A7C15U;
}

std::uintptr_t* allocateSlots(std::size_t count) {
    return new (std::align_val_t{64}) std::uintptr_t[count]{};
}
void freeSlots(std::uintptr_t* slots) noexcept {
    ::operator delete[](slots, std::align_val_t{64});
}

}  // namespace

std::size_t LiveSetShard::home(std::uintptr_t address) const noexcept {
    return (hashOf(address) >> 24) * kSlotsPerLine & mask;
}

std::size_t LiveSetShard::locate(std::uintptr_t address) const noexcept {
    std::size_t i = home(address);
    while (slots[i] != 0 && slots[i] != address)
        i = (i + 1) & mask;
    return i;
}

void LiveSetShard::grow() {
    std::uintptr_t* const oldSlots = slots;
    const std::size_t oldCount = slots ? mask + 1 : 0;
    const std::size_t newCount = slots ? 2 * oldCount : kFirstSlotCount;
    slots = allocateSlots(newCount);
    mask = newCount - 1;
    for (std::size_t i = 0; i < oldCount; ++i) {
        if (oldSlots[i] != 0) slots[locate(oldSlots[i])] = oldSlots[i];
    }
    freeSlots(oldSlots);
}

LiveSetShard& LiveSet::_shardOf(std::uintptr_t address) noexcept {
    return _shards[hashOf(address) >> 60];
}

void LiveSet::insert(const KrBase* object) {
    const std::uintptr_t address = addressOf(object);
    LiveSetShard& shard = _shardOf(address);
    const std::lock_guard lock(shard.mutex);
    if (!shard.slots || 2 * (shard.count + 1) > shard.mask + 1) shard.grow();
    std::uintptr_t& slot = shard.slots[shard.locate(address)];
    if (slot == 0) ++shard.count;
    slot = address;
}

bool LiveSet::erase(const KrBase* object) noexcept {
    const std::uintptr_t address = addressOf(object);
    LiveSetShard& shard = _shardOf(address);
    const std::lock_guard lock(shard.mutex);
    if (!shard.slots || address == 0) return false;
    std::size_t hole = shard.locate(address);
    if (shard.slots[hole] == 0) return false;
    // Close the gap: an entry moves into the hole unless its home lies between the hole and its place.
    for (std::size_t i = (hole + 1) & shard.mask; shard.slots[i] != 0; i = (i + 1) & shard.mask) {
        const std::size_t distanceFromHome = (i - shard.home(shard.slots[i])) & shard.mask;
        const std::size_t distanceFromHole = (i - hole) & shard.mask;
        if (distanceFromHome < distanceFromHole) continue;
        shard.slots[hole] = shard.slots[i];
        hole = i;
    }
    shard.slots[hole] = 0;
    --shard.count;
    return true;
}

bool LiveSet::contains(const KrBase* object) noexcept {
    const std::uintptr_t address = addressOf(object);
    LiveSetShard& shard = _shardOf(address);
    const std::lock_guard lock(shard.mutex);
    return shard.slots && address != 0 && shard.slots[shard.locate(address)] == address;
}

void LiveSet::appendTo(std::vector<KrBase*>& list) {
    for (LiveSetShard& shard : _shards) {
        const std::lock_guard lock(shard.mutex);
        if (!shard.slots) continue;
        for (std::size_t i = 0; i <= shard.mask; ++i) {
            if (shard.slots[i] != 0) list.push_back(reinterpret_cast<KrBase*>(shard.slots[i]));
        }
    }
}

}  // namespace Kr::detail
