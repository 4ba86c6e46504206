#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "kr/core/fwd.h"

namespace Kr::detail {

/// The objects that begin in one page of memory, 4096 bytes. The page has 64 places of 64 bytes; no object is smaller,
/// so at most one object begins in each.
struct alignas(64) LivePage {
    std::uintptr_t number{0};     // address / 4096; 0 for a free record
    std::uint64_t isOccupied{0};  // one bit for each place
    std::uint64_t eighths[3]{};   // by place, the bits of the number of 8 bytes at which the object begins in it

    [[nodiscard]] bool contains(std::uintptr_t address) const noexcept;
    void insert(std::uintptr_t address) noexcept;
    void erase(std::uintptr_t address) noexcept;
};

/// Pages in open addressing with linear probing. A page that has lost its objects is kept until the table is rebuilt:
/// the next object is likely to get memory there.
struct alignas(64) LiveSetShard {
    std::mutex mutex;  // guards all members
    LivePage* pages{nullptr};
    std::size_t mask{0};       // count of records less one, the count being a power of two
    std::size_t usedCount{0};  // records with a page number

    /// The record of the page, or the free record at which its search ended. Needs a table.
    [[nodiscard]] LivePage& locate(std::uintptr_t pageNumber) const noexcept;
    void rebuild();
};

/// The addresses of live objects, in shards by page so that threads seldom meet at one mutex.
///
/// Works page by page, because objects created one after the other share pages: a test for life reads one cache line
/// that many neighbours share.
/// Has no constructor to run and nothing to destroy, so it works before and after `main`. Thread: any.
class LiveSet {
public:
    constexpr LiveSet() noexcept = default;

    void insert(const KrBase* object);
    /// Returns whether the set contained the address.
    bool erase(const KrBase* object) noexcept;
    [[nodiscard]] bool contains(const KrBase* object) noexcept;
    /// The same for the object with this serial number.
    [[nodiscard]] bool contains(const KrBase* object, std::uint32_t serial) noexcept;
    void appendTo(std::vector<KrBase*>& list);

private:
    static constexpr std::size_t kShardCount = 16;

    [[nodiscard]] LiveSetShard& _shardOf(std::uintptr_t address) noexcept;
    template <class Condition>
    [[nodiscard]] bool _contains(const KrBase* object, const Condition& condition) noexcept;

    LiveSetShard _shards[kShardCount]{};
};

}  // namespace Kr::detail
