// How a field tells the world: state flags, connections, observers, and the order of a notification.

#include <utility>

#include "kr/core/base_pointer.h"
#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/core/transfer_guard.h"
#include "kr/data/container.h"
#include "kr/data/field_base.h"
#include "kr/data/field_listener.h"
#include "kr/data/full_path.h"
#include "kr/data/i_field_owner.h"
#include "kr/data/internal/connection_slots.h"
#include "kr/data/internal/field_rare_state.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/internal/tree_mutex.h"
#include "kr/data/proxy.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"
#include "kr/platform/stack_room.h"

namespace KrData {

using Kr::detail::ConnectionAccess;

namespace detail {
thread_local constinit OrphanedProxies* OrphanedProxies::_top = nullptr;
}  // namespace detail

namespace {
constexpr Kr::GuardTexts kListenerTexts{Kr::eLogLevel::kWarn, "FieldBase: fatal error in '%s' listener() [%s]\n",
                                        "FieldBase: unhandled exception in '%s' listener()\n", "field listener"};

/// Connections and observers lead from one change to the next, perhaps without end.
bool isTooDeep(const FieldBase& changed) {
    if (!Kr::isStackNearlyUsed()) return false;
    Kr::logErrorNoThrow(
        "FieldBase: the change of '%s' is not passed on: too many connections and observers, each changing the field "
        "of the next, led to it.\n",
        getFullPath(changed).c_str());
    return true;
}

}  // namespace

// --- State flags ---------------------------------------------------------------------------------------------------

void FieldBase::_setState(std::uint16_t bits, bool on) const noexcept {
    if (on) {
        _state.fetch_or(bits, std::memory_order_release);
    } else {
        _state.fetch_and(static_cast<std::uint16_t>(~bits), std::memory_order_relaxed);
    }
}

void FieldBase::_setStateDownward(std::uint16_t bits, bool on) {
    if (!isValid()) return;
    _setState(bits, on);
    for (auto* child : getChildren())
        child->_setStateDownward(bits, on);
}

void FieldBase::_setOwnerIsActive(bool active) {
    _setStateDownward(kOwnerIsActive, active);
}
void FieldBase::_setApplicationModeIsEditing(bool editing) {
    _setStateDownward(kModeIsEditing, editing);
}
void FieldBase::_setAlwaysNotifyLocally(bool always) {
    _setStateDownward(kNotifyLocally, always);
}

void FieldBase::_inheritWatching(std::uint16_t bit, bool ancestorHasIt) {
    if (_has(bit) == ancestorHasIt) return;
    _setState(bit, ancestorHasIt);
    _passWatchingToChildren(bit);
}

void FieldBase::_passWatchingToChildren(std::uint16_t bit) const {
    const bool on = _has(bit) || _has(bit == kAncestorObserved ? kHasObservers : kTransfers);
    for (auto* child : getChildren())
        child->_inheritWatching(bit, on);
}

// --- Watched and connected outputs, as their owner counts them -----------------------------------------------------

void FieldBase::_countOutputsBelow(int sign, int& connected, int& watched) const {
    if (_has(kIsConnected | kHasObservers) && getFieldType() == Types::kOutput) {
        connected += _has(kIsConnected) ? sign : 0;
        watched += _has(kHasObservers) ? sign : 0;
    }
    for (const auto* child : getChildren())
        child->_countOutputsBelow(sign, connected, watched);
}

void FieldBase::_tellOwner(int connectedDelta, int watchedDelta) const {
    if (connectedDelta == 0 && watchedDelta == 0) return;
    if (auto* owner = _getFieldOwner()) owner->onOutputCountsChanged(connectedDelta, watchedDelta);
}

void FieldBase::_tellOwnerOfTree() const noexcept {
    if (auto* owner = _getFieldOwner()) owner->onFieldTreeChanged();
}

void FieldBase::_setConnected(std::uint16_t bit, bool on) {
    const bool before = _has(kIsConnected);
    _setState(bit, on);
    if (_has(kIsConnected) == before) return;
    _passWatchingToChildren(kAncestorConnected);
    if (getFieldType() == Types::kOutput) _tellOwner(on ? +1 : -1, 0);
}

// --- Connections ---------------------------------------------------------------------------------------------------

bool FieldBase::_hasIncomingConnections() const noexcept {
    const auto* rare = _rareIfAny();
    return rare != nullptr && rare->incoming.size() != 0;
}

std::vector<Kr::KrConnectionBase*> FieldBase::_getIncomingConnections() const {
    const auto* rare = _rareIfAny();
    return rare != nullptr ? rare->incoming.connections() : std::vector<Kr::KrConnectionBase*>();
}

bool FieldBase::_isLastRangeReader(const Kr::KrConnectionBase& connection) const noexcept {
    if (_outgoing.last() == &connection) return true;
    const auto reads = [](const Kr::KrConnectionBase& each) {
        const auto* sink = each.getSink();
        return sink != nullptr && sink->getDataType() == Types::kVector && each.isEnabled() &&
               !ConnectionAccess::isExcludedFromOrdering(each);
    };
    const auto* many = _outgoing.many();
    if (many == nullptr) return true;
    for (auto i = many->places().size(); i > 0; --i) {
        const auto* each = many->places()[i - 1];
        if (each == &connection) return true;
        if (each != nullptr && reads(*each)) return false;
    }
    return true;
}

void FieldBase::_tellConnectionsOfMove() const {
    const detail::NotificationFrame frame(*this, *this);
    const auto onMoved = [](Kr::KrConnectionBase& connection) { ConnectionAccess::onFieldMoved(connection); };
    if (const auto* rare = _rareIfAny()) detail::forEachConnection(rare->incoming, onMoved);
    if (frame.fieldDied()) return;
    detail::forEachConnection(_outgoing, onMoved);
    if (frame.fieldDied()) return;
    if (const auto* rare = _rareIfAny()) detail::forEachConnection(rare->stepped, onMoved);
    if (frame.fieldDied()) return;
    for (std::size_t i = 0; i < getChildren().size(); ++i) {
        getChildren()[i]->_tellConnectionsOfMove();
        if (frame.fieldDied()) return;
    }
}

std::vector<Kr::KrConnectionBase*> FieldBase::_getOutgoingConnections() const {
    auto connections = _outgoing.connections();
    if (!_has(kHasStepped)) return connections;
    const auto stepped = _rareIfAny()->stepped.connections();
    connections.insert(connections.end(), stepped.begin(), stepped.end());
    return connections;
}

void FieldBase::_addConnection(Kr::KrConnectionBase* connection) {
    using End = Kr::KrConnectionBase::End;
    if (connection == nullptr || !isValid()) return;
    if (connection->getSource() == this) {
        _listOutgoing(connection);
        _tellListeners(&FieldListener::onOutgoingConnectionAdded, connection);
    } else if (connection->getSink() == this) {
        _rareState().incoming.add(connection, End::kSink);
        _tellListeners(&FieldListener::onIncomingConnectionAdded, connection);
    } else {
        Kr::logMessage(Kr::eLogLevel::kDebug,
                       "FieldBase::_addConnection: Field '%s' received a connection that is irrevelant!\n",
                       _id.str().c_str());
    }
}

void FieldBase::_removeConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr || !isValid()) return;
    if (connection->getSource() == this) {
        _unlistOutgoing(connection);
        _tellListeners(&FieldListener::onOutgoingConnectionRemoved, connection);
    } else if (connection->getSink() == this) {
        if (auto* rare = _rareIfAny()) rare->incoming.remove(connection);
        _tellListeners(&FieldListener::onIncomingConnectionRemoved, connection);
    }
}

