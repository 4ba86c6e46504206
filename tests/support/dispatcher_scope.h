#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "kr/events/event_access.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"

namespace test_support {

/// Leaves the dispatcher of the process as a test found it: empty, without owner, channel and names.
class DispatcherScope {
public:
    DispatcherScope() = default;
    DispatcherScope(const DispatcherScope&) = delete;
    DispatcherScope& operator=(const DispatcherScope&) = delete;
    ~DispatcherScope() {
        using KrSim::KrEventDispatcher;
        KrEventDispatcher::setSharedEventChannel(nullptr);
        KrEventDispatcher::enableExternalControl(false);
        KrSim::detail::DispatcherAccess::setClock(nullptr);
        KrSim::detail::DispatcherAccess::setPatience(10.0);
        KrEventDispatcher::preUpdate();
        KrEventDispatcher::postUpdate();
        KrSim::detail::DispatcherAccess::resetOwner();
        KrSim::EventIDList::instance().cleanup();
    }
};

/// Writes "<name><event number>" into a log, then does what the test wants. Registered while it lives.
class RecordingListener final : public KrSim::KrSimEventListener {
public:
    using Action = std::function<void(const KrSim::KrSimEvent&)>;

    RecordingListener(
        std::vector<std::string>& log, std::string name, std::vector<int> ids,
        Action action = [](const KrSim::KrSimEvent&) {})
        : _log(log), _name(std::move(name)), _action(std::move(action)) {
        for (const int id : ids)
            KrSim::KrEventDispatcher::registerListener(id, this);
    }

    void onSimEvent(const KrSim::KrSimEvent& event) override {
        _log.push_back(_name + std::to_string(event.ID()));
        _action(event);
    }

private:
    std::vector<std::string>& _log;
    std::string _name;
    Action _action;
};

}  // namespace test_support
