#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>

#include "kr/events/fwd.h"
#include "kr/signals/snapshot_list.h"

namespace KrSim::detail {

/// A listener under one number: in the list of the number, and held by the listener.
struct EventRegistration final : Kr::SnapshotList::Entry {
    static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

    EventRegistration(Kr::SnapshotList& list, KrSimEventListener& itsListener) noexcept
        : Entry(list), listener(&itsListener) {}

    std::atomic<KrSimEventListener*> listener;  // null once it has died
    std::atomic<std::uint64_t> ended{kNever};   // the generation of the table that does not have it any more
};

/// The listeners of all numbers: one list for each number, which deliveries find and read without a lock.
///
/// A delivery also calls a listener that was unregistered after its beginning. Thus a listener keeps the registrations
/// that a delivery may still see, and takes its address out of them when it dies. Lists are never destroyed.
class ListenerTable {
public:
    class Delivery;

    /// The one instance, never destroyed.
    static ListenerTable& instance();
    ListenerTable(const ListenerTable&) = delete;
    ListenerTable& operator=(const ListenerTable&) = delete;

    void add(int id, KrSimEventListener& listener);
    void remove(int id, KrSimEventListener& listener) noexcept;
    /// Ends all registrations of a dying listener; deliveries in progress on this thread skip it.
    void forget(KrSimEventListener& listener) noexcept;
    /// The number of the last change.
    [[nodiscard]] std::uint64_t getGeneration() const noexcept { return _generation.load(std::memory_order_acquire); }

private:
    struct List final : Kr::SnapshotList {
        List(int number, List* withSameHash) noexcept
            : SnapshotList(nullptr, nullptr), id(number), next(withSameHash) {}
        using SnapshotList::_add;

        const int id;
        List* const next;
    };

    ListenerTable() = default;
    ~ListenerTable() = delete;

    static constexpr std::size_t kBuckets = 1024;

    [[nodiscard]] static std::size_t _bucketOf(int id) noexcept {
        return static_cast<std::size_t>(static_cast<std::uint32_t>(id) * 0x9E3779B97F4A7C15ull >> 32) % kBuckets;
    }
    /// Null while nothing was ever registered for the number.
    [[nodiscard]] List* _find(int id) const noexcept {
        auto* list = _lists[_bucketOf(id)].load(std::memory_order_acquire);
        while (list != nullptr && list->id != id)
            list = list->next;
        return list;
    }
    void _end(EventRegistration& registration) noexcept;

    std::array<std::atomic<List*>, kBuckets> _lists{};  // the first one of each hash; written under the lock
    std::atomic<std::uint64_t> _generation{1};          // the same
    std::mutex _mutex;                                  // guards the registrations of all listeners
};

/// The listeners of a number at one moment. On the stack.
class ListenerTable::Delivery {
public:
    Delivery(const ListenerTable& table, int id) noexcept
        : _generation(table.getGeneration()), _reader(table._find(id)) {}

    [[nodiscard]] std::uint64_t getGeneration() const noexcept { return _generation; }
    [[nodiscard]] std::uint32_t size() const noexcept { return _reader.size(); }
    /// Null when the listener has died, or was unregistered before the delivery.
    [[nodiscard]] KrSimEventListener* operator[](std::uint32_t index) const noexcept {
        const auto& registration = static_cast<const EventRegistration&>(_reader.at(index));
        const bool isIncluded = registration.ended.load(std::memory_order_relaxed) > _generation;
        return isIncluded ? registration.listener.load(std::memory_order_relaxed) : nullptr;
    }

private:
    const std::uint64_t _generation;
    const Kr::SnapshotList::Reader _reader;
};

}  // namespace KrSim::detail
