#include "kr/persistence/states/simulation_file_manager.h"

#include <filesystem>
#include <utility>

#include "kr/application/application.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/registration.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/states/simulation_state_file.h"
#include "kr/platform/guard.h"

namespace KrPersistence {

namespace {

// While the library is loaded, before any program can ask for the type.
[[maybe_unused]] const bool isRegistered =
    KrSim::registerExtensionType<SimulationFileManager>(KrSim::Keys::SimulationFileManager::kInternalFactoryKey);

constexpr Kr::GuardTexts kDone{Kr::eLogLevel::kWarn, "SimulationFileManager: fatal error when '%s' was done [%s]\n",
                               "SimulationFileManager: unhandled exception when '%s' was done\n",
                               "end of a save or restore"};

int flagsFor(const std::string& path) {
    const auto ending = std::filesystem::path(path).extension();
    if (ending == ".xml") return KrFile::kXml;
    return ending == ".json" ? KrFile::kJson : 0;
}

std::string describeGaps(const RestoreReport& report) {
    if (report.isComplete()) return {};
    return std::to_string(report.missing) + " extensions and " + std::to_string(report.missingFields) +
           " fields of the state are not here, " + std::to_string(report.untouched) + " extensions are not in it";
}

}  // namespace

SimulationFileManager::SimulationFileManager(KrSim::KrExtension* proxy) : ISimulationFileManager(proxy, kVersion) {}
SimulationFileManager::~SimulationFileManager() = default;

bool SimulationFileManager::save(const std::string& fileName, Done done) {
    return _whenPossible(eTask::kSave, fileName, std::move(done));
}

bool SimulationFileManager::restore(const std::string& fileName, Done done) {
    return _whenPossible(eTask::kRestore, fileName, std::move(done));
}

bool SimulationFileManager::_whenPossible(eTask task, const std::string& fileName, Done done) {
    if (getApplication() == nullptr) return false;
    const KrSim::KrSmartInterface<SimulationFileManager> self(this);
    return getApplication()->executeBetweenFrames([self, task, fileName, done = std::move(done)] {
        const auto result = self->_execute(task, fileName);
        if (done) {
            Kr::callGuarded(
                kDone, [&] { return fileName; }, [&] { done(result); });
        } else if (const auto text = result.toString(); !text.empty()) {
            Kr::logMessage(Kr::eLogLevel::kWarn, "SimulationFileManager: '%s' was %s%s: %s\n", fileName.c_str(),
                           result ? "" : "not ", task == eTask::kSave ? "saved" : "restored", text.c_str());
        }
    });
}

Kr::FileResult SimulationFileManager::_execute(eTask task, const std::string& fileName) {
    using eFailure = Kr::FileResult::eFailure;
    if (getApplication() == nullptr)
        return Kr::FileResult::failed(eFailure::kNotTaken, {}, "the application has ended");
    if (fileName.empty() && lastFile.get().empty())
        return Kr::FileResult::failed(eFailure::kNoName, {}, "no file was named");
    const std::string path =
        fileName.empty() ? lastFile.get() : (std::filesystem::path(directory.get().str()) / fileName).string();
    auto result = task == eTask::kSave ? _save(path) : _restore(path);
    if (result) lastFile = path;
    return result;
}

Kr::FileResult SimulationFileManager::_save(const std::string& path) const {
    const auto payload = compact ? eStatePayload::kCompact : eStatePayload::kNormal;
    return saveSimulationState(*getApplication(), path, {.flags = flagsFor(path), .payload = payload});
}

Kr::FileResult SimulationFileManager::_restore(const std::string& path) const {
    auto restored = restoreSimulationState(*getApplication(), path);
    if (restored) restored.text = describeGaps(*restored);
    return restored;
}

}  // namespace KrPersistence
