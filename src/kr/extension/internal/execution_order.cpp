#include "kr/extension/internal/execution_order.h"

#include <algorithm>

namespace KrSim::detail {

namespace {

constexpr std::uint32_t kNobody = 0xffffffff;

/// The neighbours of every node, one run after the other (compressed rows).
struct Rows {
    std::vector<std::uint32_t> starts;  // of the run of each node, and the end of the last
    std::vector<std::uint32_t> counts;  // of the run; behind it may be a gap
    std::vector<std::uint32_t> neighbours;
};

/// A counting sort of the edges by `from`, which keeps their order.
template <class From, class To>
Rows makeRows(std::uint32_t nodeCount, const std::vector<ExecutionEdge>& edges, const From& from, const To& to) {
    Rows rows;
    rows.starts.assign(nodeCount + 1, 0);
    for (const auto& edge : edges)
        ++rows.starts[from(edge) + 1];
    for (std::uint32_t node = 0; node < nodeCount; ++node)
        rows.starts[node + 1] += rows.starts[node];
    rows.counts.assign(nodeCount, 0);
    rows.neighbours.resize(edges.size());
    for (const auto& edge : edges) {
        const auto node = from(edge);
        rows.neighbours[rows.starts[node] + rows.counts[node]++] = to(edge);
    }
    return rows;
}

/// Keeps the first of equal neighbours in each run, and answers in how many runs each node is. Without branches: which
/// edges repeat is nothing that a processor could predict.
std::vector<std::uint32_t> dropRepeats(Rows& rows) {
    std::vector<std::uint32_t> lastSeenBy(rows.counts.size(), kNobody);
    std::vector<std::uint32_t> namedBy(rows.counts.size(), 0);
    for (std::uint32_t node = 0; node < rows.counts.size(); ++node) {
        auto* const run = rows.neighbours.data() + rows.starts[node];
        std::uint32_t kept = 0;
        for (std::uint32_t i = 0; i < rows.counts[node]; ++i) {
            const auto neighbour = run[i];
            const std::uint32_t isNew = lastSeenBy[neighbour] != node ? 1U : 0U;
            lastSeenBy[neighbour] = node;
            run[kept] = neighbour;
            kept += isNew;
            namedBy[neighbour] += isNew;
        }
        rows.counts[node] = kept;
    }
    return namedBy;
}

/// The nodes that only follow from cycles, ends first.
std::vector<std::uint32_t> peelEnds(const Rows& successors, const std::vector<ExecutionEdge>& edges,
                                    const std::vector<bool>& isSorted) {
    const auto nodeCount = static_cast<std::uint32_t>(successors.counts.size());
    auto predecessors = makeRows(
        nodeCount, edges, [](const ExecutionEdge& edge) { return edge.target; },
        [](const ExecutionEdge& edge) { return edge.source; });
    static_cast<void>(dropRepeats(predecessors));
    auto remaining = successors.counts;
    std::vector<std::uint32_t> ends;
    for (std::uint32_t node = 0; node < nodeCount; ++node) {
        if (remaining[node] == 0 && !isSorted[node]) ends.push_back(node);
    }
    for (std::size_t done = 0; done < ends.size(); ++done) {
        const auto* const run = predecessors.neighbours.data() + predecessors.starts[ends[done]];
        for (std::uint32_t i = 0; i < predecessors.counts[ends[done]]; ++i) {
            // What is sorted has its place; a node at 0 is an end already.
            if (!isSorted[run[i]] && --remaining[run[i]] == 0) ends.push_back(run[i]);
        }
    }
    return ends;
}

}  // namespace

ExecutionOrder computeExecutionOrder(std::uint32_t nodeCount, const std::vector<ExecutionEdge>& edges) {
    auto successors = makeRows(
        nodeCount, edges, [](const ExecutionEdge& edge) { return edge.source; },
        [](const ExecutionEdge& edge) { return edge.target; });
    auto waitingFor = dropRepeats(successors);

    // The order is its own queue: what is behind `done` waits for its turn. A node is written down before it is known
    // whether it stays, which spares the processor another unpredictable branch.
    ExecutionOrder result;
    auto& order = result.nodes;
    order.resize(nodeCount + 1);
    std::size_t size = 0;
    for (std::uint32_t node = 0; node < nodeCount; ++node) {
        order[size] = node;
        size += waitingFor[node] == 0 ? 1U : 0U;
    }
    for (std::size_t done = 0; done < size; ++done) {
        const auto* const run = successors.neighbours.data() + successors.starts[order[done]];
        const auto count = successors.counts[order[done]];
        for (std::uint32_t i = 0; i < count; ++i) {
            order[size] = run[i];
            size += --waitingFor[run[i]] == 0 ? 1U : 0U;
        }
    }
    order.resize(size);
    result.sortedCount = size;
    if (order.size() == nodeCount) return result;

    std::vector<bool> hasPlace(nodeCount, false);
    for (const auto node : order)
        hasPlace[node] = true;
    const auto ends = peelEnds(successors, edges, hasPlace);
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
