#include "kr/persistence/setups/simulation_files.h"

#include <algorithm>
#include <cstddef>
#include <istream>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/module_record.h"
#include "kr/application/setup_presets.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/objects/definition_files.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/persistence/setups/application_check.h"
#include "kr/persistence/setups/content_list_section.h"
#include "kr/persistence/setups/setup_section.h"
#include "kr/platform/guard.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace KrPersistence {

namespace {

using eFailure = Kr::FileResult::eFailure;
using FileName = KrSim::ApplicationConfig::FileName;

constexpr Kr::GuardTexts kAdjust{Kr::eLogLevel::kWarn, "loadSimulation: fatal error in '%s' adjustSetup [%s]\n",
                                 "loadSimulation: unhandled exception in '%s' adjustSetup\n", "adjustSetup"};

template <class Item>
void append(std::vector<Item>& all, const std::vector<Item>& more) {
    all.insert(all.end(), more.begin(), more.end());
}

bool isMissingType(const Finding& finding) {
    return finding.kind == Finding::eKind::kMissingType;
}

class Loader {
public:
    Loader(KrSim::KrApplication& application, const SimulationLoadOptions& options)
        : _application(application), _options(options) {}

    LoadedSimulation load(std::span<const std::string> files);

private:
    struct Opened {
        Kr::KrSmartPtr<KrFile> file{};
        bool isLoaded{false};
    };

    void _addFiles(std::span<const std::string> files);
    [[nodiscard]] Opened _open(const std::string& name, const std::string& referringFile = {}) const;
    bool _takeOver(const std::string& name, const Opened& opened);
    void _apply(const std::string& name, const KrFile& file);
    bool _prepare(const std::string& name, KrSim::ApplicationConfig& setup);
    void _add(const std::string& name, const KrFile& file);
    void _loadDefinitions();
    void _noteMissing(const KrSim::KrFactoryKey& key);
    [[nodiscard]] bool _isStopped() const { return _options.stopsAtFirstProblem && !_loaded.problems.empty(); }
    void _refuse(eFailure failure, const std::string& file, std::string text, std::string remedy = {}) {
        _loaded.problems.push_back(Kr::FileResult::failed(failure, file, std::move(text), {}, std::move(remedy)));
    }

