#include "kr/persistence/states/simulation_state_file.h"

#include <memory>
#include <new>

#include "kr/persistence/files/file.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

namespace {
constexpr const char* kOutOfMemory = "out of memory";  // short enough to need none
}  // namespace

bool saveSimulationState(const KrSim::KrApplication& application, const std::string& fileName,
                         const StateSaveOptions& options, std::string* error) try {
    const auto fail = [&](const std::string& text) {
        if (error != nullptr) *error = text;
        return false;
    };
    auto snapshot = SimulationSnapshot::take(application);
    if (!snapshot) return fail("a simulation state is saved between two frames only");
    auto section = std::make_unique<KrSimulationStateSection>();
    section->setSnapshot(std::move(snapshot), options.payload);
    KrFile file;
    file.setFileType(KrFile::eFileType::kSimulationState);
    file.addSection(section.release());
    return file.save(fileName, options.flags) || fail(file.explainLastError());
} catch (const std::bad_alloc&) {
    if (error != nullptr) *error = kOutOfMemory;
    return false;
}

RestoreReport restoreSimulationState(KrSim::KrApplication& application, const std::string& fileName) try {
    RestoreReport report;
    KrFile file;
    if (!file.load(fileName)) {
        report.error = file.getLastError();
        return report;
    }
    for (const auto* each : file.getSections()) {
        if (const auto* section = dynamic_cast<const KrSimulationStateSection*>(each)) {
            return section->getSnapshot()->restore(application);
        }
    }
    report.error = "'" + fileName + "' holds no simulation state";
    return report;
} catch (const std::bad_alloc&) {
    RestoreReport report;
    report.error = kOutOfMemory;
    return report;
}

}  // namespace KrPersistence
