#pragma once

#include <atomic>
#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

/// Base of objects that count their strong holders (KrSmartPtr) and delete themselves when the last one lets go.
///
/// The count starts at 0. An object that no KrSmartPtr ever held, on the stack say, is destroyed like any other; an
/// object on the stack must never meet a KrSmartPtr, which would delete it.
/// A weak reference can be promoted only while the count is above zero. So promotion of an object without a holder
/// answers null, and succeeds later, once it has one.
/// Copying an object copies no holders: the copy starts at 0, the target of an assignment keeps its own.
/// Thread: all operations may run on any thread. The last release runs the destructor on the thread that lets go.
class KR_API KrRefCount {
public:
    class WeakBlock;

    KrRefCount() noexcept = default;
    KrRefCount(const KrRefCount&) noexcept {}
    KrRefCount& operator=(const KrRefCount&) noexcept { return *this; }
    virtual ~KrRefCount();

    /// Number of strong holders; at or below zero before the first and from the release of the last. A snapshot.
    [[nodiscard]] std::int32_t getRefCount() const noexcept;

    /// True when the count is at or below zero or the object was marked: no new holder may be formed from outside.
    [[nodiscard]] bool _isBeingDestroyed() const noexcept;
    /// From now on promotion fails although holders remain; they keep the object until they let go. Final.
    void _markBeingDestroyed() noexcept;

    void _addRef() const noexcept;
    /// Deletes the object with the last holder.
    void _release() const noexcept;
    /// Lets go of one hold and leaves the object alive even when it was the last: for functions that hold what they
    /// make while they make it, and hand it out unheld.
    void _releaseAlive() const noexcept;
    /// The control block of weak references, made on first use; the caller owns one reference on it.
    [[nodiscard]] WeakBlock* _acquireWeakBlock() const;

private:
    [[nodiscard]] std::atomic<std::int64_t>& _state() const noexcept;

    // Either the state itself (an even number) or, once a weak reference was made, the address of the control block
    // plus 1; the state lives in the block then, where it outlives the object. See ref_count.cpp.
    mutable std::atomic<std::int64_t> _word{0};
};

/// What weak references share of an object: its count, good to look at after the object died.
class KR_API KrRefCount::WeakBlock {
public:
    explicit WeakBlock(std::int64_t state) noexcept : _state(state) {}
    WeakBlock(const WeakBlock&) = delete;
    WeakBlock& operator=(const WeakBlock&) = delete;

    void _addWeak() noexcept;
    void _releaseWeak() noexcept;
    /// Adds a strong holder unless the count is at or below zero or the object is marked as being destroyed.
    [[nodiscard]] bool _tryAddRef() noexcept;
    [[nodiscard]] bool _isExpired() const noexcept;

private:
    friend class KrRefCount;
    ~WeakBlock() = default;

    std::atomic<std::int64_t> _state;
    std::atomic<std::int32_t> _weakCount{1};  // the object itself counts as one
};

}  // namespace Kr
