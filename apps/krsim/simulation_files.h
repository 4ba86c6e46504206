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

/// What becomes of log messages, whatever a setup says.
struct LogChoice {
    std::optional<Kr::eLogLevel> level{};
    bool isQuiet{false};                      ///< without a level: that of a setup, but warnings at most
    std::optional<std::string> filePrefix{};  ///< see KrApplication::setLogFilePrefix
    bool hasFile{true};                       ///< if the prefix or a setup says so

    /// Puts it into a setup.
    void operator()(KrSim::ApplicationConfig& setup) const;
};

/// As KrPersistence::loadSimulation; "-" is standard input, and a setup is the first file. Throws a Failure for a
/// plug-in directory without plug-ins and for the first file that is refused.
[[nodiscard]] KrPersistence::LoadedSimulation loadFiles(KrSim::KrApplication& application,
                                                        const std::vector<std::string>& files,
                                                        KrPersistence::SimulationLoadOptions options);
/// The same, but goes on after a file that is refused, and leaves it to the report.
[[nodiscard]] KrPersistence::LoadedSimulation loadAllFiles(KrSim::KrApplication& application,
                                                           const std::vector<std::string>& files,
                                                           KrPersistence::SimulationLoadOptions options);

/// Writes the files of the plan from what is in the application. Throws a Failure when one cannot be saved.
void saveSimulation(KrSim::KrApplication& application, const CreatePlan& plan);

}  // namespace krsim
