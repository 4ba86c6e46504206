#include "kr/persistence/objects/internal/connection_list.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <string>
#include <tuple>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/waiting_connection.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/persistence/fields/transfer_function_archive.h"
#include "kr/persistence/objects/internal/kept_content.h"
#include "kr/platform/log.h"

namespace KrPersistence::detail {

using Kr::eConnectionKind;
using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using KrSim::detail::ObjectAccess;

namespace {

using Identifier = KrSim::KrContentID::Identifier;

/// Sections of this version and later have the raw IDs of ends, and transfer functions.
constexpr unsigned int kVersionWithRawIDs = 2;
constexpr unsigned int kVersionWithSteppedConnections = 4;
/// Of connections that lose their function, these are named.
constexpr std::size_t kMostNamed = 10;

std::string describe(const KrData::FieldBase& field) {
    return "'" + field.getOwnerExtension()->getPath() + "." + field.getPath() + "'";
}

/// Notes the transfer function of a connection; one that is code stays behind.
class Functions {
public:
    /// \param nameOf  returns a name of the connection for people.
    template <class NameOf>
    void note(const Kr::KrConnectionBase& connection, ConnectionRecord& record, const NameOf& nameOf) {
        if (!connection.isOfClassType(Kr::KrConnection::getClassType())) return;
        const auto& direct = static_cast<const Kr::KrConnection&>(connection);
        if (const auto* function = direct.getTransferFunction()) {
            record.function = *function;
        } else if (direct.hasTransferFunction() && ++_lostCount <= kMostNamed) {
            _lost += "  " + nameOf() + "\n";
        }
    }
    void report() const {
        if (_lostCount == 0) return;
        const auto more = _lostCount > kMostNamed ? "  and " + std::to_string(_lostCount - kMostNamed) + " more\n" : "";
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrObjectSection: transfer functions that are code are not saved; their connections will copy "
                       "after a load. Use a KrData::TransferFunction for:\n%s%s",
                       _lost.c_str(), more.c_str());
    }

private:
    std::string _lost;
    std::size_t _lostCount{0};
};

/// A connection with its place among those that leave its source.
struct Placed {
    ConnectionRecord record;
    std::uint32_t place;

    [[nodiscard]] auto rank() const {
        return std::tie(record.source, record.sourceField, place, record.sink, record.sinkField);
    }
};

/// The connections that end at extensions, with the IDs of the file.
class Collector {
public:
    Collector(const StoredIdentity& identity, const OwnContent& ownContent)
        : _identity(identity), _ownContent(ownContent) {}

    void add(const KrSim::KrExtension& extension) {
        _add(extension.getFieldsContainer());
        if (extension.isOfClassType(KrSim::KrObject::getClassType())) {
            for (const auto& waiting :
                 ObjectAccess::getWaitingConnections(static_cast<const KrSim::KrObject&>(extension)))
                _add(waiting);
        }
        const auto* kept = KeptContent::find(extension);
        if (kept == nullptr) return;
        for (const auto& record : kept->connections)
            _found.push_back({_stored(record), std::numeric_limits<std::uint32_t>::max()});
    }
    std::deque<Placed> take() {
        _functions.report();
        return std::move(_found);
    }

private:
    void _add(const KrData::FieldBase& field) {
        if (FieldAccess::hasIncomingConnections(field)) {
            for (const auto* connection : FieldAccess::getIncomingConnections(field))
                _add(*connection, field);
        }
        for (const auto* child : field.getChildren())
            _add(*child);
    }

    void _add(const Kr::KrConnectionBase& connection, const KrData::FieldBase& sinkField) {
        const auto* source = connection.getSourceOwner();
        const auto* sink = connection.getSinkOwner();
        if (!connection.isValid() || ConnectionAccess::isContentOfOther(connection) || source == nullptr ||
            sink == nullptr || _ownContent.isLeftOut(connection))
            return;
        ConnectionRecord record;
        record.source = ConnectionEnd(_identity(source->getContentID()));
        record.sourceField = KrData::_getStoredPath(*connection.getSource());
        record.sink = ConnectionEnd(_identity(sink->getContentID()));
        record.sinkField = KrData::_getStoredPath(sinkField);
        record.kind = Kr::KrConnectionFactory::findKind(connection);
        record.isDisabled = !connection.isEnabled();
        record.isUnordered = record.isDisabled && !ConnectionAccess::isRegisteredInSorter(connection);
        _functions.note(connection, record,
                        [&] { return describe(*connection.getSource()) + " -> " + describe(*connection.getSink()); });
        _found.push_back(
            {std::move(record), ConnectionAccess::getSlot(connection, Kr::KrConnectionBase::End::kSource)});
    }

