#include "kr/core/id.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <memory>
#include <mutex>
#include <type_traits>

namespace Kr {

static_assert(sizeof(KrID) == 16 && std::is_trivially_copyable_v<KrID>);

namespace {

// --- Texts ---------------------------------------------------------------------------------------------------------

// In chunks of which each is twice as long as the one before: texts do not move, and their indices need no table. What
// a chunk has not used yet takes no memory but addresses. Never destroyed: identifiers in static objects return their
// text until the process ends.
constexpr std::size_t kFirstChunkBits = 10;
constexpr std::size_t kChunkCount = 32 - kFirstChunkBits + 1;
constinit std::atomic<std::string*> chunks[kChunkCount]{};

struct Place {
    std::size_t chunk;
    std::size_t offset;
};

constexpr Place placeOf(std::uint32_t index) noexcept {
    const std::uint64_t shifted = std::uint64_t{index} + (std::uint64_t{1} << kFirstChunkBits);
    const auto bits = static_cast<std::size_t>(std::bit_width(shifted)) - 1;
    return {bits - kFirstChunkBits, static_cast<std::size_t>(shifted - std::bit_floor(shifted))};
}
static_assert(placeOf(0xffffffff).chunk == kChunkCount - 1);

// Of an index that was read from a slot.
const std::string& textAt(std::uint32_t index) noexcept {
    const auto place = placeOf(index);
    return chunks[place.chunk].load(std::memory_order_relaxed)[place.offset];
}

// Under the mutex.
void storeText(std::uint32_t index, std::string_view text) {
    const auto place = placeOf(index);
    auto* chunk = chunks[place.chunk].load(std::memory_order_relaxed);
    if (chunk == nullptr) {
        chunk = std::allocator<std::string>().allocate(std::size_t{1} << (place.chunk + kFirstChunkBits));
        chunks[place.chunk].store(chunk, std::memory_order_relaxed);
    }
    std::construct_at(chunk + place.offset, text);
}

// --- Numbers -------------------------------------------------------------------------------------------------------

// Open addressing with linear probing. A slot is one word, the index of the text less one above the number, which is
// written once and never cleared: readers need no lock.
using Slot = std::atomic<std::uint64_t>;

struct Slots {
    Slot* first;
    std::size_t mask;       // count of slots less one, the count being a power of two
    const Slots* previous;  // outgrown tables stay: a reader may still be in one

    [[nodiscard]] std::size_t home(std::int32_t number) const noexcept {
        return static_cast<std::uint32_t>(number) & mask;
    }

    // The text of the number, or null. Any thread.
    [[nodiscard]] const std::string* find(std::int32_t number) const noexcept {
        for (std::size_t i = home(number);; i = (i + 1) & mask) {
            const std::uint64_t word = first[i].load(std::memory_order_acquire);
            if (word == 0) return nullptr;
            if (static_cast<std::int32_t>(word & 0xffffffff) == number)
                return &textAt(static_cast<std::uint32_t>((word >> 32U) - 1));
        }
    }

    // Enters a word with a new number. Under the mutex, or before the table is published.
    void enter(std::uint64_t word) const noexcept {
        std::size_t i = home(static_cast<std::int32_t>(word & 0xffffffff));
        while (first[i].load(std::memory_order_relaxed) != 0)
            i = (i + 1) & mask;
        first[i].store(word, std::memory_order_release);
    }
};

// Constant initialisation: static objects of other files intern before any code of this one has run.
constexpr std::size_t kFirstSlotCount = 1024;
constinit Slot firstSlots[kFirstSlotCount];
constinit const Slots firstTable{firstSlots, kFirstSlotCount - 1, nullptr};
constinit std::atomic<const Slots*> currentTable{&firstTable};

constinit std::mutex tableMutex;  // guards textCount, and every write to the chunks and the tables
constinit std::uint32_t textCount = 0;

// All outgrown tables together take as much as the current one.
const Slots& grow(const Slots& old) {
    const std::size_t count = 2 * (old.mask + 1);
    auto slots = std::make_unique<Slot[]>(count);
    auto table = std::make_unique<Slots>(Slots{slots.get(), count - 1, &old});
    for (std::size_t i = 0; i <= old.mask; ++i) {
        if (const std::uint64_t word = old.first[i].load(std::memory_order_relaxed)) table->enter(word);
    }
    slots.release();
    currentTable.store(table.get(), std::memory_order_release);
    return *table.release();
}

[[gnu::noinline]] const std::string* enterText(std::int32_t number, std::string_view text) {
    const std::lock_guard lock(tableMutex);
    const Slots* current = currentTable.load(std::memory_order_relaxed);
    // Another thread may have entered the number meanwhile.
    if (const std::string* known = current->find(number)) return known;
    // Three quarters full at most: fuller tables make searches long.
    if (4 * (std::uint64_t{textCount} + 1) > 3 * (current->mask + 1)) current = &grow(*current);
    storeText(textCount, text);
    current->enter(((std::uint64_t{textCount} + 1) << 32U) | static_cast<std::uint32_t>(number));
    return &textAt(textCount++);
}

const std::string* intern(std::int32_t number, std::string_view text) {
    const std::string* known = currentTable.load(std::memory_order_acquire)->find(number);
    return known ? known : enterText(number, text);
}

}  // namespace

const std::string* KrID::_get(std::int32_t number) noexcept {
    return currentTable.load(std::memory_order_acquire)->find(number);
}

KrID KrID::_fromConstant(std::int32_t number, std::string_view text) {
    KrID id;
    if (!text.empty()) {
        id._number = number;
        id._text = intern(number, text);
    }
    return id;
}

void KrID::_init(std::string_view text) {
    *this = _fromConstant(numberFor(text), text);
}

const std::string& KrID::_getEmptyText() noexcept {
    static const auto& empty = *new std::string;
    return empty;
}

}  // namespace Kr
