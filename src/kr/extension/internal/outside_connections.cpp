#include "kr/extension/internal/outside_connections.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "kr/core/connection_access.h"
#include "kr/data/field_access.h"
#include "kr/data/field_copying.h"
#include "kr/data/stored_path.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object_access.h"
#include "kr/platform/log.h"

namespace KrSim::detail {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;

namespace {

KrData::FieldBase* findField(const KrExtension* extension, const std::string& path) {
    return extension != nullptr ? KrData::_findStoredPath(extension->getFieldsContainer(), path) : nullptr;
}

/// A copy of the field in a container of its role.
KrData::FieldBase* copyInto(std::unique_ptr<KrData::Container>& holder, const KrData::FieldBase& field) {
    holder = std::make_unique<KrData::Container>(Kr::KrID("Kept"), nullptr, field.getFieldType());
    std::unique_ptr<KrData::FieldBase> copy(field.clone(nullptr));
    if (!copy) return nullptr;
    KrData::_dropLinks(*copy);
    return holder->_addField(copy.get()) ? copy.release() : nullptr;
}

bool isConnected(const KrData::FieldBase& source, const KrData::FieldBase& sink) {
    const auto connections = FieldAccess::getOutgoingConnections(source);
    return std::any_of(connections.begin(), connections.end(), [&](const auto* connection) {
        return connection->getSink() == &sink && !ConnectionAccess::isContentOfOther(*connection);
    });
}

/// The nearest instance that a content ID is derived from, or null.
KrObject* findInstance(const KrContentID& id) {
    const auto& chain = id.getParentInstances();
    for (auto length = chain.size(); length-- > 1;) {
        auto holder = chain.front();
        for (std::size_t i = 1; i < length; ++i)
            holder = KrContentID::createFromParentInstance(holder, chain[i]);
        auto* object = asObject(KrContentRegistry::instance().find(holder));
        if (object != nullptr && object->isInstance()) return object;
    }
    return nullptr;
}

}  // namespace

OutsideConnections::OutsideConnections() = default;
OutsideConnections::~OutsideConnections() = default;

// --- Keeping -------------------------------------------------------------------------------------------------------

/// The own connections that begin, and those that end, at leaving fields. Those between two of them are in both.
struct OutsideConnections::Leaving {
    const KrObject& instance;
    const IsOwn& isOwn;
    std::vector<const Kr::KrConnectionBase*> outgoing, incoming;

    void add(const KrData::FieldBase& field) {
        const auto mayKeep = [&](const Kr::KrConnectionBase& connection) {
            return connection.isValid() && !ConnectionAccess::isContentOfOther(connection) &&
                   connection.getSourceOwner() != nullptr && connection.getSinkOwner() != nullptr && isOwn(connection);
        };
        for (const auto* connection : FieldAccess::getOutgoingConnections(field)) {
            if (mayKeep(*connection)) outgoing.push_back(connection);
        }
        if (FieldAccess::hasIncomingConnections(field)) {
            for (const auto* connection : FieldAccess::getIncomingConnections(field)) {
                if (mayKeep(*connection)) incoming.push_back(connection);
            }
        }
        for (const auto* child : field.getChildren())
            add(*child);
    }
};

OutsideConnections::End::End(const KrObject& instance, KrData::FieldBase& at, const KrExtension& owner)
    : extension(owner.getContentID()), path(KrData::_getStoredPath(at)), field(&at) {
    std::string below;
    const auto* each = &owner;
    for (; each != nullptr && each != &instance; each = each->getOwner())
        below.insert(0, "/" + each->getName());
    isInside = each != nullptr;
    name = isInside ? below : owner.getPath();
}

std::string OutsideConnections::End::describe(const KrObject& instance) const {
    return (isInside ? instance.getPath() : "") + name + "." + path;
}

void OutsideConnections::noteLeaving(const KrObject& instance, const KrExtension& extension, const IsOwn& isOwn) {
    Leaving leaving{instance, isOwn, {}, {}};
    for (const auto* each : collectTree(extension))
        leaving.add(each->getFieldsContainer());
    _keepAll(leaving);
}

void OutsideConnections::noteLeaving(const KrObject& instance, const KrData::FieldBase& field, const IsOwn& isOwn) {
    Leaving leaving{instance, isOwn, {}, {}};
    leaving.add(field);
    _keepAll(leaving);
}

void OutsideConnections::_keepAll(Leaving& leaving) {
    for (const auto* connection : leaving.outgoing)
        _keep(leaving.instance, *connection, true);
    const std::unordered_set<const Kr::KrConnectionBase*> kept(leaving.outgoing.begin(), leaving.outgoing.end());
    for (const auto* connection : leaving.incoming) {
        if (kept.count(connection) == 0) _keep(leaving.instance, *connection, false);
    }
}

void OutsideConnections::_keep(const KrObject& instance, const Kr::KrConnectionBase& connection, bool isPartSource) {
    const End source(instance, *connection.getSource(), *connection.getSourceOwner());
    const End sink(instance, *connection.getSink(), *connection.getSinkOwner());
    Kept kept{.part = isPartSource ? source : sink,
              .other = isPartSource ? sink : source,
              .isPartSource = isPartSource,
              .isEnabled = connection.isEnabled(),
              .isOrdering = ConnectionAccess::isRegisteredInSorter(connection),
              .source = {},
              .sink = {},
              .prototype = {}};
    if (!kept.makePrototype(connection)) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrObject: the connection from %s to %s is dropped: it cannot be copied to be kept.\n",
                       source.describe(instance).c_str(), sink.describe(instance).c_str());
        return;
    }
    _kept.push_back(std::move(kept));
}

