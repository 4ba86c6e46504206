#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>

#include "kr/platform/plugins/plugin_manifest_reader.h"

// What it costs to learn from a file what plug-in it is, against opening it and reading its first page.

namespace {

void BM_ReadPluginManifest(benchmark::State& state) {
    const std::string file = KR_BENCHMARK_PLUGIN;
    std::size_t types = 0;
    for (auto _ : state) {
        const auto manifest = KrPluginSystem::readPluginManifest(file);
        types = manifest ? manifest->types.size() : 0;
    }
    if (types != 8) state.SkipWithError("the manifest is not read");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadPluginManifest);

void BM_OpenAndReadHead(benchmark::State& state) {
    const std::string file = KR_BENCHMARK_PLUGIN;
    bool isRead = true;
    for (auto _ : state) {
        std::array<char, 4096> head;
        const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        isRead &= ::read(descriptor, head.data(), head.size()) == static_cast<ssize_t>(head.size());
        benchmark::DoNotOptimize(head);
        ::close(descriptor);
    }
    if (!isRead) state.SkipWithError("the file cannot be read");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OpenAndReadHead);

}  // namespace
