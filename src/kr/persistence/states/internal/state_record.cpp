#include "kr/persistence/states/internal/state_record.h"

#include <functional>
#include <sstream>
#include <utility>

#include "kr/data/field.h"
#include "kr/data/vector.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension.h"
#include "kr/extension/state_access.h"
#include "kr/persistence/archives/binary_archive_reader.h"
#include "kr/persistence/archives/binary_archive_writer.h"
#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/binary_out_archive.h"
#include "kr/persistence/fields/content_id_archive.h"
#include "kr/platform/text_stream.h"

namespace KrPersistence::detail {

using KrData::ValuePlan;
using KrSim::KrExtensionState;
using KrSim::detail::StateAccess;

void resolveReferences(KrData::FieldBase& field, const std::vector<ExtensionReference>& references) {
    for (const auto& each : references) {
        auto& registry = KrSim::KrContentRegistry::instance();
        auto* extension = registry.find(each.extension);
        if (extension == nullptr) extension = registry.resolve(each.extension).get();
        if (auto* vector = KrData::Vector<KrSim::KrExtension*>::from(field)) {
            if (each.item < vector->size()) vector->setItem(each.item, extension);
        } else {
            field.set<KrSim::KrExtension*>(extension);
        }
    }
}

StateRecord::StateRecord() = default;
StateRecord::StateRecord(StateRecord&&) noexcept = default;
StateRecord::~StateRecord() = default;

/// What the states in memory and those of files have in common for writing.
struct StateRecord::Source {
    const KrSim::KrContentID& contentID;
    const KrSim::KrFactoryKey& creationKey;
    const std::string& name;
    const std::string& data;
    bool hasData;
    bool isAddedByModule;
    const ValuePlan& plan;
    std::function<void(ArchiveWriter& writer, std::size_t index)> writeValue;
};

// --- Writing -------------------------------------------------------------------------------------------------------

void StateRecord::write(ArchiveWriter& writer, std::string_view name, eStatePayload payload,
                        const KrExtensionState& state) {
    _write(writer, name, payload,
           {state.getContentID(), state.getCreationKey(), state.getName(), state.getImplementationData(),
            state.hasImplementationData(), state.isAddedByModule(), StateAccess::getPlan(state),
            [&](ArchiveWriter& to, std::size_t index) {
                writeField(to, "Field", *StateAccess::getPlan(state).makeField(index, StateAccess::getValues(state)));
            }});
}

void StateRecord::write(ArchiveWriter& writer, std::string_view name, eStatePayload payload) const {
    std::vector<std::size_t> fieldAt(_fields.size());
    for (std::size_t i = 0; i < _places.size(); ++i)
        fieldAt[_places[i]] = i;
    _write(writer, name, payload,
           {_contentID, _creationKey, _name, _data, _hasData, _isAddedByModule, *_plan,
            [&](ArchiveWriter& to, std::size_t index) {
                const auto references = _references.find(fieldAt[index]);
                FieldWriteContext context;
                if (references != _references.end()) context.unresolved = references->second;
                writeField(to, "Field", *_fields[fieldAt[index]], context);
            }});
}

void StateRecord::_write(ArchiveWriter& writer, std::string_view name, eStatePayload payload, const Source& source) {
    writer.group(name, [&] {
        writeContentID(writer, "ContentID", source.contentID);
        writer.writeIf(!source.name.empty(), "Name", source.name);
        writer.groupIf(!source.creationKey.isNull(), "Type", [&] {
            writeUuid(writer, "ID", source.creationKey.uuid);
            writer.writeRepeated("Category", source.creationKey.category);
            writer.writeRepeated("Name", source.creationKey.name);
            writer.writeRepeated("Plugin", source.creationKey.plugin);
        });
        writer.writeIf(source.isAddedByModule, "AddedByModule", true);
        writer.optional(source.hasData, "Data", [&] { writer.writeBytes("Data", source.data); });
        if (payload == eStatePayload::kNormal) return _writeTree(writer, source, ValuePlan::kTop);
        Kr::TextStream stream;
        {
            BinaryOutArchive archive(stream, 0, BinaryOutArchive::OptimizationMode::kCompact);
            BinaryArchiveWriter compact(archive);
            _writeTree(compact, source, ValuePlan::kTop);
        }
        writer.writeBytes("Values", stream.getWhole());
    });
}

void StateRecord::_writeTree(ArchiveWriter& writer, const Source& source, ValuePlan::Place place) {
    const auto children = source.plan.getChildren(place);
    writer.optional(!children.values.empty(), "Fields", [&] {
        writer.sequence("Fields", children.values.size(),
                        [&](std::size_t i) { source.writeValue(writer, children.values[i]); });
    });
    writer.optional(!children.containers.empty(), "Containers", [&] {
        writer.sequence("Containers", children.containers.size(), [&](std::size_t i) {
            const auto below = children.containers[i];
            writer.group("Container", [&] {
                writer.writeRepeated("Identifier", source.plan.getID(below).str());
                writer.writeIf(source.plan.isArray(below), "Array", true);
                _writeTree(writer, source, below);
            });
        });
    });
}

// --- Reading -------------------------------------------------------------------------------------------------------

StateRecord StateRecord::read(ArchiveReader& reader, std::string_view name, eStatePayload payload) {
    StateRecord record;
    reader.group(name, [&] {
        record._contentID = readContentID(reader, "ContentID");
        reader.readIf("Name", record._name);
        reader.groupIf("Type", [&] {
            const auto uuid = readUuid(reader, "ID");
            std::string category(reader.readRepeated("Category"));
            std::string type(reader.readRepeated("Name"));
            std::string plugin(reader.readRepeated("Plugin"));
            record._creationKey = {uuid, std::move(category), std::move(type), std::move(plugin)};
        });
        reader.readIf("AddedByModule", record._isAddedByModule);
        record._hasData = reader.optional("Data", [&] { reader.readBytes("Data", record._data); });
        ValuePlan::Builder builder;
        if (payload == eStatePayload::kNormal) {
            record._readTree(reader, builder);
        } else {
            std::string bytes;
            reader.readBytes("Values", bytes);
            std::istringstream stream(bytes, std::ios::binary);
            BinaryInArchive archive(stream, 0, BinaryInArchive::OptimizationMode::kCompact);
            BinaryArchiveReader compact(archive);
            record._readTree(compact, builder);
        }
        record._plan = builder.build(record._places);
    });
    return record;
}

void StateRecord::_readTree(ArchiveReader& reader, ValuePlan::Builder& builder) {
    reader.optional("Fields", [&] {
        reader.sequence("Fields", [&](std::size_t) {
            FieldReadContext context;
            auto field = readField(reader, "Field", context);
            if (!builder.add(*field)) reader.fail("field '" + field->getID().str() + "' has no value");
            if (!context.references.empty()) _references.emplace(_fields.size(), std::move(context.references));
            _fields.push_back(std::move(field));
        });
    });
    reader.optional("Containers", [&] {
        reader.sequence("Containers", [&](std::size_t) {
            reader.group("Container", [&] {
                const Kr::KrID id{std::string(reader.readRepeated("Identifier"))};
                bool isArray = false;
                reader.readIf("Array", isArray);
                builder.begin(id, isArray);
                _readTree(reader, builder);
                builder.end();
            });
        });
    });
}

Kr::KrSmartPtr<KrExtensionState> StateRecord::makeState() const {
    for (const auto& [place, references] : _references)
        resolveReferences(*_fields[place], references);
    auto state = Kr::makeSmart<KrExtensionState>(_contentID, _creationKey, _name, _plan);
    if (_hasData) StateAccess::setImplementationData(*state, _data);
    // Extensions may die before the fields are read again.
    for (const auto& [place, references] : _references) {
        auto& field = *_fields[place];
        if (auto* vector = KrData::Vector<KrSim::KrExtension*>::from(field)) {
            vector->setItems(std::vector<KrSim::KrExtension*>(vector->size()));
        } else {
            field.set<KrSim::KrExtension*>(nullptr);
        }
    }
    return state;
}

}  // namespace KrPersistence::detail
