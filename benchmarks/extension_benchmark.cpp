// What extension types and extensions cost: registering types, making and destroying extensions by key.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>

#include "benchmarks/extension_types.h"
#include "kr/data/container.h"
#include "kr/data/field.h"

namespace {

using namespace kr_benchmark;

void BM_RegisterTypes(benchmark::State& state) {
    const Types<Bare> types(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        types.remove();
        state.ResumeTiming();
        types.add();
    }
    if (!KrExtensionFactory::isValid(types.keys.back())) state.SkipWithError("types lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RegisterTypes)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

/// Makes one extension of each of many types in turn, beside the same without the factory.
void BM_CreateByKey(benchmark::State& state) {
    const Types<Bare> types(state.range(0));
    std::size_t next = 0;
    for (auto _ : state) {
        const auto extension = KrExtensionFactory::create(types.keys[next]);
        benchmark::DoNotOptimize(extension.get());
        next = next + 1 < types.keys.size() ? next + 1 : 0;
    }
}
BENCHMARK(BM_CreateByKey)->Arg(100)->Arg(10'000);

void BM_CreateDirectly(benchmark::State& state) {
    const auto keys = makeKeys(state.range(0));
    std::size_t next = 0;
    for (auto _ : state) {
        const auto extension = makeDirectly(keys[next]);
        benchmark::DoNotOptimize(extension.get());
        next = next + 1 < keys.size() ? next + 1 : 0;
    }
}
BENCHMARK(BM_CreateDirectly)->Arg(100);

void BM_CreateDestroyVehicle(benchmark::State& state) {
    const Types<Vehicle> types(1);
    for (auto _ : state) {
        const auto extension = KrExtensionFactory::create(types.keys.front());
        benchmark::DoNotOptimize(extension.get());
    }
}
BENCHMARK(BM_CreateDestroyVehicle);

constexpr const char* kFieldNames[3][3] = {
    {"Force", "Brake", "Steering"}, {"Speed", "Distance", "Heading"}, {"Mass", "Drag", "Length"}};

/// The fields of a vehicle in their containers, without an extension.
void BM_NineFieldsInContainers(benchmark::State& state) {
    for (auto _ : state) {
        KrData::Container inputs("Inputs"), outputs("Outputs"), parameters("Parameters");
        KrData::Container* const groups[] = {&inputs, &outputs, &parameters};
        for (std::size_t group = 0; group < 3; ++group) {
            for (const char* name : kFieldNames[group])
                groups[group]->add<double>(name);
        }
        benchmark::DoNotOptimize(groups);
    }
}
BENCHMARK(BM_NineFieldsInContainers);

/// The fields alone.
void BM_NineBareFields(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<KrData::Field<double>> fields[3][3];
        for (std::size_t group = 0; group < 3; ++group) {
            for (std::size_t index = 0; index < 3; ++index)
                fields[group][index] = std::make_unique<KrData::Field<double>>(kFieldNames[group][index], nullptr);
        }
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(BM_NineBareFields);

}  // namespace
