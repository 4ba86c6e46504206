// How the execution order is made: against a bare compressed-row sort on numbers, and Boost.Graph's adjacency list.

#include <benchmark/benchmark.h>
#include <algorithm>

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/topological_sort.hpp>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/extension/extension.h"
#include "kr/extension/order/extension_sorter.h"

namespace {

using Kr::KrSmartPtr;
using KrSim::KrExtension;
using KrSim::KrExtensionSorter;
/// How many of what the case is named after; a debug build only checks that it runs.
std::uint32_t sizeOf(const benchmark::State& state) {
#ifdef NDEBUG
    return static_cast<std::uint32_t>(state.range(0));
#else
    return static_cast<std::uint32_t>(state.range(0) / 100);
#endif
}

using Edges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

/// Two edges a node on average, each from an earlier node of a shuffled order to a later one.
Edges randomEdges(std::uint32_t nodeCount) {
    std::mt19937 random(7);
    std::vector<std::uint32_t> order(nodeCount);
    for (std::uint32_t i = 0; i < nodeCount; ++i)
        order[i] = i;
    std::shuffle(order.begin(), order.end(), random);
    Edges edges;
    edges.reserve(2UL * nodeCount);
    while (edges.size() < 2UL * nodeCount) {
        auto a = static_cast<std::uint32_t>(random() % nodeCount);
        auto b = static_cast<std::uint32_t>(random() % nodeCount);
        if (a == b) continue;
        if (a > b) std::swap(a, b);
        edges.emplace_back(order[a], order[b]);
    }
    return edges;
}

/// The limit: Kahn's algorithm over compressed rows of numbers, repeats and all.
std::size_t sortRows(std::uint32_t nodeCount, const Edges& edges) {
    std::vector<std::uint32_t> starts(nodeCount + 1, 0), rows(edges.size()), waiting(nodeCount, 0), order;
    for (const auto& [source, target] : edges) {
        ++starts[source + 1];
        ++waiting[target];
    }
    for (std::uint32_t i = 0; i < nodeCount; ++i)
        starts[i + 1] += starts[i];
    auto next = starts;
    for (const auto& [source, target] : edges)
        rows[next[source]++] = target;
    order.reserve(nodeCount);
    for (std::uint32_t i = 0; i < nodeCount; ++i) {
        if (waiting[i] == 0) order.push_back(i);
    }
    for (std::size_t done = 0; done < order.size(); ++done) {
        for (auto i = starts[order[done]]; i < starts[order[done] + 1]; ++i) {
            if (--waiting[rows[i]] == 0) order.push_back(rows[i]);
        }
    }
    return order.size();
}

void BM_BareRows(benchmark::State& state) {
    const auto nodeCount = sizeOf(state);
    const auto edges = randomEdges(nodeCount);
    for (auto _ : state) {
        if (sortRows(nodeCount, edges) != nodeCount) state.SkipWithError("not sorted");
    }
    state.SetItemsProcessed(state.iterations() * sizeOf(state) * 3);
}
BENCHMARK(BM_BareRows)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMillisecond);

void BM_BoostAdjacencyList(benchmark::State& state) {
    using Graph = boost::adjacency_list<boost::vecS, boost::vecS, boost::directedS>;
    const auto edges = randomEdges(sizeOf(state));
    for (auto _ : state) {
        Graph graph(sizeOf(state));
        for (const auto& [source, target] : edges)
            boost::add_edge(source, target, graph);
        std::vector<std::size_t> order;
        order.reserve(sizeOf(state));
        boost::topological_sort(graph, std::back_inserter(order));
        if (order.size() != sizeOf(state)) state.SkipWithError("not sorted");
    }
    state.SetItemsProcessed(state.iterations() * sizeOf(state) * 3);
}
BENCHMARK(BM_BoostAdjacencyList)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMillisecond);

/// Orders two extensions and transfers nothing.
class Link final : public Kr::KrConnectionBase {
public:
    Link(KrExtension* source, KrExtension* sink) { _setOwners(source, sink); }
    ~Link() override { KrExtensionSorter::instance()._removeConnection(this); }
    [[nodiscard]] bool isValid() const override { return true; }
    [[nodiscard]] bool isEnabled() const override { return true; }
    void enable(bool) override {}
    void disable(bool) override {}
    void transferValue(const KrData::FieldBase&) override {}
    [[nodiscard]] KrConnectionBase* _createBetween(KrData::FieldBase&, KrData::FieldBase&) const override {
        return nullptr;
    }
};

