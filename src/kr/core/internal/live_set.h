#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "kr/core/fwd.h"

namespace Kr::detail {

/// A set of addresses: open addressing with linear probing. Erasing moves later entries back, so nothing piles up.
/// Addresses that lie near each other start in one cache line of slots, so that walking objects in the order in which
/// they were made walks few lines of the set.
struct alignas(64) LiveSetShard {
    std::mutex mutex;  // guards all members
    std::uintptr_t* slots{nullptr};
    std::size_t mask{0};  // count of slots less one, the count being a power of two
    std::size_t count{0};

    [[nodiscard]] std::size_t home(std::uintptr_t address) const noexcept;
    /// The slot of the address, or the free slot where the search for it ended. Needs at least one slot.
    [[nodiscard]] std::size_t locate(std::uintptr_t address) const noexcept;
    void grow();
};

/// The addresses of live objects, in shards by address so that threads seldom meet at one mutex.
///
/// Has no constructor to run and nothing to destroy, so objects may come and go before and after `main`.
/// Thread: callable from any thread.
class LiveSet {
public:
    constexpr LiveSet() noexcept = default;

    void insert(const KrBase* object);
    /// Whether the address was there.
    bool erase(const KrBase* object) noexcept;
    [[nodiscard]] bool contains(const KrBase* object) noexcept;
    void appendTo(std::vector<KrBase*>& list);

private:
    static constexpr std::size_t kShardCount = 16;

    [[nodiscard]] LiveSetShard& _shardOf(std::uintptr_t address) noexcept;

    LiveSetShard _shards[kShardCount]{};
};

}  // namespace Kr::detail
