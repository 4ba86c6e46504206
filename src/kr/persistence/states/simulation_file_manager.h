#pragma once

#include <string>

#include "kr/application/i_simulation_file_manager.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/export.h"
#include "kr/platform/fixed_string.h"

namespace KrPersistence {

/// The result of KrApplication::getSimulationFileManager: saves and restores state files with the settings in its
/// parameters. Names that end in ".xml" and ".json" give files of that kind, others binary files. For rewinding in
/// memory use SnapshotRing.
/// Thread: application. Ownership: owned by its extension.
class KR_API SimulationFileManager final : public KrSim::ISimulationFileManager {
public:
    static constexpr int kVersion = 1;
    explicit SimulationFileManager(KrSim::KrExtension* proxy);
    ~SimulationFileManager() override;

    bool save(const std::string& fileName, Done done = {}) override;
    bool restore(const std::string& fileName, Done done = {}) override;

    KrSim::Parameter<Kr::KrString<512>> directory{
        this, "Directory", {.description = "Where relative names of state files begin."}};
    KrSim::Parameter<bool> compact{
        this,
        "Compact",
        {.description = "Save values with the precision of a float: to show states, not to continue."}};
    KrSim::Output<std::string> lastFile{this, "LastFile", {.description = "The state file saved or restored last."}};

private:
    enum class eTask { kSave, kRestore };
    bool _whenPossible(eTask task, const std::string& fileName, Done done);
    [[nodiscard]] Kr::FileResult _execute(eTask task, const std::string& fileName);
    [[nodiscard]] Kr::FileResult _save(const std::string& path) const;
    [[nodiscard]] Kr::FileResult _restore(const std::string& path) const;
};

}  // namespace KrPersistence
