#include "apps/krsim/types_command.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <new>
#include <utility>

#include "apps/krsim/assembly.h"
#include "apps/krsim/list_command.h"
#include "apps/krsim/type_catalog.h"
#include "kr/core/physical_dimension.h"
#include "kr/data/container.h"
#include "kr/data/field_visitor.h"
#include "kr/experiments/field_text.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/text.h"

namespace krsim {
namespace {

using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;

class FieldLister final : public KrData::FieldVisitor {
public:
    explicit FieldLister(std::vector<DescribedField>& fields) : _fields(fields) {}

    void list(KrData::Container& container, const char* role) {
        _role = role;
        _prefix = container.getPath() + ".";
        container.accept(*this);
    }

    void visitField(KrData::FieldBase& field) override {
        auto name = field.getPath();
        if (name.starts_with(_prefix)) name.erase(0, _prefix.size());
        const auto* unit = Kr::KrPhysicalDimension::getUnit(KrExperiments::getShownUnit(field));
        _fields.push_back({.name = name,
                           .role = _role,
                           .type = KrData::Types::nameFor(field.getDataType()),
                           .unit = unit != nullptr ? unit->symbol : "",
                           .range = KrExperiments::formatRange(field),
                           .value = KrExperiments::formatField(field),
                           .description = field.getDescription()});
    }

private:
    std::vector<DescribedField>& _fields;
    std::string _role;
    std::string _prefix;
};

/// What the last exception of a constructor said.
std::string& lastFailure() {
    static std::string text;
    return text;
}

void keepFailure(const Kr::GuardedCall&, const std::string&, const char* what) noexcept {
    try {
        lastFailure() = what != nullptr ? what : "an exception that is no std::exception";
    } catch (const std::bad_alloc&) {
        lastFailure().clear();
    }
}

class FailureKeeper {
public:
    FailureKeeper() : _before(Kr::setFailureObserver(keepFailure)) {}
    FailureKeeper(const FailureKeeper&) = delete;
    FailureKeeper& operator=(const FailureKeeper&) = delete;
    ~FailureKeeper() { Kr::setFailureObserver(_before); }

private:
    Kr::FailureObserver _before;
};

void describeFields(const KrFactoryKey& key, DescribedType& type) {
    const FailureKeeper keeper;
    lastFailure().clear();
    const auto extension = KrExtensionFactory::create(key);
    if (!extension) {
        type.problem = "cannot be made" + (lastFailure().empty() ? "" : ": its constructor threw: " + lastFailure());
        return;
    }
    FieldLister lister(type.fields);
    lister.list(extension->getInputContainer(), "input");
    lister.list(extension->getOutputContainer(), "output");
    lister.list(extension->getParameterContainer(), "parameter");
}

/// What each registered type makes, by its unique id.
std::map<std::string, std::string> getKinds() {
    using eType = KrExtensionFactory::eType;
    std::map<std::string, std::string> kinds;
    for (const auto& [kind, name] : {std::pair(eType::kObject, "object"), std::pair(eType::kExtension, "extension"),
                                     std::pair(eType::kSimulatorModule, "module")}) {
        for (const auto& key : KrExtensionFactory::getAvailableTypes(kind))
            kinds[key.uuid.toString()] = name;
    }
    return kinds;
}

void describeAll(const std::vector<KrFactoryKey>& keys, std::vector<DescribedType>& types) {
    const auto kinds = getKinds();
    for (const auto& key : keys) {
        auto& type = types.emplace_back(
            DescribedType{.category = key.category, .name = key.name, .id = key.uuid.toString(), .plugin = key.plugin});
        const auto kind = kinds.find(type.id);
        type.kind = kind != kinds.end() ? kind->second : "missing";
        if (kind == kinds.end()) {
            type.problem = "is in the manifest, but the plug-in does not register it";
        } else {
            describeFields(key, type);
        }
    }
}

std::string getTitle(const DescribedType& type) {
    return type.category + "." + type.name;
}

std::string getSource(const DescribedType& type) {
    return type.plugin.empty() ? "library" : "plug-in " + type.plugin;
}

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);  // main asks whether it was written
}

}  // namespace

DescribedTypes describeTypes(const std::vector<std::string>& pluginDirectories) {
    addPluginDirectories(pluginDirectories);
    DescribedTypes all;
    const TypeCatalog catalog(getPluginDirectories());
    for (const auto& plugin : catalog.getPlugins()) {
        auto problem = plugin.unfit;
        // In another process first, so that one that crashes does not end the list.
        if (problem.empty()) problem = tryToLoad(plugin.name);
        if (problem.empty() && !KrPluginSystem::KrPluginManager::instance().load(plugin.name))
            problem = "cannot be loaded, the warning says why";
        if (problem.empty()) {
            describeAll(plugin.types, all.types);
        } else {
            all.problems.push_back("'" + plugin.path + "' " + problem);
        }
    }
    describeAll(catalog.getBuiltInTypes(), all.types);
    return all;
}

std::string formatTypes(const DescribedTypes& types) {
    std::string text;
    for (const auto& type : types.types) {
        text += getTitle(type) + " (" + type.kind + ", " + getSource(type) + ", " + type.id + ")\n";
        if (!type.problem.empty()) text += "  " + type.problem + "\n";
        for (const auto& field : type.fields) {
            text += "  " + field.role + " " + field.name + ": " + field.type + " = " + field.value;
            if (!field.range.empty()) text += ", " + field.range;
            if (!field.description.empty()) text += "; " + field.description;
            text += "\n";
        }
    }
    return text;
}

eExitCode showTypes(const TypesPlan& plan) {
    Kr::LogSetLevel(Kr::eLogLevel::kWarn);
    const auto types = describeTypes(plan.pluginDirectories);
    switch (plan.form) {
        case eTypesForm::kText:
            print(formatTypes(types));
            break;
        case eTypesForm::kJson:
            print(formatTypesAsJson(types));
            break;
        case eTypesForm::kHtml:
            print(formatTypesAsHtml(types));
            break;
    }
    for (const auto& each : types.problems)
        std::fprintf(stderr, "krsim: %s\n", each.c_str());
    const bool isWhole =
        std::none_of(types.types.begin(), types.types.end(), [](const auto& each) { return !each.problem.empty(); });
    return types.problems.empty() && isWhole ? eExitCode::kOk : eExitCode::kFailed;
}

}  // namespace krsim
