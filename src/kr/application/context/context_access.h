#pragma once

#include <functional>

#include "kr/application/context/application_context.h"
#include "kr/application/context/application_state.h"
#include "kr/events/fwd.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {

/// Framework-only access to a handle of an application.
struct ContextAccess {
    /// Null for a handle that never had an application.
    [[nodiscard]] static const Kr::KrSmartPtr<ApplicationState>& getState(const ApplicationContext& context) noexcept {
        return context._state;
    }
    /// Null without an application.
    [[nodiscard]] static LocalQueue* getEventQueue(const ApplicationContext& context) noexcept {
        const auto& state = context._state;
        return state && state->isAlive ? static_cast<LocalQueue*>(state->eventQueue) : nullptr;
    }
    /// Null without an application.
    [[nodiscard]] static Kr::StepBoundary* getStepBoundary(const ApplicationContext& context) noexcept {
        const auto& state = context._state;
        return state && state->isAlive ? static_cast<Kr::StepBoundary*>(state->stepBoundary) : nullptr;
    }
};

/// The right of the calling thread to change the content, if granted: during its lifetime no other thread gets it.
class ContentChange {
public:
    explicit ContentChange(const ApplicationContext& context) {
        const auto& state = ContextAccess::getState(context);
        if (!state || !state->isAlive) return;
        const auto entry = state->enterChange();
        _mayRun = entry != ApplicationState::eEntry::kRefused;
        if (entry == ApplicationState::eEntry::kHeld) _state = state;
    }
    ContentChange(const ContentChange&) = delete;
    ContentChange& operator=(const ContentChange&) = delete;
    /// Runs the changes that other threads have requested meanwhile.
    ~ContentChange() {
        if (_state) _state->leaveChange();
    }

    [[nodiscard]] bool mayRun() const noexcept { return _mayRun; }

private:
    Kr::KrSmartPtr<ApplicationState> _state;  // null: nothing to leave
    bool _mayRun{true};
};

/// Makes a change of the content: calls `now` before it returns, or queues the function that `later` makes. One lock
/// decides which, so that changes of a thread keep their order. \return  whether it was made now.
template <class Now, class Later>
bool changeContent(const ApplicationContext& context, const Now& now, const Later& later) {
    // The change may take the other one away. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const ApplicationContext self(context);
    for (;;) {
        {
            const ContentChange change(self);
            if (change.mayRun()) {
                now();
                return true;
            }
        }
        const auto& state = ContextAccess::getState(self);
        if (state && state->queueChange(later())) return false;
    }
}

}  // namespace KrSim::detail
