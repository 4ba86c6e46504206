#include "kr/persistence/states/simulation_snapshot.h"

#include <utility>

#include "kr/application/application.h"
#include "kr/application/context/application_state.h"
#include "kr/persistence/states/internal/state_restorer.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrPersistence {

using KrSim::KrApplication;
using KrSim::KrEventDispatcher;
using Functor = Kr::QueuedConnectionFunctor;

namespace {

constexpr Kr::GuardTexts kWaitingTexts{Kr::eLogLevel::kWarn, "%s: fatal error in an event before a restore [%s]\n",
                                       "%s: unhandled exception in an event before a restore\n"};
constexpr const char* kRefusal = "a simulation state is restored between two frames only; use restoreBetweenFrames";

SimulationSnapshot::Events takeEvents(const KrApplication& application) {
    SimulationSnapshot::Events events{KrEventDispatcher::_getPendingEvents(&application.getInternals().events), {}};
    const auto& pending = events.pending.events;
    for (std::size_t i = 0; i < pending.size(); ++i) {
        if (!Functor::_isCarrier(pending[i].event)) continue;
        events.values.resize(pending.size());
        events.values[i] = Functor::_peek(pending[i].event);
    }
    return events;
}

/// Puts these events in the place of those that wait, which are delivered before or, when they are delayed, dropped.
void replaceEvents(const KrApplication& application, SimulationSnapshot::Events events) {
    const auto* manager = &application.getInternals().events;
    auto& pending = events.pending.events;
    for (std::size_t i = 0; i < events.values.size(); ++i) {
        if (events.values[i].value) pending[i].event = Functor::_carry(events.values[i]);
    }
    Kr::callGuarded(
        kWaitingTexts, [] { return "SimulationSnapshot"; },
        [&] {
            KrEventDispatcher::_deliverQueuedEvents(manager);
            for (const auto& each : KrEventDispatcher::_getPendingEvents(manager).events)
                Functor::_drop(each.event);
        });
    KrEventDispatcher::_replaceDelayedEvents(events.pending, manager);
}

}  // namespace

SimulationSnapshot::SimulationSnapshot(Kr::KrSmartPtr<KrSim::KrSimulationState> state,
                                       const KrSim::FramePosition& position, Events events)
    : _state(std::move(state)), _position(position), _events(std::move(events)) {
    if (!_state) _state = Kr::makeSmart<KrSim::KrSimulationState>();
}

SimulationSnapshot::~SimulationSnapshot() = default;

std::shared_ptr<const SimulationSnapshot> SimulationSnapshot::take(const KrApplication& application,
                                                                   std::shared_ptr<const SimulationSnapshot> recycled) {
    if (!application._isBetweenFrames()) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "SimulationSnapshot: no snapshot while a frame is under way; use executeBetweenFrames\n");
        return nullptr;
    }
    Kr::KrSmartPtr<KrSim::KrSimulationState> state;
    if (recycled && recycled.use_count() == 1 && recycled->_state->getRefCount() == 1) {
        state = recycled->_state;
        recycled.reset();
        state->_recycle();
    } else {
        state = Kr::makeSmart<KrSim::KrSimulationState>();
    }
    application.fillSimulationState(state);
    return std::make_shared<const SimulationSnapshot>(std::move(state), application._getFramePosition(),
                                                      takeEvents(application));
}

std::size_t SimulationSnapshot::getSizeBytes() const {
    std::size_t bytes = sizeof(*this) + _state->getSizeBytes();
    for (const auto& each : _events.pending.events)
        bytes += sizeof(each) + (each.event.bytes() > KrSim::KrSimEvent::kInlineBytes ? each.event.bytes() : 0);
    return bytes;
}

RestoreReport SimulationSnapshot::restore(KrApplication& application) const {
    RestoreReport report;
    if (!application._isBetweenFrames()) {
        report.error = kRefusal;
        Kr::logMessage(Kr::eLogLevel::kWarn, "SimulationSnapshot: %s\n", kRefusal);
        return report;
    }
    application.getInternals().state._runDelayedFunctions();
    replaceEvents(application, {});
    detail::StateRestorer(application, *_state).run(report);
    // Also in the place of those that were sent meanwhile.
    replaceEvents(application, _events);
    application._setFramePosition(_position);
    return report;
}

bool restoreBetweenFrames(KrApplication& application, std::shared_ptr<const SimulationSnapshot> snapshot,
                          std::function<void(const RestoreReport&)> done) {
    if (!snapshot) return false;
    return application.executeBetweenFrames([&application, snapshot = std::move(snapshot), done = std::move(done)] {
        const auto report = snapshot->restore(application);
        if (done) done(report);
    });
}

}  // namespace KrPersistence
