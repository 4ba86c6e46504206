#pragma once

#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrData {

namespace detail {
/// A registered function; the class that registers it implements this.
/// Thread: any. Ownership: shared by the handle and the source.
class KR_API DelegateRegistration : public Kr::KrRefCount {
public:
    ~DelegateRegistration() override;
    /// Called at most once by the handle, on any thread; does nothing when the source is dead.
    virtual void disconnect() noexcept = 0;
    [[nodiscard]] virtual bool isConnected() const noexcept = 0;
};
}  // namespace detail

/// Holds the registration of a function: an observer of a field, a listener of the log.
///
/// Destroying or disconnecting it ends the registration. A function that runs at that moment on this thread finishes;
/// it is not called again. One that runs on another thread may still be running afterwards. The handle may outlive its
/// source, and may be destroyed by the function itself. Movable, not copyable.
/// Thread: one at a time for each handle. Ownership: owns the registration.
class KR_API DelegateConnection {
public:
    DelegateConnection() noexcept = default;
    explicit DelegateConnection(Kr::KrSmartPtr<detail::DelegateRegistration> registration) noexcept;
    DelegateConnection(DelegateConnection&& other) noexcept;
    DelegateConnection& operator=(DelegateConnection&& other) noexcept;
    ~DelegateConnection();

    /// Ends the registration; the handle is empty afterwards.
    void disconnect() noexcept;
    /// False for an empty handle, after disconnect, and after the source has died.
    [[nodiscard]] bool isConnected() const noexcept;

private:
    Kr::KrSmartPtr<detail::DelegateRegistration> _registration;
};

}  // namespace KrData
