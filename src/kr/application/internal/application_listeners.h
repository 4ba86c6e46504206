#pragma once

#include "kr/application/i_application_listener.h"
#include "kr/platform/guard.h"
#include "kr/signals/listener_list.h"

namespace KrSim::detail {

/// The listeners of an application, and the log line for an exception of one of them. Thread: any.
class ApplicationListeners : public Kr::ListenerList<IApplicationListener> {
public:
    template <class Call>
    void notify(const Call& call) const noexcept {
        static constexpr Kr::GuardTexts kListener{
            Kr::eLogLevel::kWarn, "%.0sKrApplication: fatal error in a listener [%s]\n",
            "%.0sKrApplication: unhandled exception in a listener\n", "application listener"};
        ListenerList::notify(
            kListener, [] { return ""; }, call);
    }
};

}  // namespace KrSim::detail
