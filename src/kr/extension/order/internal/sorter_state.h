#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "kr/application/context/application_context.h"
#include "kr/core/connection_access.h"
#include "kr/core/connection_base.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/order/internal/execution_order.h"
#include "kr/signals/listener_list.h"

namespace KrSim {

namespace detail {
constexpr ExecutionEdge kUnknown{KrExtension::kNoSlot, KrExtension::kNoSlot};
[[nodiscard]] constexpr bool isKnown(const ExecutionEdge& edge) noexcept {
    return edge.source != KrExtension::kNoSlot;
}

/// The properties of a connection when it was registered or changed last, read on its own thread: the sorting thread
/// may be that of another application.
struct ConnectionEnds {
    const KrExtension* source{nullptr};  // null while the connection is invalid
    const KrExtension* sink{nullptr};
    bool isOrdering{false};
};

/// An application with registered extensions; there is also an entry for extensions without application.
struct SortedApplication {
    ApplicationContext context;
    std::size_t extensionCount{0};
    bool isChanged{false};         // its part of the graph, since the last build
    bool hasLoopsToReport{false};  // on its own thread
};
}  // namespace detail

/// The data that the sorter's mutex guards. Extensions and connections store their place in the two lists; a place that
/// was left is null, and gaps are closed when they are most of a list, so the order of registration is kept.
///
/// Applications in several threads share it. A build reads only slot and owner of an extension, and nothing of a
/// connection: an extension at an end lives as long as the connection is registered, and an owner as long as it is one,
/// since both are changed under the mutex. Names and fields are read only if the content belongs to this thread
/// (isForeign).
struct KrExtensionSorter::State {
    mutable std::mutex mutex;                   // guards everything but the listeners
    std::atomic<bool> isBuilt{true};            // of nothing, initially; read without the mutex, too
    std::atomic<bool> hasLoopsToReport{false};  // of some application; read without the mutex, too
    std::atomic<std::uint32_t> buildNumber{0};
    std::vector<KrExtension*> extensions;
    std::vector<std::uint32_t> applicationOf;  // of each extension, its place among the applications
    std::vector<detail::SortedApplication> applications;
    std::vector<Kr::KrConnectionBase*> connections;
    std::vector<detail::ConnectionEnds> ends;  // of each connection
    /// The order required by each connection, so that a build need not read connections and extensions that have not
    /// changed; kUnknown when a build must read them.
    std::vector<detail::ExecutionEdge> edges;
    std::vector<std::uint32_t> extensionGaps;  // has the capacity of the extensions
    std::size_t connectionGapCount{0};
    bool hasExtensionLeft{false};      // since the last build, so that edges may have lost their ends
    detail::ExecutionOrder order;      // numbers of extensions
    std::vector<std::uint32_t> ranks;  // of each extension in the order
    Kr::ListenerList<Listener> listeners;

    /// The results of a build, reported without the lock.
    struct Report {
        bool wasBuilt{false};
        std::uint32_t buildNumber{0};
        std::vector<std::string> loopPaths;  // of extensions in or between cycles, as far as they are reported here
    };

    /// Builds if necessary, and collects the loops that this thread must report. Under the mutex.
    [[nodiscard]] Report build();
    /// Whether the application of this extension runs on another thread, or may be being created there.
    [[nodiscard]] bool isForeign(std::uint32_t extension) const noexcept;
    /// Logs and notifies listeners. Without the mutex.
    void tell(const Report& report);
    template <class Call>
    void notify(const Call& call) const noexcept;
    /// The order required by a connection; kUnknown when it is invalid or excluded, or has an end at no registered
    /// extension, or both within one registered object.
    [[nodiscard]] static detail::ExecutionEdge edgeOf(const detail::ConnectionEnds& ends) noexcept;
    /// The place of the application, which is created if necessary. Throws std::bad_alloc.
    [[nodiscard]] std::uint32_t findApplication(const ApplicationContext& context);
    [[nodiscard]] bool isForeign(const detail::SortedApplication& application) const noexcept;
    /// The order required by this edge changes.
    void markChanged(const detail::ExecutionEdge& edge) noexcept;
    /// After a build: records the applications with new loops.
    void noteLoops() noexcept;
    void makeOrder(Report& report);
    void collectLoops(Report& report);
    [[nodiscard]] std::vector<detail::ExecutionEdge> collectEdges();
    /// Removes edges to extensions that were removed.
    void dropLostEdges();
    /// Closes the gaps when they are most of the list.
    void closeExtensionGaps();
    void closeConnectionGaps();
    [[nodiscard]] bool isRegistered(const Kr::KrConnectionBase& connection) const noexcept {
        const auto slot = Kr::detail::ConnectionAccess::getSorterSlot(connection);
        return slot < connections.size() && connections[slot] == &connection;
    }
};

namespace detail {
/// The number of the registered extension at an end of a connection: its own, or that of the first registered object
/// above it; KrExtension::kNoSlot without one.
[[nodiscard]] inline std::uint32_t findSorterSlot(const KrExtension* extension) noexcept {
    for (; extension != nullptr; extension = extension->getOwner()) {
        const auto slot = detail::ExtensionAccess::getSorterSlot(*extension);
        if (slot != KrExtension::kNoSlot) return slot;
    }
    return KrExtension::kNoSlot;
}
}  // namespace detail

}  // namespace KrSim
