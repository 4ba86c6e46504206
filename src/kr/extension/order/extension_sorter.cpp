#include "kr/extension/order/extension_sorter.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>
#include <utility>

#include "kr/core/base_pointer.h"
#include "kr/core/connection_access.h"
#include "kr/core/i_connection_sorter.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/order/internal/sorter_state.h"
#include "kr/extension/upper_layers.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrSim {

using detail::ExtensionAccess;
using Kr::detail::ConnectionAccess;

namespace {

constexpr Kr::GuardTexts kListener{Kr::eLogLevel::kWarn, "KrExtensionSorter: fatal error in '%s' listener [%s]\n",
                                   "KrExtensionSorter: unhandled exception in '%s' listener\n", "sorter listener"};

}  // namespace

KrExtensionSorter& KrExtensionSorter::instance() {
    static auto& sorter = *new KrExtensionSorter;
    return sorter;
}

bool KrExtensionSorter::hasInstance() noexcept {
    return Kr::UpperLayer<IExtensionOrder>::get() != nullptr;
}

struct KrExtensionSorter::ForExtensions final : IExtensionOrder {
    void forget(KrExtension& extension) const override { instance().removeExtension(&extension); }
    void changeOwner(const KrExtension& extension, std::atomic<KrObject*>& place, KrObject* owner) const override {
        // A registered extension represents itself and all extensions below it, so its owner is not looked up.
        if (ExtensionAccess::getSorterSlot(extension) != KrExtension::kNoSlot) {
            place = owner;
            return;
        }
        auto& state = *instance()._state;
        const std::lock_guard lock(state.mutex);
        const auto* const before = place.exchange(owner);
        if (detail::findSorterSlot(before) != detail::findSorterSlot(owner)) state.isBuilt = false;
    }
};

KrExtensionSorter::KrExtensionSorter() : _state(std::make_unique<State>()) {
    struct ForConnections final : Kr::IConnectionSorter {
        void forget(Kr::KrConnectionBase& connection) const noexcept override {
            instance()._removeConnection(&connection);
        }
        void askAnew(Kr::KrConnectionBase& connection) const noexcept override {
            instance()._onConnectionChanged(connection);
        }
    };
    static const ForConnections forConnections;
    Kr::UpperLayer<Kr::IConnectionSorter>::install(&forConnections);
    static const ForExtensions forExtensions;
    Kr::UpperLayer<IExtensionOrder>::install(&forExtensions);
}

KrExtensionSorter::~KrExtensionSorter() = default;

// --- Listeners -----------------------------------------------------------------------------------------------------

KrExtensionSorter::Listener::~Listener() = default;
void KrExtensionSorter::Listener::onExtensionAdded(KrExtension*) {}
void KrExtensionSorter::Listener::onExtensionRemoved(KrExtension*) {}
void KrExtensionSorter::Listener::onConnectionAdded(Kr::KrConnectionBase*) {}
void KrExtensionSorter::Listener::onConnectionRemoved(Kr::KrConnectionBase*) {}
void KrExtensionSorter::Listener::onBuilt(std::uint32_t) {}

template <class Call>
void KrExtensionSorter::State::notify(const Call& call) const noexcept {
    listeners.notify(
        kListener, [] { return std::string("KrExtensionSorter"); }, call);
}

void KrExtensionSorter::State::tell(const Report& report) {
    if (!report.loopPaths.empty()) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrExtensionSorter: Connection cycles have been detected. This will have an impact on the "
                       "simulator performances. Here is the list of extensions having a connection loop:\n");
        for (const auto& path : report.loopPaths)
            Kr::logMessage(Kr::eLogLevel::kWarn, "        [%s]\n", path.c_str());
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrExtensionSorter: make a connection that leads back a unit delay "
                       "(KrConnectionFactory::connectUnitDelay), which orders nothing.\n");
    }
    if (!report.wasBuilt) return;
    notify([&](Listener& listener) { listener.onBuilt(report.buildNumber); });
}

void KrExtensionSorter::registerListener(Listener* listener) {
    _state->listeners.add(listener);
}

