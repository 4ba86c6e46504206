// 100,000 fields of mixed kinds in binary archives, beside the same values and identifiers through Boost's own archive.

#include <benchmark/benchmark.h>

#include <array>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/array.hpp>
#include <boost/serialization/string.hpp>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "kr/persistence/archives/binary_in_archive.h"
#include "kr/persistence/archives/binary_out_archive.h"
#include "kr/persistence/fields/field_archive.h"

namespace {

using KrData::Container;
using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;

constexpr int kGroups = 5'000;
constexpr int kFieldsPerGroup = 20;
constexpr int kFields = kGroups * kFieldsPerGroup;

using Position = std::array<double, 3>;
using Value = std::variant<double, int, bool, std::string, Position>;

struct Bare {
    std::string identifier;
    Value value;
};

std::string nameOf(int index) {
    return "Parameter " + std::to_string(index);
}

Value valueOf(int index) {
    switch (index % 5) {
        case 0:
            return index * 0.25;
        case 1:
            return index;
        case 2:
            return index % 2 == 0;
        case 3:
            return "wheel " + std::to_string(index);
        default:
            return Position{1.0, 2.0, index * 0.5};
    }
}

const std::vector<Bare>& bareFields() {
    static const auto all = [] {
        std::vector<Bare> list;
        for (int i = 0; i < kFields; ++i)
            list.push_back({nameOf(i % kFieldsPerGroup), valueOf(i)});
        return list;
    }();
    return all;
}

void add(Container& group, const Bare& bare) {
    if (const auto* real = std::get_if<double>(&bare.value)) group.add<double>(bare.identifier, *real);
    if (const auto* number = std::get_if<int>(&bare.value)) group.add<int>(bare.identifier, *number);
    if (const auto* truth = std::get_if<bool>(&bare.value)) group.add<bool>(bare.identifier, *truth);
    if (const auto* text = std::get_if<std::string>(&bare.value)) group.add<std::string>(bare.identifier, *text);
    if (const auto* place = std::get_if<Position>(&bare.value)) {
        group.add<KrMath::Vector3T<double>>(bare.identifier, {(*place)[0], (*place)[1], (*place)[2]});
    }
}

std::unique_ptr<Container> made(const std::vector<Bare>& all) {
    auto root = std::make_unique<Container>("Root");
    Container* group = nullptr;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i % kFieldsPerGroup == 0) group = root->addContainer("Group " + std::to_string(i));
        add(*group, all[i]);
    }
    return root;
}

const Container& fields() {
    static const auto& root = *made(bareFields()).release();
    return root;
}

std::string savedFields() {
    std::ostringstream stream;
    {
        BinaryOutArchive archive(stream, 0);
        BinaryOutArchive::Writer writer(archive);
        KrPersistence::writeField(writer, "Fields", fields());
    }
    return std::move(stream).str();
}

std::string savedBare() {
    std::ostringstream stream;
    {
        boost::archive::binary_oarchive archive(stream);
        for (const auto& each : bareFields()) {
            const int kind = static_cast<int>(each.value.index());
            archive << each.identifier << kind;
            std::visit([&](const auto& value) { archive << value; }, each.value);
        }
    }
    return std::move(stream).str();
}

template <class T>
Value loadedValue(boost::archive::binary_iarchive& archive) {
    T value{};
    archive >> value;
    return value;
}

Value loadedValue(boost::archive::binary_iarchive& archive, int kind) {
    switch (kind) {
        case 0:
            return loadedValue<double>(archive);
        case 1:
            return loadedValue<int>(archive);
        case 2:
            return loadedValue<bool>(archive);
        case 3:
            return loadedValue<std::string>(archive);
        default:
            return loadedValue<Position>(archive);
    }
}

void report(benchmark::State& state, std::size_t bytes) {
    state.SetItemsProcessed(state.iterations() * kFields);
    state.counters["bytes_per_field"] = static_cast<double>(bytes) / kFields;
}

void BM_SaveFields(benchmark::State& state) {
    std::size_t bytes = 0;
    static_cast<void>(fields());
    for (auto _ : state) {
        bytes = savedFields().size();
        benchmark::DoNotOptimize(bytes);
    }
    report(state, bytes);
}
BENCHMARK(BM_SaveFields)->Unit(benchmark::kMillisecond);

void BM_BareSave(benchmark::State& state) {
    std::size_t bytes = 0;
    static_cast<void>(bareFields());
    for (auto _ : state) {
        bytes = savedBare().size();
        benchmark::DoNotOptimize(bytes);
    }
    report(state, bytes);
}
BENCHMARK(BM_BareSave)->Unit(benchmark::kMillisecond);

void BM_LoadFields(benchmark::State& state) {
    const auto bytes = savedFields();
    std::unique_ptr<KrData::FieldBase> loaded;
    for (auto _ : state) {
        std::istringstream stream(bytes);
        BinaryInArchive archive(stream, 0);
        BinaryInArchive::Reader reader(archive);
        KrPersistence::FieldReadContext context;
        loaded = KrPersistence::readField(reader, "Fields", context);
    }
    if (!loaded->isEqual(fields())) std::abort();
    report(state, bytes.size());
}
BENCHMARK(BM_LoadFields)->Unit(benchmark::kMillisecond);

/// The values, and fields made of them by hand.
void BM_BareLoadAndMake(benchmark::State& state) {
    const auto bytes = savedBare();
    std::vector<Bare> loaded;
    std::unique_ptr<Container> root;
    for (auto _ : state) {
        std::istringstream stream(bytes);
        boost::archive::binary_iarchive archive(stream);
        loaded.clear();
        for (int i = 0; i < kFields; ++i) {
            auto& each = loaded.emplace_back();
            int kind = 0;
            archive >> each.identifier >> kind;
            each.value = loadedValue(archive, kind);
        }
        root = made(loaded);
    }
    if (!root->isEqual(fields())) std::abort();
    report(state, bytes.size());
}
BENCHMARK(BM_BareLoadAndMake)->Unit(benchmark::kMillisecond);

}  // namespace
