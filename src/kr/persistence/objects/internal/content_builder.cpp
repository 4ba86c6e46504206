#include "kr/persistence/objects/internal/content_builder.h"

#include <stdexcept>
#include <utility>

#include "kr/content/content_directory.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/own_record.h"
#include "kr/persistence/fields/saved_fields_check.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/content_guards.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/persistence/objects/internal/loaded_files.h"
#include "kr/persistence/objects/internal/obsolete_types.h"
#include "kr/persistence/objects/internal/tracked_paths.h"
#include "kr/persistence/objects/object_file.h"

namespace KrPersistence::detail {

using Kr::KrSmartPtr;
using KrSim::KrContentID;
using KrSim::KrContentRegistry;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::FieldsAccess;
using KrSim::detail::ObjectAccess;

ContentBuilder::ContentBuilder(ContentRecords content, SourceFile file, Progress progress)
    : _content(std::move(content)),
      _file(std::move(file)),
      _progress(std::move(progress)),
      _stepCount(_content.extensionCount + _content.connections.size()) {}

ContentBuilder::~ContentBuilder() = default;

// --- Extensions ----------------------------------------------------------------------------------------------------

void ContentBuilder::build() {
    _before.emplace();
    _made.reserve(_content.extensionCount);
    _byID.reserve(_content.extensionCount);
    for (auto& record : _content.roots) {
        _roots.push_back(_build(*record));
        record.reset();
    }
    _content.roots.clear();
    _useLiveIDs();
    noteSourceFile(_file.name, _file.path, _roots);
    _reportDoubles();
    for (const auto& [type, count] : _missingTypes) {
        _problems.push_back("Unable to create " + type + ": " + std::to_string(count) +
                            (count == 1 ? " extension keeps" : " extensions keep") + " the data");
    }
    for (const auto& [version, count] : _newerTypes) {
        _problems.push_back(version + ": what is new there is lost in " + std::to_string(count) +
                            (count == 1 ? " extension" : " extensions") + "; load a newer plug-in");
    }
}

void ContentBuilder::_reportDoubles() {
    const auto& [extension, other] = _firstDouble;
    if (!extension) return;
    _problems.push_back(describeWithFile(*extension) + " has the content ID " + extension->getContentID().toString() +
                        " of " + other + ", which was loaded before; references find the first one");
    if (_doubleCount > 1) {
        _problems.push_back(std::to_string(_doubleCount - 1) + " more extensions have content IDs that are in use");
    }
    _firstDouble = {};
}

/// An extension that is being built, with the next one to come below it.
struct ContentBuilder::Level {
    KrSmartPtr<KrExtension> extension;
    KrObject* object;  // the same; null where it holds none
    ExtensionRecord& record;
    std::size_t next{0};
    std::uint64_t position{0};
};

/// Without recursion: objects may lie as deep inside one another as they like.
KrSmartPtr<KrExtension> ContentBuilder::_build(ExtensionRecord& root) {
    std::vector<Level> levels;
    levels.push_back(_begin(root));
    for (;;) {
        auto& level = levels.back();
        if (level.object != nullptr && level.next < level.record.children.size()) {
            auto below = _begin(*level.record.children[level.next]);
            levels.push_back(std::move(below));
            continue;
        }
        _end(level);
        auto made = std::move(level.extension);
        levels.pop_back();
        if (levels.empty()) return made;
        _addBelow(levels.back(), made);
    }
}

ContentBuilder::Level ContentBuilder::_begin(ExtensionRecord& record) {
    auto extension = _make(record);
    _made.push_back(extension);
    // It is found by its ID once it has its fields.
    KrContentRegistry::instance().unregisterExtension(extension.get());
    _load(*extension, record);
    _enter(*extension, record);
    auto* object = asObject(extension.get());
    if (object != nullptr) _define(*object, record);
    return {std::move(extension), object, record};
}

void ContentBuilder::_reportStep() {
    ++_stepsDone;
    if (_progress) _progress(_stepsDone, _stepCount);
}

KrSmartPtr<KrExtension> ContentBuilder::_makeByFactory(ExtensionRecord& record) {
    if (record.isLost || record.key.completed().isNull()) return {};
    const auto type = record.key.toString();
    Kr::KrSmartPtr<KrExtension> made;
    // Called once: the factory searches a plug-in each time.
    if (_missingTypes.count(type) == 0 || isTypeThere(record.key)) made = createOrReplace(record);
    if (made && record.isObject && asObject(made.get()) == nullptr) made.reset();  // has nowhere to keep what is below
    if (!made) ++_missingTypes[type];
    return made;
}

KrSmartPtr<KrExtension> ContentBuilder::_make(ExtensionRecord& record) {
    auto made = _makeByFactory(record);
    if (!made) {
        made = record.isObject ? KrSmartPtr<KrExtension>(Kr::makeSmart<KrObject>()) : Kr::makeSmart<KrExtension>();
        if (record.isLost) ExtensionAccess::createUnknownImplementation(*made);
        ExtensionAccess::setCreationKey(*made, record.key);
    }
    if (const auto* object = asObject(made.get())) {
        // What the implementation puts into every new object comes with the content of this one.
        for (const auto& below : object->getExtensions())
            ObjectAccess::removeExtension(*const_cast<KrObject*>(object), below.get());
    }
    return made;
}

namespace {

/// Fields that only wait for their implementation stay as fixed as they were.
void keepDynamicMarks(const KrData::Container& group, const KrData::Container& saved) {
    for (std::size_t i = 0; i < saved.size(); ++i) {
        const auto* source = &saved[i];
        // Without an implementation there are no other fields, but several may have one identifier.
        const auto found = i < group.size() && group[i].getID() == source->getID()
                               ? group.begin() + static_cast<std::ptrdiff_t>(i)
                               : group.find(source->getID());
        if (found == group.end()) continue;
        (*found)->_setDynamic(source->isDynamic());
        if (source->getDataType() != KrData::Types::kContainer || (*found)->getDataType() != source->getDataType()) {
            continue;
        }
        keepDynamicMarks(static_cast<const KrData::Container&>(**found),
                         static_cast<const KrData::Container&>(*source));
    }
}

}  // namespace

namespace {

/// Of the fields that the implementation of the extension will take from the record.
SavedFieldsCheck checkFields(KrExtension& extension, const ExtensionRecord& record) {
    using eNames = SavedFieldsCheck::eNames;
    const bool isSameVersion = record.dataVersion == extension.getImplementationVersion();
    SavedFieldsCheck check("'" + record.name + "'", isSameVersion ? eNames::kStatic : eNames::kNone, record.fieldLines);
    if (!extension.hasImplementation()) return check;
    for (const auto* group : FieldsAccess::getGroups(extension.getFieldsContainer())) {
        const auto& saved = record.fields[group->getID()];
        const bool isGroup = saved.getDataType() == KrData::Types::kContainer && !saved.isFieldArray();
        if (isGroup) check.compare(static_cast<const KrData::Container&>(saved), *group);
    }
    return check;
}

}  // namespace

namespace {

/// Beside the connections that came with the marks on the name.
void setOwnRecord(KrExtension& extension, ExtensionRecord& record) {
    auto own = KrSim::OwnRecord::of(extension);
    own.fields = std::move(record.ownFields);
    own.isComplete = own.isOwnOnly = record.definition.has_value() && !record.isPart;
    own.setOn(extension);
}

}  // namespace

void ContentBuilder::_load(KrExtension& extension, ExtensionRecord& record) {
    if (!record.contentID.isEmpty()) ExtensionAccess::setContentID(extension, record.contentID);
    if (!record.name.empty()) extension.setName(record.name.c_str());
    ExtensionAccess::setDataVersion(extension, record.dataVersion);
    ExtensionAccess::setVersions(extension, std::move(record.versions));
    ExtensionAccess::setExtensionData(extension, std::move(record.data));
    record.fields.add<std::string>("Name", extension.getName());

    // Not from what onLoading makes of them.
    auto& fields = extension.getFieldsContainer();
    if (record.nameMarks) takeMarks(fields.getNameField(), *record.nameMarks);
    for (auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()})
        takeMarks(*group, record.fields[group->getID()]);
    if (record.isOwnOnly) setOwnRecord(extension, record);

