#include "kr/application/module_record.h"

#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_properties.h"

namespace KrSim {

namespace {

constexpr const char* kUuid = "Module Type";
constexpr const char* kCategory = "Module Category";
constexpr const char* kTypeName = "Module Type Name";
constexpr const char* kPlugin = "Module Plug-in";
constexpr const char* kContentID = "Module Content ID";
constexpr const char* kContentFile = "Module Content File";
constexpr const char* kSettings = "Module Settings";

void addText(KrExtension& extension, const char* name, const std::string& text) {
    auto* field = extension.addParameter(name, KrData::Types::kString);
    if (field != nullptr) field->set(text);
}

std::string textOf(const KrExtension& extension, const char* name) {
    const auto* field = extension.getParameter(name);
    return field != nullptr ? field->get<std::string>() : std::string();
}

}  // namespace

std::optional<ModuleRecord> readModuleRecord(const KrExtension& extension) {
    ModuleRecord record;
    record.key = KrFactoryKey(textOf(extension, kUuid).c_str(), textOf(extension, kCategory),
                              textOf(extension, kTypeName), textOf(extension, kPlugin));
    if (record.key.isNull()) return std::nullopt;
    record.name = extension.getName();
    KrContentID::Identifier own;
    if (KrContentID::Identifier::parse(textOf(extension, kContentID), own)) {
        record.contentID = KrContentID::createFromWords(own.first, own.second);
        record.contentID.setFile(textOf(extension, kContentFile));
    }
    record.settings = dynamic_cast<const KrData::Container*>(extension.getParameter(kSettings));
    record.properties = ExtensionProperties::find(extension);
    return record;
}

Kr::KrSmartPtr<KrExtension> makeModuleRecord(const ModuleRecord& record) {
    auto extension = Kr::makeSmart<KrExtension>();
    extension->setName(record.name.c_str());
    addText(*extension, kUuid, record.key.uuid.toString());
    addText(*extension, kCategory, record.key.category);
    addText(*extension, kTypeName, record.key.name);
    addText(*extension, kPlugin, record.key.plugin);
    // A module is part of no other content, so its own identifier and its file are all there is to its ID.
    const auto& id = record.contentID;
    if (!id.isEmpty()) addText(*extension, kContentID, id.getOwnIdentifier().toString());
    if (!id.getFile().empty()) addText(*extension, kContentFile, id.getFile());
    auto* settings = dynamic_cast<KrData::Container*>(extension->addParameter(kSettings, KrData::Types::kContainer));
    ExtensionProperties::_replace(*extension, record.properties);
    if (record.settings == nullptr || settings == nullptr) return extension;
    for (const auto* each : *record.settings)
        static_cast<void>(each->clone(settings));
    return extension;
}

}  // namespace KrSim
