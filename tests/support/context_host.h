#pragma once

#include <cstdint>

#include "kr/application/context/application_context.h"
#include "kr/application/context/application_state.h"
#include "kr/events/errors/error_manager.h"
#include "kr/events/event_manager_implementation.h"

namespace test_support {

/// An application without modules: fills what its context shares as a main loop does. It ends with its scope.
class ContextHost {
public:
    ContextHost() { state->_setManagers(&events, &errors); }
    ContextHost(const ContextHost&) = delete;
    ContextHost& operator=(const ContextHost&) = delete;
    ~ContextHost() { state->_end(); }

    [[nodiscard]] KrSim::ApplicationContext context() const { return KrSim::ApplicationContext(state); }

    /// One frame on the calling thread, which is the application's from then on. The work runs as that of a module.
    template <class Work>
    void frame(Work&& work) {
        state->_setThread(Kr::getCurrentThreadId());
        state->_setRunning(true);
        state->_setFrame(_frames++, 0.0);
        state->_runDelayedFunctions();
        state->_setUpdatingModules(true);
        work();
        state->_setUpdatingModules(false);
        state->_runDelayedFunctions();
    }
    void frame() {
        frame([] {});
    }
    /// The main loop is over, the application still there.
    void stop() {
        state->_setRunning(false);
        state->_runDelayedFunctions();
    }

    const Kr::KrSmartPtr<KrSim::ApplicationState> state = Kr::makeSmart<KrSim::ApplicationState>();
    KrSim::EventManagerImplementation events;
    KrSim::ErrorManager errors{&events};

private:
    std::uint32_t _frames{0};
};

}  // namespace test_support
