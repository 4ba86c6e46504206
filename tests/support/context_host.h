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
    ContextHost() {
        state->eventManager = &events;
        state->errorManager = &errors;
    }
    ContextHost(const ContextHost&) = delete;
    ContextHost& operator=(const ContextHost&) = delete;
    ~ContextHost() { state->end(); }

    [[nodiscard]] KrSim::ApplicationContext context() const { return KrSim::ApplicationContext(state); }

    /// One frame on the calling thread, which is the application's from then on. The work runs as that of a module.
    template <class Work>
    void frame(Work&& work) {
        state->thread = Kr::getCurrentThreadId();
        state->isRunning = true;
        state->frame = _frames++;
        state->elapsedSeconds = 0.0;
        state->runDelayedFunctions();
        state->isUpdatingModules = true;
        work();
        state->isUpdatingModules = false;
        state->runDelayedFunctions();
    }
    void frame() {
        frame([] {});
    }
    /// The main loop is over, the application still there.
    void stop() {
        state->isRunning = false;
        state->runDelayedFunctions();
    }

    const Kr::KrSmartPtr<KrSim::ApplicationState> state = Kr::makeSmart<KrSim::ApplicationState>();
    KrSim::EventManagerImplementation events;
    KrSim::ErrorManager errors{&events};

private:
    std::uint32_t _frames{0};
};

}  // namespace test_support
