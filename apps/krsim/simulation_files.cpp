#include "apps/krsim/simulation_files.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <utility>

#include "apps/krsim/assembly.h"
#include "apps/krsim/failure.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "kr/application/application_config.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/setup_presets.h"
#include "kr/extension/object.h"
#include "kr/persistence/objects/definition_files.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/persistence/setups/application_check.h"
#include "kr/persistence/setups/content_list_section.h"
#include "kr/persistence/setups/setup_file.h"
#include "kr/persistence/setups/setup_section.h"

namespace krsim {
namespace {

using KrPersistence::KrObjectSection;
using KrPersistence::KrSetupSection;

/// Of the first section of a class, or null.
template <class Section>
const Section* findSection(const KrPersistence::KrFile& file) {
    for (const auto* each : file.getSections()) {
        if (const auto* section = dynamic_cast<const Section*>(each)) return section;
    }
    return nullptr;
}

std::string makeAbsolute(const std::string& path) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute.lexically_normal().string();
}

/// Throws a Failure for a path that a setup cannot hold: a part of it would be another directory.
std::vector<KrSim::ApplicationConfig::FileName> toFileNames(const std::vector<std::string>& directories) {
    std::vector<KrSim::ApplicationConfig::FileName> names(directories.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].assign(directories[i])) continue;
        throw Failure(eExitCode::kUsage, "the path of the plug-in directory '" + directories[i] +
                                             "' has more than the " +
                                             std::to_string(KrSim::ApplicationConfig::FileName::capacity()) +
                                             " bytes that a setup holds; use a shorter path or a link");
    }
    return names;
}

}  // namespace

void LogChoice::applyTo(KrSim::ApplicationConfig& setup) const {
    if (level) {
        setup.loggingLevel = Kr::KrEnum(*level);
    } else if (isQuiet && static_cast<int>(setup.loggingLevel.get()) > static_cast<int>(Kr::eLogLevel::kWarn)) {
        setup.loggingLevel = Kr::KrEnum(Kr::eLogLevel::kWarn);
    }
    if (filePrefix) setup.logFile = *filePrefix;
    // A setup without the setting leaves the log as it is.
    if (!hasFile) setup._getProxy()->removeParameter("LogFile");
}

SimulationFiles::SimulationFiles(KrSim::KrApplication& application, std::vector<std::string> pluginDirectories,
                                 LogChoice log, std::vector<std::string> presets)
    : _application(application),
      _pluginDirectories(std::move(pluginDirectories)),
      _log(std::move(log)),
      _presets(std::move(presets)) {
    addPluginDirectories(_pluginDirectories);
}

void SimulationFiles::load(const std::vector<std::string>& files) {
    _load(files, [](const Failure& failure) { throw Failure(failure); });
}

std::vector<Failure> SimulationFiles::loadAll(const std::vector<std::string>& files) {
    std::vector<Failure> refused;
    _load(files, [&](const Failure& failure) { refused.push_back(failure); });
    return refused;
}

void SimulationFiles::_load(const std::vector<std::string>& files, const OnRefused& onRefused) {
    std::vector<std::string> all(files);
    for (const auto& each : files) {
        try {
            _loadOne(each, &each == &files.front(), all, onRefused);
        } catch (const Failure& failure) {
            onRefused(failure);
        }
    }
    if (!_presets.empty() && !_hasSetup) {
        throw Failure(eExitCode::kUsage, "preset '" + _presets.front() + "' needs a setup file, which holds it");
    }
    std::vector<Kr::FileResult> refused;
    _definitions = KrPersistence::loadDefinitions(all, refused);
    for (const auto& each : _definitions)
        _findings.insert(_findings.end(), each.findings.begin(), each.findings.end());
    for (const auto& each : refused)
        _findings.push_back({KrPersistence::Finding::eKind::kOpenEnd, each.toString()});
}

Kr::KrSmartPtr<KrPersistence::KrFile> SimulationFiles::_loadFile(const std::string& filename,
                                                                 const std::string& referringFile) {
    auto file = loadFile(filename, 0, referringFile);
    const auto& findings = file->getFindings();
    _findings.insert(_findings.end(), findings.begin(), findings.end());
    return file;
}

void SimulationFiles::_loadOne(const std::string& name, bool isFirst, std::vector<std::string>& all,
                               const OnRefused& onRefused) {
    const auto file = _loadFile(name);
    if (!KrSetupSection::find(*file)) return _add(name, *file);
    if (!isFirst) throw Failure(eExitCode::kUsage, "'" + name + "' is a setup file, which stands first and alone");
    _apply(*findSection<KrSetupSection>(*file));
    const auto* list = findSection<KrPersistence::KrContentListSection>(*file);
    if (list == nullptr) return;
    for (const auto& content : list->getFiles()) {
        all.push_back(content);
        try {
            _add(content, *_loadFile(content, name));
        } catch (const Failure& failure) {
            onRefused(failure);
        }
    }
}

void SimulationFiles::_apply(const KrSetupSection& section) {
    _hasSetup = true;
    const auto& setup = section.getSetup();
    for (const auto& each : _presets) {
        const auto error = KrSim::SetupPresets::apply(*setup, each);
        if (!error.empty()) throw Failure(eExitCode::kUsage, "preset '" + each + "' cannot be applied: " + error);
    }
    // The directories of the setup replace all others, and its modules are made while it is applied.
    if (!_pluginDirectories.empty()) {
        auto directories = toFileNames(_pluginDirectories);
        const auto listed = setup->pluginDirectories.get();
        directories.insert(directories.end(), listed.begin(), listed.end());
        setup->pluginDirectories.set(std::move(directories));
    }
    _log.applyTo(*setup);
    _application.applySetup(setup);
    const auto missing = KrPersistence::checkModules(_application, *setup);
    _findings.insert(_findings.end(), missing.begin(), missing.end());
}

void SimulationFiles::_add(const std::string& filename, const KrPersistence::KrFile& file) {
    bool hasObjects = false;
    for (const auto* each : file.getSections()) {
        const auto* section = dynamic_cast<const KrObjectSection*>(each);
        if (section == nullptr) continue;
        hasObjects = true;
        for (const auto& object : section->getObjects()) {
            if (!_application.add(object.get())) {
                throw Failure(eExitCode::kFailed,
                              "'" + object->getName() + "' of '" + filename + "' is refused by the application");
            }
        }
    }
    if (!hasObjects) throw Failure(eExitCode::kUsage, "'" + filename + "' holds neither a setup nor objects");
}

std::vector<KrPersistence::Finding> SimulationFiles::getFindings() const {
    auto findings = _findings;
    const auto content = KrPersistence::checkContent(_application);
    findings.insert(findings.end(), content.begin(), content.end());
    return findings;
}

std::size_t SimulationFiles::getExtensionCount() const {
    return _application.getContentDispatcher().getExtensions().size();
}

void saveSimulation(KrSim::KrApplication& application, const CreatePlan& plan) {
    const int flags = toFlags(plan.kind, plan.hasChecksum) | KrPersistence::KrFile::kUnlogged;
    if (!plan.objectFile.empty()) {
        const auto file = Kr::makeSmart<KrPersistence::KrFile>();
        file->setFileType(KrPersistence::KrFile::eFileType::kObject);
        auto section = std::make_unique<KrObjectSection>();
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
