// Saving and loading in memory, with the same classes, beside the binary archive that Boost brings.

#include <benchmark/benchmark.h>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "benchmarks/archive_items.h"

KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::Wheel)
KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::Door)

namespace archive_benchmark {
namespace {

using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;

const std::vector<double>& doubles() {
    static const std::vector<double> made(1'000'000, 0.1);
    return made;
}

struct Ours {
    static auto out(std::ostream& stream) { return BinaryOutArchive(stream, 0); }
    static auto in(std::istream& stream) { return BinaryInArchive(stream, 0); }
    static void take(BinaryInArchive& archive, Item* item) { archive.adopt(item); }
    static void finish(BinaryInArchive& archive) { archive.requireOwned(); }
};

struct Stock {
    static auto out(std::ostream& stream) { return boost::archive::binary_oarchive(stream); }
    static auto in(std::istream& stream) { return boost::archive::binary_iarchive(stream); }
    static void take(boost::archive::binary_iarchive&, Item*) {}
    static void finish(boost::archive::binary_iarchive&) {}
};

template <class Kind>
std::string saveItems() {
    std::ostringstream stream;
    auto archive = Kind::out(stream);
    for (const auto& each : items()) {
        const Item* item = each.get();
        archive << item;
    }
    return std::move(stream).str();
}

template <class Kind>
Items loadItems(const std::string& bytes) {
    std::istringstream stream(bytes);
    auto archive = Kind::in(stream);
    Items result;
    for (std::size_t i = 0; i < items().size(); ++i) {
        Item* item = nullptr;
        archive >> item;
        Kind::take(archive, item);
        result.emplace_back(item);
    }
    Kind::finish(archive);
    return result;
}

template <class Kind>
void saveObjects(benchmark::State& state) {
    std::string bytes;
    for (auto _ : state)
        benchmark::DoNotOptimize(bytes = saveItems<Kind>());
    require(loadItems<Kind>(bytes).back()->name == items().back()->name);
}

template <class Kind>
void loadObjects(benchmark::State& state) {
    const std::string bytes = saveItems<Kind>();
    Items loaded;
    for (auto _ : state) {
        loaded = loadItems<Kind>(bytes);
    }
    require(loaded.size() == items().size() && loaded[1]->name == items()[1]->name);
}

template <class Kind>
std::string saveValues() {
    std::ostringstream stream;
    Kind::out(stream) << doubles();
    return std::move(stream).str();
}

template <class Kind>
void saveDoubles(benchmark::State& state) {
    std::string bytes;
    for (auto _ : state)
        benchmark::DoNotOptimize(bytes = saveValues<Kind>());
    require(bytes.size() > 8 * doubles().size());
}

template <class Kind>
void loadDoubles(benchmark::State& state) {
    const std::string bytes = saveValues<Kind>();
    std::vector<double> loaded;
    for (auto _ : state) {
        std::istringstream stream(bytes);
        Kind::in(stream) >> loaded;
    }
    require(loaded == doubles());
}

void BM_SaveObjects(benchmark::State& state) {
    saveObjects<Ours>(state);
}
void BM_StockSaveObjects(benchmark::State& state) {
    saveObjects<Stock>(state);
}
void BM_LoadObjects(benchmark::State& state) {
    loadObjects<Ours>(state);
}
void BM_StockLoadObjects(benchmark::State& state) {
    loadObjects<Stock>(state);
}
void BM_SaveDoubles(benchmark::State& state) {
    saveDoubles<Ours>(state);
}
void BM_StockSaveDoubles(benchmark::State& state) {
    saveDoubles<Stock>(state);
}
void BM_LoadDoubles(benchmark::State& state) {
    loadDoubles<Ours>(state);
}
void BM_StockLoadDoubles(benchmark::State& state) {
    loadDoubles<Stock>(state);
}

BENCHMARK(BM_SaveObjects);
BENCHMARK(BM_StockSaveObjects);
BENCHMARK(BM_LoadObjects);
BENCHMARK(BM_StockLoadObjects);
BENCHMARK(BM_SaveDoubles);
BENCHMARK(BM_StockSaveDoubles);
BENCHMARK(BM_LoadDoubles);
BENCHMARK(BM_StockLoadDoubles);

}  // namespace
}  // namespace archive_benchmark
