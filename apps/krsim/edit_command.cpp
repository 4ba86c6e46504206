#include "apps/krsim/edit_command.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "apps/krsim/assembly.h"
#include "apps/krsim/failure.h"
#include "apps/krsim/loaded_file.h"
#include "apps/krsim/output_file.h"
#include "apps/krsim/type_catalog.h"
#include "kr/experiments/content_editor.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/objects/definition_files.h"
#include "kr/persistence/objects/object_section.h"
#include "kr/platform/log.h"

namespace krsim {
namespace {

using KrPersistence::KrMagicTag;
using KrPersistence::KrObjectSection;

KrObjectSection& findObjects(const KrPersistence::KrFile& file, const std::string& filename) {
    for (auto* each : file.getSections()) {
        if (auto* section = dynamic_cast<KrObjectSection*>(each)) return *section;
    }
    throw Failure(eExitCode::kUsage,
                  "'" + filename + "' holds no objects; a setup lists the object files of its content");
}

int flagsOf(const std::string& filename) {
    const auto tag = KrMagicTag::createFromFile(filename);
    return toFlags(kindOf(tag.getFileFormat()), tag.isSigned());
}

/// The steps of a plan, with the problems that they meet.
class Edit {
public:
    Edit(const EditPlan& plan, KrObjectSection& section) : _plan(plan), _section(section), _editor(section) {}

    void carryOut() {
        for (const auto& each : _plan.removed)
            _note(_editor.remove(each));
        _add();
        _instantiate();
        Kr::LogSetLevel(Kr::eLogLevel::kWarn);  // for dimensions that do not fit
        if (!_plan.source.empty()) {
            _note(_plan.isDisconnected ? _editor.disconnect(_plan.source, _plan.sink)
                                       : _editor.connect(_plan.source, _plan.sink, _plan.connectionKind));
        }
        const auto set = _editor.set(_plan.assignments);
        for (const auto& each : set.problems)
            _note("--set " + each);
        if (!_problems.empty()) throw Failure(eExitCode::kUsage, _problems);
        _set = set.fields;
    }
    /// Once the file is saved.
    void report() const {
        for (const auto& each : _set)
            std::printf("%s = %s, was %s\n", each.path.c_str(), each.after.c_str(), each.before.c_str());
    }

private:
    void _note(const std::string& problem) {
        if (problem.empty()) return;
        _problems.append(_problems.empty() ? "" : "\nkrsim: ").append(problem);
    }
    void _add() {
        if (_plan.added.empty()) return;
        const TypeCatalog catalog(getPluginDirectories());
        for (const auto& each : _plan.added)
            _note(_editor.add(catalog.find(each), _plan.name, _plan.parent));
    }
    void _instantiate() {
        if (_plan.definition.empty()) return;
        if (!_plan.definitionFile.empty()) {
            auto loaded = KrPersistence::loadObjects(_plan.definitionFile, {.referringFile = _plan.file});
            if (!loaded) throw toFailure(loaded);
            _definitions.push_back(std::move(*loaded));
        }
        _note(_editor.instantiate(_definitions.empty() ? _section.getObjects() : _definitions.front().objects,
                                  _plan.definition, _plan.name, _plan.parent, _plan.instances));
    }

    const EditPlan& _plan;
    KrObjectSection& _section;
    KrExperiments::ContentEditor _editor;
    std::vector<KrPersistence::LoadedObjects> _definitions;  // until the instances are saved
    std::vector<KrExperiments::AssignedField> _set;
    std::string _problems;
};

}  // namespace

void editFile(const EditPlan& plan) {
    if (plan.file == kStandardStream) throw Failure(eExitCode::kUsage, "a file is changed, not a stream");
    Kr::LogSetLevel(Kr::eLogLevel::kError);
    addPluginDirectories(plan.pluginDirectories);
    const auto file = loadFile(plan.file);
    auto& section = findObjects(*file, plan.file);
    std::vector<Kr::FileResult> refused;
    const auto definitions = KrPersistence::loadDefinitions({{plan.file}}, refused);
    for (const auto& each : refused)
        std::fprintf(stderr, "krsim: %s; its instances keep what was saved\n", toFailure(each).what());
    Edit edit(plan, section);
    edit.carryOut();
    const bool isSame = plan.output.empty();  // the file that is changed may be replaced
    saveFile(*file, isSame ? plan.file : plan.output, flagsOf(plan.file), isSame || plan.isForced);
    edit.report();
}

}  // namespace krsim
