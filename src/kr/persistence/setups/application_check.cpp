#include "kr/persistence/setups/application_check.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/module_record.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/application/modules/step_rate_check.h"
#include "kr/core/connection_base.h"
#include "kr/core/connections/connection_checks.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/versioning_registry.h"
#include "kr/persistence/fields/saved_fields_check.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/objects/open_ends.h"
#include "kr/persistence/setups/setup_section.h"

namespace KrPersistence {

namespace {

using eKind = Finding::eKind;
using Findings = std::vector<Finding>;
using Extensions = std::vector<Kr::KrSmartPtr<KrSim::KrExtension>>;

std::string describeType(const KrSim::KrFactoryKey& key) {
    return key.toString() + (key.plugin.empty() ? "" : " of plug-in " + key.plugin);
}

void checkExtensions(const Extensions& extensions, Findings& findings) {
    std::unordered_map<KrSim::KrContentID::Identifier, const KrSim::KrExtension*> byID;
    for (const auto& extension : extensions) {
        const auto& id = extension->getContentID();
        const auto [first, isFirst] = byID.emplace(id.getRuntimeID(), extension.get());
        if (!isFirst) {
            findings.push_back({eKind::kSameContent, describeWithFile(*extension) + " has the content ID " +
                                                         id.toString() + " of " + describeWithFile(*first->second) +
                                                         ": is the same content loaded twice?"});
        }
        const auto& key = extension->getCreationKey();
        if (!key.completed().isNull() && !extension->hasImplementation()) {
            findings.push_back(
                {eKind::kMissingType, "'" + extension->getPath() + "' of the type " + describeType(key)});
        }
        for (const auto& each : describeOpenEnds(*extension))
            findings.push_back({eKind::kOpenEnd, "'" + extension->getPath() + "': " + each});
    }
}

void checkDimensions(const KrSim::KrContentDispatcher& content, Findings& findings) {
    std::vector<Kr::KrConnectionBase*> connections;
    KrSim::KrExtensionSorter::instance().getConnections(connections);
    for (const auto* each : connections) {
        const auto* source = each->getSource();
        const auto* sink = each->getSink();
        const bool isHere = content.contains(each->getSourceOwner()) || content.contains(each->getSinkOwner());
        if (!isHere || source == nullptr || sink == nullptr) continue;
        for (const auto& text : Kr::describeDimensionConflicts(*source, *sink))
            findings.push_back({eKind::kDimensions, text + "; check that these two are to be connected"});
    }
}

void checkCycles(const KrSim::KrContentDispatcher& content, Findings& findings) {
    for (const auto& cycle : KrSim::KrExtensionSorter::instance().getCycles()) {
        if (!content.contains(cycle.steps.front().extension)) continue;
        std::string way;
        for (std::size_t i = 0; i < cycle.steps.size(); ++i) {
            const auto& step = cycle.steps[i];
            const auto& next = cycle.steps[(i + 1) % cycle.steps.size()];
            way += (i > 0 ? ", '" : "'") + step.extension->getPath() + "." + step.sourceField + "' -> '" +
                   next.extension->getPath() + "." + step.sinkField + "'";
        }
        findings.push_back({eKind::kCycle, "connections form a cycle, for which no order is right: " + way +
                                               "; make the one that leads back a unit delay"});
    }
}

/// Extensions that are managed, and the objects that hold them.
std::unordered_set<const KrSim::KrExtension*> findManaged(const Extensions& extensions) {
    std::unordered_set<const KrSim::KrExtension*> managed;
    // The content of an object follows it.
    for (auto each = extensions.rbegin(); each != extensions.rend(); ++each) {
        const auto& extension = **each;
        if (!extension.isActive() && managed.count(&extension) == 0) continue;
        managed.insert(&extension);
        if (extension.getOwner() != nullptr) managed.insert(extension.getOwner());
    }
    return managed;
}

bool takesPartInFrames(const KrSim::KrExtension& extension) {
    const auto& fields = extension.getFieldsContainer();
    return extension.hasImplementation() && (!fields.getInputs().empty() || !fields.getOutputs().empty());
}

void checkManagement(const Extensions& extensions, Findings& findings) {
    const auto managed = findManaged(extensions);
    std::unordered_set<const KrSim::KrExtension*> covered;  // with an object that is managed itself, or was reported
    for (const auto& extension : extensions) {
        const bool isCovered = covered.count(extension->getOwner()) != 0;
        const bool isReported = !isCovered && managed.count(extension.get()) == 0 && takesPartInFrames(*extension);
        if (isReported) {
            findings.push_back({eKind::kUnmanaged, describeWithFile(*extension) + " of the type " +
                                                       describeType(extension->getCreationKey()) +
                                                       " is managed by no module, so that nothing simulates it; add "
                                                       "the module of its plug-in"});
        }
        if (isCovered || isReported || extension->isActive()) covered.insert(extension.get());
    }
}

/// Of this type, and of this name if there is one; null where no module is of the type.
const KrSim::KrSimulatorModule* findModule(const KrSim::KrApplication& application, const KrSim::KrFactoryKey& key,
                                           const std::string& name) {
    const KrSim::KrSimulatorModule* found = nullptr;
    for (std::size_t i = 0; i < application.getModuleCount(); ++i) {
        const auto* module = application.getModule(i);
        if (module->getCreationKey().uuid != key.uuid) continue;
        if (module->getName() == name) return module;
        found = module;
    }
    return found;
}

/// \param section  that the setup was loaded with; null: none.
void checkSettings(const KrData::Container& settings, const KrSim::KrExtension& record,
                   const KrSim::KrSimulatorModule& module, const KrSetupSection* section, Findings& findings) {
    std::vector<FieldLine> lines;
    for (const auto* each : settings) {
        const auto line = section != nullptr ? section->findLine(record, each->getID()) : 0;
        if (line != 0) lines.push_back({each, line});
    }
    detail::SavedFieldsCheck check("module '" + module.getName() + "'", detail::SavedFieldsCheck::eNames::kAll, lines);
    check.compare(settings, module.getParameterContainer());
    check.addFindings(section != nullptr ? section->getFile() : std::string(), findings);
}

/// Of a ModuleOf; in the first frame the same is a warning.
void checkRates(double frameRateHz, const KrSim::KrExtension& record, const KrSim::KrSimulatorModule& module,
                const KrSetupSection* section, Findings& findings) {
    for (const auto& each : KrSim::detail::StepRateCheck::findRefused(module, frameRateHz)) {
        const std::string group = each.group.empty() ? "" : ", group '" + each.group + "'";
        const std::string parameter = each.parameter.isEmpty() ? "" : "parameter '" + each.parameter.str() + "' of ";
        findings.push_back({eKind::kStepRate,
                            parameter + "module '" + module.getName() + "'" + group + ": " + each.reason,
                            section != nullptr ? section->getFile() : std::string(),
                            section != nullptr ? section->findLine(record, each.parameter) : 0});
    }
}

Findings checkModules(const KrSim::KrApplication& application, const KrSim::ApplicationConfig& setup,
                      const KrSetupSection* section) {
    Findings findings;
    for (const auto& extension : setup._getObjectProxy()->getExtensions()) {
        const auto record = KrSim::readModuleRecord(*extension);
        if (!record) continue;
        const auto key = KrSim::KrVersioningRegistry::findReplacement(record->key).value_or(record->key);
        const auto* module = findModule(application, key, record->name);
        if (module == nullptr) {
            findings.push_back(
                {eKind::kMissingType, "module '" + record->name + "' of the type " + describeType(record->key)});
            continue;
        }
        if (record->settings != nullptr) checkSettings(*record->settings, *extension, *module, section, findings);
        checkRates(application.getSimulationFrameRate(), *extension, *module, section, findings);
    }
    return findings;
}

}  // namespace

Findings checkContent(const KrSim::KrApplication& application) {
    Findings findings;
    const auto& content = application.getContentDispatcher();
    checkExtensions(content.getExtensions(), findings);
    checkDimensions(content, findings);
    checkCycles(content, findings);
    return findings;
}

Findings checkModules(const KrSim::KrApplication& application, const KrSim::ApplicationConfig& setup) {
    return checkModules(application, setup, nullptr);
}

Findings checkModules(const KrSim::KrApplication& application, const KrSetupSection& section) {
    const auto& setup = section.getSetup();
    return setup ? checkModules(application, *setup, &section) : Findings();
}

Findings checkSimulation(const KrSim::KrApplication& application) {
    Findings findings;
    if (application.getApplicationMode() == KrSim::eApplicationMode::kEditing) {
        findings.push_back({eKind::kEditingMode,
                            "the application is in editing mode, in which nothing is simulated; set ApplicationMode to "
                            "'Simulating mode'"});
    }
    const auto extensions = application.getContentDispatcher().getExtensions();
    if (application.getModuleCount() == 0) {
        findings.push_back({eKind::kNoModule, "there is no module, so that nothing is simulated"});
    } else {
        checkManagement(extensions, findings);
    }
    return findings;
}

}  // namespace KrPersistence
