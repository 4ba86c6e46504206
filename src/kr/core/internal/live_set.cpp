#include "kr/core/internal/live_set.h"

#include <algorithm>
#include <bit>
#include <new>

#include "kr/core/base.h"

namespace Kr::detail {

namespace {

static_assert(sizeof(KrBase) >= 64 && alignof(KrBase) == 8, "a page keeps one object for every 64 bytes");

constexpr unsigned kPageBits = 12;
constexpr unsigned kPlaceBits = 6;
constexpr std::size_t kFirstPageCount = 16;

std::uintptr_t addressOf(const KrBase* object) noexcept {
    return reinterpret_cast<std::uintptr_t>(object);
}
std::uintptr_t pageOf(std::uintptr_t address) noexcept {
    return address >> kPageBits;
}
std::uint64_t placeBit(std::uintptr_t address) noexcept {
    return std::uint64_t{1} << (address >> kPlaceBits & 63U);
}

// Whether this can be the address of an object at all.
bool isPossible(std::uintptr_t address) noexcept {
    return address % alignof(KrBase) == 0 && pageOf(address) != 0;
}

// Fibonacci hashing; the top four bits choose the shard, the middle ones the record in it.
std::uint64_t hashOf(std::uintptr_t pageNumber) noexcept {
    return std::uint64_t{pageNumber} * 0x9E3779B97F4A7C15U;
}

}  // namespace

// One page

bool LivePage::contains(std::uintptr_t address) const noexcept {
    const std::uint64_t place = placeBit(address);
    if ((isOccupied & place) == 0) return false;
    std::uint64_t eighth = 0;
    for (unsigned bit = 0; bit < 3; ++bit)
        eighth |= std::uint64_t{(eighths[bit] & place) != 0} << bit;
    return eighth == (address >> 3U & 7U);
}

void LivePage::insert(std::uintptr_t address) noexcept {
    const std::uint64_t place = placeBit(address);
    isOccupied |= place;
    for (unsigned bit = 0; bit < 3; ++bit) {
        eighths[bit] = (address >> (3U + bit) & 1U) != 0 ? eighths[bit] | place : eighths[bit] & ~place;
    }
}

void LivePage::erase(std::uintptr_t address) noexcept {
    isOccupied &= ~placeBit(address);
}

// The pages of one shard

LivePage& LiveSetShard::locate(std::uintptr_t pageNumber) const noexcept {
    std::size_t i = hashOf(pageNumber) >> 24U & mask;
    while (pages[i].number != 0 && pages[i].number != pageNumber)
        i = (i + 1) & mask;
    return pages[i];
}

void LiveSetShard::rebuild() {
    LivePage* const oldPages = pages;
    LivePage* const oldEnd = oldPages ? oldPages + mask + 1 : nullptr;
    const auto isInUse = [](const LivePage& page) { return page.isOccupied != 0; };
    const auto livePageCount = static_cast<std::size_t>(std::count_if(oldPages, oldEnd, isInUse));
    // At most a quarter full, so that many new pages come before the next time.
    const std::size_t newCount = std::max(kFirstPageCount, std::bit_ceil(4 * (livePageCount + 1)));
    pages = new LivePage[newCount];
    mask = newCount - 1;
    usedCount = livePageCount;
    for (const LivePage* page = oldPages; page != oldEnd; ++page) {
        if (isInUse(*page)) locate(page->number) = *page;
    }
    delete[] oldPages;
}

// The set

LiveSetShard& LiveSet::_shardOf(std::uintptr_t address) noexcept {
    return _shards[hashOf(pageOf(address)) >> 60U];
}

void LiveSet::insert(const KrBase* object) {
    const std::uintptr_t address = addressOf(object);
    LiveSetShard& shard = _shardOf(address);
    const std::lock_guard lock(shard.mutex);
    if (!shard.pages) shard.rebuild();
    LivePage* page = &shard.locate(pageOf(address));
    if (page->number == 0) {
        if (2 * (shard.usedCount + 1) > shard.mask + 1) {
            shard.rebuild();
            page = &shard.locate(pageOf(address));
        }
        page->number = pageOf(address);
        ++shard.usedCount;
    }
    page->insert(address);
}

bool LiveSet::erase(const KrBase* object) noexcept {
    const std::uintptr_t address = addressOf(object);
    if (!isPossible(address)) return false;
    LiveSetShard& shard = _shardOf(address);
    const std::lock_guard lock(shard.mutex);
    if (!shard.pages) return false;
    LivePage& page = shard.locate(pageOf(address));
    if (!page.contains(address)) return false;
    page.erase(address);
    return true;
}

template <class Condition>
bool LiveSet::_contains(const KrBase* object, const Condition& condition) noexcept {
    const std::uintptr_t address = addressOf(object);
    if (!isPossible(address)) return false;
    LiveSetShard& shard = _shardOf(address);
    const std::lock_guard lock(shard.mutex);
    return shard.pages && shard.locate(pageOf(address)).contains(address) && condition();
}

bool LiveSet::contains(const KrBase* object) noexcept {
    return _contains(object, [] { return true; });
}

bool LiveSet::contains(const KrBase* object, std::uint32_t serial) noexcept {
    // Under the lock, which the destructor of the object takes first of all.
    return _contains(object, [&] { return object->_getSerial() == serial; });
}

void LiveSet::appendTo(std::vector<KrBase*>& list) {
    for (LiveSetShard& shard : _shards) {
        const std::lock_guard lock(shard.mutex);
        if (!shard.pages) continue;
        for (const LivePage* page = shard.pages; page != shard.pages + shard.mask + 1; ++page) {
            for (std::uint64_t left = page->isOccupied; left != 0; left &= left - 1) {
                const auto place = static_cast<unsigned>(std::countr_zero(left));
                std::uintptr_t address = page->number << kPageBits | std::uintptr_t{place} << kPlaceBits;
                for (unsigned bit = 0; bit < 3; ++bit)
                    address |= (page->eighths[bit] >> place & 1U) << (3U + bit);
                list.push_back(reinterpret_cast<KrBase*>(address));
            }
        }
    }
}

}  // namespace Kr::detail
