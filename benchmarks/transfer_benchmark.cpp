// Handing the value of one field to another: same type, converted, through a function, to a proxy of ten fields.

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "benchmarks/bare_property.h"
#include "benchmarks/counted_loop.h"
#include "benchmarks/hide.h"
#include "kr/data/container.h"
#include "kr/data/field_array.h"
#include "kr/data/proxy.h"
#include "kr/data/value_conversion.h"

namespace {

using kr_benchmark::hide;
using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::Types;

// --- The limits -----------------------------------------------------------------------------------------------------

void BM_BareVirtualSet(benchmark::State& state) {
    BareProperty bare;
    auto* property = hide(&bare);
    const double values[]{1.0, 2.0};
    unsigned at = 0;
    for (auto _ : state)
        property->set(&values[++at % 2]);
    if (bare.get() != values[at % 2]) state.SkipWithError("value lost");
}
BENCHMARK(BM_BareVirtualSet);

void BM_FromChars(benchmark::State& state) {
    const std::string texts[]{"12.5", "-0.0625"};
    unsigned at = 0;
    double value = 0.0;
    for (auto _ : state) {
        const auto& text = *hide(&texts[++at % 2]);
        std::from_chars(text.data(), text.data() + text.size(), value);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_FromChars);

// --- Ours -----------------------------------------------------------------------------------------------------------

template <class From, class To>
void copyFields(benchmark::State& state, const From& one, const From& another, const To& expected) {
    const Field<From> sources[]{Field<From>("One", nullptr, one), Field<From>("Another", nullptr, another)};
    Field<To> sinkField("Sink");
    FieldBase* sink = hide<FieldBase>(&sinkField);
    unsigned at = 0;
    {
        const kr_benchmark::CountedLoop counted(state);
        for (auto _ : state)
            sink->copyValue(sources[++at % 2]);
    }
    sink->copyValue(sources[0]);
    if (sinkField.getValue() != expected) state.SkipWithError("value lost");
}

void BM_CopySameType(benchmark::State& state) {
    copyFields<double, double>(state, 1.0, 2.0, 1.0);
}
BENCHMARK(BM_CopySameType);

void BM_CopyIntegerToDouble(benchmark::State& state) {
    copyFields<int, double>(state, 1, 2, 1.0);
}
BENCHMARK(BM_CopyIntegerToDouble);

void BM_CopyDoubleToInteger(benchmark::State& state) {
    copyFields<double, int>(state, 1.5, 2.5001, 2);
}
BENCHMARK(BM_CopyDoubleToInteger);

void BM_CopyTextToDouble(benchmark::State& state) {
    copyFields<std::string, double>(state, "12.5", "-0.0625", 12.5);
}
BENCHMARK(BM_CopyTextToDouble);

void BM_CopyThroughFunction(benchmark::State& state) {
    Field<double> source("Source");
    Field<double> sink("Sink");
    const std::function<double(double)> half = [](double x) { return x / 2.0; };
    double value = 0.0;
    const kr_benchmark::CountedLoop counted(state);
    for (auto _ : state) {
        source.setValue(value += 1.0);
        KrData::ApplyTransferFunction(source, sink, half);
    }
    if (sink.getValue() != value / 2.0) state.SkipWithError("value lost");
}
BENCHMARK(BM_CopyThroughFunction);

void BM_CopyArrayToVector3(benchmark::State& state) {
    KrData::FieldArray<Field<double>> array("Array");
    array.resize(3);
    Field<KrMath::Vector3T<double>> sinkField("Sink");
    FieldBase* sink = hide<FieldBase>(&sinkField);
    double value = 0.0;
    const kr_benchmark::CountedLoop counted(state);
    for (auto _ : state) {
        array.item(0)->setValue(value += 1.0);
        sink->copyValue(array);
    }
    if (sinkField.getValue().x != value) state.SkipWithError("value lost");
}
BENCHMARK(BM_CopyArrayToVector3);

/// Ten fields set one by one, or through a proxy that links them.
void BM_SetTen(benchmark::State& state) {
    Container inputs("Inputs", nullptr, Types::kInput);
    std::vector<FieldBase*> linked;
    auto* proxy = new KrData::Proxy("Proxy", Types::kDouble, &inputs);
    for (int i = 0; i < 10; ++i) {
        linked.push_back(inputs.add<double>("Linked" + std::to_string(i)));
        if (state.range(0) != 0) proxy->addLink(linked.back());
    }
    Field<double> source("Source");
    const std::vector<FieldBase*> sinks = state.range(0) != 0 ? std::vector<FieldBase*>{proxy} : linked;
    double value = 0.0;
    {
        const kr_benchmark::CountedLoop counted(state);
        for (auto _ : state) {
            source.setValue(value += 1.0);
            for (auto* sink : sinks)
                sink->copyValue(source);
        }
    }
    if (linked.back()->get<double>() != value) state.SkipWithError("value lost");
}
BENCHMARK(BM_SetTen)->Arg(0)->Arg(1);

}  // namespace
