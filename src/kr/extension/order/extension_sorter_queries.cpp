// Queries of the sorter about connections and cycles, and its picture.

#include <algorithm>
#include <map>
#include <ostream>
#include <utility>

#include "kr/core/base_pointer.h"
#include "kr/core/connection_access.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/order/internal/sorter_state.h"

namespace KrSim {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using Connections = std::vector<Kr::KrConnectionBase*>;

// --- Connections ---------------------------------------------------------------------------------------------------

namespace {

enum Ends : unsigned { kSources = 1, kSinks = 2 };

/// The connections of a field and of all below it; one within them comes once, as a source.
void collect(const KrData::FieldBase& field, unsigned ends, Connections& found) {
    if ((ends & kSources) != 0 && FieldAccess::hasOutgoingConnections(field)) {
        const auto outgoing = FieldAccess::getOutgoingConnections(field);
        found.insert(found.end(), outgoing.begin(), outgoing.end());
    }
    if ((ends & kSinks) != 0 && FieldAccess::hasIncomingConnections(field)) {
        for (auto* connection : FieldAccess::getIncomingConnections(field)) {
            const bool isWithin =
                connection->getSource() != nullptr && connection->getSink() != nullptr &&
                connection->getSource()->getOwnerExtension() == connection->getSink()->getOwnerExtension();
            if ((ends & kSources) == 0 || !isWithin) found.push_back(connection);
        }
    }
    for (const auto* child : field.getChildren())
        collect(*child, ends, found);
}

Connections connectionsOf(const KrExtension* extension, unsigned ends) {
    Connections found;
    if (extension == nullptr) return found;
    collect(extension->getFieldsContainer(), ends, found);
    std::erase_if(found, [](const auto* connection) { return !ConnectionAccess::isRegisteredInSorter(*connection); });
    return found;
}

bool isAnyRegistered(const Connections& connections) {
    return std::any_of(connections.begin(), connections.end(),
                       [](const auto* connection) { return ConnectionAccess::isRegisteredInSorter(*connection); });
}

bool isInOrBelow(const KrExtension* extension, const KrObject* object) {
    for (; extension != nullptr; extension = extension->getOwner()) {
        if (extension == object) return true;
    }
    return false;
}

}  // namespace

Connections KrExtensionSorter::getConnections(const KrExtension* extension) const {
    return connectionsOf(extension, kSources | kSinks);
}
Connections KrExtensionSorter::getConnectionsFrom(const KrExtension* extension) const {
    return connectionsOf(extension, kSources);
}
Connections KrExtensionSorter::getConnectionsTo(const KrExtension* extension) const {
    return connectionsOf(extension, kSinks);
}

void KrExtensionSorter::getConnections(Connections& connections) const {
    const std::lock_guard lock(_state->mutex);
    for (auto* connection : _state->connections) {
        if (connection != nullptr) connections.push_back(connection);
    }
}

Connections KrExtensionSorter::getConnectionsBetween(const KrObject* first, const KrObject* second) const {
    Connections found;
    if (first == nullptr || second == nullptr) return found;
    const std::lock_guard lock(_state->mutex);
    for (std::size_t i = 0; i < _state->connections.size(); ++i) {
        const auto& [source, sink, isOrdering] = _state->ends[i];
        const bool isBetween = (isInOrBelow(source, first) && isInOrBelow(sink, second)) ||
                               (isInOrBelow(source, second) && isInOrBelow(sink, first));
        if (isBetween) found.push_back(_state->connections[i]);
    }
    return found;
}

void KrExtensionSorter::_foreachConnection(const KrExtension* extension, const ConnectionFunction& function) const {
    if (!function) return;
    for (const auto* connection : getConnections(extension))
        function(connection);
}

bool KrExtensionSorter::isFieldConnectedAsSource(const KrData::FieldBase* field) const {
    return field != nullptr && FieldAccess::hasOutgoingConnections(*field) &&
           isAnyRegistered(FieldAccess::getOutgoingConnections(*field));
}
bool KrExtensionSorter::isFieldConnectedAsSink(const KrData::FieldBase* field) const {
    return field != nullptr && FieldAccess::hasIncomingConnections(*field) &&
           isAnyRegistered(FieldAccess::getIncomingConnections(*field));
}
void KrExtensionSorter::destroyConnections(KrData::FieldBase* field) {
    if (field == nullptr) return;
    Connections found;
    collect(*field, kSources, found);
    collect(*field, kSinks, found);
    // A connection may be listed twice, and listeners of its end may destroy others.
    const std::vector<Kr::KrBasePointer> living(found.begin(), found.end());
    for (std::size_t i = 0; i < living.size(); ++i) {
        if (living[i].get() != nullptr && ConnectionAccess::isUnowned(*found[i])) delete found[i];
    }
}

bool KrExtensionSorter::isFieldConnected(const KrData::FieldBase* field) const {
    return isFieldConnectedAsSource(field) || isFieldConnectedAsSink(field);
}

// --- Order and cycles ----------------------------------------------------------------------------------------------

Kr::KrArray<KrExtension*> KrExtensionSorter::getExtensions() const {
    Kr::KrArray<KrExtension*> all;
    const std::lock_guard lock(_state->mutex);
    for (auto* extension : _state->extensions) {
        if (extension != nullptr) all.append(extension);
    }
    return all;
}

Kr::KrArray<KrExtension*> KrExtensionSorter::getGlobalOrder() {
    Kr::KrArray<KrExtension*> all;
    State::Report report;
    {
        const std::lock_guard lock(_state->mutex);
        report = _state->build();
        for (const auto number : _state->order.nodes)
            all.append(_state->extensions[number]);
    }
    _state->tell(report);
    return all;
}

bool KrExtensionSorter::hasGraphCycle() const {
    State::Report report;
    bool hasCycle = false;
    {
        const std::lock_guard lock(_state->mutex);
        report = _state->build();
        hasCycle = _state->order.loopCount != 0;
    }
    _state->tell(report);
    return hasCycle;
}

namespace {

/// One end of a connection, as a text.
std::string pathOf(const KrData::FieldBase* field) {
    return field != nullptr ? field->getPath() : std::string();
}

/// A connection by which one extension of a loop feeds another.
struct Feed {
    std::uint32_t source;
    const Kr::KrConnectionBase* connection;
};

}  // namespace

std::vector<KrConnectionCycle> KrExtensionSorter::getCycles() const {
    std::vector<KrConnectionCycle> cycles;
    State::Report report;
    {
        const std::lock_guard lock(_state->mutex);
        report = _state->build();
        const auto& order = _state->order;
        std::vector<bool> isInLoop(_state->extensions.size(), false);
        for (std::size_t i = 0; i < order.loopCount; ++i)
            isInLoop[order.nodes[order.sortedCount + i]] = true;
        std::map<std::uint32_t, Feed> feeds;  // the first of each extension in a loop
        for (std::size_t i = 0; order.loopCount != 0 && i < _state->connections.size(); ++i) {
            const auto edge = State::edgeOf(_state->ends[i]);
            if (detail::isKnown(edge) && isInLoop[edge.source] && isInLoop[edge.target])
                feeds.try_emplace(edge.target, Feed{edge.source, _state->connections[i]});
        }
        // Everything in a loop is fed by something in it, so a walk backwards must meet itself.
        std::vector<std::uint32_t> walkOf(_state->extensions.size(), 0);
        std::uint32_t walk = 0;
        for (std::size_t i = 0; i < order.loopCount; ++i) {
            auto node = order.nodes[order.sortedCount + i];
            if (walkOf[node] != 0) continue;
            ++walk;
            std::vector<std::uint32_t> path;
            for (; walkOf[node] == 0; node = feeds.at(node).source) {
                walkOf[node] = walk;
                path.push_back(node);
            }
            if (walkOf[node] != walk) continue;  // one that was found before
            KrConnectionCycle cycle;
            const auto start = std::find(path.begin(), path.end(), node);
            if (std::any_of(start, path.end(), [&](auto each) { return _state->isForeign(each); })) continue;
            for (auto step = path.end(); step != start;) {
                const auto& [source, connection] = feeds.at(*--step);
                cycle.steps.push_back(
                    {_state->extensions[source], pathOf(connection->getSource()), pathOf(connection->getSink())});
            }
            cycles.push_back(std::move(cycle));
        }
    }
    _state->tell(report);
    return cycles;
}

// --- The picture ---------------------------------------------------------------------------------------------------

namespace {

/// As the text of a quoted dot string.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char each : text) {
        if (each == '\n') {
            result += "\\n";
            continue;
        }
        if (each == '"' || each == '\\') result += '\\';
        result += each;
    }
    return result;
}

}  // namespace

