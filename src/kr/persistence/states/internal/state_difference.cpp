#include "kr/persistence/states/internal/state_difference.h"

#include <algorithm>
#include <cstddef>

#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/state_access.h"
#include "kr/platform/text.h"

namespace KrPersistence::detail {

using KrSim::KrExtensionState;
using KrSim::detail::StateAccess;

namespace {

std::string valueOf(const KrExtensionState& state, const std::string& path) {
    const auto& plan = StateAccess::getPlan(state);
    for (std::size_t i = 0; i < plan.size(); ++i) {
        if (plan.getPath(i) == path) return plan.getText(i, StateAccess::getValues(state));
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

}  // namespace

std::string pathOf(const KrExtensionState& state) {
    const auto extension = KrSim::KrContentRegistry::instance().lock(state.getContentID());
    return extension ? extension->getPath() : state.getName();
}

std::optional<ReplayDifference> findDifference(const KrExtensionState& first, const KrExtensionState& second) {
    const auto differ = [&](const KrExtensionState& of, std::size_t index) {
        const auto path = StateAccess::getPlan(of).getPath(index);
        return ReplayDifference{0, pathOf(first), path, valueOf(first, path), valueOf(second, path)};
    };
    const auto& plan = StateAccess::getPlan(first);
    if (const auto index = plan.findDifference(StateAccess::getValues(first), StateAccess::getPlan(second),
                                               StateAccess::getValues(second)))
        return differ(first, *index);
    if (plan.size() != StateAccess::getPlan(second).size()) {
        const auto index = StateAccess::getPlan(second).findDifference(StateAccess::getValues(second), plan,
                                                                       StateAccess::getValues(first));
        if (index) return differ(second, *index);
    }
    const auto& data = first.getImplementationData();
    const auto& other = second.getImplementationData();
    if (data == other && first.hasImplementationData() == second.hasImplementationData()) return std::nullopt;
    const auto at = std::mismatch(data.begin(), data.end(), other.begin(), other.end()).first - data.begin();
    const auto from = static_cast<std::size_t>(at);
    return ReplayDifference{0, pathOf(first), {}, bytesOf(first, from), bytesOf(second, from)};
}

}  // namespace KrPersistence::detail
