#pragma once

#include <concepts>
#include <cstddef>
#include <utility>

#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace Kr {

/// Weak holder: refers to an object that derives from KrRefCount without keeping it alive.
///
/// lock() gives a strong holder, or null after the last release, after the object was marked as being destroyed, and as
/// long as no strong holder was ever formed (see KrRefCount).
/// Thread: lock() may run at the same time as the last release on another thread; one weak holder as a plain pointer.
/// Ownership: none. A plain pointer given to the constructor must be valid during the call.
template <class T>
class KrWeakPtr {
public:
    constexpr KrWeakPtr() noexcept = default;
    constexpr KrWeakPtr(std::nullptr_t) noexcept {}
    explicit KrWeakPtr(T* object) : _object(object), _block(object ? object->_acquireWeakBlock() : nullptr) {}
    template <class U>
    requires std::convertible_to<U*, T*> KrWeakPtr(const KrSmartPtr<U>& holder)
        : KrWeakPtr(static_cast<T*>(holder.get())) {}
    KrWeakPtr(const KrWeakPtr& other) noexcept : _object(other._object), _block(other._block) { _hold(); }
    KrWeakPtr(KrWeakPtr&& other) noexcept
        : _object(std::exchange(other._object, nullptr)), _block(std::exchange(other._block, nullptr)) {}
    /// Not through a virtual base: that conversion would read an object that may have been deleted.
    template <class U>
    requires std::convertible_to<U*, T*> && requires(T* base) { static_cast<U*>(base); }
    KrWeakPtr(const KrWeakPtr<U>& other) noexcept : _object(other._object), _block(other._block) { _hold(); }
    ~KrWeakPtr() {
        if (_block) _block->_releaseWeak();
    }

    KrWeakPtr& operator=(KrWeakPtr other) noexcept {
        swap(other);
        return *this;
    }

    /// Refers to no object afterwards.
    void reset() noexcept { KrWeakPtr().swap(*this); }
    void swap(KrWeakPtr& other) noexcept {
        std::swap(_object, other._object);
        std::swap(_block, other._block);
    }

    /// A strong holder, or null when the object is dead or has none. Never throws.
    [[nodiscard]] KrSmartPtr<T> lock() const noexcept {
        return _block && _block->_tryAddRef() ? KrSmartPtr<T>::_adopt(_object) : KrSmartPtr<T>();
    }

    /// True when lock() would return null now. Another thread may change that at any time; lock() decides.
    [[nodiscard]] bool isExpired() const noexcept { return !_block || _block->_isExpired(); }

    /// Two weak holders are equal when they refer to the same object, dead or alive.
    [[nodiscard]] bool operator==(const KrWeakPtr& other) const noexcept { return _block == other._block; }

private:
    template <class U>
    friend class KrWeakPtr;

    void _hold() const noexcept {
        if (_block) _block->_addWeak();
    }

    T* _object{nullptr};
    KrRefCount::WeakBlock* _block{nullptr};
};

}  // namespace Kr
