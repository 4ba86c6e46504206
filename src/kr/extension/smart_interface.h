#pragma once

#include <concepts>
#include <cstddef>

#include "kr/extension/fwd.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Strong holder of an implementation half: it holds the framework half, which owns the implementation.
///
/// T is IExtension or a class derived from it. The implementation lives as long as its KrExtension keeps it: when the
/// KrExtension gets another implementation, this one is destroyed in spite of the holder.
/// Thread: one holder as a plain pointer. Ownership: shared.
template <class T>
class KrSmartInterface {
public:
    constexpr KrSmartInterface() noexcept = default;
    constexpr KrSmartInterface(std::nullptr_t) noexcept {}
    /// Null, or an implementation with a proxy; one without a proxy gives an empty holder.
    explicit KrSmartInterface(T* implementation)
        : _proxy(implementation != nullptr ? implementation->_getProxy() : nullptr),
          _implementation(_proxy ? implementation : nullptr) {}
    template <class U>
    requires std::convertible_to<U*, T*> KrSmartInterface(const KrSmartInterface<U>& other)
    noexcept : _proxy(other.getExtension()), _implementation(other.get()) {}

    /// Borrowed: valid as long as the extension has a holder.
    [[nodiscard]] T* get() const noexcept { return _implementation; }
    /// The framework half, borrowed; null for an empty holder.
    [[nodiscard]] KrExtension* getExtension() const noexcept { return _proxy.get(); }
    T& operator*() const noexcept { return *_implementation; }  ///< Must not be null.
    T* operator->() const noexcept { return _implementation; }  ///< Must not be null.
    explicit operator bool() const noexcept { return _implementation != nullptr; }
    [[nodiscard]] bool operator==(const KrSmartInterface&) const noexcept = default;

    void reset() noexcept {
        _implementation = nullptr;
        _proxy.reset();
    }

private:
    Kr::KrSmartPtr<KrExtension> _proxy;
    T* _implementation{nullptr};
};

}  // namespace KrSim
