#pragma once

#include "kr/application/i_application_listener.h"
#include "kr/platform/guard.h"
#include "kr/platform/listener_slots.h"

namespace KrSim::detail {

/// The listeners of an application. Thread: any; one that is unregistered on another thread may still be in a call.
class ApplicationListeners {
public:
    void add(IApplicationListener* listener) { static_cast<void>(_listeners.add(listener)); }
    void remove(IApplicationListener* listener) noexcept { static_cast<void>(_listeners.remove(listener)); }
    /// Calls the function with each of them, in order, but for those that were unregistered meanwhile.
    template <class Tell>
    void tell(const Tell& tell) noexcept {
        constexpr Kr::GuardTexts kListener{Kr::eLogLevel::kWarn, "%.0sKrApplication: fatal error in a listener [%s]\n",
                                           "%.0sKrApplication: unhandled exception in a listener\n",
                                           "application listener"};
        _listeners.forEach([&](IApplicationListener& listener) {
            Kr::callGuarded(
                kListener, [] { return ""; }, [&] { tell(listener); });
        });
    }

private:
    Kr::ListenerSlots<IApplicationListener> _listeners;
};

}  // namespace KrSim::detail
