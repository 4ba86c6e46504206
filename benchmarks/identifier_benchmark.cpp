#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "benchmarks/slice_by_eight.h"
#include "kr/core/id.h"

#ifdef KR_HAVE_GLIB
#include <glib.h>
#endif

// Text to identifier among 10,000 known texts of 6 to 24 characters, in random order, and new texts. The limit is a
// checksum and one probe without any lock.

namespace {

using namespace Kr::literals;

// Locks are cheaper in a process that never had a second thread; applications have one.
const std::jthread idleThread([](const std::stop_token& stop) {
    while (!stop.stop_requested())
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
});

const std::vector<std::string>& texts() {
    static const std::vector<std::string> list = [] {
        std::mt19937 random(5489);
        std::uniform_int_distribution<std::size_t> length(6, 24);
        std::uniform_int_distribution<int> letter('a', 'z');
        std::vector<std::string> made(10000);
        for (std::string& text : made) {
            text.resize(length(random));
            for (char& character : text)
                character = static_cast<char>(letter(random));
        }
        return made;
    }();
    return list;
}

// The limit: slice-by-8 and one table of numbers and texts.

struct LimitTable {
    struct Slot {
        const std::string* text{nullptr};
        std::int32_t number{0};
    };
    std::vector<Slot> slots = std::vector<Slot>(32768);

    LimitTable() {
        for (const std::string& text : texts()) {
            const std::int32_t number = kr_benchmark::sliceByEight(text);
            Slot& slot = find(number);
            slot = {&text, number};
        }
    }
    Slot& find(std::int32_t number) {
        std::size_t i = static_cast<std::uint32_t>(number) & (slots.size() - 1);
        while (slots[i].text && slots[i].number != number)
            i = (i + 1) & (slots.size() - 1);
        return slots[i];
    }
};

// The plain form: one mutex around a standard map.
struct MapTable {
    std::mutex mutex;  // guards the map
    std::unordered_map<std::int32_t, std::unique_ptr<const std::string>> map;

    const std::string* intern(std::string_view text) {
        const std::int32_t number = Kr::calculateCRC32(text);
        const std::lock_guard lock(mutex);
        auto& stored = map[number];
        if (!stored) stored = std::make_unique<const std::string>(text);
        return stored.get();
    }
    static MapTable& instance() {
        static MapTable table;
        return table;
    }
};

// The texts in an order that has nothing to do with where they lie in memory.
const std::vector<const std::string*>& visitingOrder() {
    static const std::vector<const std::string*> order = [] {
        std::vector<const std::string*> made;
        for (const std::string& text : texts())
            made.push_back(&text);
        std::shuffle(made.begin(), made.end(), std::mt19937(42));
        return made;
    }();
    return order;
}

template <class Lookup>
void visitTexts(benchmark::State& state, const Lookup& lookup) {
    const std::vector<const std::string*>& order = visitingOrder();
    for (const std::string* text : order)
        benchmark::DoNotOptimize(lookup(*text));
    // Threads start at different texts.
    const auto share = order.size() / static_cast<std::size_t>(state.threads());
    std::size_t i = share * static_cast<std::size_t>(state.thread_index());
    for (auto _ : state) {
        benchmark::DoNotOptimize(lookup(*order[i]));
        if (++i == order.size()) i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Limit(benchmark::State& state) {
    static LimitTable table;
    visitTexts(state, [](const std::string& text) { return table.find(kr_benchmark::sliceByEight(text)).text; });
}
BENCHMARK(BM_Limit);

void BM_KrID(benchmark::State& state) {
    visitTexts(state, [](const std::string& text) { return Kr::KrID(text); });
    if (Kr::KrID(texts().front()).str() != texts().front()) state.SkipWithError("wrong text");
}
BENCHMARK(BM_KrID)->Threads(1)->Threads(2)->UseRealTime();

void BM_MutexUnorderedMap(benchmark::State& state) {
    visitTexts(state, [](const std::string& text) { return MapTable::instance().intern(text); });
}
BENCHMARK(BM_MutexUnorderedMap)->Threads(1)->Threads(2)->UseRealTime();

#ifdef KR_HAVE_GLIB
void BM_GQuark(benchmark::State& state) {
    visitTexts(state, [](const std::string& text) { return g_quark_from_string(text.c_str()); });
}
BENCHMARK(BM_GQuark)->Threads(1)->Threads(2)->UseRealTime();
#endif

void BM_Literal(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize("Traction force"_id.getNumber());
}
BENCHMARK(BM_Literal);

// New texts, a thousand at a time. Both tables keep all of them, so they grow alike.
template <class Intern>
void internNewTexts(benchmark::State& state, const char* prefix, const Intern& intern) {
    static int made = 0;
    std::vector<std::string> list(1000);
    for (auto _ : state) {
        for (std::string& text : list)
            text = prefix + std::to_string(made++);
        const auto start = std::chrono::steady_clock::now();
        for (const std::string& text : list)
            benchmark::DoNotOptimize(intern(text));
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(list.size()));
}

void BM_KrIDNewTexts(benchmark::State& state) {
    internNewTexts(state, "id ", [](const std::string& text) { return Kr::KrID(text); });
}
BENCHMARK(BM_KrIDNewTexts)->Iterations(100)->UseManualTime();

void BM_MutexUnorderedMapNewTexts(benchmark::State& state) {
    static MapTable table;
    internNewTexts(state, "map ", [](const std::string& text) { return table.intern(text); });
}
BENCHMARK(BM_MutexUnorderedMapNewTexts)->Iterations(100)->UseManualTime();

}  // namespace
