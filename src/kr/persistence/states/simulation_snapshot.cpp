#include "kr/persistence/states/simulation_snapshot.h"

#include <utility>

#include "kr/application/application.h"
#include "kr/application/context/application_state.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/core/id.h"
#include "kr/persistence/states/internal/state_restorer.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrPersistence {

using KrSim::KrApplication;
using KrSim::KrEventDispatcher;

namespace {

constexpr Kr::GuardTexts kWaitingTexts{Kr::eLogLevel::kWarn, "%s: fatal error in an event before a restore [%s]\n",
                                       "%s: unhandled exception in an event before a restore\n"};
constexpr const char* kRefusal = "a simulation state is restored between two frames only; use restoreBetweenFrames";

const char* nameOfClass() {
    return "SimulationSnapshot";
}

KrEventDispatcher::PendingEvents takeEvents() {
    auto pending = KrEventDispatcher::_getPendingEvents();
    // Those of queued connections carry the address of a value that is gone when they are delivered again.
    constexpr int kQueuedValue = Kr::KrID::numberFor(Kr::KrSimQueuedConnection::kQueuedConnectionEvent);
    std::erase_if(pending.events, [](const KrSim::PendingEvent& each) { return each.event.ID() == kQueuedValue; });
    return pending;
}

void deliverWaiting(const KrEventDispatcher::PendingEvents& replacement) {
    Kr::callGuarded(kWaitingTexts, nameOfClass, [&] { KrEventDispatcher::_replacePendingEvents(replacement); });
}

}  // namespace

SimulationSnapshot::SimulationSnapshot(Kr::KrSmartPtr<KrSim::KrSimulationState> state,
                                       const KrSim::FramePosition& position, KrEventDispatcher::PendingEvents events)
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
    return std::make_shared<const SimulationSnapshot>(std::move(state), application._getFramePosition(), takeEvents());
}

std::size_t SimulationSnapshot::getSizeBytes() const {
    std::size_t bytes = sizeof(*this) + _state->getSizeBytes();
    for (const auto& each : _events.events)
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
    deliverWaiting({});
    detail::StateRestorer(application, *_state).run(report);
    // Also in the place of those that were sent meanwhile.
    deliverWaiting(_events);
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
