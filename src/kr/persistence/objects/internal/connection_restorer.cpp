#include "kr/persistence/objects/internal/connection_restorer.h"

#include <algorithm>
#include <memory>

#include "kr/core/connection_access.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/data/stored_path.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/persistence/objects/internal/content_guards.h"
#include "kr/platform/memory_guard.h"

namespace KrPersistence::detail {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using KrSim::KrExtension;
using KrSim::detail::FieldsAccess;

std::size_t ConnectionRestorer::Hash::operator()(const Ends& ends) const noexcept {
    const auto mix = [](const void* field) { return std::hash<const void*>()(field) * 0x9E3779B97F4A7C15U; };
    return mix(ends.source) ^ (mix(ends.sink) >> 7U);
}

ConnectionRestorer::ConnectionRestorer(Find find, When when) : _find(std::move(find)), _when(when) {}

void ConnectionRestorer::_note(KrData::FieldBase& field) {
    if (FieldAccess::hasIncomingConnections(field)) {
        for (const auto* connection : FieldAccess::getIncomingConnections(field))
            if (!ConnectionAccess::isContentOfOther(*connection)) _connected.insert({connection->getSource(), &field});
    }
    for (auto* child : field.getChildren())
        _note(*child);
}

void ConnectionRestorer::note(const std::vector<Kr::KrSmartPtr<KrExtension>>& extensions) {
    for (const auto& extension : extensions)
        _note(extension->getFieldsContainer());
}

bool ConnectionRestorer::_isThere(const Ends& ends) const {
    if (_when == When::kLoading) return !_connected.empty() && _connected.count(ends) != 0;
    const auto connections = FieldAccess::getOutgoingConnections(*ends.source);
    return std::any_of(connections.begin(), connections.end(), [&](const auto* each) {
        return each->getSink() == ends.sink && !ConnectionAccess::isContentOfOther(*each);
    });
}

bool ConnectionRestorer::restore(const ConnectionRecord& record) {
    if (!_source || record.source != _sourceID) {  // connections of one source come one after the other
        _source = _find(record.source);
        _sourceID = record.source;
    }
    const auto source = _source;
    const auto sink = _find(record.sink);
    if (!source || !sink) return false;
    Ends ends{KrData::_findStoredPath(source->getFieldsContainer(), record.sourceField),
              KrData::_findStoredPath(sink->getFieldsContainer(), record.sinkField)};
    if (ends.source == nullptr) _redirect(*source, *sink, record.sourceField, true, ends);
    if (ends.sink == nullptr) _redirect(*sink, *source, record.sinkField, false, ends);
    if (ends.source == nullptr || ends.sink == nullptr) return false;
    if (_isThere(ends)) return true;
    bool isMade = false;
    // Fields that do not fit any more may be logged as an error, which a handler may throw.
    Kr::callGuardedButMemory(
        kConnect, [&] { return source->getPath() + "." + record.sourceField; },
        [&] { isMade = _connect(ends, record); });
    return isMade;
}

namespace {

/// False where the fields are none for a function any more: other values than before would be wrong ones.
bool takeFunction(Kr::KrConnectionBase& made, const KrData::TransferFunction& function) {
    return made.isOfClassType(Kr::KrConnection::getClassType()) &&
           static_cast<Kr::KrConnection&>(made)._restoreTransferFunction(function);
}

}  // namespace

bool ConnectionRestorer::isConnected(const ConnectionRecord& record) const {
    const auto source = _find(record.source);
    const auto sink = _find(record.sink);
    if (!source || !sink) return false;
    return _connected.count({KrData::_findStoredPath(source->getFieldsContainer(), record.sourceField),
                             KrData::_findStoredPath(sink->getFieldsContainer(), record.sinkField)}) != 0;
}

bool ConnectionRestorer::_connect(const Ends& ends, const ConnectionRecord& record) {
    using Factory = Kr::KrConnectionFactory;
    std::unique_ptr<Kr::KrConnectionBase> made(Factory::_create(ends.source, ends.sink, false, record.kind));
    if (!made) return false;
    if (record.function && !takeFunction(*made, *record.function)) return false;
    if (record.isDisabled) made->disable(record.isUnordered);
    auto* keeper = made->getSinkOwner() != nullptr ? made->getSinkOwner() : made->getSourceOwner();
    if (keeper == nullptr) return false;
    auto* connection = made.get();
    FieldsAccess::ownConnection(keeper->getFieldsContainer(), std::move(made));
    if (_when == When::kLater && !record.isDisabled) connection->enable(true);
    return true;
}

void ConnectionRestorer::_redirect(KrExtension& extension, KrExtension& other, const std::string& path, bool isSource,
                                   Ends& ends) {
    if (!extension.hasImplementation()) return;
    Kr::callGuarded(
        kOnRestoringConnection, [&] { return extension.getName(); },
        [&] {
            const auto [source, sink] = extension.getImplementation()->onRestoringConnection(
                &other, path, extension.getDataVersion(), isSource);
            if (source != nullptr && sink != nullptr) ends = {source, sink};
        },
        &extension);
}

}  // namespace KrPersistence::detail
