#include "kr/extension/own_record.h"

#include <utility>

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/field_internal.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"

namespace KrSim {

using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;

namespace {

constexpr const char* kFields = "Fields";
constexpr const char* kAdded = "AddedConnections";
constexpr const char* kRemoved = "RemovedConnections";
constexpr const char* kChanged = "ChangedConnections";
constexpr const char* kComplete = "IsComplete";
constexpr const char* kOwnOnly = "IsOwnOnly";

const Kr::KrID& recordId() {
    static const Kr::KrID id("InstanceData");
    return id;
}

const KrData::Container* asContainer(const KrData::FieldBase& field) {
    return field.getDataType() == KrData::Types::kContainer ? static_cast<const KrData::Container*>(&field) : nullptr;
}

void writeConnections(KrData::Container& record, const char* id, const InnerConnections& connections) {
    if (connections.empty()) return;
    auto* list = record.addContainer(id);
    for (const auto& each : connections) {
        auto* entry = list->addContainer(Kr::KrID(std::to_string(list->size() + 1)));
        entry->add<std::string>("Source", each.source.toString());
        entry->add<std::string>("SourceField", each.sourcePath);
        entry->add<std::string>("SinkField", each.sinkPath);
    }
}

InnerConnections readConnections(const KrData::Container& record, const char* id, const KrContentID::Identifier& sink) {
    InnerConnections connections;
    const auto* list = asContainer(record[id]);
    if (list == nullptr) return connections;
    for (const auto* each : *list) {
        InnerConnection connection;
        if (!KrContentID::Identifier::parse((*each)["Source"].toString(), connection.source)) continue;
        connection.sourcePath = (*each)["SourceField"].toString();
        connection.sink = sink;
        connection.sinkPath = (*each)["SinkField"].toString();
        connections.insert(std::move(connection));
    }
    return connections;
}

const KrData::Container* hiddenRecordOf(const KrExtension& extension) {
    const auto* internal = FieldAccess::getInternalIfAny(extension.getFieldsContainer().getNameField());
    return internal != nullptr ? asContainer(internal->getField(recordId())) : nullptr;
}

}  // namespace

std::unique_ptr<KrData::Container> OwnRecord::toField() const {
    if (empty()) return nullptr;
    auto made = std::make_unique<KrData::Container>(recordId(), nullptr, KrData::Types::kUndefined);
    if (isComplete) made->add<bool>(kComplete, true);
    if (isOwnOnly) made->add<bool>(kOwnOnly, true);
    if (!fields.empty()) {
        auto* list = made->addContainer(kFields);
        for (const auto& [path, parts] : fields)
            list->add<int>(Kr::KrID(path), parts);
    }
    writeConnections(*made, kAdded, added);
    writeConnections(*made, kRemoved, removed);
    writeConnections(*made, kChanged, changed);
    return made;
}

OwnRecord OwnRecord::of(const KrExtension& extension) {
    OwnRecord record;
    const auto* hidden = hiddenRecordOf(extension);
    if (hidden == nullptr) return record;
    if (const auto* fields = asContainer((*hidden)[kFields])) {
        for (const auto* each : *fields)
            record.fields.emplace(each->getID().str(), each->toInteger());
    }
    const auto& id = extension.getContentID().getRawID();
    record.added = readConnections(*hidden, kAdded, id);
    record.removed = readConnections(*hidden, kRemoved, id);
    record.changed = readConnections(*hidden, kChanged, id);
    record.isComplete = (*hidden)[kComplete].toBoolean();
    record.isOwnOnly = (*hidden)[kOwnOnly].toBoolean();
    return record;
}

void OwnRecord::addTo(KrData::FieldBase& name, const KrData::Container& record) {
    auto* place = name.getInternal().addField(recordId(), KrData::Types::kContainer);
    if (place != nullptr) place->_cloneFrom(record);
}

void OwnRecord::setOn(KrExtension& extension) const {
    dropFrom(extension);
    if (const auto made = toField()) addTo(extension.getFieldsContainer().getNameField(), *made);
}

void OwnRecord::dropFrom(KrExtension& extension) {
    dropFrom(extension.getFieldsContainer().getNameField());
}

void OwnRecord::dropFrom(KrData::FieldBase& name) {
    if (auto* internal = FieldAccess::getInternalIfAny(name)) {
        internal->removeField(recordId());
        if (internal->get() != nullptr && internal->get()->empty())
            ContainerAccess::setHiddenFields(*internal, nullptr);
    }
}

}  // namespace KrSim