KrData::DelegateConnection KrExtensionSorter::holdListener(std::shared_ptr<Listener> listener) {
    return _state->listeners.hold(std::move(listener));
}

void KrExtensionSorter::unregisterListener(Listener* listener) {
    _state->listeners.remove(listener);
}

// --- The graph -----------------------------------------------------------------------------------------------------

namespace {

/// Fewer are not worth the trouble.
constexpr std::size_t kFewGaps = 64;

/// Room for one more, so that adding it does not fail.
template <class T>
void makeRoom(std::vector<T>& list) {
    if (list.size() == list.capacity()) list.reserve(std::max<std::size_t>(16, 2 * list.size()));
}

/// Closes the gaps; `onMove` is called for every place that changes.
template <class T, class OnMove>
void closeGaps(std::vector<T*>& list, const OnMove& onMove) {
    std::uint32_t to = 0;
    for (std::uint32_t from = 0; from < list.size(); ++from) {
        if (list[from] == nullptr) continue;
        onMove(from, to);
        list[to++] = list[from];
    }
    list.resize(to);
}

}  // namespace

void KrExtensionSorter::State::dropLostEdges() {
    if (!std::exchange(hasExtensionLeft, false)) return;
    for (auto& edge : edges) {
        const bool isLost = detail::isKnown(edge) && (!extensions[edge.source] || !extensions[edge.target]);
        if (isLost) edge = detail::kUnknown;
    }
}

void KrExtensionSorter::State::closeExtensionGaps() {
    if (extensionGaps.size() <= std::max(kFewGaps, extensions.size() / 2)) return;
    dropLostEdges();
    auto& numbers = extensionGaps;  // has room for one of each extension, and will be empty
    numbers.resize(extensions.size());
    closeGaps(extensions, [&](std::uint32_t from, std::uint32_t to) {
        ExtensionAccess::setSorterSlot(*extensions[from], to);
        numbers[from] = to;
        applicationOf[to] = applicationOf[from];
    });
    applicationOf.resize(extensions.size());
    for (auto& edge : edges) {
        if (detail::isKnown(edge)) edge = {numbers[edge.source], numbers[edge.target]};
    }
    extensionGaps.clear();
}

void KrExtensionSorter::State::closeConnectionGaps() {
    if (connectionGapCount <= std::max(kFewGaps, connections.size() / 2)) return;
    closeGaps(connections, [&](std::uint32_t from, std::uint32_t to) {
        ConnectionAccess::setSorterSlot(*connections[from], to);
        edges[to] = edges[from];
        ends[to] = ends[from];
    });
    edges.resize(connections.size());
    ends.resize(connections.size());
    connectionGapCount = 0;
}

void KrExtensionSorter::addExtension(KrExtension* extension) {
    if (extension == nullptr) return;
    const auto context = extension->getApplicationContext();
    {
        const std::lock_guard lock(_state->mutex);
        if (ExtensionAccess::getSorterSlot(*extension) != KrExtension::kNoSlot) return;
        auto& extensions = _state->extensions;
        const auto slot = static_cast<std::uint32_t>(extensions.size());
        makeRoom(extensions);
        makeRoom(_state->applicationOf);
        _state->extensionGaps.reserve(extensions.capacity());  // removal allocates nothing
        const auto application = _state->findApplication(context);
        extensions.push_back(extension);
        _state->applicationOf.push_back(application);
        ++_state->applications[application].extensionCount;
        _state->applications[application].isChanged = true;
        ExtensionAccess::setSorterSlot(*extension, slot);
        _state->isBuilt = false;
    }
    _state->notify([&](Listener& listener) { listener.onExtensionAdded(extension); });
}

