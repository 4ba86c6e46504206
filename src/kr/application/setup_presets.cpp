#include "kr/application/setup_presets.h"

#include <memory>

#include "kr/application/application_config.h"
#include "kr/extension/extension_properties.h"
#include "kr/extension/object.h"

namespace KrSim {

namespace {

constexpr const char* kPresets = "Presets";

KrData::Container* asContainer(KrData::FieldBase& field) {
    return field.getDataType() == KrData::Types::kContainer ? static_cast<KrData::Container*>(&field) : nullptr;
}

KrData::Container* findPresets(const ApplicationConfig& setup) {
    auto* properties = ExtensionProperties::find(*setup._getObjectProxy());
    return properties != nullptr ? asContainer((*properties)[kPresets]) : nullptr;
}

KrData::Container* findPreset(const ApplicationConfig& setup, const std::string& name) {
    auto* presets = findPresets(setup);
    return presets != nullptr ? asContainer((*presets)[Kr::KrID(name)]) : nullptr;
}

}  // namespace

std::vector<std::string> SetupPresets::getNames(const ApplicationConfig& setup) {
    std::vector<std::string> names;
    if (const auto* presets = findPresets(setup)) {
        for (const auto* each : *presets)
            names.push_back(each->getID().str());
    }
    return names;
}

bool SetupPresets::store(ApplicationConfig& setup, const std::string& name, const ApplicationConfig& variant) {
    if (name.empty()) return false;
    remove(setup, name);
    auto& properties = ExtensionProperties::of(*setup._getObjectProxy());
    auto* presets = findPresets(setup);
    if (presets == nullptr) {
        properties.removeField(kPresets);  // of another type
        presets = properties.addContainer(kPresets);
    }
    auto* preset = presets->addContainer(Kr::KrID(name));
    const auto& settings = setup._getObjectProxy()->getParameterContainer();
    for (const auto* each : variant._getObjectProxy()->getParameterContainer()) {
        const auto& own = settings[each->getID()];
        if (!own.isValid() || !each->isEqual(own)) static_cast<void>(each->clone(preset));
    }
    return true;
}

std::string SetupPresets::apply(ApplicationConfig& setup, const std::string& name) {
    const auto* preset = findPreset(setup, name);
    if (preset == nullptr) {
        std::string known;
        for (const auto& each : getNames(setup))
            known += (known.empty() ? "; there are '" : "', '") + each;
        return "there is no preset '" + name + "'" + (known.empty() ? "" : known + "'");
    }
    std::string refused;
    auto& settings = setup._getObjectProxy()->getParameterContainer();
    for (const auto* each : *preset) {
        if (!settings[each->getID()].copyValue(*each))
            refused += (refused.empty() ? "'" : ", '") + each->getID().str() + "'";
    }
    return refused.empty() ? refused
                           : "settings of preset '" + name + "' do not exist or have another type: " + refused;
}

bool SetupPresets::remove(ApplicationConfig& setup, const std::string& name) {
    auto* presets = findPresets(setup);
    if (presets == nullptr || !presets->removeField(Kr::KrID(name))) return false;
    if (presets->empty()) ExtensionProperties::remove(*setup._getObjectProxy(), kPresets);
    return true;
}

}  // namespace KrSim
