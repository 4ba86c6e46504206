#include "kr/extension/order/internal/execution_order.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/support/case_name.h"

namespace execution_order_test {

using KrSim::detail::computeExecutionOrder;
using KrSim::detail::ExecutionEdge;
using Numbers = std::vector<std::uint32_t>;

struct Case {
    const char* name;
    std::uint32_t nodeCount;
    std::vector<ExecutionEdge> edges;
    Numbers order;
    std::size_t sortedCount, loopCount;
};

class ExecutionOrders : public testing::TestWithParam<Case> {};

TEST_P(ExecutionOrders, AreThose) {
    const auto& each = GetParam();
    const auto result = computeExecutionOrder(each.nodeCount, each.edges);
    EXPECT_EQ(result.nodes, each.order);
    EXPECT_EQ(result.sortedCount, each.sortedCount);
    EXPECT_EQ(result.loopCount, each.loopCount);
}

const Case kGraphs[] = {
    {"Nothing", 0, {}, {}, 0, 0},
    {"RootsInOrderThenWhatTheyFeed", 3, {{2, 0}}, {1, 2, 0}, 3, 0},
    {"SuccessorsInTheOrderOfTheirFirstEdge", 4, {{0, 3}, {0, 1}, {0, 3}, {0, 2}}, {0, 3, 1, 2}, 4, 0},
    {"RepeatedEdgesCountOnce", 3, {{0, 1}, {0, 1}, {1, 2}, {0, 2}, {0, 2}}, {0, 1, 2}, 3, 0},
    {"FreedByTheLastPredecessor", 4, {{0, 3}, {1, 3}, {2, 1}}, {0, 2, 1, 3}, 4, 0},
    {"DownstreamOfACycle", 3, {{0, 1}, {1, 0}, {1, 2}}, {0, 1, 2}, 0, 2},
    {"DownstreamEachBehindItsPredecessor",
     6,
     {{5, 4}, {4, 5}, {4, 3}, {3, 2}, {2, 0}, {3, 0}, {1, 5}},
     {1, 4, 5, 3, 2, 0},
     1,
     2},
    {"BetweenTwoCycles", 5, {{0, 1}, {1, 0}, {1, 2}, {2, 3}, {3, 4}, {4, 3}}, {0, 1, 2, 3, 4}, 0, 5},
    {"ItsOwnSuccessor", 2, {{0, 0}, {0, 1}}, {0, 1}, 0, 1},
    {"SortedBesideACycle", 4, {{3, 2}, {2, 3}, {0, 1}}, {0, 1, 2, 3}, 2, 2},
};
INSTANTIATE_TEST_SUITE_P(Graphs, ExecutionOrders, testing::ValuesIn(kGraphs), test_support::caseName);

TEST(ExecutionOrder, HoldsForRandomGraphs) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 200; ++round) {
        const auto nodeCount = static_cast<std::uint32_t>(1U + random() % 40U);
        std::vector<ExecutionEdge> edges(random() % 60U);
        for (auto& edge : edges)
            edge = {static_cast<std::uint32_t>(random() % nodeCount), static_cast<std::uint32_t>(random() % nodeCount)};
        const auto result = computeExecutionOrder(nodeCount, edges);
        ASSERT_EQ(result.nodes.size(), nodeCount);
        Numbers place(nodeCount, nodeCount);
        for (std::uint32_t i = 0; i < nodeCount; ++i)
            place[result.nodes[i]] = i;
        const auto loopEnd = result.sortedCount + result.loopCount;
        const auto isInLoop = [&](std::uint32_t node) {
            return place[node] >= result.sortedCount && place[node] < loopEnd;
        };
        for (const auto& [source, target] : edges) {
            const bool mayTurnBack = isInLoop(source) && isInLoop(target);
            ASSERT_TRUE(mayTurnBack || place[source] < place[target]) << "round " << round;
        }
    }
}

}  // namespace execution_order_test