    {
        const TrackedPaths paths(record.fields, record.references);
        const TrackedPaths ownPaths(record.fields, extension);
        const auto check = checkFields(extension, record);
        ExtensionAccess::loadImplementation(extension, &record.fields);
        paths.update(record.references);
        ownPaths.update(extension);
        check.addFindings(_file.path, _findings);
    }
    if (extension.hasImplementation() && record.dataVersion > extension.getImplementationVersion()) {
        ++_newerTypes[record.key.toString() + " was saved in version " + std::to_string(record.dataVersion) +
                      ", and here it is of version " + std::to_string(extension.getImplementationVersion())];
    }
    if (!extension.hasImplementation()) {
        for (auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()}) {
            const auto& saved = record.fields[group->getID()];
            if (saved.getDataType() != KrData::Types::kContainer) continue;
            keepDynamicMarks(*group, static_cast<const KrData::Container&>(saved));
        }
    }
    // A plain extension lacks nothing.
    if (extension.getCreationKey() == KrSim::KrFactoryKey()) extension.removeError("Unable to create ", false);
    if (record.isLost) extension.addError(KrSim::detail::describeLost(record.name), false);
    record.fields.clear();
}

void ContentBuilder::_enter(KrExtension& extension, const ExtensionRecord& record) {
    const auto& id = extension.getContentID();
    auto& registry = KrContentRegistry::instance();
    if (auto* other = registry.find(id); other != nullptr && _doubleCount++ == 0) {
        _firstDouble = {KrSmartPtr<KrExtension>(&extension), describeWithFile(*other)};
    }
    registry.registerExtension(&extension);
    const auto place = _made.size() - 1;
    _byID.emplace(id.getRuntimeID(), place);
    if (record.storedID != id.getRuntimeID()) _byStoredID.emplace(record.storedID, place);
    if (!record.references.empty()) KeptContent::of(extension).references = record.references;
}

