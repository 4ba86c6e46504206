#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "kr/platform/export.h"

namespace Kr::detail {

/// Memory for objects of one size. It comes from the heap in ever larger pieces, which are never freed.
///
/// Pieces are divided into slabs. All free room of one slab is given away before that of the next one: objects that are
/// made together lie together, whatever the order in which others died.
/// Thread: any. Ownership: never frees a piece.
class KR_API ObjectPool {
public:
    /// All sizes are multiples of this, and all objects begin half of it after a multiple: then the last part of a
    /// field's head and the start of its value share a cache line.
    static constexpr std::size_t kStep = 32;

    constexpr ObjectPool() noexcept = default;
    ObjectPool(const ObjectPool&) = delete;
    ObjectPool& operator=(const ObjectPool&) = delete;

    /// \param bytes  the same at every call, a multiple of kStep, at most 1024; throws std::bad_alloc.
    [[nodiscard]] void* take(std::size_t bytes);
    void giveBack(void* object) noexcept;
    /// Number of allocations so far.
    [[nodiscard]] std::uint64_t getTakenCount();

private:
    struct Link {
        Link* next;
    };
    /// The head of a slab, at a multiple of its size.
    struct Slab {
        Link* free;
        Slab* nextWithRoom;
        Slab* nextPiece;  // in the first slab of a piece
    };
    void _makeSlab(std::size_t bytes);
    void _makePiece();

    std::mutex _mutex;  // guards all
    Slab* _withRoom{nullptr};
    Slab* _pieces{nullptr};     // so that leak checkers reach them
    std::byte* _next{nullptr};  // the unused rest of the newest slab
    std::byte* _end{nullptr};
    std::byte* _nextSlab{nullptr};  // the unused rest of the newest piece
    std::byte* _pieceEnd{nullptr};
    std::size_t _pieceBytes{0};
    std::uint64_t _takenCount{0};
};

/// Called before each allocation from a pool, on the thread that allocates; it may throw std::bad_alloc. Null
/// calls nothing. For tests of what happens when memory runs out: pools take much of it at once, so that single objects
/// could not fail otherwise.
KR_API void setPoolWatch(void (*watch)()) noexcept;

}  // namespace Kr::detail
