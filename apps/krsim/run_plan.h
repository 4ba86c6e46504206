#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/krsim/recorder.h"
#include "apps/krsim/run_conditions.h"
#include "kr/application/application.h"
#include "kr/application/context/application_modes.h"
#include "kr/experiments/assignment.h"
#include "kr/experiments/field_text.h"
#include "kr/experiments/stimulus.h"
#include "kr/platform/log.h"

namespace krsim {

/// What to load, how long to run it and how to pace it. Unset members use the setup file, or their defaults.
struct RunPlan {
    std::vector<std::string> files{};              ///< setup file, object files
    std::vector<std::string> pluginDirectories{};  ///< searched in this order, then the one of the library
    std::vector<std::string> content{};            ///< types, as TypeCatalog::find takes them; one of each is made
    /// Likewise; empty for all modules of the plug-ins that the content comes from, and what connects its connections.
    std::vector<std::string> modules{};
    std::vector<std::string> presets{};  ///< of the setup file, applied in this order
    bool allowsMissing{false};           ///< plug-ins
    bool isStrict{false};                ///< a probable mistake prevents the run

    KrSim::RunLimits limits{};
    std::optional<bool> isPaced{};  ///< by the clock, else as fast as possible
    std::optional<double> rateHz{};
    std::optional<std::uint32_t> seed{};
    std::optional<KrSim::eApplicationMode> mode{};

    KrExperiments::ShownUnits units{};                     ///< else those of the content
    std::vector<KrExperiments::Assignment> assignments{};  ///< before the first frame, after the state was restored
    std::vector<std::string> overrides{};                  ///< as KrExperiments::parseOverride reads them
    std::vector<std::string> overrideFiles{};              ///< with a line for each

    std::vector<std::string> stimuli{};  ///< tables that set fields over time
    KrExperiments::StimulusOptions stimulus{};

    bool hasStatistics{false};                      ///< of number fields over the frames
    std::vector<std::string> statisticsPatterns{};  ///< of these; empty for all outputs that are numbers

    ConditionPlan conditions{};

    std::string stateToRestore{};
    std::string stateToSave{};
    RecordPlan record{};
    std::string hashFile{};  ///< for the hash of each frame
    bool isForced{false};    ///< state, record and hashes replace whatever their files hold

    std::optional<Kr::eLogLevel> logLevel{};
    std::optional<std::string> logFilePrefix{};  ///< see KrApplication::setLogFilePrefix
    bool logsToFile{true};                       ///< where the prefix or the setup says so
    bool printsOutputs{false};                   ///< at the end, of the content, also when quiet
    bool isQuiet{false};     ///< neither status nor summary, nor messages below warnings without a logLevel
    bool printsJson{false};  ///< the summary, in the place of status and summary as text
    bool keepsGoing{false};  ///< failures of extensions do not make the run a failed one
    bool stopsOnNaN{false};  ///< the frame in which an output becomes NaN is the last one
};

}  // namespace krsim
