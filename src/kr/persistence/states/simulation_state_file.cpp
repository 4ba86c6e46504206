#include "kr/persistence/states/simulation_state_file.h"

#include <memory>
#include <new>

#include "kr/persistence/files/file.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/persistence/states/state_modules.h"

namespace KrPersistence {

namespace {

using eFailure = Kr::FileResult::eFailure;
using detail::addStateModules;

/// \param save  writes the file.
template <class Save>
Kr::FileResult saveWith(const Save& save, const KrSim::KrApplication& application,
                        const StateSaveOptions& options) try {
    auto snapshot = SimulationSnapshot::take(application);
    if (!snapshot)
        return Kr::FileResult::failed(eFailure::kNotWritten, {}, "a simulation state is saved between two frames only");
    auto section = std::make_unique<KrSimulationStateSection>();
    section->setSnapshot(std::move(snapshot), options.payload);
    KrFile file;
    file.setFileType(KrFile::eFileType::kSimulationState);
    file.addSection(section.release());
    save(file);
    return file.getLastResult();
} catch (const std::bad_alloc&) {
    return Kr::FileResult::noMemory();
}

/// \param load  reads the file.
template <class Load>
Kr::FileResultOf<RestoreReport> restoreWith(const Load& load, KrSim::KrApplication& application,
                                            const std::string& shownName) try {
    KrFile file;
    if (!load(file)) return file.getLastResult();
    for (const auto* each : file.getSections()) {
        if (const auto* section = dynamic_cast<const KrSimulationStateSection*>(each)) {
            addStateModules(application, section->getSnapshot()->getState());
            auto report = section->getSnapshot()->restore(application);
            if (report.isRestored) return report;
            return Kr::FileResult::failed(eFailure::kNotTaken, file.getCurrentFilename(), report.error);
        }
    }
    return Kr::FileResult::failed(eFailure::kUnsuitable, file.getCurrentFilename(),
                                  shownName + " holds no simulation state");
} catch (const std::bad_alloc&) {
    return Kr::FileResult::noMemory();
}

}  // namespace

Kr::FileResult saveSimulationState(const KrSim::KrApplication& application, const std::string& fileName,
                                   const StateSaveOptions& options) {
    return saveWith([&](KrFile& file) { file.save(fileName, options.flags); }, application, options);
}

Kr::FileResult saveSimulationState(const KrSim::KrApplication& application, std::ostream& stream,
                                   const StateSaveOptions& options) {
    return saveWith([&](KrFile& file) { file.save(stream, {}, options.flags); }, application, options);
}

Kr::FileResultOf<RestoreReport> restoreSimulationState(KrSim::KrApplication& application, const std::string& fileName,
                                                       int flags) {
    return restoreWith([&](KrFile& file) { return file.load(fileName, flags); }, application, "'" + fileName + "'");
}

Kr::FileResultOf<RestoreReport> restoreSimulationState(KrSim::KrApplication& application, std::istream& stream,
                                                       int flags) {
    return restoreWith([&](KrFile& file) { return file.load(stream, {}, flags); }, application, "the stream");
}

}  // namespace KrPersistence
