// The order: what connections say, who reports which cycles, and lists sorted by it.

#include <algorithm>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/order/internal/sorter_state.h"
#include "kr/platform/log.h"

namespace KrSim {

using detail::ExtensionAccess;

// --- Edges ---------------------------------------------------------------------------------------------------------

detail::ExecutionEdge KrExtensionSorter::State::edgeOf(const detail::ConnectionEnds& ends) noexcept {
    if (!ends.isOrdering) return detail::kUnknown;
    const detail::ExecutionEdge edge{detail::findSorterSlot(ends.source), detail::findSorterSlot(ends.sink)};
    if (edge.source == KrExtension::kNoSlot || edge.target == KrExtension::kNoSlot) return detail::kUnknown;
    // Two extensions inside one registered object: its own affair, no cycle.
    if (edge.source == edge.target && ends.source != ends.sink) return detail::kUnknown;
    return edge;
}

namespace {

/// The processor waits longest for the extensions, which lie anywhere.
void fetchExtensions(const std::vector<detail::ConnectionEnds>& ends, std::size_t i) {
    if (i >= ends.size()) return;
    if (ends[i].source != nullptr) ExtensionAccess::fetchSorterSlot(*ends[i].source);
    if (ends[i].sink != nullptr) ExtensionAccess::fetchSorterSlot(*ends[i].sink);
}

}  // namespace

std::vector<detail::ExecutionEdge> KrExtensionSorter::State::collectEdges() {
    constexpr std::size_t kAhead = 8;
    std::vector<detail::ExecutionEdge> collected;
    collected.reserve(connections.size());
    for (std::size_t i = 0; i < connections.size(); ++i) {
        auto edge = edges[i];
        if (!detail::isKnown(edge) && ends[i].isOrdering) {
            fetchExtensions(ends, i + kAhead);
            edge = edgeOf(ends[i]);
            markChanged(edge);
            // An object that represents an end may be another one when owners change: read again then.
            const bool isSettled = detail::isKnown(edge) &&
                                   ExtensionAccess::getSorterSlot(*ends[i].source) == edge.source &&
                                   ExtensionAccess::getSorterSlot(*ends[i].sink) == edge.target;
            if (isSettled) edges[i] = edge;
        }
        if (detail::isKnown(edge)) collected.push_back(edge);
    }
    return collected;
}

// --- Loops of several applications ---------------------------------------------------------------------------------

std::uint32_t KrExtensionSorter::State::findApplication(const ApplicationContext& context) {
    const auto isFree = [](const auto& each) { return each.extensionCount == 0; };
    auto found = std::find_if(applications.begin(), applications.end(),
                              [&](const auto& each) { return !isFree(each) && each.context == context; });
    if (found == applications.end()) {
        found = std::find_if(applications.begin(), applications.end(), isFree);
        if (found == applications.end()) found = applications.emplace(found);
        found->context = context;
        found->hasLoopsToReport = false;
    }
    return static_cast<std::uint32_t>(found - applications.begin());
}

void KrExtensionSorter::State::markChanged(const detail::ExecutionEdge& edge) noexcept {
    // Of a single application it is known.
    if (applications.size() < 2 || !detail::isKnown(edge)) return;
    applications[applicationOf[edge.source]].isChanged = true;
    applications[applicationOf[edge.target]].isChanged = true;
}

bool KrExtensionSorter::State::isForeign(const detail::SortedApplication& application) const noexcept {
    const auto& context = application.context;
    if (!context.isValid()) return false;
    if (context.isRunning()) return !context.isApplicationThread();
    // It may be being created on another thread; this one is busy with another application.
    return std::any_of(applications.begin(), applications.end(),
                       [](const auto& each) { return each.context.isRunning() && each.context.isApplicationThread(); });
}

bool KrExtensionSorter::State::isForeign(std::uint32_t extension) const noexcept {
    return isForeign(applications[applicationOf[extension]]);
}

void KrExtensionSorter::State::noteLoops() noexcept {
    const bool isAnyChanged =
        std::any_of(applications.begin(), applications.end(), [](const auto& each) { return each.isChanged; });
    for (auto& each : applications) {
        each.isChanged = each.isChanged || !isAnyChanged;
        if (each.isChanged) each.hasLoopsToReport = false;
    }
    for (std::size_t i = 0; i < order.loopCount; ++i) {
        auto& application = applications[applicationOf[order.nodes[order.sortedCount + i]]];
        if (application.isChanged) application.hasLoopsToReport = true;
    }
    for (auto& each : applications)
        each.isChanged = false;
}

void KrExtensionSorter::State::collectLoops(Report& report) {
    const auto isDue = [&](const auto& each) { return each.hasLoopsToReport && !isForeign(each); };
    if (std::none_of(applications.begin(), applications.end(), isDue)) return;
    for (std::size_t i = 0; i < order.loopCount; ++i) {
        const auto number = order.nodes[order.sortedCount + i];
        if (isDue(applications[applicationOf[number]])) report.loopPaths.push_back(extensions[number]->getPath());
    }
    for (auto& each : applications)
        each.hasLoopsToReport = each.hasLoopsToReport && isForeign(each);
}

// --- Building ------------------------------------------------------------------------------------------------------

void KrExtensionSorter::State::makeOrder(Report& report) {
    dropLostEdges();
    order = detail::computeExecutionOrder(static_cast<std::uint32_t>(extensions.size()), collectEdges(), extensionGaps);
    ranks.resize(extensions.size());
    for (std::size_t i = 0; i < order.nodes.size(); ++i)
        ranks[order.nodes[i]] = static_cast<std::uint32_t>(i);
    noteLoops();
    report.wasBuilt = true;
}

KrExtensionSorter::State::Report KrExtensionSorter::State::build() {
    Report report;
    if (isBuilt && !hasLoopsToReport) return report;
    if (!isBuilt) makeOrder(report);
    collectLoops(report);
    hasLoopsToReport =
        std::any_of(applications.begin(), applications.end(), [](const auto& each) { return each.hasLoopsToReport; });
    if (!report.wasBuilt) return report;
    report.buildNumber = buildNumber.fetch_add(1, std::memory_order_release) + 1;
    isBuilt = true;  // last: who sees it sees the number, too
    return report;
}

void KrExtensionSorter::build() {
    if (_state->isBuilt && !_state->hasLoopsToReport) return;  // called in every frame
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

/// Brings one entry of each rank to the front in the order of the ranks, by swapping it with the entry in its
/// place; the others end where these swaps leave them. Of repeated entries it takes the first one at that time.
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
            const auto slot = ExtensionAccess::getSorterSlot(*list[i]);
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
