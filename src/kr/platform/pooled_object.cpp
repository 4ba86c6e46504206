#include "kr/platform/pooled_object.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <type_traits>

#include "kr/platform/internal/object_pool.h"
#include "kr/platform/pool_usage.h"

namespace Kr {

namespace detail {

namespace {
constexpr std::size_t kFirstPiece = std::size_t{16} << 10;
/// That of a huge page: large simulations do not wait for address translation then.
constexpr std::size_t kLargestPiece = std::size_t{2} << 20;

constinit std::atomic<void (*)()> poolWatch{nullptr};
}  // namespace

void setPoolWatch(void (*watch)()) noexcept {
    poolWatch.store(watch);
}

void ObjectPool::_makeRoom(std::size_t bytes) {
    const auto pieceBytes = std::clamp(_pieceBytes * 2, kFirstPiece, kLargestPiece);
    auto* piece =
        static_cast<std::byte*>(std::aligned_alloc(pieceBytes == kLargestPiece ? pieceBytes : 64, pieceBytes));
    if (piece == nullptr) throw std::bad_alloc();
    if (pieceBytes == kLargestPiece) static_cast<void>(madvise(piece, pieceBytes, MADV_HUGEPAGE));
    static_assert(sizeof(Link) <= kStep / 2);
    _pieces = new (piece) Link{_pieces};
    _pieceBytes = pieceBytes;
    _next = piece + kStep / 2;
    _end = _next + (pieceBytes - kStep / 2) / bytes * bytes;
}

void* ObjectPool::take(std::size_t bytes) {
    if (auto* watch = poolWatch.load(std::memory_order_relaxed)) watch();
    const std::lock_guard lock(_mutex);
    ++_takenCount;
    if (auto* found = _free) {
        _free = found->next;
        return found;
    }
    if (_next == _end) _makeRoom(bytes);
    auto* made = _next;
    _next += bytes;
    return made;
}

void ObjectPool::giveBack(void* object) noexcept {
    const std::lock_guard lock(_mutex);
    _free = new (object) Link{_free};
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
