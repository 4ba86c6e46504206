#include "kr/extension/order/internal/execution_order.h"

namespace KrSim::detail {

namespace {

using Numbers = std::vector<std::uint32_t>;

/// The neighbours of every node, one run after the other (compressed rows).
struct Rows {
    Numbers starts;  // of the run of each node, and the end of the last
    Numbers neighbours;

    [[nodiscard]] const std::uint32_t* begin(std::uint32_t node) const { return neighbours.data() + starts[node]; }
    [[nodiscard]] const std::uint32_t* end(std::uint32_t node) const { return neighbours.data() + starts[node + 1]; }
};

/// A counting sort of the edges by one end, which keeps their order. `count` takes how often each node is the other.
template <std::uint32_t ExecutionEdge::*kFrom, std::uint32_t ExecutionEdge::*kTo>
Rows makeRows(std::uint32_t nodeCount, const std::vector<ExecutionEdge>& edges, Numbers& count) {
    Rows rows{Numbers(nodeCount + 1, 0), Numbers(edges.size())};
    count.assign(nodeCount, 0);
    for (const auto& edge : edges) {
        ++rows.starts[edge.*kFrom];
        ++count[edge.*kTo];
    }
    std::uint32_t end = 0;
    for (auto& start : rows.starts)
        start = end += start;
    // Each run is filled from its end, so the last edge is first.
    for (auto edge = edges.rbegin(); edge != edges.rend(); ++edge)
        rows.neighbours[--rows.starts[(*edge).*kFrom]] = (*edge).*kTo;
    return rows;
}

/// The nodes that only follow from cycles, ends first.
Numbers peelEnds(std::uint32_t nodeCount, const std::vector<ExecutionEdge>& edges, const std::vector<bool>& hasPlace) {
    Numbers remaining;
    const auto predecessors = makeRows<&ExecutionEdge::target, &ExecutionEdge::source>(nodeCount, edges, remaining);
    Numbers ends;
    for (std::uint32_t node = 0; node < nodeCount; ++node) {
        if (remaining[node] == 0 && !hasPlace[node]) ends.push_back(node);
    }
    for (std::size_t done = 0; done < ends.size(); ++done) {
        const auto* const last = predecessors.end(ends[done]);
        for (const auto* each = predecessors.begin(ends[done]); each != last; ++each) {
            if (--remaining[*each] == 0 && !hasPlace[*each]) ends.push_back(*each);
        }
    }
    return ends;
}

}  // namespace

ExecutionOrder computeExecutionOrder(std::uint32_t nodeCount, const std::vector<ExecutionEdge>& edges,
                                     const Numbers& absent) {
    constexpr std::uint32_t kNever = 0xffffffff;
    Numbers waitingFor;
    const auto successors = makeRows<&ExecutionEdge::source, &ExecutionEdge::target>(nodeCount, edges, waitingFor);
    for (const auto node : absent)
        waitingFor[node] = kNever;

    // The order is its own queue: what is behind `done` waits for its turn. A node is written down before it is known
    // whether it stays: nothing that a processor could predict.
    ExecutionOrder result;
    auto& order = result.nodes;
    order.resize(nodeCount + 1);
    std::size_t size = 0;
    for (std::uint32_t node = 0; node < nodeCount; ++node) {
        order[size] = node;
        size += waitingFor[node] == 0 ? 1U : 0U;
    }
    for (std::size_t done = 0; done < size; ++done) {
        const auto* const first = successors.begin(order[done]);
        const auto* const last = successors.end(order[done]);
        for (const auto* each = first; each != last; ++each)
            --waitingFor[*each];
        // Only now, so that one with repeated edges has the place of the first of them.
        for (const auto* each = first; each != last; ++each) {
            const std::uint32_t isFree = waitingFor[*each] == 0 ? 1U : 0U;
            order[size] = *each;
            size += isFree;
            waitingFor[*each] -= isFree;  // never again
        }
    }
    order.resize(size);
    result.sortedCount = size;
    if (size + absent.size() == nodeCount) return result;

    std::vector<bool> hasPlace(nodeCount, false);
    for (const auto node : absent)
        hasPlace[node] = true;
    for (const auto node : order)
        hasPlace[node] = true;
    const auto ends = peelEnds(nodeCount, edges, hasPlace);
    for (const auto node : ends)
        hasPlace[node] = true;
    for (std::uint32_t node = 0; node < nodeCount; ++node) {
        if (!hasPlace[node]) order.push_back(node);
    }
    result.loopCount = order.size() - result.sortedCount;
    // A node was peeled behind all its successors, so backwards it comes behind its predecessors.
    order.insert(order.end(), ends.rbegin(), ends.rend());
    return result;
}

}  // namespace KrSim::detail
