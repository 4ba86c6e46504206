// Values along connections: chains beside a bare loop and the usual signals, fan-out, vectors, and the end of many
// connections.

#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "benchmarks/bare_chain.h"
#include "benchmarks/counted_loop.h"
#include "benchmarks/hide.h"
#include "benchmarks/second_thread.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/container.h"
#include "kr/data/vector.h"
#include "kr/events/event_dispatcher.h"

#ifdef KR_HAVE_SIGC
#include <sigc++/sigc++.h>
#endif

namespace {

using KrData::Container;
using KrData::Field;
using KrData::Types;
using Connection = std::unique_ptr<Kr::KrConnectionBase>;
using kr_benchmark::hide;

/// Outputs, each connected to the next.
struct Chain {
    explicit Chain(std::int64_t hops) {
        for (std::size_t i = 0; i <= static_cast<std::size_t>(hops); ++i) {
            fields.push_back(group.add<double>("Value"));
            if (i > 0) connections.push_back(std::make_unique<Kr::KrConnection>(fields[i - 1], fields[i]));
        }
    }
    Container group{"Outputs", nullptr, Types::kOutput};
    std::vector<Field<double>*> fields;
    std::vector<Connection> connections;
};

void reportHops(benchmark::State& state, bool isRight) {
    if (!isRight) state.SkipWithError("value lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// --- Chains --------------------------------------------------------------------------------------------------------

void BM_BareChain(benchmark::State& state) {
    BareChain bare(static_cast<std::size_t>(state.range(0)));
    auto* chain = hide(&bare);
    const double values[]{1.0, 2.0};
    unsigned at = 0;
    for (auto _ : state)
        chain->set(&values[++at % 2]);
    reportHops(state, bare.last() == values[at % 2]);
}

void BM_Chain(benchmark::State& state) {
    Chain chain(state.range(0));
    KrData::FieldBase* first = hide(chain.fields.front());
    const double values[]{1.0, 2.0};
    unsigned at = 0;
    {
        const kr_benchmark::CountedLoop counted(state);
        for (auto _ : state)
            first->setRawValue(&values[++at % 2]);
    }
    reportHops(state, chain.fields.back()->getValue() == values[at % 2]);
}

/// Every field is observed, so each hop is a notification of its own.
void BM_ObservedChain(benchmark::State& state) {
    Chain chain(state.range(0));
    std::vector<KrData::DelegateConnection> observers;
    std::uint64_t calls = 0;
    for (auto* field : chain.fields)
        observers.push_back(field->addObserver([&calls](const KrData::FieldBase&) { ++calls; }));
    const double values[]{1.0, 2.0};
    unsigned at = 0;
    for (auto _ : state)
        chain.fields.front()->setRawValue(&values[++at % 2]);
    reportHops(state, chain.fields.back()->getValue() == values[at % 2] && calls != 0);
}

/// A value that tells its listeners.
template <class Signal>
struct SignalNode {
    double value{0.0};
    Signal changed;
    void set(double given) {
        if (value == given) return;
        value = given;
        changed(value);
    }
};

template <class Node, class Connect>
void runSignals(benchmark::State& state, const Connect& connect) {
    std::vector<std::unique_ptr<Node>> nodes;
    for (std::size_t i = 0; i <= static_cast<std::size_t>(state.range(0)); ++i) {
        nodes.push_back(std::make_unique<Node>());
        if (i > 0) connect(*nodes[i - 1], *nodes[i]);
    }
    auto* first = hide(nodes.front().get());
    const double values[]{1.0, 2.0};
    unsigned at = 0;
    for (auto _ : state)
        first->set(values[++at % 2]);
    reportHops(state, nodes.back()->value == values[at % 2]);
}

void BM_Signals2Chain(benchmark::State& state) {
    using Node = SignalNode<boost::signals2::signal<void(double)>>;
    runSignals<Node>(state, [](Node& from, Node& to) { from.changed.connect([&to](double value) { to.set(value); }); });
}

#ifdef KR_HAVE_SIGC
void BM_SigcChain(benchmark::State& state) {
    using Node = SignalNode<sigc::signal<void, double>>;
    runSignals<Node>(state, [](Node& from, Node& to) { from.changed.connect(sigc::mem_fun(to, &Node::set)); });
}
BENCHMARK(BM_SigcChain)->Arg(1)->Arg(10)->Arg(100);
#endif

BENCHMARK(BM_BareChain)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_Chain)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_ObservedChain)->Arg(1)->Arg(10)->Arg(100)->Arg(10000);
BENCHMARK(BM_Signals2Chain)->Arg(1)->Arg(10)->Arg(100);

// --- Other kinds ---------------------------------------------------------------------------------------------------

void BM_FanOut(benchmark::State& state) {
    Container group("Outputs", nullptr, Types::kOutput);
    auto* source = group.add<double>("Source");
    std::vector<Connection> connections;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        connections.push_back(std::make_unique<Kr::KrConnection>(source, group.add<double>("Sink")));
    double value = 0.0;
    for (auto _ : state)
        source->setValue(value += 1.0);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FanOut)->Arg(1)->Arg(10)->Arg(100);

/// One item of a vector of 100,000 changes.
void changeOneItem(benchmark::State& state, bool isTracked, int sinks) {
    Container group("Outputs", nullptr, Types::kOutput);
    const std::vector<double> items(100'000, 0.0);
    KrData::Vector<double> source("Source", &group, items);
    source.enableIncrementalDataTransfer(isTracked);
    std::vector<std::unique_ptr<KrData::Vector<double>>> copies;
    std::vector<Connection> connections;
    for (int i = 0; i < sinks; ++i) {
        copies.push_back(std::make_unique<KrData::Vector<double>>("Sink", &group));
        connections.push_back(std::make_unique<Kr::KrConnection>(&source, copies.back().get()));
    }
    double value = 0.0;
    for (auto _ : state)
        source.setItem(50'000, value += 1.0);
    if (copies.back()->getItem(50'000) != value) state.SkipWithError("value lost");
}
void BM_VectorItemTracked(benchmark::State& state) {
    changeOneItem(state, true, 1);
}
void BM_VectorItemTrackedForThree(benchmark::State& state) {
    changeOneItem(state, true, 3);
}
void BM_VectorItemUntracked(benchmark::State& state) {
    changeOneItem(state, false, 1);
}
BENCHMARK(BM_VectorItemTracked);
BENCHMARK(BM_VectorItemTrackedForThree);
BENCHMARK(BM_VectorItemUntracked);

/// One child of a container changes.
void BM_ContainerChild(benchmark::State& state) {
    Container group("Outputs", nullptr, Types::kOutput);
    auto* source = group.addContainer("Source");
    auto* sink = group.addContainer("Sink");
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        for (auto* container : {source, sink})
            container->add<double>(std::to_string(i));
    }
    const Kr::KrConnection connection(source, sink);
    auto& child = *source->at(static_cast<std::size_t>(state.range(0) / 2)).as<double>();
    double value = 0.0;
    for (auto _ : state)
        child.setValue(value += 1.0);
    if (sink->at(static_cast<std::size_t>(state.range(0) / 2)).get<double>() != value) state.SkipWithError("lost");
}
BENCHMARK(BM_ContainerChild)->Arg(10)->Arg(10'000);

void BM_Queued(benchmark::State& state) {
    Container group("Outputs", nullptr, Types::kOutput);
    auto* source = group.add<double>("Source");
    auto* sink = group.add<double>("Sink");
    const Kr::KrSimQueuedConnection connection(source, sink);
    double value = 0.0;
    {
        const kr_benchmark::CountedLoop counted(state);
        for (auto _ : state)
            source->setValue(value += 1.0);
    }
    if (sink->getValue() != value) state.SkipWithError("value lost");
}
BENCHMARK(BM_Queued);

/// The connections of one source end in the order of their making.
void BM_EndConnections(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    Container group("Outputs", nullptr, Types::kOutput);
    auto* source = group.add<double>("Source");
    std::vector<Field<double>*> sinks;
    for (std::size_t i = 0; i < count; ++i)
        sinks.push_back(group.add<double>("Sink"));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<Connection> connections;
        for (auto* sink : sinks)
            connections.push_back(std::make_unique<Kr::KrConnection>(source, sink));
        state.ResumeTiming();
        for (auto& connection : connections)
            connection.reset();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_EndConnections)->Arg(10'000)->Arg(100'000)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