void FieldBase::_listOutgoing(Kr::KrConnectionBase* connection) {
    const bool isStepped = ConnectionAccess::actsBetweenSteps(*connection);
    auto& list = isStepped ? _rareState().stepped : _outgoing;
    const bool isFirst = list.add(connection, Kr::KrConnectionBase::End::kSource) && list.size() == 1;
    if (isFirst) _setConnected(isStepped ? kHasStepped : kHasOutgoing, true);
}

void FieldBase::_unlistOutgoing(Kr::KrConnectionBase* connection) {
    if (_outgoing.remove(connection)) {
        if (_outgoing.size() == 0) _setConnected(kHasOutgoing, false);
    } else if (_has(kHasStepped)) {
        auto& stepped = _rareIfAny()->stepped;
        if (stepped.remove(connection) && stepped.size() == 0) _setConnected(kHasStepped, false);
    }
}

Kr::KrConnectionBase* FieldBase::_firstOutgoing() const noexcept {
    auto* connection = _outgoing.first();
    return connection != nullptr || !_has(kHasStepped) ? connection : _rareIfAny()->stepped.first();
}

void FieldBase::_dropConnections() noexcept {
    // One at a time from the live list: a listener may delete this connection and others. One that is still first
    // after the other field's listeners is alive; the listeners here are called last.
    while (auto* connection = _firstOutgoing()) {
        if (auto* sink = connection->getSink(); sink != nullptr && sink != this) sink->_removeConnection(connection);
        if (_firstOutgoing() != connection) continue;
        _unlistOutgoing(connection);
        ConnectionAccess::onFieldDestroyed(*connection, *this);
        _tellListeners(&FieldListener::onOutgoingConnectionRemoved, connection);
    }
    auto* rare = _rareIfAny();
    while (auto* connection = rare != nullptr ? rare->incoming.first() : nullptr) {
        if (auto* source = connection->getSource(); source != nullptr) source->_removeConnection(connection);
        if (rare->incoming.first() != connection) continue;
        rare->incoming.remove(connection);
        ConnectionAccess::onFieldDestroyed(*connection, *this);
        _tellListeners(&FieldListener::onIncomingConnectionRemoved, connection);
    }
}

