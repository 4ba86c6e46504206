#include "kr/application/connections/connection_container.h"

#include <utility>

#include "kr/core/connection_access.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_checks.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/container.h"
#include "kr/data/stored_path.h"
#include "kr/data/transfer_function.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/smart_interface.h"
#include "kr/platform/log.h"

namespace KrSim {

using Kr::detail::ConnectionAccess;

namespace {

constexpr const char* kList = "Connections";
constexpr const char* kSource = "Source";
constexpr const char* kSourceField = "SourceField";
constexpr const char* kSink = "Sink";
constexpr const char* kSinkField = "SinkField";
constexpr const char* kQueued = "Queued";
constexpr const char* kUnitDelay = "UnitDelay";
constexpr const char* kInterpolated = "Interpolated";
constexpr const char* kEnabled = "Enabled";
constexpr const char* kGain = "Gain";
constexpr const char* kOffset = "Offset";

void addReference(KrData::Container& entry, const char* id, KrExtension* extension) {
    entry.addField(id, KrData::Types::kExtension)->set<KrExtension*>(extension);
}

/// Changes of the list that are made here.
class EditScope {
public:
    explicit EditScope(bool& isEditing) : _isEditing(isEditing) { _isEditing = true; }
    EditScope(const EditScope&) = delete;
    EditScope& operator=(const EditScope&) = delete;
    ~EditScope() { _isEditing = false; }

private:
    bool& _isEditing;
};

void write(KrData::Container& entry, const KrData::FieldBase& source, const KrData::FieldBase& sink,
           const ContainedConnectionOptions& options) {
    addReference(entry, kSource, source.getOwnerExtension());
    entry.add<std::string>(kSourceField, KrData::_getStoredPath(source));
    addReference(entry, kSink, sink.getOwnerExtension());
    entry.add<std::string>(kSinkField, KrData::_getStoredPath(sink));
    entry.add<bool>(kQueued, options.isQueued);
    entry.add<bool>(kUnitDelay, options.isUnitDelay);
    entry.add<bool>(kInterpolated, options.isInterpolated);
    entry.add<bool>(kEnabled, options.isEnabled);
    entry.add<double>(kGain, options.gain);
    entry.add<double>(kOffset, options.offset);
}

}  // namespace

/// A group of the list, read as a connection.
class ConnectionContainer::Entry {
public:
    explicit Entry(const KrData::FieldBase& group) : _group(group) {}

    [[nodiscard]] KrData::FieldBase* findSource() const { return _find(kSource, kSourceField); }
    [[nodiscard]] KrData::FieldBase* findSink() const { return _find(kSink, kSinkField); }
    [[nodiscard]] bool isQueued() const { return _group[kQueued].toBoolean(); }
    [[nodiscard]] bool hasOneKind() const {
        return isQueued() + _group[kUnitDelay].toBoolean() + _group[kInterpolated].toBoolean() <= 1;
    }
    [[nodiscard]] Kr::eConnectionKind getKind() const {
        if (isQueued()) return Kr::eConnectionKind::kQueued;
        if (_group[kInterpolated].toBoolean()) return Kr::eConnectionKind::kInterpolated;
        return _group[kUnitDelay].toBoolean() ? Kr::eConnectionKind::kUnitDelay : Kr::eConnectionKind::kDirect;
    }
    [[nodiscard]] bool isEnabled() const { return !_group[kEnabled].isValid() || _group[kEnabled].toBoolean(); }
    /// Null where the fields do not fit.
    [[nodiscard]] std::unique_ptr<Kr::KrConnectionBase> create(KrData::FieldBase& source, KrData::FieldBase& sink,
                                                               bool mayTransfer) const;
    [[nodiscard]] std::string describe() const {
        return _describe(kSource, kSourceField) + " -> " + _describe(kSink, kSinkField);
    }

private:
    [[nodiscard]] KrData::FieldBase* _find(const char* extension, const char* path) const {
        auto* owner = _group[extension].toExtension();
        return owner != nullptr ? KrData::_findStoredPath(owner->getFieldsContainer(), _group[path].toString())
                                : nullptr;
    }
    [[nodiscard]] std::string _describe(const char* extension, const char* path) const {
        const auto* owner = _group[extension].toExtension();
        return "'" + (owner != nullptr ? owner->getPath() : "?") + "." + _group[path].toString() + "'";
    }

