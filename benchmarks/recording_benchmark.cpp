// Recording a thousand numbers of each frame: what the application's thread pays, and all threads together.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/extension/extension.h"
#include "kr/extension/typed_field.h"
#include "kr/recording/recorder.h"
#include "kr/testing/test_application.h"

namespace {

constexpr int kExtensions = 100;
constexpr int kFields = 10;
constexpr double kNanoseconds = 1e9;
/// Between two frames, so that the thread that writes keeps up.
constexpr double kPaceSeconds = 60e-6;

/// Ten outputs, which change in each frame.
class Source final : public KrSim::IExtension {
public:
    explicit Source(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {
        for (int i = 0; i < kFields; ++i)
            outputs.push_back(std::make_unique<KrSim::Output<double>>(this, "Value " + std::to_string(i)));
    }
    void step(double value) {
        for (auto& each : outputs)
            *each = value;
    }

    std::vector<std::unique_ptr<KrSim::Output<double>>> outputs;
};

double getSeconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / kNanoseconds;
}

/// The time of a frame on this thread, and the CPU time of it on all threads, in counters.
void BM_Record(benchmark::State& state) {
    const bool isRecorded = state.range(0) != 0;
    KrTesting::TestApplication test;
    std::vector<Source*> sources;
    for (int i = 0; i < kExtensions; ++i)
        sources.push_back(&test.make<Source>("Source " + std::to_string(i)));
    const std::string file = "/tmp/kr_recording_benchmark_" + std::to_string(getpid()) + ".mcap";
    KrRecording::Recorder recorder(file, {.mayWait = true});
    auto& application = test.getApplication();
    if (isRecorded) application.registerListener(&recorder);
    test.step(10);
    double value = 0.0;
    double own = 0.0;
    const double ownBefore = getSeconds(CLOCK_THREAD_CPUTIME_ID);
    const double allBefore = getSeconds(CLOCK_PROCESS_CPUTIME_ID);
    for (auto _ : state) {
        for (auto* each : sources)
            each->step(value);
        value += 1.0;
        const double begin = getSeconds(CLOCK_MONOTONIC);
        test.step();
        const double end = getSeconds(CLOCK_MONOTONIC);
        own += end - begin;
        while (getSeconds(CLOCK_MONOTONIC) < begin + kPaceSeconds) {
        }
    }
    const double ownCpu = getSeconds(CLOCK_THREAD_CPUTIME_ID);
    const auto frames = static_cast<double>(state.iterations());
    if (isRecorded) application.unregisterListener(&recorder);
    const auto result = recorder.finish();
    // The time that this thread waited is no work.
    const double others = getSeconds(CLOCK_PROCESS_CPUTIME_ID) - allBefore - (ownCpu - ownBefore);
    std::remove(file.c_str());
    if (isRecorded && result.frames != static_cast<std::uint64_t>(state.iterations()) + 10)
        state.SkipWithError("frames lost");
    state.counters["own_ns"] = kNanoseconds * own / frames;
    state.counters["all_ns"] = kNanoseconds * (own + others) / frames;
}
BENCHMARK(BM_Record)->Arg(0)->Arg(1)->ArgName("recorded")->Iterations(20'000);

}  // namespace