void KrExtensionSorter::removeExtension(KrExtension* extension) {
    if (extension == nullptr) return;
    ApplicationContext left;  // dies after the lock
    {
        const std::lock_guard lock(_state->mutex);
        const auto slot = ExtensionAccess::getSorterSlot(*extension);
        if (slot == KrExtension::kNoSlot) return;
        auto& application = _state->applications[_state->applicationOf[slot]];
        application.isChanged = true;
        if (--application.extensionCount == 0) std::swap(left, application.context);
        ExtensionAccess::setSorterSlot(*extension, KrExtension::kNoSlot);
        _state->extensions[slot] = nullptr;
        _state->extensionGaps.push_back(slot);
        _state->hasExtensionLeft = true;
        _state->closeExtensionGaps();
        _state->isBuilt = false;
    }
    _state->notify([&](Listener& listener) { listener.onExtensionRemoved(extension); });
}

namespace {

/// Called on the thread of the connection only.
detail::ConnectionEnds endsOf(const Kr::KrConnectionBase& connection) {
    if (!connection.isValid()) return {};
    return {connection.getSourceOwner(), connection.getSinkOwner(),
            !ConnectionAccess::isExcludedFromOrdering(connection)};
}

}  // namespace

void KrExtensionSorter::_addConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (_state->isRegistered(*connection)) return;
        const auto slot = static_cast<std::uint32_t>(_state->connections.size());
        makeRoom(_state->edges);
        makeRoom(_state->ends);
        makeRoom(_state->connections);
        _state->edges.push_back(detail::kUnknown);
        _state->ends.push_back(endsOf(*connection));
        _state->connections.push_back(connection);
        ConnectionAccess::setSorterSlot(*connection, slot);
        ConnectionAccess::setRegisteredInSorter(*connection, true);
        _state->isBuilt = false;
    }
    const Kr::KrBasePointer life(connection);
    const bool isTracked = life.getAddress() != nullptr;
    _state->notify([&](Listener& listener) {
        // Skips a connection that an earlier listener has destroyed.
        if (!isTracked || life.get() != nullptr) listener.onConnectionAdded(connection);
    });
}

void KrExtensionSorter::_removeConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (!_state->isRegistered(*connection)) return;
        const auto slot = ConnectionAccess::getSorterSlot(*connection);
        _state->markChanged(_state->edges[slot]);
        _state->connections[slot] = nullptr;
        _state->edges[slot] = detail::kUnknown;
        _state->ends[slot] = {};
        ++_state->connectionGapCount;
        _state->closeConnectionGaps();
        ConnectionAccess::setSorterSlot(*connection, Kr::KrConnectionBase::kNoSlot);
        ConnectionAccess::setRegisteredInSorter(*connection, false);
        _state->isBuilt = false;
    }
    _state->notify([&](Listener& listener) { listener.onConnectionRemoved(connection); });
}

void KrExtensionSorter::_onConnectionChanged(const Kr::KrConnectionBase& connection) {
    const std::lock_guard lock(_state->mutex);
    if (!_state->isRegistered(connection)) return;
    const auto slot = ConnectionAccess::getSorterSlot(connection);
    _state->markChanged(_state->edges[slot]);
    _state->edges[slot] = detail::kUnknown;
    _state->ends[slot] = endsOf(connection);
    _state->isBuilt = false;
}

void KrExtensionSorter::reset() {
    std::vector<detail::SortedApplication> left;  // dies after the lock
    const std::lock_guard lock(_state->mutex);
    for (auto* extension : _state->extensions) {
        if (extension != nullptr) ExtensionAccess::setSorterSlot(*extension, KrExtension::kNoSlot);
    }
    for (auto* connection : _state->connections) {
        if (connection == nullptr) continue;
        ConnectionAccess::setSorterSlot(*connection, Kr::KrConnectionBase::kNoSlot);
        ConnectionAccess::setRegisteredInSorter(*connection, false);
    }
    _state->extensions.clear();
    _state->applicationOf.clear();
    _state->applications.swap(left);
    _state->hasLoopsToReport = false;
    _state->connections.clear();
    _state->ends.clear();
    _state->edges.clear();
    _state->extensionGaps.clear();
    _state->connectionGapCount = 0;
    _state->hasExtensionLeft = false;
    _state->isBuilt = false;
}

}  // namespace KrSim
