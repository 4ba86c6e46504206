#include "apps/krsim/state_files.h"

#include <filesystem>
#include <system_error>

#include "apps/krsim/failure.h"
#include "apps/krsim/loaded_file.h"
#include "kr/persistence/states/simulation_state_file.h"

namespace krsim {
namespace {

/// The kind of a file by its ending.
eFileKind kindOf(const std::string& filename) {
    if (filename.ends_with(".xml")) return eFileKind::kXml;
    return filename.ends_with(".json") ? eFileKind::kJson : eFileKind::kBinary;
}

}  // namespace

void saveState(const KrSim::KrApplication& application, const std::string& filename) {
    std::string error;
    if (KrPersistence::saveSimulationState(application, filename, {.flags = toFlags(kindOf(filename))}, &error)) return;
    failToSave("state", filename, error);
}

void restoreState(KrSim::KrApplication& application, const std::string& filename) {
    std::error_code error;
    if (!std::filesystem::exists(filename, error)) {
        throw Failure(eExitCode::kUsage, "state '" + filename + "' does not exist");
    }
    refuseFolder(filename);
    const auto report = KrPersistence::restoreSimulationState(application, filename);
    if (!report.isRestored)
        throw Failure(eExitCode::kRefusedFile, "state '" + filename + "' is refused: " + trim(report.error));
    if (report.isComplete()) return;
    throw Failure(eExitCode::kRefusedFile,
                  "state '" + filename + "' is one of other content: " + std::to_string(report.missing) +
                      " of its extensions and " + std::to_string(report.missingFields) +
                      " of its fields are not here, " + std::to_string(report.untouched) + " extensions are not in it");
}

}  // namespace krsim