// --- Observers and listeners ---------------------------------------------------------------------------------------

namespace {

detail::ObserverList& listIn(std::atomic<detail::ObserverList*>& slot, FieldBase& field,
                             detail::ObserverList::PresenceChanged changed) {
    auto* list = slot.load(std::memory_order_acquire);
    if (list != nullptr) return *list;
    auto* made = new detail::ObserverList(&field, changed);
    if (slot.compare_exchange_strong(list, made, std::memory_order_acq_rel)) return *made;
    made->close();
    return *list;
}

}  // namespace

DelegateConnection FieldBase::addObserver(Observer observer) {
    if (!observer || !isValid()) return {};
    const auto changed = [](void* source, bool present) {
        auto& field = *static_cast<FieldBase*>(source);
        const std::lock_guard lock(detail::treeMutex());
        field._setState(kHasObservers, present);
        field._passWatchingToChildren(kAncestorObserved);
        if (field.getFieldType() == Types::kOutput) field._tellOwner(0, present ? +1 : -1);
    };
    return listIn(_rareState().observers, *this, changed).add(std::move(observer));
}

DelegateConnection FieldBase::addPropertyObserver(Observer observer) {
    if (!observer || !isValid()) return {};
    return listIn(_rareState().propertyObservers, *this, nullptr).add(std::move(observer));
}

void FieldBase::_clearObservers() {
    auto* rare = _rareIfAny();
    if (rare == nullptr) return;
    if (auto* observers = rare->observers.load(std::memory_order_acquire)) observers->clear();
    if (auto* observers = rare->propertyObservers.load(std::memory_order_acquire)) observers->clear();
}

bool FieldBase::hasWatchers() const {
    if (_has(kIsConnected | kAncestorConnected)) return true;
    return _has(kLocal) ? _has(kHasObservers | kAncestorObserved) : _has(kForceObservers);
}

void FieldBase::registerListener(FieldListener* listener) {
    if (listener == nullptr || !isValid()) return;
    _rareState().listeners.add(listener);
}