bool OutsideConnections::Kept::makePrototype(const Kr::KrConnectionBase& connection) {
    auto* copyOfSource = copyInto(source, *connection.getSource());
    auto* copyOfSink = copyInto(sink, *connection.getSink());
    if (copyOfSource == nullptr || copyOfSink == nullptr) return false;
    prototype.reset(ConnectionAccess::createBetween(connection, *copyOfSource, *copyOfSink));
    if (prototype) prototype->disable(true);
    return prototype != nullptr;
}

// --- Copies, and other IDs -----------------------------------------------------------------------------------------

namespace {

/// Whether the ID is that of an instance, or derived from it.
bool belongsTo(const KrContentID& instance, const KrContentID& id) {
    return id == instance || getDepthBelow(instance, id) > 0;
}

KrContentID moveID(const KrContentID& id, const KrContentID& from, const KrContentID& to) {
    if (!belongsTo(from, id)) return id;
    return id == from ? to : moveBelow(to, id, getDepthBelow(from, id));
}

}  // namespace

void OutsideConnections::copyInner(const OutsideConnections& source, const KrContentID& from, const KrContentID& to) {
    for (const auto& kept : source._kept) {
        if (!belongsTo(from, kept.part.extension) || !belongsTo(from, kept.other.extension)) continue;
        Kept copy{.part = kept.part,
                  .other = kept.other,
                  .isPartSource = kept.isPartSource,
                  .isEnabled = kept.isEnabled,
                  .isOrdering = kept.isOrdering,
                  .isReported = kept.isReported,
                  .source = {},
                  .sink = {},
                  .prototype = {}};
        for (auto* end : {&copy.part, &copy.other}) {
            end->extension = moveID(end->extension, from, to);
            end->field = {};
        }
        if (copy.makePrototype(*kept.prototype)) _kept.push_back(std::move(copy));
    }
}

void OutsideConnections::move(const KrContentID& from, const KrContentID& to) {
    for (auto& kept : _kept) {
        for (auto* end : {&kept.part, &kept.other})
            end->extension = moveID(end->extension, from, to);
    }
}

// --- Making them again ---------------------------------------------------------------------------------------------

