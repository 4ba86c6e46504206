#pragma once

#include <algorithm>
#include <cstddef>
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

}  // namespace KrData::detail
