#pragma once

#include <optional>
#include <string>

#include "kr/extension/extension_state.h"
#include "kr/persistence/states/replay_check.h"

namespace KrPersistence::detail {

/// The path of the extension; its name after its death.
[[nodiscard]] std::string pathOf(const KrSim::KrExtensionState& state);

/// The first value, or byte of onStateSave, that differs. The caller adds the frame.
[[nodiscard]] std::optional<ReplayDifference> findDifference(const KrSim::KrExtensionState& first,
                                                             const KrSim::KrExtensionState& second);

}  // namespace KrPersistence::detail