    KrSim::KrApplication& _application;
    const SimulationLoadOptions& _options;
    LoadedSimulation _loaded;
    std::vector<std::string> _names;  // of all files, those of the setup too
};

LoadedSimulation Loader::load(std::span<const std::string> files) {
    for (const auto& each : _options.pluginDirectories)
        KrPluginSystem::KrPluginManager::instance().addPluginSearchDir(each);
    _names.assign(files.begin(), files.end());
    _addFiles(files);
    if (!_isStopped() && !_options.presets.empty() && _loaded.setupFile.empty()) {
        const auto& preset = _options.presets.front();
        _refuse(eFailure::kUnsuitable, {}, "preset '" + preset + "' needs a setup file, which holds it");
    }
    if (_isStopped()) return std::move(_loaded);
    _loadDefinitions();
    _loaded.contentFindings = checkContent(_application);
    for (const auto& each : _application.getContentDispatcher().getExtensions())
        if (!each->hasImplementation()) _noteMissing(each->getCreationKey());
    return std::move(_loaded);
}

void Loader::_addFiles(std::span<const std::string> files) {
    // The setup first, wherever it is: content needs its plug-ins. Object files say in their tags that they are none.
    std::vector<Opened> opened(files.size());
    std::size_t setup = files.size();
    const auto searched = _options.isSetupFirst ? files.first(std::min<std::size_t>(1, files.size())) : files;
    for (std::size_t i = 0; i < searched.size() && setup == files.size(); ++i) {
        if (KrMagicTag::createFromFile(files[i]).getFileType() == KrFile::eFileType::kObject) continue;
        opened[i] = _open(files[i]);
        if (!opened[i].isLoaded && _options.stopsAtFirstProblem) break;
        if (!KrSetupSection::find(*opened[i].file)) continue;
        setup = i;
        _apply(files[i], *opened[i].file);
    }
    for (std::size_t i = 0; i < files.size() && !_isStopped(); ++i) {
        const Opened given = opened[i].file ? std::move(opened[i]) : _open(files[i]);
        if (i == setup || !_takeOver(files[i], given)) continue;
        if (KrSetupSection::find(*given.file)) {
            _refuse(eFailure::kUnsuitable, files[i],
                    "'" + files[i] + "' is a setup file; give one setup file, before all others");
        } else {
            _add(files[i], *given.file);
        }
    }
}

Loader::Opened Loader::_open(const std::string& name, const std::string& referringFile) const {
    Opened opened{.file = Kr::makeSmart<KrFile>()};
    opened.file->setReferringFile(referringFile);
    if (name == "-" && _options.stream != nullptr) {
        _options.stream->clear();
        _options.stream->seekg(0);
        opened.isLoaded = opened.file->load(*_options.stream, {}, KrFile::kUnlogged);
    } else {
        opened.isLoaded = opened.file->load(name, KrFile::kUnlogged);
    }
    return opened;
}

/// Puts into the report what was found in the file; false where it was not loaded.
bool Loader::_takeOver(const std::string& name, const Opened& opened) {
    append(_loaded.fileFindings, opened.file->getFindings());
    if (opened.isLoaded) return true;
    _loaded.problems.push_back(opened.file->getLastResult());
    _loaded.problems.back().file = name;
    return false;
}

void Loader::_apply(const std::string& name, const KrFile& file) {
    _loaded.setupFile = name;
    append(_loaded.fileFindings, file.getFindings());
    const auto setup = KrSetupSection::find(file);
    if (!_prepare(name, *setup)) return;
    _application.applySetup(setup);
    for (const auto& each : setup->_getObjectProxy()->getExtensions())
        if (const auto record = KrSim::readModuleRecord(*each)) _noteMissing(record->key);
    for (const auto* section : file.getSections()) {
        if (const auto* setupSection = dynamic_cast<const KrSetupSection*>(section))
            append(_loaded.fileFindings, checkModules(_application, *setupSection));
        const auto* list = dynamic_cast<const KrContentListSection*>(section);
        if (list == nullptr) continue;
        append(_names, list->getFiles());
        for (const auto& each : list->getFiles()) {
            if (_isStopped()) return;
            const auto content = _open(each, name);
            if (_takeOver(each, content)) _add(each, *content.file);
        }
    }
}

/// Changes the setup as the options say; false where that is impossible.
bool Loader::_prepare(const std::string& name, KrSim::ApplicationConfig& setup) {
    for (const auto& each : _options.presets) {
        const auto error = KrSim::SetupPresets::apply(setup, each);
        if (error.empty()) continue;
        _refuse(eFailure::kUnsuitable, name, "preset '" + each + "' cannot be applied: " + error);
        return false;
    }
    // The directories of the setup replace all others.
    std::vector<FileName> directories;
    for (const auto& each : _options.pluginDirectories) {
        if (directories.emplace_back().assign(each)) continue;
        // A part of the path would be another directory.
        const std::string remedy = "use a shorter path or a link";
        _refuse(eFailure::kUnsuitable, each,
                "the path of the plug-in directory '" + each + "' has more than the " +
                    std::to_string(FileName::capacity()) + " bytes that a setup holds; " + remedy,
                remedy);
        return false;
    }
    if (!directories.empty()) {
        const std::vector<FileName> listed = setup.pluginDirectories.get();
        append(directories, listed);
        setup.pluginDirectories.set(std::move(directories));
    }
    if (_options.adjustSetup) {
        Kr::callGuarded(
            kAdjust, [&] { return name; }, [&] { _options.adjustSetup(setup); });
    }
    return true;
}

void Loader::_add(const std::string& name, const KrFile& file) {
    bool hasObjects = false;
    for (const auto* each : file.getSections()) {
        const auto* section = dynamic_cast<const KrObjectSection*>(each);
        if (section == nullptr) continue;
        hasObjects = true;
        for (const auto& object : section->getObjects()) {
            if (_application.add(object.get())) continue;
            return _refuse(eFailure::kNotTaken, name,
                           "'" + object->getName() + "' of '" + name + "' is refused by the application");
        }
    }
    if (!hasObjects) _refuse(eFailure::kUnsuitable, name, "'" + name + "' holds neither a setup nor objects");
}

void Loader::_loadDefinitions() {
    std::vector<Kr::FileResult> refused;
    _loaded.definitions = loadDefinitions(_names, refused);
    for (const auto& each : _loaded.definitions)
        append(_loaded.fileFindings, each.findings);
    for (const auto& each : refused)
        _loaded.fileFindings.push_back({Finding::eKind::kOpenEnd, each.toString()});
}

void Loader::_noteMissing(const KrSim::KrFactoryKey& key) {
    auto& missing = _loaded.missingPlugins;
    if (key.plugin.empty() || KrPluginSystem::KrPluginManager::instance().isLoaded(key.plugin)) return;
    if (std::find(missing.begin(), missing.end(), key.plugin) == missing.end()) missing.push_back(key.plugin);
}

}  // namespace

bool LoadedSimulation::isComplete() const {
    const auto findings = getFindings();
    return problems.empty() && std::none_of(findings.begin(), findings.end(), isMissingType);
}

std::vector<Finding> LoadedSimulation::getFindings() const {
    auto findings = fileFindings;
    append(findings, contentFindings);
    return findings;
}

std::string LoadedSimulation::toString() const {
    std::string text;
    for (const auto& each : problems)
        text += Kr::toOneLine(each.toString()) + "\n";
    for (const auto& each : missingPlugins)
        text += "plug-in '" + each + "' is missing\n";
    for (const auto& each : getFindings())
        text += Kr::toOneLine(each.toString()) + "\n";
    return text;
}

LoadedSimulation loadSimulation(KrSim::KrApplication& application, std::span<const std::string> files,
                                const SimulationLoadOptions& options) {
    return Loader(application, options).load(files);
}

}  // namespace KrPersistence
