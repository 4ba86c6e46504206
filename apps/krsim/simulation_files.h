#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/krsim/failure.h"
#include "apps/krsim/file_plans.h"
#include "kr/application/application.h"
#include "kr/extension/object.h"
#include "kr/persistence/archives/finding.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/setups/setup_section.h"
#include "kr/platform/log.h"

namespace krsim {

/// What becomes of log messages, whatever a setup says.
struct LogChoice {
    std::optional<Kr::eLogLevel> level{};
    bool isQuiet{false};                      ///< without a level: that of a setup, but warnings at most
    std::optional<std::string> filePrefix{};  ///< see KrApplication::setLogFilePrefix
    bool hasFile{true};                       ///< if the prefix or a setup says so

    void applyTo(KrSim::ApplicationConfig& setup) const;
};

/// Brings setups and content from files into an application.
class SimulationFiles {
public:
    /// \param application        borrowed.
    /// \param pluginDirectories  to search, before those of a setup. Throws a Failure for one without plug-ins.
    /// \param log                in the place of what a setup says.
    /// \param presets            of the setup, which are applied to it in this order.
    SimulationFiles(KrSim::KrApplication& application, std::vector<std::string> pluginDirectories, LogChoice log,
                    std::vector<std::string> presets = {});

    /// Applies the setup file, which stands first if there is one, then loads the content that it lists, then the other
    /// files, and the definitions that instances wait for. Throws a Failure that names the file which is refused.
    void load(const std::vector<std::string>& files);
    /// The same, but goes on with the other files after one that is refused. Answers the refusals.
    [[nodiscard]] std::vector<Failure> loadAll(const std::vector<std::string>& files);

    /// What is probably wrong with the files and the content of the application.
    [[nodiscard]] std::vector<KrPersistence::Finding> getFindings() const;
    [[nodiscard]] std::size_t getExtensionCount() const;
    [[nodiscard]] bool hasSetup() const noexcept { return _hasSetup; }

private:
    using OnRefused = std::function<void(const Failure&)>;

    void _load(const std::vector<std::string>& files, const OnRefused& onRefused);
    /// \param all  gets the content files that a setup lists.
    void _loadOne(const std::string& name, bool isFirst, std::vector<std::string>& all, const OnRefused& onRefused);
    [[nodiscard]] Kr::KrSmartPtr<KrPersistence::KrFile> _loadFile(const std::string& filename,
                                                                  const std::string& referringFile = {});
    void _apply(const KrPersistence::KrSetupSection& section);
    void _add(const std::string& filename, const KrPersistence::KrFile& file);

    KrSim::KrApplication& _application;
    std::vector<std::string> _pluginDirectories;
    LogChoice _log;
    std::vector<std::string> _presets;
    std::vector<KrPersistence::Finding> _findings;           // of what was loaded so far
    std::vector<KrPersistence::LoadedObjects> _definitions;  // what instances follow; not simulated
    bool _hasSetup{false};
};

/// Writes the files of the plan from what is in the application. Throws a Failure when one cannot be saved.
void saveSimulation(KrSim::KrApplication& application, const CreatePlan& plan);

}  // namespace krsim
