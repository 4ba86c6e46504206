#include "kr/extension/extension_sorter.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>
#include <utility>

#include "kr/core/base_pointer.h"
#include "kr/extension/extension.h"
#include "kr/extension/internal/sorter_state.h"
#include "kr/extension/object.h"
#include "kr/platform/guard.h"
#include "kr/platform/log.h"

namespace KrSim {

namespace {

constinit std::atomic<bool> isMade{false};

constexpr Kr::GuardTexts kListener{Kr::eLogLevel::kWarn, "KrExtensionSorter: fatal error in '%s' listener [%s]\n",
                                   "KrExtensionSorter: unhandled exception in '%s' listener\n"};

}  // namespace

KrExtensionSorter& KrExtensionSorter::instance() {
    static auto& sorter = *new KrExtensionSorter;
    return sorter;
}

bool KrExtensionSorter::hasInstance() noexcept {
    return isMade.load(std::memory_order_acquire);
}

KrExtensionSorter::KrExtensionSorter() : _state(std::make_unique<State>()) {
    static constexpr Kr::KrConnectionBase::SorterFunctions kFunctions{
        [](Kr::KrConnectionBase& connection) noexcept { instance()._removeConnection(&connection); },
        [](Kr::KrConnectionBase& connection) noexcept { instance()._onConnectionChanged(connection); }};
    Kr::KrConnectionBase::_setSorterFunctions(kFunctions);
    isMade.store(true, std::memory_order_release);
}

KrExtensionSorter::~KrExtensionSorter() = default;

// --- Listeners -----------------------------------------------------------------------------------------------------

KrExtensionSorter::Listener::~Listener() = default;
void KrExtensionSorter::Listener::onExtensionAdded(KrExtension*) {}
void KrExtensionSorter::Listener::onExtensionRemoved(KrExtension*) {}
void KrExtensionSorter::Listener::onConnectionAdded(Kr::KrConnectionBase*) {}
void KrExtensionSorter::Listener::onConnectionRemoved(Kr::KrConnectionBase*) {}
void KrExtensionSorter::Listener::onBuilt(std::uint32_t) {}

template <class Tell>
void KrExtensionSorter::State::tellListeners(const Tell& tell) noexcept {
    std::size_t count = 0;
    {
        const std::lock_guard lock(listenerMutex);
        if (listeners.empty()) return;
        count = listeners.size();
        ++tellingDepth;
    }
    // Extensions and connections leave in their destructors, so no copy of the list is made: the places of the
    // listeners stay while one call is under way.
    for (std::size_t i = 0; i < count; ++i) {
        Listener* listener = nullptr;
        {
            const std::lock_guard lock(listenerMutex);
            listener = listeners[i];
        }
        if (listener == nullptr) continue;
        Kr::callGuarded(
            kListener, [] { return std::string("KrExtensionSorter"); }, [&] { tell(*listener); });
    }
    const std::lock_guard lock(listenerMutex);
    if (--tellingDepth == 0) std::erase(listeners, nullptr);
}

void KrExtensionSorter::registerListener(Listener* listener) {
    if (listener == nullptr) return;
    const std::lock_guard lock(_state->listenerMutex);
    auto& listeners = _state->listeners;
    if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) listeners.push_back(listener);
}

void KrExtensionSorter::unregisterListener(Listener* listener) {
    if (listener == nullptr) return;
    const std::lock_guard lock(_state->listenerMutex);
    auto& listeners = _state->listeners;
    std::replace(listeners.begin(), listeners.end(), listener, static_cast<Listener*>(nullptr));
    if (_state->tellingDepth == 0) std::erase(listeners, nullptr);
}

// --- The graph -----------------------------------------------------------------------------------------------------

