#pragma once

#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrData {

namespace detail {
/// One function registered with something that calls it; the registrar implements it.
class KR_API DelegateRegistration : public Kr::KrRefCount {
public:
    ~DelegateRegistration() override;
    /// Called once at most by the handle, on any thread; harmless when the source is gone.
    virtual void disconnect() noexcept = 0;
    [[nodiscard]] virtual bool isConnected() const noexcept = 0;
};
}  // namespace detail

/// Holds the registration of a function: an observer of a field, a listener of the log.
///
/// Destroying or disconnecting it ends the registration. A function that runs at that moment on this thread finishes;
/// it is not called again. One that runs on another thread may still be running afterwards. The handle may outlive what
/// it is registered with, and may be destroyed by the function itself. Movable, not copyable. One thread at a time per
/// handle.
class KR_API DelegateConnection {
public:
    DelegateConnection() noexcept = default;
    explicit DelegateConnection(Kr::KrSmartPtr<detail::DelegateRegistration> registration) noexcept;
    DelegateConnection(DelegateConnection&& other) noexcept;
    DelegateConnection& operator=(DelegateConnection&& other) noexcept;
    ~DelegateConnection();

    void disconnect() noexcept;
    /// False for an empty handle, after disconnect, and after the source has died.
    [[nodiscard]] bool isConnected() const noexcept;

private:
    Kr::KrSmartPtr<detail::DelegateRegistration> _registration;
};

}  // namespace KrData
