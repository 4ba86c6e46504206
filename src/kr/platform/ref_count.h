#pragma once

#include <atomic>
#include <cstdint>

#include "kr/platform/export.h"

namespace Kr {

template <class T>
class KrSmartPtr;
template <class T>
class KrWeakPtr;
namespace detail {
struct RefCountAccess;
}  // namespace detail

/// Base of objects that count their strong holders (KrSmartPtr) and delete themselves with the last release.
///
/// The count starts at 0. An object that no KrSmartPtr ever held, for example on the stack, is destroyed like any
/// other. Never form a KrSmartPtr to an object on the stack: it would delete the object. A weak reference can be
/// promoted only while the count is above zero: promotion of an object without a holder gives null, and succeeds once
/// the object has a holder. A copy of an object starts at 0; the target of an assignment keeps its own count.
/// Thread: any. The last release runs the destructor on its thread. Ownership: shared by the holders.
class KR_API KrRefCount {
public:
    class WeakBlock;

    KrRefCount() noexcept = default;
    KrRefCount(const KrRefCount&) noexcept {}  ///< The copy has no holders.
    KrRefCount& operator=(const KrRefCount&) noexcept { return *this; }
    virtual ~KrRefCount();

    /// Number of strong holders; zero or below before the first holder and from the last release on. A snapshot.
    [[nodiscard]] std::int32_t getRefCount() const noexcept;

private:
    template <class T>
    friend class KrSmartPtr;
    template <class T>
    friend class KrWeakPtr;
    friend struct detail::RefCountAccess;

    /// True when the count is zero or below or the object was marked: no new holder may be formed from outside.
    [[nodiscard]] bool _isBeingDestroyed() const noexcept;
    /// Promotion fails from now on although holders remain; they keep the object until their release. Cannot be undone.
    void _markBeingDestroyed() noexcept;

    /// Adds a strong holder. Each call needs one _release().
    void _addRef() const noexcept;
    /// Deletes the object with the last holder.
    void _release() const noexcept;
    /// Releases one hold without deleting the object, even when it was the last: for functions that hold an object
    /// while they make it and return it unheld.
    void _releaseAlive() const noexcept;
    /// The control block of weak references, made with the first call; the caller owns one reference to it.
    [[nodiscard]] WeakBlock* _acquireWeakBlock() const;
    [[nodiscard]] std::atomic<std::int64_t>& _state() const noexcept;

    // Either the state itself (an even number) or, once a weak reference was made, the address of the control block
    // plus 1; the state lives in the block then, where it outlives the object. See ref_count.cpp.
    mutable std::atomic<std::int64_t> _word{0};
};

/// What weak references share of an object: its count, readable after the object died.
/// Thread: any. Ownership: shared by the object and its weak references; deletes itself with the last release.
class KR_API KrRefCount::WeakBlock {
public:
    explicit WeakBlock(std::int64_t state) noexcept : _state(state) {}
    WeakBlock(const WeakBlock&) = delete;
    WeakBlock& operator=(const WeakBlock&) = delete;

private:
    friend class KrRefCount;
    template <class T>
    friend class KrWeakPtr;
    ~WeakBlock() = default;

    void _addWeak() noexcept;
    void _releaseWeak() noexcept;
    /// Adds a strong holder unless the count is at or below zero or the object is marked as being destroyed.
    [[nodiscard]] bool _tryAddRef() noexcept;
    [[nodiscard]] bool _isExpired() const noexcept;  ///< Whether _tryAddRef() would fail now; a snapshot.

    std::atomic<std::int64_t> _state;
    std::atomic<std::int32_t> _weakCount{1};  // the object itself counts as one
};

}  // namespace Kr
