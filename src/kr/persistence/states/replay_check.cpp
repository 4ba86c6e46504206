#include "kr/persistence/states/replay_check.h"

#include <utility>
#include <vector>

#include "kr/application/application.h"
#include "kr/events/event_access.h"
#include "kr/events/event_dispatcher.h"
#include "kr/extension/extension_state.h"
#include "kr/persistence/states/internal/state_difference.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

namespace {

std::optional<ReplayDifference> compare(const SimulationSnapshot& first, const SimulationSnapshot& second) {
    auto found = [&]() -> std::optional<ReplayDifference> {
        for (const auto& state : first.getState().getExtensionStates()) {
            const auto* other = second.getState().findExtensionState(state->getContentID());
            if (other == nullptr) return ReplayDifference{0, detail::pathOf(*state), {}, "present", "missing"};
            if (auto difference = detail::findDifference(*state, *other)) return difference;
        }
        for (const auto& state : second.getState().getExtensionStates()) {
            if (first.getState().findExtensionState(state->getContentID()) == nullptr)
                return ReplayDifference{0, detail::pathOf(*state), {}, "missing", "present"};
        }
        return std::nullopt;
    }();
    if (found) found->frame = first.getFrame();
    return found;
}

}  // namespace

std::string ReplayDifference::toString(const char* secondRun) const {
    return extensionPath + (fieldPath.empty() ? "" : ": " + fieldPath) + " differs after frame " +
           std::to_string(frame) + ": " + expected + " in the first run, " + actual + " in " + secondRun;
}

ReplayCheck::ReplayCheck()
    : _clock(std::make_unique<Kr::ManualClock>(0.0)), _application(KrSim::KrApplication::create(*_clock)) {
    KrSim::detail::DispatcherAccess::setClock(_clock.get());
}

ReplayCheck::~ReplayCheck() {
    KrSim::detail::DispatcherAccess::setClock(nullptr);
    _application.reset();
}

bool ReplayCheck::step(std::uint32_t frames) {
    // A clock that does not advance by itself is nothing to wait for.
    if (_application->getSyncMode() != KrSim::eSynchronizationMode::kSyncOff)
        _application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    for (std::uint32_t i = 0; i < frames; ++i) {
        _clock->advance(_application->getSimulationTimeStep());
        if (!_application->update()) return false;
    }
    return true;
}

std::optional<ReplayDifference> ReplayCheck::run(std::uint32_t framesBefore, std::uint32_t framesReplayed) {
    for (std::uint32_t i = 0; i < framesBefore; ++i)
        step();
    const auto start = SimulationSnapshot::take(*_application);
    const double startSeconds = _clock->getSeconds();
    std::vector<std::shared_ptr<const SimulationSnapshot>> frames;
    for (std::uint32_t i = 0; i < framesReplayed; ++i) {
        step();
        frames.push_back(SimulationSnapshot::take(*_application));
    }
    _clock->setSeconds(startSeconds);
    static_cast<void>(start->restore(*_application));
    if (auto difference = compare(*start, *SimulationSnapshot::take(*_application))) return difference;
    for (const auto& frame : frames) {
        step();
        if (auto difference = compare(*frame, *SimulationSnapshot::take(*_application))) return difference;
    }
    return std::nullopt;
}

std::string ReplayCheck::explain(std::uint32_t framesBefore, std::uint32_t framesReplayed) {
    const auto difference = run(framesBefore, framesReplayed);
    return difference ? difference->toString() : std::string();
}

}  // namespace KrPersistence
