// Saving and loading in memory, with the same classes, beside the binary archive that Boost brings.

#include <benchmark/benchmark.h>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <cstddef>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "benchmarks/archive_items.h"
#include "benchmarks/memory_peak.h"
#include "kr/persistence/archives/binary_archive_reader.h"
#include "kr/persistence/archives/binary_archive_writer.h"

KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::Wheel)
KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::Door)
BOOST_CLASS_EXPORT_KEY2(archive_benchmark::LightWheel, "LightWheel")
BOOST_CLASS_EXPORT_KEY2(archive_benchmark::LightDoor, "LightDoor")
KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::LightWheel)
KR_ARCHIVE_CLASS_IMPLEMENT(archive_benchmark::LightDoor)

namespace archive_benchmark {
namespace {

using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;

const std::vector<double>& doubles() {
    static const std::vector<double> made(1'000'000, 0.1);
    return made;
}

struct Ours {
    static constexpr bool kIsTracked = true;
    static auto out(std::ostream& stream) { return BinaryOutArchive(stream, 0); }
    static auto in(std::istream& stream) { return BinaryInArchive(stream, 0); }
    static void take(BinaryInArchive& archive, Item* item) { archive.adopt(item); }
    static void finish(BinaryInArchive& archive) { archive.requireOwned(); }
};

struct Stock {
    static constexpr bool kIsTracked = true;
    static auto out(std::ostream& stream) { return boost::archive::binary_oarchive(stream); }
    static auto in(std::istream& stream) { return boost::archive::binary_iarchive(stream); }
    static void take(boost::archive::binary_iarchive&, Item*) {}
    static void finish(boost::archive::binary_iarchive&) {}
};

/// Objects that are not tracked belong to the pointer that they were read for.
struct OursUntracked : Ours {
    static constexpr bool kIsTracked = false;
    static void take(BinaryInArchive&, Item*) {}
};

template <class Kind>
void writeItems(auto& archive) {
    for (const auto& each : items<Kind::kIsTracked>()) {
        const Item* item = each.get();
        archive << item;
    }
}

template <class Kind>
Items readItems(auto& archive) {
    Items result;
    for (std::size_t i = 0; i < items<Kind::kIsTracked>().size(); ++i) {
        Item* item = nullptr;
        archive >> item;
        Kind::take(archive, item);
        result.emplace_back(item);
    }
    Kind::finish(archive);
    return result;
}

template <class Kind>
std::string saveItems() {
    std::ostringstream stream;
    auto archive = Kind::out(stream);
    writeItems<Kind>(archive);
    return std::move(stream).str();
}

template <class Kind>
Items loadItems(const std::string& bytes) {
    std::istringstream stream(bytes);
    auto archive = Kind::in(stream);
    return readItems<Kind>(archive);
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

/// The way that content of the framework takes.
void BM_SaveBlock(benchmark::State& state) {
    std::string bytes;
    for (auto _ : state) {
        std::ostringstream stream;
        BinaryOutArchive archive(stream, 0);
        KrPersistence::BinaryArchiveWriter(archive).writeBlock("", std::span<const double>(doubles()));
        bytes = std::move(stream).str();
    }
    require(bytes.size() > 8 * doubles().size());
}

void BM_LoadBlock(benchmark::State& state) {
    std::ostringstream saved;
    BinaryOutArchive out(saved, 0);
    KrPersistence::BinaryArchiveWriter(out).writeBlock("", std::span<const double>(doubles()));
    const std::string bytes = std::move(saved).str();
    std::vector<double> loaded;
    for (auto _ : state) {
        std::istringstream stream(bytes);
        BinaryInArchive archive(stream, 0);
        KrPersistence::BinaryArchiveReader(archive).readBlock("", loaded);
    }
    require(loaded == doubles());
}

/// How far the memory of the process rises while doubles and objects are loaded, to the size of their file.
void BM_LoadingMemory(benchmark::State& state) {
    std::ostringstream saved;
    {
        BinaryOutArchive archive(saved, 0);
        archive << doubles();
        writeItems<Ours>(archive);
    }
    const std::string bytes = std::move(saved).str();
    for (auto _ : state) {
        std::istringstream stream(bytes);
        const kr_benchmark::MemoryPeak memory;
        BinaryInArchive archive(stream, 0);
        std::vector<double> loadedDoubles;
        archive >> loadedDoubles;
        const Items loadedItems = readItems<Ours>(archive);
        state.counters["peak_to_file"] = memory.rise() / static_cast<double>(bytes.size());
        require(loadedDoubles.size() == doubles().size() && loadedItems.size() == items().size());
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}

BENCHMARK(saveObjects<Ours>)->Name("BM_SaveObjects");
BENCHMARK(saveObjects<OursUntracked>)->Name("BM_SaveUntrackedObjects");
BENCHMARK(saveObjects<Stock>)->Name("BM_StockSaveObjects");
BENCHMARK(loadObjects<Ours>)->Name("BM_LoadObjects");
BENCHMARK(loadObjects<OursUntracked>)->Name("BM_LoadUntrackedObjects");
BENCHMARK(loadObjects<Stock>)->Name("BM_StockLoadObjects");
BENCHMARK(saveDoubles<Ours>)->Name("BM_SaveDoubles");
BENCHMARK(BM_SaveBlock);
BENCHMARK(saveDoubles<Stock>)->Name("BM_StockSaveDoubles");
BENCHMARK(loadDoubles<Ours>)->Name("BM_LoadDoubles");
BENCHMARK(BM_LoadBlock);
BENCHMARK(loadDoubles<Stock>)->Name("BM_StockLoadDoubles");
BENCHMARK(BM_LoadingMemory)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace archive_benchmark
