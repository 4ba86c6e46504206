#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/platform/export.h"

namespace KrSim::detail {

/// A node that must run before another one. Both are numbers of nodes.
struct ExecutionEdge {
    std::uint32_t source;
    std::uint32_t target;
};

/// All nodes in their execution order: those that can be sorted, those in or between cycles, and those downstream.
struct ExecutionOrder {
    std::vector<std::uint32_t> nodes;
    std::size_t sortedCount{0};  ///< how many of the first are sorted
    std::size_t loopCount{0};    ///< how many of the following are in or between cycles
};

/// Sorts topologically after Kahn (1962), with a first-in first-out queue that starts with the nodes without
/// predecessors by their number; successors are freed in the order of their first edge. Repeated edges count once. When
/// cycles stop it, nodes that only follow from cycles are removed backwards from the ends; the rest is ordered by
/// number, then the removed ones, each after its predecessors. O(nodes + edges), without a map or a set.
/// \param absent  numbers that are no nodes, each once: they have no edges, and no place in the order.
[[nodiscard]] KR_API ExecutionOrder computeExecutionOrder(std::uint32_t nodeCount,
                                                          const std::vector<ExecutionEdge>& edges,
                                                          const std::vector<std::uint32_t>& absent = {});

}  // namespace KrSim::detail
