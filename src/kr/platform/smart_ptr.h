#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace Kr {

template <class T>
class KrWeakPtr;
namespace detail {
struct RefCountAccess;
}  // namespace detail

/// Strong holder of an object that derives from KrRefCount, or null. The last holder deletes the object.
///
/// T may be incomplete where a holder is only declared; making, copying and destroying one needs the class.
/// The object contains the count, so a holder may be formed from a plain pointer at any time, but not from a pointer to
/// an object on the stack or in a container: it would be deleted.
/// Thread: holders of one object may be used on several threads, one holder as a plain pointer. Ownership: shared.
template <class T>
class KrSmartPtr {
public:
    using element_type = T;

    constexpr KrSmartPtr() noexcept = default;
    constexpr KrSmartPtr(std::nullptr_t) noexcept {}
    /// Holds the object, which may be null. Never pass an object on the stack.
    explicit KrSmartPtr(T* object) noexcept : _object(object) { _hold(); }
    KrSmartPtr(const KrSmartPtr& other) noexcept : _object(other._object) { _hold(); }
    KrSmartPtr(KrSmartPtr&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
    template <class U>
    requires std::convertible_to<U*, T*> KrSmartPtr(const KrSmartPtr<U>& other)
    noexcept : _object(other.get()) { _hold(); }
    template <class U>
    requires std::convertible_to<U*, T*> KrSmartPtr(KrSmartPtr<U>&& other)
    noexcept : _object(other._detach()) {}
    ~KrSmartPtr() {
        if (_object) _object->_release();
    }

    /// The new object is held before the old one is released, so its destructor already sees the new value.
    KrSmartPtr& operator=(KrSmartPtr other) noexcept {
        swap(other);
        return *this;
    }

    /// Releases the object; null afterwards.
    void reset() noexcept { KrSmartPtr().swap(*this); }
    /// Holds the object before it releases the old one.
    void reset(T* object) noexcept { KrSmartPtr(object).swap(*this); }
    void swap(KrSmartPtr& other) noexcept { std::swap(_object, other._object); }

    /// Borrowed: valid as long as the object has a holder.
    [[nodiscard]] T* get() const noexcept { return _object; }
    T& operator*() const noexcept { return *_object; }  ///< Must not be null.
    T* operator->() const noexcept { return _object; }  ///< Must not be null.
    explicit operator bool() const noexcept { return _object != nullptr; }

private:
    template <class U>
    friend class KrSmartPtr;
    template <class U>
    friend class KrWeakPtr;
    friend struct detail::RefCountAccess;

    /// Gives up the object without a release: the caller releases it once.
    [[nodiscard]] T* _detach() noexcept { return std::exchange(_object, nullptr); }
    /// Takes over one hold of the caller.
    [[nodiscard]] static KrSmartPtr _adopt(T* object) noexcept {
        KrSmartPtr holder;
        holder._object = object;
        return holder;
    }
    void _hold() const noexcept {
        if (_object) _object->_addRef();
    }

    T* _object{nullptr};
};

template <class T, class U>
[[nodiscard]] bool operator==(const KrSmartPtr<T>& left, const KrSmartPtr<U>& right) noexcept {
    return left.get() == right.get();
}
template <class T>
[[nodiscard]] bool operator==(const KrSmartPtr<T>& left, const T* right) noexcept {
    return left.get() == right;
}
template <class T>
[[nodiscard]] bool operator==(const KrSmartPtr<T>& left, std::nullptr_t) noexcept {
    return left.get() == nullptr;
}
/// By address: an order for ordered containers, without further meaning.
template <class T, class U>
[[nodiscard]] std::strong_ordering operator<=>(const KrSmartPtr<T>& left, const KrSmartPtr<U>& right) noexcept {
    return std::compare_three_way()(left.get(), right.get());
}

/// Makes a T and its first holder.
template <class T, class... Arguments>
[[nodiscard]] KrSmartPtr<T> makeSmart(Arguments&&... arguments) {
    return KrSmartPtr<T>(new T(std::forward<Arguments>(arguments)...));
}

/// The same object as a T, or null when it is not a T. The library that defines T must export it.
template <class T, class U>
[[nodiscard]] KrSmartPtr<T> dynamicPointerCast(const KrSmartPtr<U>& pointer) noexcept {
    return KrSmartPtr<T>(dynamic_cast<T*>(pointer.get()));
}

}  // namespace Kr

template <class T>
struct std::hash<Kr::KrSmartPtr<T>> {
    std::size_t operator()(const Kr::KrSmartPtr<T>& pointer) const noexcept { return hash<T*>()(pointer.get()); }
};
