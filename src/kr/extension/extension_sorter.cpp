#include "kr/extension/extension_sorter.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>
#include <utility>

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
    Kr::KrConnectionBase::_setForgetFunction(
        [](Kr::KrConnectionBase& connection) noexcept { instance()._removeConnection(&connection); });
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
void KrExtensionSorter::State::tellListeners(const Tell& tell) {
    std::vector<Listener*> told;
    {
        const std::lock_guard lock(listenerMutex);
        if (listeners.empty()) return;
        told = listeners;
    }
    for (auto* listener : told) {
        {
            const std::lock_guard lock(listenerMutex);
            if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) continue;
        }
        Kr::callGuarded(
            kListener, [] { return std::string("KrExtensionSorter"); }, [&] { tell(*listener); });
    }
}

void KrExtensionSorter::registerListener(Listener* listener) {
    if (listener == nullptr) return;
    const std::lock_guard lock(_state->listenerMutex);
    auto& listeners = _state->listeners;
    if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) listeners.push_back(listener);
}

void KrExtensionSorter::unregisterListener(Listener* listener) {
    const std::lock_guard lock(_state->listenerMutex);
    std::erase(_state->listeners, listener);
}

// --- The graph -----------------------------------------------------------------------------------------------------

void KrExtensionSorter::addExtension(KrExtension* extension) {
    if (extension == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (extension->_getSorterSlot() != KrExtension::kNoSlot) return;
        extension->_setSorterSlot(static_cast<std::uint32_t>(_state->extensions.size()));
        _state->extensions.push_back(extension);
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
        _state->firstExtensionGap = std::min<std::size_t>(_state->firstExtensionGap, slot);
        _state->isBuilt = false;
    }
    _state->tellListeners([&](Listener& listener) { listener.onExtensionRemoved(extension); });
}

void KrExtensionSorter::_addConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (_state->isRegistered(*connection)) return;
        connection->_setSorterSlot(static_cast<std::uint32_t>(_state->connections.size()));
        connection->_setRegisteredInSorter(true);
        _state->connections.push_back(connection);
        _state->isBuilt = false;
    }
    _state->tellListeners([&](Listener& listener) { listener.onConnectionAdded(connection); });
}

void KrExtensionSorter::_removeConnection(Kr::KrConnectionBase* connection) {
    if (connection == nullptr) return;
    {
        const std::lock_guard lock(_state->mutex);
        if (!_state->isRegistered(*connection)) return;
        const auto slot = connection->_getSorterSlot();
        _state->connections[slot] = nullptr;
        _state->firstConnectionGap = std::min<std::size_t>(_state->firstConnectionGap, slot);
        connection->_setSorterSlot(Kr::KrConnectionBase::kNoSlot);
        connection->_setRegisteredInSorter(false);
        _state->isBuilt = false;
    }
    _state->tellListeners([&](Listener& listener) { listener.onConnectionRemoved(connection); });
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
    _state->firstExtensionGap = 0;
    _state->firstConnectionGap = 0;
    _state->isBuilt = false;
}

// --- Building ------------------------------------------------------------------------------------------------------

namespace detail {

std::uint32_t findSorterSlot(const KrExtension* extension) noexcept {
    for (; extension != nullptr; extension = extension->getOwner()) {
        const auto slot = extension->_getSorterSlot();
        if (slot != KrExtension::kNoSlot) return slot;
    }
    return KrExtension::kNoSlot;
}

}  // namespace detail

namespace {

/// Closes the gaps from `first` on and answers the end of the list.
template <class T>
std::size_t closeGaps(std::vector<T*>& list, std::size_t first) {
    for (std::size_t from = first; from < list.size(); ++from) {
        if (list[from] == nullptr) continue;
        list[from]->_setSorterSlot(static_cast<std::uint32_t>(first));
        list[first++] = list[from];
    }
    list.resize(first);
    return first;
}

}  // namespace

void KrExtensionSorter::State::compact() {
    firstExtensionGap = closeGaps(extensions, firstExtensionGap);
    firstConnectionGap = closeGaps(connections, firstConnectionGap);
}

std::optional<detail::ExecutionEdge> KrExtensionSorter::State::edgeOf(const Kr::KrConnectionBase& connection) noexcept {
    if (!connection.isValid() || connection._isExcludedFromOrdering()) return std::nullopt;
    const auto* sourceOwner = connection.getSourceOwner();
    const auto* sinkOwner = connection.getSinkOwner();
    const detail::ExecutionEdge edge{detail::findSorterSlot(sourceOwner), detail::findSorterSlot(sinkOwner)};
    if (edge.source == KrExtension::kNoSlot || edge.target == KrExtension::kNoSlot) return std::nullopt;
    // Two extensions inside one registered object: its own affair, no cycle.
    if (edge.source == edge.target && sourceOwner != sinkOwner) return std::nullopt;
    return edge;
}

std::vector<detail::ExecutionEdge> KrExtensionSorter::State::collectEdges() const {
    std::vector<detail::ExecutionEdge> edges;
    edges.reserve(connections.size());
    for (const auto* connection : connections) {
        if (const auto edge = edgeOf(*connection)) edges.push_back(*edge);
    }
    return edges;
}

KrExtensionSorter::State::Report KrExtensionSorter::State::build() {
    Report report;
    if (isBuilt) return report;
    compact();
    order = detail::computeExecutionOrder(static_cast<std::uint32_t>(extensions.size()), collectEdges());
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

/// Brings the ranked entries to the front in the order of their ranks, by swapping each with the entry that stands in
/// its place; the others end where these swaps leave them.
void swapToFront(Kr::KrArray<Kr::KrSmartPtr<KrExtension>>& list, const std::vector<Ranked>& ranked) {
    std::vector<std::uint32_t> placeOf(list.size());  // of each original entry, now
    std::vector<std::uint32_t> entryAt(list.size());  // the original entry at each place
    for (std::uint32_t i = 0; i < list.size(); ++i)
        placeOf[i] = entryAt[i] = i;
    for (std::uint32_t front = 0; front < ranked.size(); ++front) {
        const auto wanted = ranked[front].index;
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
    // The first of repeated entries is taken, the others count as strangers.
    const auto isBefore = [](const Ranked& left, const Ranked& right) {
        return left.rank != right.rank ? left.rank < right.rank : left.index < right.index;
    };
    std::sort(ranked.begin(), ranked.end(), isBefore);
    ranked.erase(std::unique(ranked.begin(), ranked.end(),
                             [](const Ranked& left, const Ranked& right) { return left.rank == right.rank; }),
                 ranked.end());
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
