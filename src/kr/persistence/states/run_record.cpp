#include "kr/persistence/states/run_record.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "kr/extension/extension_state.h"
#include "kr/persistence/states/internal/state_difference.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

namespace {

using States = std::vector<Kr::KrSmartPtr<KrSim::KrExtensionState>>;

bool areOfTheSame(const States& first, const States& second) {
    return std::equal(
        first.begin(), first.end(), second.begin(), second.end(),
        [](const auto& left, const auto& right) { return left->getContentID() == right->getContentID(); });
}

}  // namespace

RunRecord::RunRecord() = default;
RunRecord::RunRecord(RunRecord&& other) noexcept = default;
RunRecord& RunRecord::operator=(RunRecord&& other) noexcept = default;
RunRecord::~RunRecord() = default;

bool RunRecord::take(const KrSim::KrApplication& application) {
    Moment moment{SimulationSnapshot::take(application), nullptr};
    if (!moment.snapshot) return false;
    const auto& states = moment.snapshot->getState().getExtensionStates();
    // The paths of a run hardly ever change.
    if (!_moments.empty() && areOfTheSame(states, _moments.back().snapshot->getState().getExtensionStates())) {
        moment.paths = _moments.back().paths;
    } else {
        auto paths = std::make_shared<Paths>();
        for (const auto& each : states)
            paths->push_back(detail::pathOf(*each));
        moment.paths = std::move(paths);
    }
    _moments.push_back(std::move(moment));
    return true;
}

std::optional<ReplayDifference> RunRecord::_findDifference(const Moment& first, const Moment& second) {
    const auto frame = first.snapshot->getFrame();
    const auto& states = first.snapshot->getState().getExtensionStates();
    const auto& others = second.snapshot->getState().getExtensionStates();
    std::unordered_multimap<std::string, std::size_t> left;  // of the second moment, by path
    for (std::size_t i = others.size(); i > 0; --i)
        left.emplace((*second.paths)[i - 1], i - 1);
    for (std::size_t i = 0; i < states.size(); ++i) {
        const auto& path = (*first.paths)[i];
        const auto found = left.find(path);
        if (found == left.end()) return ReplayDifference{frame, path, {}, "present", "missing"};
        if (auto difference = detail::findDifference(*states[i], *others[found->second])) {
            difference->frame = frame;
            difference->extensionPath = path;
            return difference;
        }
        left.erase(found);
    }
    if (left.empty()) return std::nullopt;
    return ReplayDifference{frame, left.begin()->first, {}, "missing", "present"};
}

std::optional<ReplayDifference> RunRecord::findDifference(const RunRecord& other) const {
    const auto common = std::min(size(), other.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (auto difference = _findDifference(_moments[i], other._moments[i])) return difference;
    }
    if (size() == other.size()) return std::nullopt;
    const auto& last = (size() > common ? _moments : other._moments)[common];
    return ReplayDifference{last.snapshot->getFrame(),
                            "the length of the record",
                            {},
                            std::to_string(size()) + " moments",
                            std::to_string(other.size()) + " moments"};
}

std::string RunRecord::explainDifference(const RunRecord& other) const {
    const auto difference = findDifference(other);
    return difference ? difference->toString("the second run") : std::string();
}

}  // namespace KrPersistence
