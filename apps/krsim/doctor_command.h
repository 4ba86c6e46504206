#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "apps/krsim/failure.h"

namespace krsim {

/// Look for what would hurt runs in real time here.
struct DoctorPlan {
    std::vector<std::string> pluginDirectories{};
    bool printsJson{false};
};

/// What was looked at, and what to do about it.
struct Examined {
    enum class eLevel : std::uint8_t {
        kGood,
        kNote,     ///< it may matter, or cannot be known
        kProblem,  ///< it hurts
    };

    std::string subject{};  ///< "clock source"
    eLevel level{eLevel::kGood};
    std::string state{};   ///< what was found
    std::string advice{};  ///< what to do; empty when all is well
};

/// Clock source, processors, governors and large pages, as the kernel describes them in files. What is missing there
/// makes a note.
/// \param root  the folder that has "proc" and "sys"
[[nodiscard]] std::vector<Examined> examineKernel(const std::filesystem::path& root = "/");

/// Limits, scheduling and clock of this process, locale, version of the library and the folder of log files.
[[nodiscard]] std::vector<Examined> examineProcess();

/// The folders in which plug-ins are searched, and the plug-ins, each of which is loaded in a process of its own.
[[nodiscard]] std::vector<Examined> examinePlugins(const std::vector<std::string>& directories);

/// kFailed when there is a problem.
[[nodiscard]] eExitCode examine(const DoctorPlan& plan);

}  // namespace krsim
