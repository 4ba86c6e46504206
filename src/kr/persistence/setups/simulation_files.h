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
    /// Directories to search for plug-ins, before those of the setup.
    std::vector<std::string> pluginDirectories{};
    /// Presets of the setup, applied in this order.
    std::vector<std::string> presets{};
    /// Called with the setup before it is applied, to change settings; may be empty. An exception is logged, and the
    /// setup is applied in its current state.
    std::function<void(KrSim::ApplicationConfig& setup)> adjustSetup{};
    /// A binary stream, read from its beginning instead of a file named "-"; borrowed. Null: "-" is a file.
    std::istream* stream{nullptr};
    bool stopsAtFirstProblem{false};  ///< the files after it are not loaded then
    bool isSetupFirst{false};         ///< a setup after another file is a problem, and not applied
};

/// The result of loadSimulation.
/// Thread: application. Ownership: holds the definitions.
struct KR_API LoadedSimulation {
    std::string setupFile{};                    ///< as it was given; empty without a setup
    std::vector<Kr::FileResult> problems{};     ///< of files, presets and directories that could not be used, in order
    std::vector<std::string> missingPlugins{};  ///< of types in content and modules, each once
    std::vector<Finding> fileFindings{};       ///< of files, modules and definitions; includes missing types of modules
    std::vector<Finding> contentFindings{};    ///< of checkContent, after all files were loaded
    std::vector<LoadedObjects> definitions{};  ///< instances follow them while they are alive; they are not simulated

    /// Whether all files were used and all types exist. Findings of other kinds do not count.
    [[nodiscard]] bool isComplete() const;
    /// Findings of files, then those of content.
    [[nodiscard]] std::vector<Finding> getFindings() const;
    /// For people: problems, missing plug-ins and findings, a line each; empty without any.
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
/// \param files  at most one setup file, at any place, and object files.
/// A file that cannot be used is a problem of the result, and the others are loaded. Added content stays in the
/// application. Use checkSimulation to find out whether a run simulates.
/// Thread: application, between frames. Throws only std::bad_alloc.
[[nodiscard]] KR_API LoadedSimulation loadSimulation(KrSim::KrApplication& application,
                                                     std::span<const std::string> files,
                                                     const SimulationLoadOptions& options = {});

}  // namespace KrPersistence
