#pragma once

#include <optional>
#include <string>

#include "kr/extension/extension_state.h"
#include "kr/persistence/states/replay_check.h"

namespace KrPersistence::detail {

/// The path of the extension; its name when it does not live any more.
[[nodiscard]] std::string pathOf(const KrSim::KrExtensionState& state);

/// The first value, or byte of onStateSave, that differs. The caller gives the answer its frame.
[[nodiscard]] std::optional<ReplayDifference> findDifference(const KrSim::KrExtensionState& first,
                                                             const KrSim::KrExtensionState& second);

}  // namespace KrPersistence::detail
