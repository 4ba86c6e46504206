// Frames of 60 Hz with 5 ms of work: how late they begin, and what the waiting costs. The time of an iteration is the
// median error.

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "kr/application/frame_pacer.h"
#include "kr/platform/clock.h"

namespace {

constexpr double kStep = 1.0 / 60.0;
constexpr double kWorkSeconds = 5e-3;
constexpr int kFrames = 180;

double processorSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Sleeps until one step after the mark, and takes what comes.
class SleepOnly {
public:
    double begin() {
        auto& clock = Kr::SteadyClock::instance();
        clock.sleepUntil(_mark + kStep);
        return _mark = clock.getSeconds();
    }

private:
    double _mark{Kr::SteadyClock::instance().getSeconds()};
};

class Paced {
public:
    double begin() { return _pacer.beginPaced(kStep).time; }

private:
    KrSim::FramePacer _pacer;
};

template <class Pace>
void BM_Pacing(benchmark::State& state) {
    auto& clock = Kr::SteadyClock::instance();
    for (auto _ : state) {
        Pace pace;
        std::vector<double> errors;
        const double started = pace.begin();
        double mark = started;
        double waited = 0.0;
        for (int i = 0; i < kFrames; ++i) {
            while (clock.getSeconds() < mark + kWorkSeconds) {
            }
            const double before = processorSeconds();
            const double begun = pace.begin();
            waited += processorSeconds() - before;
            errors.push_back(std::abs(begun - mark - kStep));
            mark = begun;
        }
        std::sort(errors.begin(), errors.end());
        const auto at = [&](double part) {
            return errors[static_cast<std::size_t>(part * static_cast<double>(errors.size() - 1))];
        };
        state.SetIterationTime(at(0.5));
        state.counters["median_us"] = 1e6 * at(0.5);
        state.counters["p95_us"] = 1e6 * at(0.95);
        state.counters["p99_us"] = 1e6 * at(0.99);
        state.counters["worst_us"] = 1e6 * errors.back();
        state.counters["cpu_percent"] = 100.0 * waited / (mark - started);
    }
}
BENCHMARK(BM_Pacing<Paced>)->Name("BM_Paced")->Iterations(1)->UseManualTime();
BENCHMARK(BM_Pacing<SleepOnly>)->Name("BM_SleepOnly")->Iterations(1)->UseManualTime();

}  // namespace
