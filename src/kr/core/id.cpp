#include "kr/core/id.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <type_traits>

namespace Kr {

static_assert(sizeof(KrID) == 16 && std::is_trivially_copyable_v<KrID>);

namespace {

// Open addressing with linear probing: a slot is written once and never cleared, so readers need no lock. A slot's
// number is written before its text is published, and read only after the text was seen.
struct Slot {
    std::atomic<const std::string*> text{nullptr};
    std::int32_t number{0};
};

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
            const std::string* text = first[i].text.load(std::memory_order_acquire);
            if (!text || first[i].number == number) return text;
        }
    }

    // Enters a number that is not there yet. Under the mutex, or before the table is published.
    void enter(std::int32_t number, const std::string* text) const noexcept {
        std::size_t i = home(number);
        while (first[i].text.load(std::memory_order_relaxed))
            i = (i + 1) & mask;
        first[i].number = number;
        first[i].text.store(text, std::memory_order_release);
    }
};

// Constant initialisation: static objects of other files intern before any code of this one has run.
constexpr std::size_t kFirstSlotCount = 1024;
constinit Slot firstSlots[kFirstSlotCount];
constinit const Slots firstTable{firstSlots, kFirstSlotCount - 1, nullptr};
constinit std::atomic<const Slots*> currentTable{&firstTable};

constinit std::mutex tableMutex;  // guards textCount, the text store and every write to the tables
constinit std::size_t textCount = 0;

// Never destroyed: identifiers in static objects answer their text to the very end. A deque does not move its items.
std::deque<std::string>& textStore() {
    static auto& store = *new std::deque<std::string>;
    return store;
}

const Slots& grow(const Slots& old) {
    const std::size_t count = 4 * (old.mask + 1);
    auto slots = std::make_unique<Slot[]>(count);
    auto table = std::make_unique<Slots>(Slots{slots.get(), count - 1, &old});
    for (std::size_t i = 0; i <= old.mask; ++i) {
        if (const std::string* text = old.first[i].text.load(std::memory_order_relaxed)) {
            table->enter(old.first[i].number, text);
        }
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
    if (2 * (textCount + 1) > current->mask + 1) current = &grow(*current);
    const std::string* stored = &textStore().emplace_back(text);
    current->enter(number, stored);
    ++textCount;
    return stored;
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
