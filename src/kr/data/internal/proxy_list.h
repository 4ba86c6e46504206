#pragma once

#include <utility>

#include "kr/data/fwd.h"
#include "kr/signals/walk_list.h"

namespace KrData::detail {

/// The proxies that link a field, in the order of linking.
using ProxyList = Kr::WalkList<Proxy*>;

/// The proxies of a field that is being destroyed, until each has been notified. On the stack: a proxy that dies
/// meanwhile does not find the field any more, and removes itself from this list.
class OrphanedProxies {
public:
    explicit OrphanedProxies(ProxyList& proxies) noexcept
        : _proxies(std::move(proxies)), _outer(std::exchange(_top, this)) {}
    OrphanedProxies(const OrphanedProxies&) = delete;
    OrphanedProxies& operator=(const OrphanedProxies&) = delete;
    ~OrphanedProxies() { _top = _outer; }

    [[nodiscard]] ProxyList& proxies() noexcept { return _proxies; }
    static void onProxyDestroyed(Proxy& proxy) noexcept {
        for (auto* each = _top; each != nullptr; each = each->_outer)
            each->_proxies.remove(&proxy);
    }

private:
    ProxyList _proxies;
    OrphanedProxies* _outer;
    static thread_local constinit OrphanedProxies* _top;
};

}  // namespace KrData::detail
