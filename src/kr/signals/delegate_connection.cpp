#include "kr/signals/delegate_connection.h"

#include <utility>

namespace KrData {

namespace detail {
DelegateRegistration::~DelegateRegistration() = default;
}  // namespace detail

DelegateConnection::DelegateConnection(Kr::KrSmartPtr<detail::DelegateRegistration> registration) noexcept
    : _registration(std::move(registration)) {}

DelegateConnection::DelegateConnection(DelegateConnection&& other) noexcept
    : _registration(std::exchange(other._registration, {})) {}

DelegateConnection& DelegateConnection::operator=(DelegateConnection&& other) noexcept {
    if (this != &other) {
        disconnect();
        _registration = std::exchange(other._registration, {});
    }
    return *this;
}

DelegateConnection::~DelegateConnection() {
    disconnect();
}

void DelegateConnection::disconnect() noexcept {
    // Emptied first: ending the registration may destroy the function, and with it whatever owns this handle.
    if (const auto registration = std::exchange(_registration, {})) registration->disconnect();
}

bool DelegateConnection::isConnected() const noexcept {
    return _registration && _registration->isConnected();
}

}  // namespace KrData
