#include "kr/extension/factory_key.h"

#include <utility>

namespace KrSim {

KrFactoryKey::KrFactoryKey(const KrUuid& typeUuid, std::string typeCategory, std::string typeName,
                           std::string pluginName)
    : uuid(typeUuid), category(std::move(typeCategory)), name(std::move(typeName)), plugin(std::move(pluginName)) {}

KrFactoryKey::KrFactoryKey(const char* uuidText, std::string typeCategory, std::string typeName, std::string pluginName)
    : KrFactoryKey(KrUuid(uuidText != nullptr ? uuidText : ""), std::move(typeCategory), std::move(typeName),
                   std::move(pluginName)) {}

KrFactoryKey KrFactoryKey::completed() const {
    KrFactoryKey key = *this;
    if (uuid.isNull() && !category.empty() && !name.empty()) {
        key.uuid = KrUuid::createFromName(category + "_KrExtensionFactory_" + name);
    }
    return key;
}

std::string KrFactoryKey::toString() const {
    std::string text = category;
    if (!category.empty() && !name.empty()) text += '.';
    text += name;
    if (!uuid.isNull()) {
        if (!text.empty()) text += ' ';
        text += '{' + uuid.toString() + '}';
    }
    return text;
}

}  // namespace KrSim
