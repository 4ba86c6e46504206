#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "kr/data/extension_field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_internal.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/own_record.h"
#include "kr/persistence/archives/archive_object_scope.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/persistence/fields/field_archive.h"
#include "kr/persistence/files/serialize_filename.h"
#include "kr/persistence/objects/factory_key_archive.h"
#include "kr/persistence/objects/internal/connection_list.h"
#include "kr/persistence/objects/internal/content_access.h"
#include "kr/persistence/objects/internal/content_guards.h"
#include "kr/persistence/objects/internal/content_writer.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/platform/memory_guard.h"
#include "kr/platform/text_stream.h"

namespace KrPersistence::detail {

using KrData::detail::FieldAccess;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::ObjectAccess;

namespace {

/// What the implementation keeps beyond its fields; without one, what came with the extension.
std::string getData(const KrExtension& extension) {
    if (!extension.hasImplementation()) return ExtensionAccess::getExtensionData(extension);
    Kr::TextStream stream;
    Kr::callGuardedButMemory(
        kOnSaving, [&] { return extension.getName(); }, [&] { extension.getImplementation()->onSaving(stream); },
        &extension);
    return std::string(stream.getWhole());
}

bool hasMarks(const KrData::FieldBase& field) {
    const auto* internal = FieldAccess::getInternalIfAny(field);
    return (internal != nullptr && internal->get() != nullptr) || !field.getDescription().empty();
}

/// A group without its fields.
void writeMarks(ArchiveWriter& writer, const std::string& name, const KrData::Container& group) {
    KrData::Container bare(group.getID(), nullptr, group.getFieldType());
    takeMarks(bare, group);
    writeField(writer, name, bare);
}

/// The references kept for the fields of a group, by their paths in it.
std::vector<ExtensionReference> getOpenReferences(const KrExtension& extension, const std::string& group) {
    std::vector<ExtensionReference> open;
    const auto* kept = KeptContent::find(extension);
    if (kept == nullptr) return open;
    for (const auto& reference : kept->references) {
        if (reference.fieldPath.compare(0, group.size() + 1, group + ".") != 0) continue;
        open.push_back(reference);
        open.back().fieldPath.erase(0, group.size() + 1);
    }
    return open;
}

}  // namespace

ContentWriter::ContentWriter(ArchiveWriter& writer, bool isSelfContained, Progress progress)
    : _writer(writer), _isSelfContained(isSelfContained), _progress(std::move(progress)) {}

void ContentWriter::_collect(const Roots& roots) {
    _held = roots;
    for (std::size_t i = 0; i < _held.size(); ++i) {
        const auto* object = asObject(_held[i].get());
        if (object == nullptr) continue;
        const auto below = object->getExtensions();
        _held.insert(_held.end(), below.begin(), below.end());
    }
    _ownContent.emplace(_held, _isSelfContained, getData);
    for (const auto& extension : _held) {
        _included.insert(extension.get());
        const auto* object = asObject(extension.get());
        // Outer instances are written first, and record inner ones, too.
        const bool isComplete = object != nullptr && object->isInstance() && _ownContent->find(*object) == nullptr;
        if (isComplete && _own.count(object) == 0) _own.merge(ObjectAccess::getOwnRecords(*object));
    }
    for (const auto& extension : _held) {
        const auto* part = _ownContent->find(*extension);
        if (part == nullptr || !part->own.record.hasConnections()) continue;
        const auto& record = part->own.record;
        const KrSim::OwnRecord connections{
            .fields = {}, .added = record.added, .removed = record.removed, .changed = record.changed};
        _own.emplace(extension.get(), connections.toField());
    }
    std::erase_if(_held, [&](const auto& each) { return _ownContent->isLeftOut(*each); });
    std::vector<KrSim::KrContentID> included;
    included.reserve(_held.size());
    for (const auto& extension : _held)
        included.push_back(extension->getContentID());
    _identity.emplace(included);
    _toStored = [this](const KrSim::KrContentID& id) { return (*_identity)(id); };
}

void ContentWriter::write(const Roots& roots) {
    _collect(roots);
    _writer.sequence("Objects", roots.size(), [&](std::size_t index) {
        _writeTree(*roots[index],
                   ExtensionAccess::getPosition(*roots[index]));  // the position of a root has no meaning
    });
    std::vector<KrExtension*> all;
    all.reserve(_held.size());
    for (const auto& extension : _held)
        all.push_back(extension.get());
    writeConnections(_writer, all, *_identity, *_ownContent);
}

/// An extension whose group is open, with the next one of those below it.
struct ContentWriter::Level {
    Level(ArchiveWriter& writer, KrExtension& extension) : scope(writer, &extension) {}