/// Registered extensions and connections, gone with it.
class Graph {
public:
    Graph(std::int64_t nodeCount, const Edges& edges) {
        auto& sorter = KrExtensionSorter::instance();
        extensions.reserve(static_cast<std::size_t>(nodeCount));
        for (std::int64_t i = 0; i < nodeCount; ++i) {
            extensions.push_back(Kr::makeSmart<KrExtension>());
            sorter.addExtension(extensions.back().get());
        }
        links.reserve(edges.size());
        for (const auto& [source, target] : edges)
            addLink(source, target);
    }
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;
    ~Graph() {
        links.clear();
        KrExtensionSorter::instance().reset();
    }
    void addLink(std::uint32_t source, std::uint32_t target) {
        links.push_back(std::make_unique<Link>(extensions[source].get(), extensions[target].get()));
        KrExtensionSorter::instance()._addConnection(links.back().get());
    }
    /// An extension and a connection leave and come back.
    void touch() {
        auto& sorter = KrExtensionSorter::instance();
        auto* extension = extensions[extensions.size() / 2].get();
        sorter.removeExtension(extension);
        sorter.addExtension(extension);
        auto* link = links[links.size() / 2].get();
        sorter._removeConnection(link);
        sorter._addConnection(link);
    }
    /// All leave and come back.
    void touchAll() {
        auto& sorter = KrExtensionSorter::instance();
        sorter.reset();
        for (const auto& extension : extensions)
            sorter.addExtension(extension.get());
        for (const auto& link : links)
            sorter._addConnection(link.get());
    }

    std::vector<KrSmartPtr<KrExtension>> extensions;
    std::vector<std::unique_ptr<Link>> links;
};

void BM_Build(benchmark::State& state) {
    Graph graph(sizeOf(state), randomEdges(sizeOf(state)));
    auto& sorter = KrExtensionSorter::instance();
    for (auto _ : state) {
        graph.touch();
        sorter.build();
    }
    if (sorter.hasGraphCycle()) state.SkipWithError("not sorted");
    state.SetItemsProcessed(state.iterations() * sizeOf(state) * 3);
}
BENCHMARK(BM_Build)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMillisecond);

void BM_FirstBuild(benchmark::State& state) {
    Graph graph(sizeOf(state), randomEdges(sizeOf(state)));
    auto& sorter = KrExtensionSorter::instance();
    for (auto _ : state) {
        state.PauseTiming();
        graph.touchAll();
        state.ResumeTiming();
        sorter.build();
    }
    if (sorter.hasGraphCycle()) state.SkipWithError("not sorted");
    state.SetItemsProcessed(state.iterations() * sizeOf(state) * 3);
}
BENCHMARK(BM_FirstBuild)->RangeMultiplier(10)->Range(10'000, 1'000'000)->Unit(benchmark::kMillisecond);

void BM_BuildHub(benchmark::State& state) {
    Edges edges;
    for (std::uint32_t i = 1; i < sizeOf(state); ++i)
        edges.emplace_back(0, i);
    Graph graph(sizeOf(state), edges);
    for (auto _ : state) {
        graph.touch();
        KrExtensionSorter::instance().build();
    }
}
BENCHMARK(BM_BuildHub)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_SortHundred(benchmark::State& state) {
    Graph graph(sizeOf(state), {});
    Kr::KrArray<KrSmartPtr<KrExtension>> shuffled;
    std::mt19937 random(7);
    for (int i = 0; i < 100; ++i)
        shuffled.append(graph.extensions[random() % graph.extensions.size()]);
    KrExtensionSorter::instance().build();
    for (auto _ : state) {
        auto list = shuffled;
        KrExtensionSorter::instance().sortExtensions(list);
        benchmark::DoNotOptimize(list);
    }
}
BENCHMARK(BM_SortHundred)->Arg(10'000)->Arg(1'000'000);

void BM_Unchanged(benchmark::State& state) {
    Graph graph(1000, {});
    auto& sorter = KrExtensionSorter::instance();
    sorter.build();
    const auto remembered = sorter.getLastBuildNumber();
    for (auto _ : state)
        benchmark::DoNotOptimize(sorter.getLastBuildNumber() == remembered);
}
BENCHMARK(BM_Unchanged);

void BM_DestroyConnections(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto graph = std::make_unique<Graph>(2, Edges());
        for (std::uint32_t i = 0; i < sizeOf(state); ++i)
            graph->addLink(0, 1);
        state.ResumeTiming();
        for (auto& link : graph->links)
            link.reset();
        state.PauseTiming();
        graph.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_DestroyConnections)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
