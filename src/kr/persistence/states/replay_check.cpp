#include "kr/persistence/states/replay_check.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kr/application/application.h"
#include "kr/events/event_dispatcher.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_state.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/platform/clock.h"
#include "kr/platform/text.h"

namespace KrPersistence {

using KrSim::KrExtensionState;

/// Time that passes a frame at a time, and can be put back.
class ReplayCheck::FrameClock final : public Kr::IClock {
public:
    [[nodiscard]] double getSeconds() const override { return now; }
    void sleep(double seconds) override { now += std::max(seconds, 0.0); }
    [[nodiscard]] double getResolution() const override { return 0.0; }

    double now{0.0};
};

namespace {

std::string pathOf(const KrExtensionState& state) {
    const auto extension = KrSim::KrContentRegistry::instance().lock(state.getContentID());
    return extension ? extension->getPath() : state.getName();
}

std::string valueOf(const KrExtensionState& state, const std::string& path) {
    const auto& plan = state._getPlan();
    for (std::size_t i = 0; i < plan.size(); ++i) {
        if (plan.getPath(i) == path) return plan.getText(i, state._getValues());
    }
    return "no such field";
}

std::string bytesOf(const KrExtensionState& state, std::size_t from) {
    const auto& data = state.getImplementationData();
    if (!state.hasImplementationData()) return "no bytes";
    std::string text = std::to_string(data.size()) + " bytes";
    if (from >= data.size()) return text;
    text += ", from " + std::to_string(from) + ":";
    for (const char each : data.substr(from, 8)) {
        text += ' ';
        Kr::appendHex(text, static_cast<unsigned char>(each));
    }
    return text;
}

std::optional<ReplayDifference> compare(const KrExtensionState& first, const KrExtensionState& second) {
    const auto differ = [&](const KrExtensionState& of, std::size_t index) {
        const auto path = of._getPlan().getPath(index);
        return ReplayDifference{0, pathOf(first), path, valueOf(first, path), valueOf(second, path)};
    };
    const auto& plan = first._getPlan();
    if (const auto index = plan.findDifference(first._getValues(), second._getPlan(), second._getValues()))
        return differ(first, *index);
    if (plan.size() != second._getPlan().size()) {
        const auto index = second._getPlan().findDifference(second._getValues(), plan, first._getValues());
        if (index) return differ(second, *index);
    }
    const auto& data = first.getImplementationData();
    const auto& other = second.getImplementationData();
    if (data == other && first.hasImplementationData() == second.hasImplementationData()) return std::nullopt;
    const auto at = std::mismatch(data.begin(), data.end(), other.begin(), other.end()).first - data.begin();
    const auto from = static_cast<std::size_t>(at);
    return ReplayDifference{0, pathOf(first), {}, bytesOf(first, from), bytesOf(second, from)};
}

std::optional<ReplayDifference> compare(const SimulationSnapshot& first, const SimulationSnapshot& second) {
    auto found = [&]() -> std::optional<ReplayDifference> {
        for (const auto& state : first.getState().getExtensionStates()) {
            const auto* other = second.getState().findExtensionState(state->getContentID());
            if (other == nullptr) return ReplayDifference{0, pathOf(*state), {}, "present", "missing"};
            if (auto difference = compare(*state, *other)) return difference;
        }
        for (const auto& state : second.getState().getExtensionStates()) {
            if (first.getState().findExtensionState(state->getContentID()) == nullptr)
                return ReplayDifference{0, pathOf(*state), {}, "missing", "present"};
        }
        return std::nullopt;
    }();
    if (found) found->frame = first.getFrame();
    return found;
}

}  // namespace

std::string ReplayDifference::toString() const {
    return extensionPath + (fieldPath.empty() ? "" : ": " + fieldPath) + " differs after frame " +
           std::to_string(frame) + ": " + expected + " in the first run, " + actual + " in the replay";
}

ReplayCheck::ReplayCheck()
    : _clock(std::make_unique<FrameClock>()), _application(KrSim::KrApplication::create(*_clock)) {
    KrSim::KrEventDispatcher::_setClock(_clock.get());
}

ReplayCheck::~ReplayCheck() {
    KrSim::KrEventDispatcher::_setClock(nullptr);
    _application.reset();
}

void ReplayCheck::_step() {
    _clock->now += _application->getSimulationTimeStep();
    static_cast<void>(_application->update());
}

std::optional<ReplayDifference> ReplayCheck::run(std::uint32_t framesBefore, std::uint32_t framesReplayed) {
    // A clock that stands still until the next frame is nothing to wait for.
    _application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    for (std::uint32_t i = 0; i < framesBefore; ++i)
        _step();
    const auto start = SimulationSnapshot::take(*_application);
    const double startSeconds = _clock->now;
    std::vector<std::shared_ptr<const SimulationSnapshot>> frames;
    for (std::uint32_t i = 0; i < framesReplayed; ++i) {
        _step();
        frames.push_back(SimulationSnapshot::take(*_application));
    }
    _clock->now = startSeconds;
    static_cast<void>(start->restore(*_application));
    if (auto difference = compare(*start, *SimulationSnapshot::take(*_application))) return difference;
    for (const auto& frame : frames) {
        _step();
        if (auto difference = compare(*frame, *SimulationSnapshot::take(*_application))) return difference;
    }
    return std::nullopt;
}

std::string ReplayCheck::explain(std::uint32_t framesBefore, std::uint32_t framesReplayed) {
    const auto difference = run(framesBefore, framesReplayed);
    return difference ? difference->toString() : std::string();
}

}  // namespace KrPersistence