DelegateConnection FieldBase::holdListener(std::shared_ptr<FieldListener> listener) {
    return isValid() ? _rareState().listeners.hold(std::move(listener)) : DelegateConnection();
}

void FieldBase::unregisterListener(FieldListener* listener) {
    if (auto* rare = _rareIfAny()) rare->listeners.remove(listener);
}

void FieldBase::_tellListeners(void (FieldListener::*told)(Kr::KrConnectionBase*),
                               Kr::KrConnectionBase* connection) const {
    const auto* rare = _rareIfAny();
    if (rare == nullptr) return;
    Kr::ListenerList<FieldListener>::Delivery delivery(rare->listeners);
    auto* listener = delivery.next();
    if (listener == nullptr) return;
    const detail::NotificationFrame frame(*this, *this);
    const Kr::KrBasePointer life(connection);
    const bool isTracked = life.getAddress() != nullptr;
    for (; listener != nullptr; listener = delivery.next()) {
        Kr::callGuarded(
            kListenerTexts, [&] { return frame.fieldDied() ? std::string("(dead field)") : _id.str(); },
            [&] { (listener->*told)(connection); });
        if (isTracked && life.get() == nullptr) return;  // deleted by the listener
    }
}

// --- Notification --------------------------------------------------------------------------------------------------

namespace {

/// Until the field of the frame, or the changed one, dies. Proxies added meanwhile are skipped.
template <class Tell>
void forEachProxy(detail::ProxyList& proxies, const detail::NotificationFrame& frame, const Tell& tell) {
    for (detail::ProxyList::Walk walk(proxies); auto* proxy = walk.next();) {
        tell(*proxy);
        if (frame.fieldDied() || frame.changedDied()) return;
    }
}

}  // namespace

void FieldBase::_walkOutgoing(const FieldBase& changed, const detail::NotificationFrame& frame) const {
    if (auto* only = _outgoing.only()) return only->transferValue(changed);
    // Connections made meanwhile have transferred the new value when they were made.
    for (detail::ConnectionList::Many::Walk walk(*_outgoing.many()); auto* connection = walk.next();) {
        connection->transferValue(changed);
        if (frame.changedDied()) return;
    }
}

void FieldBase::_tellProxies(const detail::NotificationFrame& frame, bool transfers) const {
    forEachProxy(_rareIfAny()->proxies, frame, [&](Proxy& proxy) {
        if (transfers) {
            proxy._onLinkedFieldChanged(*this);
        } else if (proxy._findLinkedField() == this) {
            proxy._notifyObservers(proxy);
        }
    });
}

template <bool transfers>
void FieldBase::_tellReceivers(const FieldBase& changed, unsigned receivers) const {
    if (isTooDeep(changed)) return;
    const detail::NotificationFrame frame(*this, changed);
    // Taken before any call: a listener registered from here on receives the next change.
    const detail::ObserverList::Reader observers(
        (receivers & kHasObservers) != 0 ? _rareIfAny()->observers.load(std::memory_order_acquire) : nullptr);
    if (transfers && (receivers & kHasOutgoing) != 0) {
        _walkOutgoing(changed, frame);
        if (frame.fieldDied() || frame.changedDied()) return;
    }
    if ((receivers & kHasProxies) != 0) {
        _tellProxies(frame, transfers);
        if (frame.fieldDied() || frame.changedDied()) return;
    }
    const bool isLocal = _has(kLocal);
    constexpr unsigned kElsewhere = transfers ? kAncestorConnected | kForceObservers : kForceObservers;
    if (_has(isLocal ? kAncestorObserved | kAncestorConnected : kElsewhere) && _parent != nullptr)
        transfers ? _parent->_notifyChanged(changed) : _parent->_notifyObservers(changed);
    if (isLocal) detail::notifyObservers(observers, changed, frame);
}

