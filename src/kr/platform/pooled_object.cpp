#include "kr/platform/pooled_object.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "kr/platform/internal/object_pool.h"
#include "kr/platform/large_pages.h"
#include "kr/platform/pool_usage.h"

namespace Kr {

namespace detail {

namespace {
/// That of a few pages: the processor holds the addresses of all while a slab is in use.
constexpr std::size_t kSlab = std::size_t{16} << 10;
/// That of a large page: large simulations do not wait for address translation then.
constexpr std::size_t kLargestPiece = std::size_t{2} << 20;

constinit std::atomic<void (*)()> poolWatch{nullptr};
}  // namespace

void setPoolWatch(void (*watch)()) noexcept {
    poolWatch.store(watch);
}

void ObjectPool::_makePiece() {
    const auto pieceBytes = std::clamp(_pieceBytes * 2, kSlab, kLargestPiece);
    const auto alignment = pieceBytes == kLargestPiece ? pieceBytes : kSlab;
    auto* piece = static_cast<std::byte*>(std::aligned_alloc(alignment, pieceBytes));
    if (piece == nullptr) throw std::bad_alloc();
    preferLargePages(piece, pieceBytes);
    _pieces = new (piece) Slab{nullptr, nullptr, _pieces};
    _pieceBytes = pieceBytes;
    _nextSlab = piece;
    _pieceEnd = piece + pieceBytes;
}

void ObjectPool::_makeSlab(std::size_t bytes) {
    constexpr auto kHead = kStep / 2 * 3;
    static_assert(sizeof(Slab) <= kHead);
    if (_nextSlab == _pieceEnd) _makePiece();
    if (_nextSlab != reinterpret_cast<std::byte*>(_pieces)) new (_nextSlab) Slab{};
    _next = _nextSlab + kHead;
    _end = _next + (kSlab - kHead) / bytes * bytes;
    _nextSlab += kSlab;
}

void* ObjectPool::take(std::size_t bytes) {
    if (auto* watch = poolWatch.load(std::memory_order_relaxed)) watch();
    const std::lock_guard lock(_mutex);
    ++_takenCount;
    if (auto* slab = _withRoom) {
        auto* found = slab->free;
        slab->free = found->next;
        if (slab->free == nullptr) _withRoom = slab->nextWithRoom;
        return found;
    }
    if (_next == _end) _makeSlab(bytes);
    auto* made = _next;
    _next += bytes;
    return made;
}

void ObjectPool::giveBack(void* object) noexcept {
    const std::lock_guard lock(_mutex);
    const auto address = reinterpret_cast<std::uintptr_t>(object);
    auto* slab = reinterpret_cast<Slab*>(address - address % kSlab);
    if (slab->free == nullptr) {
        slab->nextWithRoom = _withRoom;
        _withRoom = slab;
    }
    slab->free = new (object) Link{slab->free};
}

std::uint64_t ObjectPool::getTakenCount() {
    const std::lock_guard lock(_mutex);
    return _takenCount;
}

}  // namespace detail

namespace {

#if defined(__has_feature)
#define KR_HAS_FEATURE(feature) __has_feature(feature)
#else
#define KR_HAS_FEATURE(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || KR_HAS_FEATURE(address_sanitizer) || \
    KR_HAS_FEATURE(thread_sanitizer)
constexpr std::size_t kLargestPooled = 0;
#else
constexpr std::size_t kLargestPooled = 512;
#endif

using Pools = std::array<detail::ObjectPool, kLargestPooled / detail::ObjectPool::kStep + 1>;

/// By size. Never destroyed: objects may die until the very end.
Pools& pools() {
    static constinit Pools all;
    static_assert(std::is_trivially_destructible_v<Pools>);
    return all;
}

constexpr std::size_t stepsOf(std::size_t bytes) noexcept {
    return (bytes + detail::ObjectPool::kStep - 1) / detail::ObjectPool::kStep;
}

}  // namespace

void* PooledObject::operator new(std::size_t bytes) {
    if (bytes > kLargestPooled) return ::operator new(bytes);
    const auto steps = stepsOf(bytes);
    return pools()[steps].take(steps * detail::ObjectPool::kStep);
}

void PooledObject::operator delete(void* object, std::size_t bytes) noexcept {
    if (object == nullptr) return;
    if (bytes > kLargestPooled) return ::operator delete(object);
    pools()[stepsOf(bytes)].giveBack(object);
}

PoolUsage getPoolUsage() {
    PoolUsage usage;
    for (std::size_t steps = 0; steps < pools().size(); ++steps) {
        const auto count = pools()[steps].getTakenCount();
        usage.objects += count;
        usage.bytes += count * steps * detail::ObjectPool::kStep;
    }
    return usage;
}

}  // namespace Kr