namespace {

/// Fewer are not worth the trouble.
constexpr std::size_t kFewGaps = 64;

/// Closes the gaps; `onMove` hears of every place that changes.
template <class T, class OnMove>
void closeGaps(std::vector<T*>& list, const OnMove& onMove) {
    std::uint32_t to = 0;
    for (std::uint32_t from = 0; from < list.size(); ++from) {
        if (list[from] == nullptr) continue;
        list[from]->_setSorterSlot(to);
        list[to] = list[from];
        onMove(from, to++);
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
    closeGaps(extensions, [&](std::uint32_t from, std::uint32_t to) { numbers[from] = to; });
    for (auto& edge : edges) {
        if (detail::isKnown(edge)) edge = {numbers[edge.source], numbers[edge.target]};
    }
    extensionGaps.clear();
}

void KrExtensionSorter::State::closeConnectionGaps() {
    if (connectionGapCount <= std::max(kFewGaps, connections.size() / 2)) return;
    closeGaps(connections, [&](std::uint32_t from, std::uint32_t to) { edges[to] = edges[from]; });
    edges.resize(connections.size());
    connectionGapCount = 0;
}

void KrExtensionSorter::addExtension(KrExtension* extension) {
    if (extension == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (extension->_getSorterSlot() != KrExtension::kNoSlot) return;
        const auto slot = static_cast<std::uint32_t>(_state->extensions.size());
        _state->extensions.push_back(extension);
        try {
            _state->extensionGaps.reserve(_state->extensions.capacity());  // removal allocates nothing
        } catch (...) {
            _state->extensions.pop_back();
            throw;
        }
        extension->_setSorterSlot(slot);
        _state->isBuilt = false;
    }
    _state->tellListeners([&](Listener& listener) { listener.onExtensionAdded(extension); });
}

void KrExtensionSorter::removeExtension(KrExtension* extension) {
    if (extension == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        const auto slot = extension->_getSorterSlot();
        if (slot == KrExtension::kNoSlot) return;
        extension->_setSorterSlot(KrExtension::kNoSlot);
        _state->extensions[slot] = nullptr;
        _state->extensionGaps.push_back(slot);
        _state->hasExtensionLeft = true;
        _state->closeExtensionGaps();
        _state->isBuilt = false;
    }
    _state->tellListeners([&](Listener& listener) { listener.onExtensionRemoved(extension); });
}

void KrExtensionSorter::_addConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (_state->isRegistered(*connection)) return;
        const auto slot = static_cast<std::uint32_t>(_state->connections.size());
        _state->edges.push_back(detail::kUnknown);
        try {
            _state->connections.push_back(connection);
        } catch (...) {
            _state->edges.pop_back();
            throw;
        }
        connection->_setSorterSlot(slot);
        connection->_setRegisteredInSorter(true);
        _state->isBuilt = false;
    }
    const Kr::KrBasePointer life(connection);
    const bool isTracked = life.getAddress() != nullptr;
    _state->tellListeners([&](Listener& listener) {
        // Skips a connection that an earlier listener has destroyed.
        if (!isTracked || life.get() != nullptr) listener.onConnectionAdded(connection);
    });
}

void KrExtensionSorter::_removeConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (!_state->isRegistered(*connection)) return;
        const auto slot = connection->_getSorterSlot();
        _state->connections[slot] = nullptr;
        _state->edges[slot] = detail::kUnknown;
        ++_state->connectionGapCount;
        _state->closeConnectionGaps();
        connection->_setSorterSlot(Kr::KrConnectionBase::kNoSlot);
        connection->_setRegisteredInSorter(false);
        _state->isBuilt = false;
    }
    _state->tellListeners([&](Listener& listener) { listener.onConnectionRemoved(connection); });
}

void KrExtensionSorter::_onConnectionChanged(const Kr::KrConnectionBase& connection) {
    const std::lock_guard lock(_state->mutex);
    if (!_state->isRegistered(connection)) return;
    _state->edges[connection._getSorterSlot()] = detail::kUnknown;
    _state->isBuilt = false;
}

void KrExtensionSorter::_onOwnerChanged(const KrExtension& extension, const KrExtension* before) {
    // What is registered stands for itself, and for all below it.
    if (!hasInstance() || extension._getSorterSlot() != KrExtension::kNoSlot) return;
    if (detail::findSorterSlot(before) == detail::findSorterSlot(extension.getOwner())) return;
    auto& state = *instance()._state;
    const std::lock_guard lock(state.mutex);
    state.isBuilt = false;
}

void KrExtensionSorter::reset() {
    const std::lock_guard lock(_state->mutex);
    for (auto* extension : _state->extensions) {
        if (extension != nullptr) extension->_setSorterSlot(KrExtension::kNoSlot);
    }
    for (auto* connection : _state->connections) {
        if (connection == nullptr) continue;
        connection->_setSorterSlot(Kr::KrConnectionBase::kNoSlot);
        connection->_setRegisteredInSorter(false);
    }
    _state->extensions.clear();
    _state->connections.clear();
    _state->edges.clear();
    _state->extensionGaps.clear();
    _state->connectionGapCount = 0;
    _state->hasExtensionLeft = false;
    _state->isBuilt = false;
}

// --- Building ------------------------------------------------------------------------------------------------------

detail::ExecutionEdge KrExtensionSorter::State::edgeOf(const Kr::KrConnectionBase& connection) noexcept {
    if (!connection.isValid() || connection._isExcludedFromOrdering()) return detail::kUnknown;
    const auto* sourceOwner = connection.getSourceOwner();
    const auto* sinkOwner = connection.getSinkOwner();
    const detail::ExecutionEdge edge{detail::findSorterSlot(sourceOwner), detail::findSorterSlot(sinkOwner)};
    if (edge.source == KrExtension::kNoSlot || edge.target == KrExtension::kNoSlot) return detail::kUnknown;
    // Two extensions inside one registered object: its own affair, no cycle.
    if (edge.source == edge.target && sourceOwner != sinkOwner) return detail::kUnknown;
    return edge;
}

namespace {

/// The processor waits longest for the owners, which lie anywhere.
void fetchOwners(const std::vector<Kr::KrConnectionBase*>& connections, std::size_t i) {
    if (i >= connections.size() || connections[i] == nullptr) return;
    if (const auto* owner = connections[i]->getSourceOwner()) owner->_fetchSorterSlot();
    if (const auto* owner = connections[i]->getSinkOwner()) owner->_fetchSorterSlot();
}

}  // namespace

