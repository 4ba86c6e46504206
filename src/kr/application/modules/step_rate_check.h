#pragma once

#include <string>
#include <vector>

#include "kr/application/modules/fwd.h"
#include "kr/core/id.h"
#include "kr/platform/export.h"

namespace KrSim::detail {

/// A group of units that would not be stepped at its rate.
/// Thread: value. Ownership: value.
struct KR_API RefusedRate {
    std::string group;   ///< empty for the first one
    Kr::KrID parameter;  ///< by which content chose the rate; invalid when the module declares it
    std::string reason;  ///< "100 Hz does not divide the frame rate of 60 Hz; the nearest rates that do are ..."
};

/// For checks of files before the first frame, in which a group takes the rate that content chose.
/// Thread: application. Ownership: none.
struct KR_API StepRateCheck {
    /// Those of a ModuleOf, at this frame rate; none for other modules.
    [[nodiscard]] static std::vector<RefusedRate> findRefused(const KrSimulatorModule& module, double frameRateHz);
};

}  // namespace KrSim::detail
