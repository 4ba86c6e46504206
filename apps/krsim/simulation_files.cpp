#include "apps/krsim/simulation_files.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <utility>

#include "apps/krsim/assembly.h"
#include "apps/krsim/failure.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "apps/krsim/work_notice.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/persistence/setups/setup_file.h"

namespace krsim {
namespace {

std::string makeAbsolute(const std::string& path) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute.lexically_normal().string();
}

}  // namespace

void LogChoice::operator()(KrSim::ApplicationConfig& setup) const {
    if (level) {
        setup.loggingLevel = Kr::KrEnum(*level);
    } else if (isQuiet && static_cast<int>(setup.loggingLevel.get()) > static_cast<int>(Kr::eLogLevel::kWarn)) {
        setup.loggingLevel = Kr::KrEnum(Kr::eLogLevel::kWarn);
    }
    if (filePrefix) setup.logFile = *filePrefix;
    // A setup without the setting leaves the log as it is.
    if (!hasFile) setup._getProxy()->removeParameter("LogFile");
}

KrPersistence::LoadedSimulation loadAllFiles(KrSim::KrApplication& application, const std::vector<std::string>& files,
                                             KrPersistence::SimulationLoadOptions options) {
    const WorkNotice notice("loading the simulation");
    addPluginDirectories(options.pluginDirectories);
    std::istringstream input;
    if (std::find(files.begin(), files.end(), kStandardStream) != files.end()) input.str(readStandardInput());
    options.stream = &input;
    options.isSetupFirst = true;
    return KrPersistence::loadSimulation(application, files, options);
}

KrPersistence::LoadedSimulation loadFiles(KrSim::KrApplication& application, const std::vector<std::string>& files,
                                          KrPersistence::SimulationLoadOptions options) {
    options.stopsAtFirstProblem = true;
    auto simulation = loadAllFiles(application, files, std::move(options));
    if (!simulation.problems.empty()) throw toFailure(simulation.problems.front());
    return simulation;
}

void saveSimulation(KrSim::KrApplication& application, const CreatePlan& plan) {
    const int flags = toFlags(plan.kind, plan.hasChecksum) | KrPersistence::KrFile::kUnlogged;
    if (!plan.objectFile.empty()) {
        const auto file = Kr::makeSmart<KrPersistence::KrFile>();
        file->setFileType(KrPersistence::KrFile::eFileType::kObject);
        auto section = std::make_unique<KrPersistence::KrObjectSection>();
        for (std::size_t i = 0; i < application.getExtensionCount(); ++i)
            section->addObject(application.getExtension(i));
        file->addSection(section.release());
        saveFile(*file, plan.objectFile, flags, plan.isForced);
    }
    if (plan.setupFile.empty()) return;
    const auto setup = KrSim::ApplicationConfig::createFromApplication(&application);
    setup->logFile = std::string();
    setup->loggingLevel = Kr::KrEnum(plan.what.logLevel.value_or(Kr::eLogLevel::kInfo));
    KrPersistence::SetupFile content{setup, {}};
    const bool hasFile = !plan.objectFile.empty() && plan.objectFile != kStandardStream;
    if (hasFile) content.contentFiles.push_back(makeAbsolute(plan.objectFile));
    auto directories = setup->pluginDirectories.get();
    for (auto& each : directories)
        each.assign(makeAbsolute(each.str()));
    setup->pluginDirectories.set(std::move(directories));
    requireReplaceable(eOutputKind::kSetup, plan.setupFile, plan.isForced);
    const auto result = plan.setupFile == kStandardStream
                            ? KrPersistence::saveSetupFile(content, std::cout, flags)
                            : KrPersistence::saveSetupFile(content, plan.setupFile, flags);
    if (!result) failToSave("file", plan.setupFile, result);
}

}  // namespace krsim
