#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/context/application_modes.h"
#include "kr/platform/log.h"

namespace krsim {

/// What to load, how long to run it and how to pace it.
struct RunPlan {
    std::vector<std::string> pluginDirectories{};  ///< searched in this order, then the one of the library
    std::vector<std::string> content{};            ///< types, as TypeCatalog::find takes them; one of each is made
    /// Likewise; empty for all modules of the plug-ins that the content comes from.
    std::vector<std::string> modules{};

    KrSim::RunLimits limits{};
    bool isPaced{true};  ///< by the clock, else as fast as it goes
    std::optional<double> rateHz{};
    KrSim::eApplicationMode mode{KrSim::eApplicationMode::kSimulating};

    Kr::eLogLevel logLevel{Kr::eLogLevel::kInfo};
    std::optional<std::string> logFilePrefix{};  ///< see KrApplication::setLogFilePrefix
    bool printsOutputs{false};                   ///< at the end, of the content, also when quiet
    bool isQuiet{false};                         ///< neither status nor summary
};

}  // namespace krsim
