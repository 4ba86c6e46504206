#include "kr/persistence/content/internal/connection_list.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <string>
#include <tuple>
#include <utility>

#include "kr/core/connection_base.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/content/internal/kept_content.h"

namespace KrPersistence::detail {

namespace {

using Identifier = KrSim::KrContentID::Identifier;

/// Sections of this version and later have the raw IDs of ends.
constexpr unsigned int kVersionWithRawIDs = 2;

/// A connection with its place among those that leave its source.
struct Placed {
    ConnectionRecord record;
    std::uint32_t place;

    [[nodiscard]] auto rank() const {
        return std::tie(record.source, record.sourceField, place, record.sink, record.sinkField);
    }
};

void collectInto(const KrData::FieldBase& field, const StoredIdentity& identity, std::deque<Placed>& found) {
    if (field._hasIncomingConnections()) {
        for (const auto* connection : field._getIncomingConnections()) {
            const auto* source = connection->getSourceOwner();
            const auto* sink = connection->getSinkOwner();
            if (!connection->isValid() || source == nullptr || sink == nullptr) continue;
            ConnectionRecord record;
            record.source = ConnectionEnd(identity(source->getContentID()));
            record.sourceField = KrData::_getStoredPath(*connection->getSource());
            record.sink = ConnectionEnd(identity(sink->getContentID()));
            record.sinkField = KrData::_getStoredPath(field);
            record.isQueued = connection->isOfClassType(Kr::KrSimQueuedConnection::getClassType());
            record.isDisabled = !connection->isEnabled();
            record.isUnordered = record.isDisabled && !connection->_isRegisteredInSorter();
            found.push_back({std::move(record), connection->_getSlot(Kr::KrConnectionBase::End::kSource)});
        }
    }
    for (const auto* child : field.getChildren())
        collectInto(*child, identity, found);
}

/// A kept connection as it stands in the file.
ConnectionRecord stored(ConnectionRecord record, const StoredIdentity& identity) {
    for (auto* end : {&record.source, &record.sink}) {
        if (const auto* id = identity.find(end->runtimeID)) *end = ConnectionEnd(*id);
    }
    return record;
}

Identifier readIdentifier(ArchiveReader& reader, std::string_view name) {
    const auto text = reader.readRepeated(name);
    Identifier identifier;
    if (!Identifier::parse(text, identifier)) reader.fail("'" + std::string(text) + "' is no content ID");
    return identifier;
}

void writeEnd(ArchiveWriter& writer, const std::string& name, const ConnectionEnd& end) {
    writer.writeRepeated(name, end.runtimeID.toString());
    const auto raw = name + "Raw";
    writer.optional(end.rawID != end.runtimeID, raw, [&] { writer.writeRepeated(raw, end.rawID.toString()); });
}

ConnectionEnd readEnd(ArchiveReader& reader, const std::string& name, unsigned int version) {
    ConnectionEnd end;
    end.runtimeID = end.rawID = readIdentifier(reader, name);
    const auto raw = name + "Raw";
    if (version >= kVersionWithRawIDs) reader.optional(raw, [&] { end.rawID = readIdentifier(reader, raw); });
    return end;
}

/// The connections that end at these extensions, and those that are kept for them because an end is missing.
std::deque<Placed> collect(const std::vector<KrSim::KrExtension*>& extensions, const StoredIdentity& identity) {
    std::deque<Placed> found;
    for (const auto* extension : extensions) {
        collectInto(extension->getFieldsContainer(), identity, found);
        if (const auto* kept = KeptContent::find(*extension)) {
            for (const auto& record : kept->connections)
                found.push_back({stored(record, identity), std::numeric_limits<std::uint32_t>::max()});
        }
    }
    return found;
}

/// By their sources, so that the list is the same after each save; those of one source in the order in which they
/// transfer.
std::vector<const ConnectionRecord*> order(const std::deque<Placed>& found) {
    // Records are large to move about and slow to look at: the source alone decides most.
    std::vector<std::pair<ConnectionEnd, const Placed*>> places;
    places.reserve(found.size());
    for (const auto& each : found)
        places.emplace_back(each.record.source, &each);
    std::stable_sort(places.begin(), places.end(), [](const auto& left, const auto& right) {
        if (left.first != right.first) return left.first < right.first;
        return left.second->rank() < right.second->rank();
    });
    std::vector<const ConnectionRecord*> ordered;
    ordered.reserve(places.size());
    for (const auto& [source, each] : places)
        ordered.push_back(&each->record);
    return ordered;
}

}  // namespace

void writeConnections(ArchiveWriter& writer, const std::vector<KrSim::KrExtension*>& extensions,
                      const StoredIdentity& identity) {
    const auto found = collect(extensions, identity);
    const auto connections = order(found);
    const auto writeOne = [&](const ConnectionRecord& connection) {
        writeEnd(writer, "Source", connection.source);
        writer.writeRepeated("SourceField", connection.sourceField);
        writeEnd(writer, "Sink", connection.sink);
        writer.writeRepeated("SinkField", connection.sinkField);
        writer.writeIf(connection.isQueued, "IsQueued", true);
        writer.writeIf(connection.isDisabled, "IsDisabled", true);
        writer.writeIf(connection.isUnordered, "IsUnordered", true);
    };
    writer.optional(!connections.empty(), "Connections", [&] {
        writer.sequence("Connections", connections.size(),
                        [&](std::size_t index) { writer.group("Connection", [&] { writeOne(*connections[index]); }); });
    });
}

std::vector<ConnectionRecord> readConnections(ArchiveReader& reader, unsigned int version) {
    std::vector<ConnectionRecord> connections;
    const auto readOne = [&] {
        ConnectionRecord connection;
        connection.source = readEnd(reader, "Source", version);
        connection.sourceField = reader.readRepeated("SourceField");
        connection.sink = readEnd(reader, "Sink", version);
        connection.sinkField = reader.readRepeated("SinkField");
        reader.readIf("IsQueued", connection.isQueued);
        reader.readIf("IsDisabled", connection.isDisabled);
        reader.readIf("IsUnordered", connection.isUnordered);
        connections.push_back(std::move(connection));
    };
    reader.optional("Connections",
                    [&] { reader.sequence("Connections", [&](std::size_t) { reader.group("Connection", readOne); }); });
    return connections;
}

}  // namespace KrPersistence::detail