    void _add(const KrSim::KrWaitingConnection& waiting) {
        ConnectionRecord record;
        record.source = ConnectionEnd(_identity(waiting.source));
        record.sourceField = waiting.sourceField;
        record.sink = ConnectionEnd(_identity(waiting.sink));
        record.sinkField = waiting.sinkField;
        record.kind = Kr::KrConnectionFactory::findKind(*waiting.prototype);
        record.isDisabled = !waiting.isEnabled;
        record.isUnordered = record.isDisabled && !waiting.isOrdering;
        _functions.note(*waiting.prototype, record, [&] {
            return "'" + waiting.source.toString() + "." + waiting.sourceField + "' -> '" + waiting.sink.toString() +
                   "." + waiting.sinkField + "'";
        });
        _found.push_back({std::move(record), std::numeric_limits<std::uint32_t>::max()});
    }

    [[nodiscard]] ConnectionRecord _stored(ConnectionRecord record) const {
        for (auto* end : {&record.source, &record.sink}) {
            if (const auto* id = _identity.find(end->runtimeID)) *end = ConnectionEnd(*id);
        }
        return record;
    }

    const StoredIdentity& _identity;
    const OwnContent& _ownContent;
    std::deque<Placed> _found;
    Functions _functions;
};

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

eConnectionKind readKind(ArchiveReader& reader, unsigned int version) {
    bool isQueued = false;
    bool isUnitDelay = false;
    bool isInterpolated = false;
    reader.readIf("IsQueued", isQueued);
    if (version >= kVersionWithSteppedConnections) {
        reader.readIf("IsUnitDelay", isUnitDelay);
        reader.readIf("IsInterpolated", isInterpolated);
    }
    if (isQueued + isUnitDelay + isInterpolated > 1)
        reader.fail("a connection can be only one of queued, a unit delay and interpolated");
    if (isQueued) return eConnectionKind::kQueued;
    if (isInterpolated) return eConnectionKind::kInterpolated;
    return isUnitDelay ? eConnectionKind::kUnitDelay : eConnectionKind::kDirect;
}

}  // namespace

void writeConnections(ArchiveWriter& writer, const std::vector<KrSim::KrExtension*>& extensions,
                      const StoredIdentity& identity, const OwnContent& ownContent) {
    Collector collector(identity, ownContent);
    for (const auto* extension : extensions)
        collector.add(*extension);
    const auto found = collector.take();
    const auto connections = order(found);
    const auto writeOne = [&](const ConnectionRecord& connection) {
        writeEnd(writer, "Source", connection.source);
        writer.writeRepeated("SourceField", connection.sourceField);
        writeEnd(writer, "Sink", connection.sink);
        writer.writeRepeated("SinkField", connection.sinkField);
        writer.writeIf(connection.kind == eConnectionKind::kQueued, "IsQueued", true);
        writer.writeIf(connection.kind == eConnectionKind::kUnitDelay, "IsUnitDelay", true);
        writer.writeIf(connection.kind == eConnectionKind::kInterpolated, "IsInterpolated", true);
        writer.writeIf(connection.isDisabled, "IsDisabled", true);
        writer.writeIf(connection.isUnordered, "IsUnordered", true);
        writer.optional(connection.function.has_value(), "TransferFunction",
                        [&] { writeTransferFunction(writer, "TransferFunction", *connection.function); });
    };
    writer.optional(!connections.empty(), "Connections", [&] {
        writer.sequence("Connections", connections.size(),
                        [&](std::size_t index) { writer.group("Connection", [&] { writeOne(*connections[index]); }); });
    });
}

void readConnections(ArchiveReader& reader, unsigned int version, ConnectionRecords& connections) {
    ConnectionRecord connection;
    const auto readOne = [&] {
        connection.source = readEnd(reader, "Source", version);
        connection.sourceField = reader.readRepeated("SourceField");
        connection.sink = readEnd(reader, "Sink", version);
        connection.sinkField = reader.readRepeated("SinkField");
        connection.isDisabled = connection.isUnordered = false;
        connection.function.reset();
        connection.kind = readKind(reader, version);
        reader.readIf("IsDisabled", connection.isDisabled);
        reader.readIf("IsUnordered", connection.isUnordered);
        if (version >= kVersionWithRawIDs) {
            reader.optional("TransferFunction",
                            [&] { connection.function = readTransferFunction(reader, "TransferFunction"); });
        }
        connections.add(connection);
    };
    reader.optional("Connections",
                    [&] { reader.sequence("Connections", [&](std::size_t) { reader.group("Connection", readOne); }); });
}

}  // namespace KrPersistence::detail
