#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "kr/data/fwd.h"

namespace KrData::detail {

/// The proxies that link a field, in the order of linking. While they are being told of a change, removed ones leave
/// empty places.
class ProxyList {
public:
    void add(Proxy* proxy) { _proxies.push_back(proxy); }
    void remove(const Proxy* proxy) noexcept {
        const auto found = std::find(_proxies.begin(), _proxies.end(), proxy);
        if (found != _proxies.end()) *found = nullptr;
        if (_walks == 0) _closeUp();
    }
    [[nodiscard]] bool empty() const noexcept {
        return std::all_of(_proxies.begin(), _proxies.end(), [](const Proxy* proxy) { return proxy == nullptr; });
    }
    /// Places may be empty.
    [[nodiscard]] const std::vector<Proxy*>& places() const noexcept { return _proxies; }
    void beginWalk() noexcept { ++_walks; }
    void endWalk() noexcept {
        if (--_walks == 0) _closeUp();
    }

private:
    void _closeUp() noexcept { std::erase(_proxies, nullptr); }

    std::vector<Proxy*> _proxies;
    std::size_t _walks{0};
};

/// The proxies of a field that is being destroyed, until each has been notified. On the stack: a proxy that dies
/// meanwhile does not find the field any more, and leaves this list instead.
class OrphanedProxies {
public:
    explicit OrphanedProxies(ProxyList& proxies) noexcept
        : _proxies(std::exchange(proxies, {})), _outer(std::exchange(_top, this)) {
        _proxies.beginWalk();
    }
    OrphanedProxies(const OrphanedProxies&) = delete;
    OrphanedProxies& operator=(const OrphanedProxies&) = delete;
    ~OrphanedProxies() { _top = _outer; }

    /// Places may be empty.
    [[nodiscard]] const std::vector<Proxy*>& places() const noexcept { return _proxies.places(); }
    static void onProxyDestroyed(const Proxy& proxy) noexcept {
        for (auto* each = _top; each != nullptr; each = each->_outer)
            each->_proxies.remove(&proxy);
    }

private:
    ProxyList _proxies;
    OrphanedProxies* _outer;
    static thread_local constinit OrphanedProxies* _top;
};

}  // namespace KrData::detail
