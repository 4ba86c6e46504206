#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/krsim/file_plans.h"
#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/persistence/setups/simulation_files.h"
#include "kr/platform/log.h"

namespace krsim {

/// The settings of the log, which override those of a setup.
struct LogChoice {
    std::optional<Kr::eLogLevel> level{};
    bool isQuiet{false};                      ///< without a level: that of a setup, but warnings at most
    std::optional<std::string> filePrefix{};  ///< see KrApplication::setLogFilePrefix
    bool hasFile{true};                       ///< if the prefix or a setup says so

    /// Writes them to a setup.
    void operator()(KrSim::ApplicationConfig& setup) const;
};

/// As KrPersistence::loadSimulation; "-" is standard input, and a setup is the first file. Throws a Failure for a
/// plug-in directory without plug-ins and for the first file that is refused.
[[nodiscard]] KrPersistence::LoadedSimulation loadFiles(KrSim::KrApplication& application,
                                                        const std::vector<std::string>& files,
                                                        KrPersistence::SimulationLoadOptions options);
/// The same, but continues after a refused file, which is part of the report.
[[nodiscard]] KrPersistence::LoadedSimulation loadAllFiles(KrSim::KrApplication& application,
                                                           const std::vector<std::string>& files,
                                                           KrPersistence::SimulationLoadOptions options);

/// Writes the files of the plan from what is in the application. Throws a Failure when one cannot be saved.
void saveSimulation(KrSim::KrApplication& application, const CreatePlan& plan);

}  // namespace krsim
