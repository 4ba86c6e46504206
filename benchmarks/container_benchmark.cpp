// How containers grow: building, cloning and comparing many children, and finding one by its path.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/data/container.h"
#include "kr/data/field.h"

namespace {

std::vector<Kr::KrID> names(std::int64_t count) {
    std::vector<Kr::KrID> ids;
    ids.reserve(static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i)
        ids.emplace_back("Field " + std::to_string(i));
    return ids;
}

std::unique_ptr<KrData::Container> build(const std::vector<Kr::KrID>& ids) {
    auto container = std::make_unique<KrData::Container>("Tree");
    for (const auto& id : ids)
        container->add<double>(id, 1.0);
    return container;
}

void BM_AddChildren(benchmark::State& state) {
    const auto ids = names(state.range(0));
    for (auto _ : state) {
        auto container = build(ids);
        state.PauseTiming();
        if (container->size() != ids.size()) state.SkipWithError("children lost");
        container.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AddChildren)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

/// Half of the children in one container, the rest in groups of ten, as content has it.
std::unique_ptr<KrData::Container> buildTree(std::int64_t count) {
    const auto ids = names(count);
    auto tree = std::make_unique<KrData::Container>("Tree");
    KrData::Container* group = nullptr;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (i < ids.size() / 2) {
            tree->add<double>(ids[i], 1.0);
        } else {
            if (group == nullptr || group->size() == 10) group = tree->addContainer(ids[i]);
            group->add<double>(ids[i], 1.0);
        }
    }
    return tree;
}

void BM_CloneTree(benchmark::State& state) {
    const auto tree = buildTree(state.range(0));
    for (auto _ : state) {
        std::unique_ptr<KrData::Container> copy(tree->clone(nullptr));
        state.PauseTiming();
        if (copy->size() != tree->size()) state.SkipWithError("children lost");
        copy.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CloneTree)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_CompareTrees(benchmark::State& state) {
    const auto tree = buildTree(state.range(0));
    const std::unique_ptr<KrData::Container> copy(tree->clone(nullptr));
    bool equal = false;
    for (auto _ : state)
        benchmark::DoNotOptimize(equal = tree->isEqual(*copy));
    if (!equal) state.SkipWithError("not equal");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CompareTrees)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

// --- Path lookup among 30 children in each of three levels ----------------------------------------------------------

std::unique_ptr<KrData::Container> buildLevels(std::string& lastPath) {
    auto top = std::make_unique<KrData::Container>("Vehicle");
    KrData::Container* level = top.get();
    KrData::FieldBase* last = nullptr;
    for (int depth = 0; depth < 3; ++depth) {
        for (int i = 0; i < 29; ++i)
            last = level->add<double>("Channel " + std::to_string(i));
        if (depth < 2) level = level->addContainer("Group " + std::to_string(depth));
    }
    lastPath = last->getPath();
    return top;
}

void BM_FindPath(benchmark::State& state) {
    std::string path;
    const auto top = buildLevels(path);
    const KrData::FieldBase* found = nullptr;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state)
        benchmark::DoNotOptimize(found = top->findFieldFromPath(path));
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (found == nullptr) state.SkipWithError("not found");
}
BENCHMARK(BM_FindPath);

const KrData::FieldBase* findByBuildingPaths(const KrData::Container& container, std::string_view path) {
    for (const auto* child : container) {
        const auto childPath = child->getPath();
        if (childPath == path) return child;
        if (child->getDataType() != KrData::Types::kContainer || !path.starts_with(childPath)) continue;
        if (const auto* found = findByBuildingPaths(static_cast<const KrData::Container&>(*child), path)) return found;
    }
    return nullptr;
}

void BM_FindPathByBuildingPaths(benchmark::State& state) {
    std::string path;
    const auto top = buildLevels(path);
    const KrData::FieldBase* found = nullptr;
    for (auto _ : state)
        benchmark::DoNotOptimize(found = findByBuildingPaths(*top, path));
    if (found == nullptr) state.SkipWithError("not found");
}
BENCHMARK(BM_FindPathByBuildingPaths);

/// The second observer of a large tree must not walk it.
void BM_SecondObserver(benchmark::State& state) {
    const auto tree = build(names(state.range(0)));
    const auto first = tree->addObserver([](const KrData::FieldBase&) {});
    for (auto _ : state) {
        const auto second = tree->addObserver([](const KrData::FieldBase&) {});
        benchmark::DoNotOptimize(second.isConnected());
    }
}
BENCHMARK(BM_SecondObserver)->Arg(1'000)->Arg(100'000);

}  // namespace
