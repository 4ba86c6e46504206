#include "apps/krsim/state_files.h"

#include <iostream>

#include "apps/krsim/failure.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "kr/persistence/states/simulation_state_file.h"

namespace krsim {
namespace {

/// The kind of a file by its ending.
eFileKind kindOf(const std::string& filename) {
    if (filename.ends_with(".xml")) return eFileKind::kXml;
    return filename.ends_with(".json") ? eFileKind::kJson : eFileKind::kBinary;
}

}  // namespace

void saveState(const KrSim::KrApplication& application, const std::string& filename, bool isForced) {
    requireReplaceable(eOutputKind::kState, filename, isForced);
    const KrPersistence::StateSaveOptions options{.flags =
                                                      toFlags(kindOf(filename)) | KrPersistence::KrFile::kUnlogged};
    const auto result = filename == kStandardStream
                            ? KrPersistence::saveSimulationState(application, std::cout, options)
                            : KrPersistence::saveSimulationState(application, filename, options);
    if (!result) failToSave("state", filename, result);
}

void restoreState(KrSim::KrApplication& application, const std::string& filename) {
    constexpr int kFlags = KrPersistence::KrFile::kUnlogged;
    const auto stream = openInput(filename);
    const auto report = filename == kStandardStream
                            ? KrPersistence::restoreSimulationState(application, *stream, kFlags)
                            : KrPersistence::restoreSimulationState(application, filename, kFlags);
    if (!report)
        failInLog(eExitCode::kRefusedFile, "state '" + filename + "' is refused: " + Kr::toOneLine(report.toString()));
    if (report->isComplete()) return;
    failInLog(eExitCode::kRefusedFile,
              "state '" + filename + "' is one of other content: " + std::to_string(report->missing) +
                  " of its extensions and " + std::to_string(report->missingFields) + " of its fields are not here, " +
                  std::to_string(report->untouched) + " extensions are not in it");
}

}  // namespace krsim
