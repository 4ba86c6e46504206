#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/platform/export.h"

namespace KrSim::detail {

/// One thing that must run before another. Both are numbers of nodes.
struct ExecutionEdge {
    std::uint32_t source;
    std::uint32_t target;
};

/// All nodes in the order in which they are to run: those that can be sorted, those in or between cycles, and those
/// downstream of cycles.
struct ExecutionOrder {
    std::vector<std::uint32_t> nodes;
    std::size_t sortedCount{0};  ///< how many of the first are sorted
    std::size_t loopCount{0};    ///< how many follow that are in or between cycles
};

/// Sorts topologically after Kahn (1962), with a first-in first-out queue that starts with the nodes without
/// predecessors by their number; successors are freed in the order of their first edge. Repeated edges count once.
/// Where cycles stop it, nodes that only follow from cycles are peeled off backwards from the ends; the rest comes by
/// number, then the peeled ones, each behind its predecessors.
/// O(nodes + edges), without a map or a set.
/// \param absent  numbers that are no nodes, each once: they have no edges, and no place in the order.
[[nodiscard]] KR_API ExecutionOrder computeExecutionOrder(std::uint32_t nodeCount,
                                                          const std::vector<ExecutionEdge>& edges,
                                                          const std::vector<std::uint32_t>& absent = {});

}  // namespace KrSim::detail