void KrExtensionSorter::toDot(std::ostream& stream) const {
    std::string text = "digraph extensions {\n    rankdir=LR;\n    node [shape=box];\n";
    State::Report report;
    {
        const std::lock_guard lock(_state->mutex);
        report = _state->build();
        const auto& order = _state->order;
        const auto nodeOf = [&](std::uint32_t number) { return "e" + std::to_string(_state->ranks[number] + 1); };
        for (std::size_t i = 0; i < order.nodes.size(); ++i) {
            const auto number = order.nodes[i];
            if (_state->isForeign(number)) continue;
            const bool isInLoop = i >= order.sortedCount && i < order.sortedCount + order.loopCount;
            text += "    " + nodeOf(number) + " [label=\"" + std::to_string(i + 1) + ": " +
                    escaped(_state->extensions[number]->getPath()) + "\"" + (isInLoop ? ", color=red" : "") + "];\n";
        }
        for (std::size_t i = 0; i < _state->connections.size(); ++i) {
            const auto source = detail::findSorterSlot(_state->ends[i].source);
            const auto target = detail::findSorterSlot(_state->ends[i].sink);
            if (source == KrExtension::kNoSlot || target == KrExtension::kNoSlot) continue;
            if (_state->isForeign(source) || _state->isForeign(target)) continue;
            const bool ordersNothing = !detail::isKnown(State::edgeOf(_state->ends[i]));
            const auto* connection = _state->connections[i];
            text += "    " + nodeOf(source) + " -> " + nodeOf(target) + " [label=\"" +
                    escaped(pathOf(connection->getSource()) + " -> " + pathOf(connection->getSink())) + "\"" +
                    (ordersNothing ? ", style=dashed" : "") + "];\n";
        }
    }
    text += "}\n";
    stream << text;
    _state->tell(report);
}

}  // namespace KrSim