void FieldBase::_notifyChanged(const FieldBase& changed) const {
    const auto receivers = _receivers();
    auto* only = receivers == kHasOutgoing ? _outgoing.onlyIfNeverMany() : nullptr;
    if (only == nullptr) return receivers != 0 ? _notifyAll(changed, receivers) : void();
    if (!ConnectionAccess::transferStep(*only, changed)) return;
    // Most connections end at an unobserved field, and need no guard.
    if (only->getSink()->_receivers() != 0) _followChain(*only);
}

// Apart, so that the common cases above save no registers for it.
void FieldBase::_notifyAll(const FieldBase& changed, unsigned receivers) const {
    if (receivers == kHasOutgoing) {
        if (auto* only = _outgoing.only())
            return ConnectionAccess::transferStep(*only, changed) ? _followChain(*only) : void();
        if (&changed == this && _copyToQuietSinks()) return;
    }
    _tellReceivers<true>(changed, receivers);
}

/// For several connections. False at the first one that does more than copying to a sink which notifies nothing; all of
/// them are run then, those before it a second time, which finds equal values.
bool FieldBase::_copyToQuietSinks() const {
    for (auto* connection : _outgoing.many()->places()) {
        if (connection == nullptr) continue;
        if (!ConnectionAccess::isCopy(*connection) || connection->getSink()->_receivers() != 0) return false;
        static_cast<void>(ConnectionAccess::transferStep(*connection, *this));
    }
    return true;
}

void FieldBase::_notifyObservers(const FieldBase& changed) const {
    if (const auto receivers = _receivers()) _tellReceivers<false>(changed, receivers);
}

void FieldBase::_followChain(Kr::KrConnectionBase& first) {
    // One connection after the other, as long as there are no other receivers, so that a long chain needs no stack.
    // No code of others runs in a step that says yes, so what was passed on the way is still there.
    const Kr::TransferGuard::Scope scope;
    for (auto* connection = &first;;) {
        const auto& sink = *connection->getSink();
        const auto receivers = sink._receivers();
        if (receivers == 0) return;
        ConnectionAccess::enterGuard(*connection);
        connection = receivers == kHasOutgoing ? sink._outgoing.only() : nullptr;
        if (connection == nullptr) return sink._notifyChanged(sink);
        if (!ConnectionAccess::transferStep(*connection, sink)) return;
    }
}

void FieldBase::_addProxy(Proxy* proxy) {
    if (proxy == nullptr || !isValid()) return;
    _rareState().proxies.add(proxy);
    _setConnected(kHasProxies, true);
}

void FieldBase::_removeProxy(Proxy* proxy) {
    auto* rare = _rareIfAny();
    if (rare == nullptr) return;
    rare->proxies.remove(proxy);
    if (rare->proxies.empty()) _setConnected(kHasProxies, false);
}

std::vector<Proxy*> FieldBase::_getProxies() const {
    const auto* rare = _rareIfAny();
    return rare != nullptr ? rare->proxies.items() : std::vector<Proxy*>();
}

bool FieldBase::_tellPropertyObservers(const FieldBase& changed) const {
    const auto* rare = _rareIfAny();
    auto* observers = rare != nullptr ? rare->propertyObservers.load(std::memory_order_acquire) : nullptr;
    if (observers == nullptr) return true;
    const detail::NotificationFrame frame(*this, changed);
    detail::notifyObservers(detail::ObserverList::Reader(observers), changed, frame);
    return !frame.fieldDied() && !frame.changedDied();
}

void FieldBase::_notifyPropertyChangedToParents(const FieldBase& changed) const {
    if (_tellPropertyObservers(changed) && _parent != nullptr) _parent->_notifyPropertyChangedToParents(changed);
}

void FieldBase::_notifyPropertyChangedToChildren(const FieldBase& changed) const {
    const detail::NotificationFrame frame(*this, changed);
    // By index, with the list read anew each time: observers may add and remove children.
    for (std::size_t i = 0; i < getChildren().size(); ++i) {
        const auto* child = getChildren()[i];
        if (child->_tellPropertyObservers(changed)) child->_notifyPropertyChangedToChildren(changed);
        if (frame.fieldDied() || frame.changedDied()) return;
    }
}

}  // namespace KrData