void ContentBuilder::_addBelow(Level& level, const KrSmartPtr<KrExtension>& made) {
    auto& object = *level.object;
    auto& child = level.record.children[level.next++];
    level.position = child->position.value_or(level.position);
    child.reset();
    if (ExtensionAccess::isSimulatorModule(*made)) {
        throw std::runtime_error("'" + made->getName() + "' in '" + object.getPath() +
                                 "' is a module; objects hold none");
    }
    if (made->getOwner() != nullptr) return;  // a callback has found it another place
    const bool isWelcome = ObjectAccess::isCompatible(object, made.get());
    ObjectAccess::savePosition(object, made->getContentID(), level.position++);
    ObjectAccess::addExtensionToList(object, made.get());
    if (!isWelcome) made->addError("'" + object.getName() + "' does not take it any more", false);
}

void ContentBuilder::_end(Level& level) {
    if (level.object != nullptr) {
        level.record.children.clear();
        if (auto* implementation = level.object->getObjectImplementation()) {
            Kr::callGuarded(
                kBuildHierarchy, [&] { return level.object->getName(); }, [&] { implementation->buildHierarchy(); },
                level.object);
        }
    }
    ++_extensionCount;
    _reportStep();
}

void ContentBuilder::_define(KrObject& object, const ExtensionRecord& record) {
    Kr::KrString<512> fileName;
    if (!record.definition) {
        if (fileName.assign(_file.path)) object._setDefinitionFileName(fileName);
        return;
    }
    if (fileName.assign(record.definition->fileName)) object._setDefinitionFileName(fileName);
    ObjectAccess::setDefinition(object, record.definition->contentID);
    if (object.isInstance()) KeptContent::of(object).isAwaitingDefinition = true;
}

// --- What lies between them ------------------------------------------------------------------------------------------

/// The IDs by which the file names the ends of its connections mean nothing to other files: those of live content
/// follow.
void ContentBuilder::_useLiveIDs() {
    _content.connections.changeEnds([&](ConnectionEnd& end) {
        const auto found = _byStoredID.find(end.runtimeID);
        if (found != _byStoredID.end()) end = ConnectionEnd(_made[found->second]->getContentID());
    });
    _byStoredID.clear();
}

std::size_t ContentBuilder::_placeOf(const KrContentID::Identifier& id) const {
    const auto found = _byID.find(id);
    return found != _byID.end() ? found->second : _made.size();
}

KrExtension* ContentBuilder::_findMade(const KrContentID::Identifier& id) const {
    const auto place = _placeOf(id);
    return place < _made.size() ? _made[place].get() : nullptr;
}

KrSmartPtr<KrExtension> ContentBuilder::_find(const KrContentID& id) const {
    if (auto* made = _findMade(id.getRuntimeID())) return KrSmartPtr<KrExtension>(made);
    return KrContentRegistry::instance().resolve(id);
}

KrSmartPtr<KrExtension> ContentBuilder::_find(const ConnectionEnd& end) const {
    if (auto* made = _findMade(end.runtimeID)) return KrSmartPtr<KrExtension>(made);
    return KrSmartPtr<KrExtension>(KrSim::KrContentDirectory::resolve(end.runtimeID, end.rawID).first);
}

void ContentBuilder::keep() noexcept {
    if (_before) _before->keep();
}

void ContentBuilder::release() {
    _content = {};
    _progress = {};
    _roots.clear();
    _made.clear();
    _byID.clear();
}

}  // namespace KrPersistence::detail