OutsideConnections::Outcome OutsideConnections::_tryToRestore(Kept& kept, const TreeIndex& parts) {
    auto* other = findField(parts.findExactly(kept.other.extension), kept.other.path);
    if (other == nullptr) other = kept.other.field.get();
    if (other == nullptr) {
        other = findField(KrContentRegistry::instance().find(kept.other.extension), kept.other.path);
    }
    if (other == nullptr) other = findField(parts.find(kept.other.extension), kept.other.path);
    if (other == nullptr) return Outcome::kBelongsToOther;
    auto* own = findField(parts.find(kept.part.extension), kept.part.path);
    if (own == nullptr) return Outcome::kStays;
    auto& source = kept.isPartSource ? *own : *other;
    auto& sink = kept.isPartSource ? *other : *own;
    if (isConnected(source, sink)) return Outcome::kDone;
    std::unique_ptr<Kr::KrConnectionBase> made(ConnectionAccess::createBetween(*kept.prototype, source, sink));
    if (!made) return Outcome::kStays;
    auto* connection = made.get();
    auto* keeper = made->getSinkOwner() != nullptr ? made->getSinkOwner() : made->getSourceOwner();
    if (keeper == nullptr) return Outcome::kStays;
    FieldsAccess::ownConnection(keeper->getFieldsContainer(), std::move(made));
    if (kept.isEnabled || kept.isOrdering) connection->enable(kept.isEnabled);
    if (!kept.isEnabled && kept.isOrdering) connection->disable(false);
    return Outcome::kDone;
}

void OutsideConnections::_handOver(const KrObject& from, std::list<Kept>& open) {
    auto& kept = open.front();
    auto* instance = findInstance(kept.other.extension);
    if (instance == nullptr) {
        _dropped.splice(_dropped.end(), open, open.begin());
        return;
    }
    auto& others = instance->_getOutsideConnections()._kept;
    if (instance != &from && kept.part.isInside) {
        kept.part.name.insert(0, from.getPath());
        kept.part.isInside = false;
    }
    std::swap(kept.part, kept.other);
    kept.isPartSource = !kept.isPartSource;
    others.splice(others.end(), open, open.begin());
}

void OutsideConnections::restore(const KrObject& instance) {
    if (_kept.empty()) return;
    const TreeIndex parts(instance, TreeIndex::Lost::kLeftOut);
    // Observers may sync this instance: what is under way here is in no list meanwhile.
    std::list<Kept> open;
    open.swap(_kept);
    try {
        while (!open.empty()) {
            switch (_tryToRestore(open.front(), parts)) {
                case Outcome::kStays:
                    _kept.splice(_kept.end(), open, open.begin());
                    break;
                case Outcome::kBelongsToOther:
                    _handOver(instance, open);
                    break;
                case Outcome::kDone:
                    open.pop_front();
                    break;
            }
        }
    } catch (...) {
        _kept.splice(_kept.end(), open);
        throw;
    }
}

std::vector<KrWaitingConnection> OutsideConnections::describe() const {
    std::vector<KrWaitingConnection> waiting;
    for (const auto& kept : _kept) {
        if (!kept.other.field.isAlive() && findInstance(kept.other.extension) == nullptr) continue;
        const auto& source = kept.getSource();
        const auto& sink = kept.getSink();
        waiting.push_back({source.extension, source.path, sink.extension, sink.path, kept.prototype.get(),
                           kept.isEnabled, kept.isOrdering});
    }
    return waiting;
}

void OutsideConnections::report(const KrObject& instance) {
    for (const auto& dropped : std::exchange(_dropped, {})) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrObject: the connection from %s to %s is dropped: %s has been destroyed.\n",
                       dropped.getSource().describe(instance).c_str(), dropped.getSink().describe(instance).c_str(),
                       dropped.other.name.c_str());
    }
    if (_kept.empty()) return;
    const TreeIndex parts(instance, TreeIndex::Lost::kLeftOut);
    std::vector<std::string> warnings;
    for (auto& kept : _kept) {
        if (std::exchange(kept.isReported, true)) continue;
        warnings.push_back("KrObject: the connection from " + kept.getSource().describe(instance) + " to " +
                           kept.getSink().describe(instance) + " is kept, but cannot be made now: the definition of '" +
                           instance.getName() + "' does not have the " +
                           (parts.find(kept.part.extension) != nullptr ? "field" : "part") + ".\n");
    }
    for (const auto& warning : warnings)  // a handler of log messages may sync this instance
        Kr::logMessage(Kr::eLogLevel::kWarn, "%s", warning.c_str());
}

}  // namespace KrSim::detail

namespace KrSim::detail {

std::vector<KrWaitingConnection> ObjectAccess::getWaitingConnections(const KrObject& object) {
    return object._outsideConnections ? object._outsideConnections->describe() : std::vector<KrWaitingConnection>();
}

}  // namespace KrSim::detail