    const KrData::FieldBase& _group;
};

std::unique_ptr<Kr::KrConnectionBase> ConnectionContainer::Entry::create(KrData::FieldBase& source,
                                                                         KrData::FieldBase& sink,
                                                                         bool mayTransfer) const {
    using Kr::KrConnectionFactory;
    const auto function = KrData::TransferFunction::gain(_group[kGain].isValid() ? _group[kGain].toReal() : 1.0,
                                                         _group[kOffset].toReal());
    const bool hasFunction = function != KrData::TransferFunction::gain(1.0, 0.0);
    const bool transfers = mayTransfer && isEnabled();
    std::unique_ptr<Kr::KrConnectionBase> made(
        KrConnectionFactory::_create(&source, &sink, transfers && !hasFunction, getKind()));
    if (!made) return nullptr;
    ConnectionAccess::setUnowned(*made, false);
    ConnectionAccess::setContentOfOther(*made, true);
    if (!transfers) made->disable(true);
    if (!hasFunction) return made;
    auto* direct =
        made->isOfClassType(Kr::KrConnection::getClassType()) ? static_cast<Kr::KrConnection*>(made.get()) : nullptr;
    const bool isTaken = direct != nullptr && (transfers ? direct->setTransferFunction(function)
                                                         : direct->_restoreTransferFunction(function));
    return isTaken ? std::move(made) : nullptr;
}

struct ConnectionContainer::Made {
    std::unique_ptr<Kr::KrConnectionBase> connection;
    std::string error;  // of the extension; empty while the connection is made
};

ConnectionContainer::ConnectionContainer(KrExtension* proxy) : IExtension(proxy, kVersion) {
    if (auto* field = enabled.getField())
        _enabledWatch = field->addObserver([this](const KrData::FieldBase&) { _enableAll(); });
    if (proxy != nullptr && _list() == nullptr) proxy->getParameterContainer().addContainer(kList);
    _watch();
}

ConnectionContainer::~ConnectionContainer() = default;

KrData::Container* ConnectionContainer::_list() const {
    auto* proxy = _getProxy();
    auto* field = proxy != nullptr ? proxy->getParameter(kList) : nullptr;
    const bool isList = field != nullptr && field->getDataType() == KrData::Types::kContainer;
    return isList ? static_cast<KrData::Container*>(field) : nullptr;
}

void ConnectionContainer::_watch() {
    if (auto* list = _list())
        _listWatch = list->addObserver([this](const KrData::FieldBase& changed) { _onChanged(changed); });
}

void ConnectionContainer::_onChanged(const KrData::FieldBase& changed) {
    if (_isEditing) return;
    if (changed.getID() == Kr::KrID(kEnabled)) return _enableAll();
    _isStale = true;
}

// --- The list ------------------------------------------------------------------------------------------------------

std::size_t ConnectionContainer::size() const {
    const auto* list = _list();
    return list != nullptr ? list->size() : 0;
}

bool ConnectionContainer::add(const KrData::FieldBase& source, const KrData::FieldBase& sink,
                              const ContainedConnectionOptions& options) {
    auto* list = _list();
    if (list == nullptr || source.getOwnerExtension() == nullptr || sink.getOwnerExtension() == nullptr) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "ConnectionContainer: '%s' cannot hold a connection from '%s' to '%s': %s.\n", getName().c_str(),
                       source.getPath().c_str(), sink.getPath().c_str(),
                       list == nullptr ? "it has no list" : "both fields must belong to extensions");
        return false;
    }
    {
        const EditScope scope(_isEditing);
        write(*list->addContainer(list->getUniqueFieldId("Connection")), source, sink, options);
    }
    if (_isStale) {
        if (_isConnected) connect();
        return true;
    }
    _made.emplace_back();
    if (_isConnected) _make(_made.size() - 1);
    return true;
}