    ArchiveObjectScope<ArchiveWriter> scope;
    std::optional<KrSim::HeldExtensions> below;
    std::size_t writtenCount{0};  // of those below
    std::size_t next{0};
    std::uint64_t position{0};
};

/// Without recursion: objects may lie as deep inside one another as they like.
void ContentWriter::_writeTree(KrExtension& root, std::uint64_t position) {
    Levels levels;
    _begin(levels, root, position);
    while (!levels.empty()) {
        auto& level = levels.back();
        if (level.below && level.next < level.below->size()) {
            auto& below = *(*level.below)[level.next++];
            if (!_ownContent->isLeftOut(below)) _begin(levels, below, level.position);
        } else {
            _end(levels);
        }
    }
}

void ContentWriter::_begin(Levels& levels, KrExtension& extension, std::uint64_t& nextPosition) {
    const auto* part = _ownContent->find(extension);
    // The implementation may change its fields meanwhile.
    const auto data = part != nullptr ? part->data : getData(extension);
    _writer.beginGroup("Extension");
    auto& level = levels.emplace_back(_writer, extension);
    _writeMembers(extension, nextPosition);
    _writer.optional(!data.empty(), "Data", [&] { _writer.writeBytes("Data", data); });
    const auto* object = asObject(&extension);
    if (object == nullptr) return;
    _writeDefinition(*object);
    level.below = object->getExtensions();
    level.writtenCount = level.below->size();
    if (!_ownContent->empty()) {
        level.writtenCount =
            static_cast<std::size_t>(std::count_if(level.below->begin(), level.below->end(),
                                                   [&](const auto& each) { return !_ownContent->isLeftOut(*each); }));
    }
    _writer.optional(level.writtenCount > 0, "Extensions",
                     [&] { _writer.beginSequence("Extensions", level.writtenCount); });
}

void ContentWriter::_end(Levels& levels) {
    if (levels.back().writtenCount > 0) _writer.endSequence();
    levels.pop_back();
    _writer.endGroup();
    ++_done;
    if (_progress) _progress(_done, std::max(_done, _held.size()));
}

void ContentWriter::_writeMembers(const KrExtension& extension, std::uint64_t& nextPosition) {
    _writer.writeIf(!extension.getName().empty(), "Name", std::string_view(extension.getName()));
    _writer.writeIf(extension.isOfClassType(KrObject::getClassType()), "IsObject", true);
    _writer.writeIf(ExtensionAccess::isUnknownPlaceholder(extension), "IsLost", true);
    _writer.writeIf(_ownContent->find(extension) != nullptr, "IsOwnOnly", true);
    writeFactoryKey(_writer, "Type", extension.getCreationKey());
    _writeID(extension);
    const auto version = getSavedVersion(extension);
    _writer.writeIf(version != -1, "DataVersion", static_cast<int>(version));
    _writeVersions(extension);
    const auto position = ExtensionAccess::getPosition(extension);
    _writer.writeIf(position != nextPosition, "Position", static_cast<unsigned long long>(position));
    nextPosition = position + 1;
    _writeFields(extension);
}

/// Of a part of an instance that is not stored complete, only how it differs from that of the object around it.
void ContentWriter::_writeID(const KrExtension& extension) {
    const auto stored = _toStored(extension.getContentID());
    const auto* part = _ownContent->find(extension);
    const auto* owner = part != nullptr && part->instance != &extension ? extension.getOwner() : nullptr;
    const auto& chain = stored.getParentInstances();
    if (owner != nullptr && !chain.empty()) {
        const auto derived =
            KrSim::KrContentID::createFromParentInstance(_toStored(owner->getContentID()), chain.back());
        const bool isDerived = derived.getRuntimeID() == stored.getRuntimeID() &&
                               derived.getRawID() == stored.getRawID() && derived.getFile() == stored.getFile() &&
                               derived.getOwnIdentifier() == stored.getOwnIdentifier();
        if (isDerived) return _writer.optional(true, "Part", [&] { writeContentID(_writer, "Part", chain.back()); });
    }
    if (part != nullptr) _writer.optional(false, "Part", [] {});
    writeContentID(_writer, "ContentID", stored);
}

void ContentWriter::_writeVersions(const KrExtension& extension) {
    const auto& versions = extension.getVersions();
    _writer.optional(!versions.empty(), "Versions", [&] {
        auto each = versions.begin();
        _writer.sequence("Versions", versions.size(), [&](std::size_t) {
            _writer.group("Version", [&] {
                _writer.writeRepeated("Key", each->first);
                _writer.write("Number", static_cast<int>(each->second));
            });
            ++each;
        });
    });
}

void ContentWriter::_writeFields(const KrExtension& extension) {
    const auto& fields = extension.getFieldsContainer();
    const auto* part = _ownContent->find(extension);
    _writeNameMarks(extension);
    for (const auto* group : {&fields.getInputs(), &fields.getOutputs(), &fields.getParameters()}) {
        const auto& text = group->getID().str();
        const auto open = getOpenReferences(extension, text);
        const auto* chosen = part != nullptr ? &part->fields : nullptr;
        const bool isAny = std::any_of(group->begin(), group->end(),
                                       [&](const auto* field) { return chosen == nullptr || chosen->contains(field); });
        _writer.optional(isAny, text, [&] { writeFields(_writer, text, *group, {open, &_toStored, chosen}); });
        const bool hasOwnMarks = part == nullptr || part->own.own.getParts(*group) != 0;
        _writer.optional(hasOwnMarks && hasMarks(*group), text + kMarks,
                         [&] { writeMarks(_writer, text + kMarks, *group); });
    }
    if (part != nullptr) _writeOwnFields(*part);
}

void ContentWriter::_writeOwnFields(const OwnContent::Part& part) {
    _writer.optional(!part.listed.empty(), "OwnFields", [&] {
        auto each = part.listed.begin();
        _writer.sequence("OwnFields", part.listed.size(), [&](std::size_t) {
            _writer.group("OwnField", [&] {
                _writer.writeRepeated("Path", each->first);
                _writer.write("Parts", static_cast<int>(each->second));
            });
            ++each;
        });
    });
}

/// The value of the name is written with the extension; here are the marks on it, and what is the instance's own.
void ContentWriter::_writeNameMarks(const KrExtension& extension) {
    const auto& name = extension.getFieldsContainer().getNameField();
    const auto* record = _getRecord(extension);
    const bool isOwnOnly = _ownContent->find(extension) != nullptr;
    if (record == nullptr && !isOwnOnly) {
        _writer.optional(hasMarks(name), kNameMarks, [&] { writeField(_writer, kNameMarks, name); });
        return;
    }
    const std::unique_ptr<KrData::FieldBase> copy(FieldAccess::duplicate(name));
    copy->_setDynamic(name.isDynamic());
    FieldAccess::setForcingObservers(*copy, FieldAccess::isForcingObservers(name));
    if (isOwnOnly) KrSim::OwnRecord::dropFrom(*copy);  // while it waits for its definition
    if (record != nullptr) KrSim::OwnRecord::addTo(*copy, *record);
    _writer.optional(hasMarks(*copy), kNameMarks, [&] { writeField(_writer, kNameMarks, *copy); });
}

/// The own data that is written as a mark on the name.
const KrData::Container* ContentWriter::_getRecord(const KrExtension& extension) const {
    const auto own = _own.find(&extension);
    return own != _own.end() ? own->second.get() : nullptr;
}

namespace {

/// A name that is relative to the folder of the process, as a program gave it when it loaded the definition, means
/// another file when it is read from the archive.
std::string makeAbsolute(const std::string& name) {
    std::error_code failure;
    const auto absolute = std::filesystem::absolute(name, failure);
    return failure ? name : absolute.lexically_normal().string();
}

}  // namespace

void ContentWriter::_writeDefinition(const KrObject& object) {
    _writer.groupIf(object.isInstance(), "Definition", [&] {
        const auto* definition = object.getDefinition();
        writeContentID(_writer, "ContentID",
                       _toStored(definition != nullptr ? definition->getContentID()
                                                       : object.getDefinitionReference().getContentID()));
        std::string file(object.getDefinitionFileName().view());
        const auto& archive = _writer.getArchiveName();
        if (!file.empty() && !archive.empty()) file = makeAbsolute(file);
        const bool isHere = (definition != nullptr && _included.count(definition) != 0) ||
                            (!file.empty() && !archive.empty() && file == makeAbsolute(archive));
        if (isHere) file = kCurrentFileMarker;
        _writer.optional(!file.empty(), "File", [&] { serializeFilename(_writer, file, "File"); });
    });
}

}  // namespace KrPersistence::detail
