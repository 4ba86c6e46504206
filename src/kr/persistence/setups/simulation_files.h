#pragma once

#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

struct SimulationLoadOptions {
    /// Searched for plug-ins, before the directories of the setup.
    std::vector<std::string> pluginDirectories{};
    /// Of the setup; applied to it in this order.
    std::vector<std::string> presets{};
    /// Called with the setup before it is applied, to change settings; may be empty. An exception from it is logged,
    /// and the setup is applied as it is then.
    std::function<void(KrSim::ApplicationConfig& setup)> adjustSetup{};
    /// A binary stream, read from its begin in the place of a file named "-"; borrowed. Null: "-" is a file.
    std::istream* stream{nullptr};
    bool stopsAtFirstProblem{false};  ///< files behind it are not loaded then
    bool isSetupFirst{false};         ///< a setup at another place is a problem, and not applied
};

/// What loadSimulation has brought into an application, and what is wrong with it.
struct KR_API LoadedSimulation {
    std::string setupFile{};                    ///< as it was given; empty without a setup
    std::vector<Kr::FileResult> problems{};     ///< of files, presets and directories that could not be used, in order
    std::vector<std::string> missingPlugins{};  ///< that content and modules need, each once
    std::vector<Finding> fileFindings{};       ///< of files, modules and definitions; includes missing types of modules
    std::vector<Finding> contentFindings{};    ///< of checkContent, once all was loaded
    std::vector<LoadedObjects> definitions{};  ///< instances follow them while they live; they are not simulated

    /// Whether all files were used and all types made. Findings of other kinds do not count.
    [[nodiscard]] bool isComplete() const;
    /// Those of files, then those of content.
    [[nodiscard]] std::vector<Finding> getFindings() const;
    /// For people: problems, missing plug-ins and findings, a line each; empty where there are none.
    [[nodiscard]] std::string toString() const;
};

/// Loads a simulation into an application: applies the setup with its directories, settings and modules, then adds the
/// objects of the files that the setup lists and of the other files, and loads the definitions that instances wait for.
/// References and connections between the files are resolved.
///
///     const auto application = KrSim::KrApplication::create();
///     const auto simulation = KrPersistence::loadSimulation(*application, {{"setup.xml"}});
///     std::fputs(simulation.toString().c_str(), stderr);
///     if (simulation.isComplete()) application->run({.seconds = 10.0});
///
/// \param files  one setup file at most, at any place, and object files.
/// A file that cannot be used is a problem of the answer, and the others are loaded. What is added stays in the
/// application. checkSimulation tells in addition whether a run simulates.
/// Thread: the application's, between frames. Throws nothing but std::bad_alloc.
[[nodiscard]] KR_API LoadedSimulation loadSimulation(KrSim::KrApplication& application,
                                                     std::span<const std::string> files,
                                                     const SimulationLoadOptions& options = {});

}  // namespace KrPersistence
