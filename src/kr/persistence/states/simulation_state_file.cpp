#include "kr/persistence/states/simulation_state_file.h"

#include <memory>
#include <new>

#include "kr/persistence/files/file.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace KrPersistence {

namespace {

constexpr const char* kOutOfMemory = "out of memory";  // short enough to need none

/// \param save  writes the file.
template <class Save>
bool saveWith(const Save& save, const KrSim::KrApplication& application, const StateSaveOptions& options,
              std::string* error) try {
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
    return save(file) || fail(file.explainLastError());
} catch (const std::bad_alloc&) {
    if (error != nullptr) *error = kOutOfMemory;
    return false;
}

/// \param load  reads the file.
template <class Load>
RestoreReport restoreWith(const Load& load, KrSim::KrApplication& application, const std::string& shownName) try {
    RestoreReport report;
    KrFile file;
    if (!load(file)) {
        report.error = file.explainLastError();
        return report;
    }
    for (const auto* each : file.getSections()) {
        if (const auto* section = dynamic_cast<const KrSimulationStateSection*>(each)) {
            return section->getSnapshot()->restore(application);
        }
    }
    report.error = shownName + " holds no simulation state";
    return report;
} catch (const std::bad_alloc&) {
    RestoreReport report;
    report.error = kOutOfMemory;
    return report;
}

}  // namespace

bool saveSimulationState(const KrSim::KrApplication& application, const std::string& fileName,
                         const StateSaveOptions& options, std::string* error) {
    return saveWith([&](KrFile& file) { return file.save(fileName, options.flags); }, application, options, error);
}

bool saveSimulationState(const KrSim::KrApplication& application, std::ostream& stream, const StateSaveOptions& options,
                         std::string* error) {
    return saveWith([&](KrFile& file) { return file.save(stream, {}, options.flags); }, application, options, error);
}

RestoreReport restoreSimulationState(KrSim::KrApplication& application, const std::string& fileName, int flags) {
    return restoreWith([&](KrFile& file) { return file.load(fileName, flags); }, application, "'" + fileName + "'");
}

RestoreReport restoreSimulationState(KrSim::KrApplication& application, std::istream& stream, int flags) {
    return restoreWith([&](KrFile& file) { return file.load(stream, {}, flags); }, application, "the stream");
}

}  // namespace KrPersistence
