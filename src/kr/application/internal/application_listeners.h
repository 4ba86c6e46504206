#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "kr/application/i_application_listener.h"
#include "kr/platform/guard.h"

namespace KrSim::detail {

/// The listeners of an application. A list that is being told is never changed, but replaced, so telling copies
/// nothing. Thread: any; one that is unregistered on another thread may still be in a call.
class ApplicationListeners {
public:
    void add(IApplicationListener* listener) {
        if (listener == nullptr) return;
        const std::lock_guard lock(_mutex);
        if (std::find(_list->begin(), _list->end(), listener) != _list->end()) return;
        auto changed = std::make_shared<List>(*_list);
        changed->push_back(listener);
        _list = std::move(changed);
    }
    void remove(IApplicationListener* listener) {
        const std::lock_guard lock(_mutex);
        auto changed = std::make_shared<List>(*_list);
        std::erase(*changed, listener);
        _list = std::move(changed);
    }
    /// Calls the function with each of them, in order, but for those that were unregistered meanwhile.
    template <class Tell>
    void tell(const Tell& tell) const {
        constexpr Kr::GuardTexts kListener{Kr::eLogLevel::kWarn, "%.0sKrApplication: fatal error in a listener [%s]\n",
                                           "%.0sKrApplication: unhandled exception in a listener\n"};
        const auto told = _get();
        for (auto* listener : *told) {
            const auto now = _get();
            if (now != told && std::find(now->begin(), now->end(), listener) == now->end()) continue;
            Kr::callGuarded(
                kListener, [] { return ""; }, [&] { tell(*listener); });
        }
    }

private:
    using List = std::vector<IApplicationListener*>;

    [[nodiscard]] std::shared_ptr<const List> _get() const {
        const std::lock_guard lock(_mutex);
        return _list;
    }

    mutable std::mutex _mutex;  // guards the pointer
    std::shared_ptr<const List> _list{std::make_shared<List>()};
};

}  // namespace KrSim::detail
