#include "kr/persistence/setups/setup_section.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/application/module_record.h"
#include "kr/data/container.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_properties.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/persistence/fields/field_archive.h"
#include "kr/persistence/files/export_file_section.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/objects/factory_key_archive.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/setups/internal/settings.h"

namespace KrPersistence {

using KrSim::detail::ExtensionAccess;

namespace {

using KrSim::ApplicationConfig;
using Fields = std::vector<const KrData::FieldBase*>;

/// Binary files have the setting from this version on.
constexpr const char* kRandomSeed = "RandomSeed";
constexpr unsigned int kRandomSeedVersion = 1;

Kr::KrSmartPtr<KrSim::KrExtension> makeSetup() {
    return KrSim::KrExtensionFactory::create(ApplicationConfig::kFactoryKey);
}

void writeFields(ArchiveWriter& writer, const char* name, const Fields& fields) {
    writer.optional(!fields.empty(), name, [&] {
        writer.sequence(name, fields.size(), [&](std::size_t index) { writeField(writer, "Field", *fields[index]); });
    });
}

void addProperties(Fields& fields, const KrData::Container* properties) {
    if (properties != nullptr) fields.push_back(properties);
}

/// Takes what addProperties added out of the fields that were read.
std::unique_ptr<KrData::Container> takeProperties(KrData::Container& fields) {
    auto* properties = dynamic_cast<KrData::Container*>(&fields[KrSim::ExtensionProperties::_getStoreID()]);
    if (properties == nullptr || !fields._removeField(properties)) return nullptr;
    return std::unique_ptr<KrData::Container>(properties);
}

using Lines = std::vector<std::pair<Kr::KrID, std::size_t>>;

/// Reads into the container and replaces children of the same identifier. Returns their lines, if the archive has
/// lines.
Lines readFields(ArchiveReader& reader, const char* name, KrData::Container& container) {
    Lines lines;
    const auto readOne = [&](std::size_t) {
        std::vector<FieldLine> fieldLines;
        FieldReadContext context{.lines = &fieldLines};  // settings refer to no content
        auto field = readField(reader, "Field", context);
        if (!fieldLines.empty()) lines.emplace_back(field->getID(), fieldLines.front().line);
        container.removeField(field->getID());
        field->_setDynamic(true);  // people need not write that it is; only such fields move
        if (!field->setParent(&container)) reader.fail("'" + field->getID().str() + "' finds no place in the setup");
        static_cast<void>(field.release());
    };
    reader.optional(name, [&] { reader.sequence(name, readOne); });
    return lines;
}

std::vector<std::string> namesOf(const KrData::Container& container) {
    std::vector<std::string> names;
    for (const auto* each : container)
        names.push_back(each->getID().str());
    return names;
}

// --- Modules -------------------------------------------------------------------------------------------------------

void writeModule(ArchiveWriter& writer, const KrSim::ModuleRecord& record, const StoredIdentity& toStored) {
    writer.group("Module", [&] {
        writer.write("Name", record.name);
        writeFactoryKey(writer, "Type", record.key);
        writer.optional(!record.contentID.isEmpty(), "ContentID",
                        [&] { writeContentID(writer, "ContentID", toStored(record.contentID)); });
        Fields settings;
        if (record.settings != nullptr) settings.assign(record.settings->begin(), record.settings->end());
        addProperties(settings, record.properties);
        writeFields(writer, "Settings", settings);
    });
}

/// With the lines of its settings.
std::pair<Kr::KrSmartPtr<KrSim::KrExtension>, Lines> readModule(ArchiveReader& reader, const LoadedIdentity& toLive) {
    KrSim::ModuleRecord record;
    KrData::Container settings("Settings");
    Lines lines;
    reader.group("Module", [&] {
        reader.read("Name", record.name);
        record.key = readFactoryKey(reader, "Type");
        reader.optional("ContentID", [&] { record.contentID = toLive(readContentID(reader, "ContentID")); });
        if (record.key.isNull()) reader.fail("module '" + record.name + "' has no type");
        lines = readFields(reader, "Settings", settings);
    });
    const auto properties = takeProperties(settings);
    record.settings = &settings;
    record.properties = properties.get();
    return {KrSim::makeModuleRecord(record), std::move(lines)};
}

std::vector<KrSim::ModuleRecord> collectModules(const KrSim::KrObject& setup) {
    std::vector<KrSim::ModuleRecord> modules;
    for (const auto& each : setup.getExtensions()) {
        auto record = KrSim::readModuleRecord(*each);
        if (!record) {
            throw std::runtime_error("setup '" + setup.getName() + "' holds '" + each->getName() +
                                     "', which is no record of a module; keep content in object files");
        }
        modules.push_back(std::move(*record));
    }
    return modules;
}

}  // namespace

KrSetupSection::KrSetupSection() = default;

KrSetupSection::KrSetupSection(Setup setup) : _setup(std::move(setup)) {}

KrSetupSection::~KrSetupSection() = default;

KrSetupSection::Setup KrSetupSection::find(const KrFile& file) {
    for (const auto* each : file.getSections())
        if (const auto* section = dynamic_cast<const KrSetupSection*>(each)) return section->getSetup();
    return {};
}

std::size_t KrSetupSection::findLine(const KrSim::KrExtension& module, const Kr::KrID& setting) const {
    const auto lines = _settingLines.find(&module);
    if (lines == _settingLines.end()) return 0;
    const auto found = std::find_if(lines->second.begin(), lines->second.end(),
                                    [&](const auto& each) { return each.first == setting; });
    return found != lines->second.end() ? found->second : 0;
}

void KrSetupSection::_write(ArchiveWriter& writer) const {
    const auto standard = makeSetup();
    if (!standard) throw std::runtime_error("a setup cannot be made");
    writer.groupIf(static_cast<bool>(_setup), "Setup", [&] {
        const auto& object = *_setup->_getObjectProxy();
        const auto modules = collectModules(object);
        std::vector<KrSim::KrContentID> included{object.getContentID()};
        for (const auto& each : modules)
            included.push_back(each.contentID);
        const StoredIdentity toStored(included);
        writer.write("Name", object.getName());
        writeContentID(writer, "ContentID", toStored(object.getContentID()));

        // In the order of the standard setup, so that equal setups give equal files. Binary archives identify the
        // settings by that order: new ones are last, and raise the version.
        const auto& parameters = object.getParameterContainer();
        Fields others(parameters.begin(), parameters.end());
        writer.group("Settings", [&] {
            for (const auto* each : standard->getParameterContainer()) {
                const auto& own = parameters[each->getID()];
                const bool isKnown = detail::isSetting(own, *each);
                detail::writeSetting(writer, isKnown ? own : *each, *each);
                if (isKnown) std::erase(others, &own);
            }
        });
        addProperties(others, KrSim::ExtensionProperties::find(object));
        writeFields(writer, "OtherSettings", others);

        writer.sequence("Modules", modules.size(),
                        [&](std::size_t index) { writeModule(writer, modules[index], toStored); });
    });
}

void KrSetupSection::_read(ArchiveReader& reader, unsigned int version) {
    reader.groupIf("Setup", [&] {
        const auto& path = reader.getArchiveName();
        _settingLines.clear();
        const auto filePart = chooseFilePart(path, getOwner() != nullptr ? getOwner()->getReferringFile() : "");
        const LoadedIdentity toLive(filePart);
        const auto made = makeSetup();
        auto* config = made ? made->getImplementationAs<ApplicationConfig>() : nullptr;
        if (config == nullptr) reader.fail("a setup cannot be made");
        auto& object = *config->_getObjectProxy();
        std::string name;
        reader.read("Name", name);
        object.setName(name.c_str());
        ExtensionAccess::setContentID(object, toLive(readContentID(reader, "ContentID")));
        const auto names = namesOf(object.getParameterContainer());
        // People may add it to a text of an earlier version.
        const bool hasSeed = version >= kRandomSeedVersion || reader.getLine() != 0;
        reader.group("Settings", [&] {
            reader.setKnownNames(names);
            for (auto* each : object.getParameterContainer())
                if (hasSeed || each->getID() != kRandomSeed) detail::readSetting(reader, *each);
        });
        static_cast<void>(readFields(reader, "OtherSettings", object.getParameterContainer()));
        KrSim::ExtensionProperties::_replace(object, takeProperties(object.getParameterContainer()).get());
        reader.sequence("Modules", [&](std::size_t) {
            auto [module, lines] = readModule(reader, toLive);
            object.add(module.get());
            _settingLines[module.get()] = std::move(lines);
        });
        noteSourceFile(filePart, path, {made});
        _file = path;
        _setup = Setup(config);
    });
}

}  // namespace KrPersistence

KR_FILE_SECTION(KrPersistence::KrSetupSection, "KrSetupSection", 1)
KR_FILE_SECTION_IMPLEMENT(KrPersistence::KrSetupSection)