bool ConnectionContainer::remove(std::size_t index) {
    auto* list = _list();
    if (list == nullptr || index >= list->size()) return false;
    if (!_isStale) {
        _report(index, {});
        _made.erase(_made.begin() + static_cast<std::ptrdiff_t>(index));
    }
    const EditScope scope(_isEditing);
    list->erase(list->begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

Kr::KrConnectionBase* ConnectionContainer::getConnection(std::size_t index) const {
    if (_isStale || index >= _made.size()) return nullptr;
    auto* connection = _made[index].connection.get();
    return connection != nullptr && connection->isValid() ? connection : nullptr;
}

// --- What is made from it ------------------------------------------------------------------------------------------

bool ConnectionContainer::isIncomplete() const {
    if (_isStale) return true;
    for (std::size_t i = 0; i < _made.size(); ++i) {
        if (getConnection(i) == nullptr) return true;
    }
    return false;
}

std::size_t ConnectionContainer::connect() {
    const KrSmartInterface<ConnectionContainer> self(this);  // observers of a first transfer may remove it
    if (_isStale) {
        disconnect();
        _watch();
        _made.resize(size());
        _isStale = false;
    }
    _isConnected = true;
    std::size_t missing = 0;
    for (std::size_t i = 0; _isConnected && !_isStale && i < _made.size(); ++i) {
        if (getConnection(i) == nullptr) _make(i);
        if (getConnection(i) == nullptr) ++missing;
    }
    return missing;
}

void ConnectionContainer::disconnect() {
    for (std::size_t i = 0; i < _made.size(); ++i)
        _report(i, {});
    _made.clear();
    _isStale = true;
    _isConnected = false;
}

void ConnectionContainer::_make(std::size_t index) {
    const auto* list = _list();
    if (list == nullptr) return;
    const Entry entry((*list)[index]);
    auto* source = entry.findSource();
    auto* sink = entry.findSink();
    if (source == nullptr || sink == nullptr) {
        return _report(index, entry.describe() + " is not connected: " +
                                  (source == nullptr ? "the source" : "the sink") + " does not exist");
    }
    // Found before observers of the first transfer may destroy the fields.
    const auto reason = entry.hasOneKind() ? Kr::explainRefusal(*source, *sink, entry.isQueued())
                                           : "it can be only one of queued, a unit delay and interpolated";
    auto made = entry.hasOneKind() ? entry.create(*source, *sink, enabled) : nullptr;
    if (!made) {
        return _report(index, entry.describe() + " is not connected: " +
                                  (reason.empty() ? "these fields take no gain and offset" : reason));
    }
    _report(index, {});
    if (index < _made.size()) _made[index].connection = std::move(made);
}

void ConnectionContainer::_report(std::size_t index, const std::string& error) {
    if (index >= _made.size()) return;  // an observer of the first transfer may have changed the list
    auto& before = _made[index].error;
    if (before == error) return;
    if (!before.empty()) _getProxy()->removeError(before, false);
    before = error;
    if (!error.empty()) _getProxy()->addError(error, true);
}

void ConnectionContainer::_enableAll() {
    if (_isStale) return;  // connect will do it
    const KrSmartInterface<ConnectionContainer> self(this);
    for (std::size_t i = 0; i < _made.size(); ++i) {
        auto* connection = getConnection(i);
        const auto* list = _list();
        if (connection == nullptr || list == nullptr || i >= list->size()) continue;
        const bool transfers = enabled && Entry((*list)[i]).isEnabled();
        if (transfers == connection->isEnabled()) continue;
        if (transfers) {
            connection->enable(true);
        } else {
            connection->disable(true);
        }
    }
}

}  // namespace KrSim
