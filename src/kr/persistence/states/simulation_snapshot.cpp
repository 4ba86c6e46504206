#include "kr/persistence/states/simulation_snapshot.h"

#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_access.h"
#include "kr/application/application_config.h"
#include "kr/application/context/application_state.h"
#include "kr/core/connections/queued_values.h"
#include "kr/events/event_access.h"
#include "kr/extension/state_access.h"
#include "kr/persistence/states/internal/state_restorer.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"
#include "kr/platform/memory_guard.h"

namespace KrPersistence {

using KrSim::EventManagerImplementation;
using KrSim::KrApplication;
using KrSim::PendingEvent;
using KrSim::detail::ApplicationAccess;
using KrSim::detail::StateAccess;

namespace {

constexpr Kr::GuardTexts kWaitingTexts{Kr::eLogLevel::kWarn, "%s: fatal error in an event before a restore [%s]\n",
                                       "%s: unhandled exception in an event before a restore\n",
                                       "event before a restore"};
constexpr const char* kRefusal = "a simulation state is restored between two frames only; use restoreBetweenFrames";

SimulationSnapshot::Events takeEvents(const KrApplication& application) {
    SimulationSnapshot::Events events{
        KrSim::detail::DispatcherAccess::getPendingEvents(&application.getInternals().events), {}};
    const auto& pending = events.pending.events;
    for (std::size_t i = 0; i < pending.size(); ++i) {
        if (!Kr::detail::isCarrier(pending[i].event)) continue;
        events.values.resize(pending.size());
        events.values[i] = Kr::detail::peekValue(pending[i].event);
    }
    return events;
}

/// What waits for delivery belongs to the run that ends.
void deliverWaiting(const EventManagerImplementation* manager) {
    Kr::callGuardedButMemory(
        kWaitingTexts, [] { return "SimulationSnapshot"; },
        [&] { KrSim::detail::DispatcherAccess::deliverQueuedEvents(manager); });
}

/// Puts these events in the place of the delayed ones. Throws std::bad_alloc with nothing replaced.
void replaceEvents(const EventManagerImplementation* manager, SimulationSnapshot::Events events) {
    auto& pending = events.pending.events;
    std::vector<PendingEvent> replaced;
    std::size_t carried = 0;
    try {
        for (; carried < events.values.size(); ++carried) {
            const auto& waiting = events.values[carried];
            if (waiting.value) pending[carried].event = Kr::detail::carryValue(waiting);
        }
        replaced = KrSim::detail::DispatcherAccess::replaceDelayedEvents(std::move(events.pending), manager);
    } catch (...) {
        for (std::size_t i = 0; i < carried; ++i) {
            if (events.values[i].value) Kr::detail::dropValue(pending[i].event);
        }
        throw;
    }
    for (const auto& each : replaced)
        Kr::detail::dropValue(each.event);
}

/// Events that callbacks have sent while the state was restored are no part of it.
void dropSentMeanwhile(const EventManagerImplementation* manager) noexcept {
    Kr::callGuarded(
        kWaitingTexts, [] { return "SimulationSnapshot"; },
        [&] { KrSim::detail::DispatcherAccess::deliverQueuedEvents(manager); });
    while (const auto sent = KrSim::detail::DispatcherAccess::takeDelayedSince(manager))
        Kr::detail::dropValue(sent->event);
}

}  // namespace

SimulationSnapshot::SimulationSnapshot(Kr::KrSmartPtr<KrSim::KrSimulationState> state,
                                       const KrSim::FramePosition& position,
                                       std::optional<KrSim::RandomPositions> random, Events events)
    : _state(std::move(state)), _position(position), _random(std::move(random)), _events(std::move(events)) {
    if (!_state) _state = Kr::makeSmart<KrSim::KrSimulationState>();
}

SimulationSnapshot::~SimulationSnapshot() = default;

std::shared_ptr<const SimulationSnapshot> SimulationSnapshot::take(const KrApplication& application,
                                                                   std::shared_ptr<const SimulationSnapshot> recycled) {
    if (!ApplicationAccess::isBetweenFrames(application)) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "SimulationSnapshot: no snapshot while a frame is under way; use executeBetweenFrames\n");
        return nullptr;
    }
    Kr::KrSmartPtr<KrSim::KrSimulationState> state;
    if (recycled && recycled.use_count() == 1 && recycled->_state->getRefCount() == 1) {
        state = recycled->_state;
        recycled.reset();
        StateAccess::recycle(*state);
    } else {
        state = Kr::makeSmart<KrSim::KrSimulationState>();
    }
    application.fillSimulationState(state);
    return std::make_shared<const SimulationSnapshot>(
        std::move(state), ApplicationAccess::getFramePosition(application),
        application.getInternals().state.random.getPositions(), takeEvents(application));
}

std::size_t SimulationSnapshot::getSizeBytes() const {
    std::size_t bytes = sizeof(*this) + _state->getSizeBytes();
    for (const auto& each : _events.pending.events)
        bytes += sizeof(each) + (each.event.bytes() > KrSim::KrSimEvent::kInlineBytes ? each.event.bytes() : 0);
    return bytes;
}

RestoreReport SimulationSnapshot::restore(KrApplication& application) const {
    RestoreReport report;
    if (!ApplicationAccess::isBetweenFrames(application)) {
        report.error = kRefusal;
        Kr::logMessage(Kr::eLogLevel::kWarn, "SimulationSnapshot: %s\n", kRefusal);
        return report;
    }
    const auto internals = application.getInternals();
    internals.state.runDelayedFunctions();
    deliverWaiting(&internals.events);
    detail::StateRestorer restorer(application, *_state);
    restorer.prepare();
    replaceEvents(&internals.events, _events);
    restorer.restore(report);
    dropSentMeanwhile(&internals.events);
    if (_random) {
        internals.state.random.setPositions(*_random);  // numbers that callbacks took meanwhile do not count
        application.getConfiguration()->randomSeed = _random->seed;
    }
    ApplicationAccess::setFramePosition(application, _position);
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
