#pragma once

#include <memory>
#include <utility>

#include "kr/core/connections/functor_connection.h"
#include "kr/signals/death_watch.h"

namespace Kr::detail {

/// A connection that is being created. Observers of it and of its first transfer may destroy it, which is safe.
template <class Connection>
class NewConnection {
public:
    NewConnection()
        : _made(std::make_unique<Connection>()), _watch(static_cast<const KrFunctorConnection*>(_made.get())) {}
    NewConnection(const NewConnection&) = delete;
    NewConnection& operator=(const NewConnection&) = delete;
    ~NewConnection() {
        if (_watch.died()) static_cast<void>(_made.release());
    }

    Connection& operator*() const noexcept { return *_made; }
    Connection* operator->() const noexcept { return _made.get(); }
    /// The connection, or null when it has died or is invalid.
    [[nodiscard]] std::unique_ptr<Connection> take() noexcept {
        return !_watch.died() && _made->isValid() ? std::move(_made) : nullptr;
    }

private:
    std::unique_ptr<Connection> _made;
    DeathWatch _watch;
};

}  // namespace Kr::detail
