#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/extension/extension_sorter.h"
#include "kr/extension/internal/execution_order.h"

namespace KrSim {

/// What the sorter's mutex guards. Extensions and connections know their place in the two lists; a place that was
/// left holds null until the next build closes the gaps, so the order of registration stays.
struct KrExtensionSorter::State {
    mutable std::mutex mutex;         // guards everything but the listeners
    std::atomic<bool> isBuilt{true};  // of nothing, at first; read without the mutex, too
    std::atomic<std::uint32_t> buildNumber{0};
    std::vector<KrExtension*> extensions;
    std::vector<Kr::KrConnectionBase*> connections;
    std::size_t firstExtensionGap{0};  // no place before it was left; the places before it are known to be right
    std::size_t firstConnectionGap{0};
    detail::ExecutionOrder order;      // numbers of extensions
    std::vector<std::uint32_t> ranks;  // of each extension in the order
    std::mutex listenerMutex;          // guards the listeners
    std::vector<Listener*> listeners;

    /// What a build found out, to be told without the lock.
    struct Report {
        bool wasBuilt{false};
        std::uint32_t buildNumber{0};
        std::vector<std::string> loopPaths;  // of extensions in or between cycles
    };

    /// Builds if need be. Under the mutex.
    [[nodiscard]] Report build();
    /// Logs and tells listeners. Without the mutex.
    void tell(const Report& report);
    template <class Tell>
    void tellListeners(const Tell& tell);
    /// What a connection orders; nothing when it is invalid or excluded, or has an end at no registered extension, or
    /// both within one registered object.
    [[nodiscard]] static std::optional<detail::ExecutionEdge> edgeOf(const Kr::KrConnectionBase& connection) noexcept;
    [[nodiscard]] std::vector<detail::ExecutionEdge> collectEdges() const;
    /// Closes the gaps.
    void compact();
    [[nodiscard]] bool isRegistered(const Kr::KrConnectionBase& connection) const noexcept {
        const auto slot = connection._getSorterSlot();
        return slot < connections.size() && connections[slot] == &connection;
    }
};

namespace detail {
/// The number of the registered extension that an end of a connection belongs to: its own, or that of the first object
/// above it that is registered; KrExtension::kNoSlot when there is none.
[[nodiscard]] std::uint32_t findSorterSlot(const KrExtension* extension) noexcept;
}  // namespace detail

}  // namespace KrSim