std::vector<detail::ExecutionEdge> KrExtensionSorter::State::collectEdges() {
    constexpr std::size_t kAhead = 8;
    std::vector<detail::ExecutionEdge> collected;
    collected.reserve(connections.size());
    for (std::size_t i = 0; i < connections.size(); ++i) {
        auto edge = edges[i];
        if (!detail::isKnown(edge) && connections[i] != nullptr) {
            fetchOwners(connections, i + kAhead);
            edge = edgeOf(*connections[i]);
            // Where an object stands for an end, another may do so when owners change: to be asked again.
            const bool isSettled = detail::isKnown(edge) &&
                                   connections[i]->getSourceOwner()->_getSorterSlot() == edge.source &&
                                   connections[i]->getSinkOwner()->_getSorterSlot() == edge.target;
            if (isSettled) edges[i] = edge;
        }
        if (detail::isKnown(edge)) collected.push_back(edge);
    }
    return collected;
}

KrExtensionSorter::State::Report KrExtensionSorter::State::build() {
    Report report;
    if (isBuilt) return report;
    dropLostEdges();
    order = detail::computeExecutionOrder(static_cast<std::uint32_t>(extensions.size()), collectEdges(), extensionGaps);
    ranks.resize(extensions.size());
    for (std::size_t i = 0; i < order.nodes.size(); ++i)
        ranks[order.nodes[i]] = static_cast<std::uint32_t>(i);
    for (std::size_t i = 0; i < order.loopCount; ++i)
        report.loopPaths.push_back(extensions[order.nodes[order.sortedCount + i]]->getPath());
    report.wasBuilt = true;
    report.buildNumber = buildNumber.fetch_add(1, std::memory_order_release) + 1;
    isBuilt = true;  // last: who sees it sees the number, too
    return report;
}

void KrExtensionSorter::State::tell(const Report& report) {
    if (!report.wasBuilt) return;
    if (!report.loopPaths.empty()) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrExtensionSorter: Connection cycles have been detected. This will have an impact on the "
                       "simulator performances. Here is the list of extensions having a connection loop:\n");
        for (const auto& path : report.loopPaths)
            Kr::logMessage(Kr::eLogLevel::kWarn, "        [%s]\n", path.c_str());
    }
    tellListeners([&](Listener& listener) { listener.onBuilt(report.buildNumber); });
}

void KrExtensionSorter::build() {
    if (_state->isBuilt) return;  // asked in every frame
    State::Report report;
    {
        const std::lock_guard lock(_state->mutex);
        report = _state->build();
    }
    _state->tell(report);
}

// --- Sorting -------------------------------------------------------------------------------------------------------

namespace {

struct Ranked {
    std::uint32_t rank;
    std::uint32_t index;
};

/// Brings one entry of each rank to the front in the order of the ranks, by swapping it with the entry that stands in
/// its place; the others end where these swaps leave them. Of repeated entries it takes the one that stands foremost
/// by then.
void swapToFront(Kr::KrArray<Kr::KrSmartPtr<KrExtension>>& list, const std::vector<Ranked>& ranked) {
    std::vector<std::uint32_t> placeOf(list.size());  // of each original entry, now
    std::vector<std::uint32_t> entryAt(list.size());  // the original entry at each place
    for (std::uint32_t i = 0; i < list.size(); ++i)
        placeOf[i] = entryAt[i] = i;
    std::uint32_t front = 0;
    for (auto next = ranked.begin(); next != ranked.end(); ++front) {
        auto wanted = next->index;
        const auto rank = next->rank;
        for (; next != ranked.end() && next->rank == rank; ++next) {
            if (placeOf[next->index] < placeOf[wanted]) wanted = next->index;
        }
        const auto from = placeOf[wanted];
        const auto displaced = entryAt[front];
        list[front].swap(list[from]);
        std::swap(entryAt[front], entryAt[from]);
        placeOf[wanted] = front;
        placeOf[displaced] = from;
    }
}

}  // namespace

void KrExtensionSorter::sortExtensions(Kr::KrArray<Kr::KrSmartPtr<KrExtension>>& list) {
    if (list.size() < 2) return;
    std::vector<Ranked> ranked;
    ranked.reserve(list.size());
    int unknownCount = 0;
    State::Report report;
    {
        const std::lock_guard lock(_state->mutex);
        report = _state->build();
        for (std::uint32_t i = 0; i < list.size(); ++i) {
            if (!list[i]) continue;
            const auto slot = list[i]->_getSorterSlot();
            if (slot == KrExtension::kNoSlot) {
                ++unknownCount;
            } else {
                ranked.push_back({_state->ranks[slot], i});
            }
        }
    }
    std::sort(ranked.begin(), ranked.end(), [](const Ranked& a, const Ranked& b) { return a.rank < b.rank; });
    swapToFront(list, ranked);
    _state->tell(report);
    if (unknownCount != 0) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrExtensionSorter::sortExtensions: %d extension(s) were not added to KrExtensionSorter\n",
                       unknownCount);
    }
}

std::uint32_t KrExtensionSorter::getLastBuildNumber() const {
    return _state->buildNumber.load(std::memory_order_acquire);
}

}  // namespace KrSim
