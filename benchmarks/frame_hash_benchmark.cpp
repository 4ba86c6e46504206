// The hash of all values after a frame: for each field, in the cache and out of it, and beside a frame of the drive
// cycle.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/second_thread.h"
#include "kr/application/application.h"
#include "kr/application/i_application_listener.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/typed_field.h"
#include "kr/persistence/states/frame_hash.h"
#include "kr/platform/plugins/plugin_manager.h"

namespace {

using KrPersistence::FrameHash;
using KrSim::KrApplication;
using KrSim::KrExtension;

class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrExtension* proxy) : IExtension(proxy, 1) {}

    KrSim::Input<double> force{this, "Force"}, drag{this, "Drag"}, slope{this, "Slope"};
    KrSim::Output<double> speed{this, "Speed"}, power{this, "Power"};
    KrSim::Output<int> gear{this, "Gear"};
    KrSim::Parameter<double> mass{this, "Mass"}, area{this, "Area"};
    KrSim::Parameter<bool> isElectric{this, "Electric"};
    KrSim::Parameter<float> wear{this, "Wear"};
};
constexpr std::size_t kFieldsPerUnit = 10;

/// An application with so many units.
struct World {
    explicit World(std::int64_t count) {
        for (std::int64_t i = 0; i < count; ++i) {
            const auto extension = Kr::makeSmart<KrExtension>();
            units.push_back(new Unit(extension.get()));
            application->add(extension.get());
        }
    }
    void count(benchmark::State& state) const {
        const auto fields = static_cast<double>(units.size() * kFieldsPerUnit);
        state.counters["ns_per_field"] = benchmark::Counter(
            fields * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    }

    Kr::KrSmartPtr<KrApplication> application = KrApplication::create();
    std::vector<Unit*> units;
    FrameHash hash{*application};
};

void BM_FrameHash(benchmark::State& state) {
    World world(state.range(0));
    std::uint64_t last = world.hash.calculate();
    bool isNoticed = true;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        auto& speed = world.units.back()->speed;
        speed = speed + 1.0;
        const auto next = world.hash.calculate();
        isNoticed = isNoticed && next != last;
        last = next;
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (!isNoticed) state.SkipWithError("a change was not noticed");
    world.count(state);
}

/// The list of fields is made again.
void BM_FrameHashAfterRename(benchmark::State& state) {
    World world(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto& unit = *world.units.back();
        unit.setName(unit.getName() == "A" ? "B" : "A");
        state.ResumeTiming();
        benchmark::DoNotOptimize(world.hash.calculate());
    }
    world.count(state);
}

/// What krsim does after each frame.
class Hasher final : public KrSim::IApplicationListener {
public:
    explicit Hasher(KrApplication& application) : _application(application), _hash(application) {
        _application.registerListener(this);
    }
    ~Hasher() override { _application.unregisterListener(this); }

    void onFrameEnded(KrApplication*) override { benchmark::DoNotOptimize(_hash.calculate()); }

private:
    KrApplication& _application;
    FrameHash _hash;
};

/// The car of examples/drive_cycle, made by its plug-in.
Kr::KrSmartPtr<KrApplication> makeDriveCycle() {
    KrPluginSystem::KrPluginManager::instance().addPluginSearchDir(KR_EXAMPLE_PLUGINS);
    auto application = KrApplication::create();
    const auto make = [](const char* uuid, const char* name) {
        return KrSim::KrExtensionFactory::create(KrSim::KrFactoryKey(uuid, "Drive Cycle", name, "DriveCycle"));
    };
    const auto module = make("cb6ddcca-78d2-45a4-b46f-178922be4b1d", "Drive Module");
    const auto car = make("dd031425-9106-4b42-ba84-1c752e63b2d7", "Electric Car");
    if (!module || !car) return nullptr;
    application->insertModule(
        KrSim::KrSmartInterface<KrSim::ISimulatorModule>(module->getImplementationAs<KrSim::ISimulatorModule>()));
    application->add(car.get());
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
    return application;
}

void runDriveCycle(benchmark::State& state, bool isHashed) {
    const auto application = makeDriveCycle();
    if (!application) return state.SkipWithError("there is no plug-in DriveCycle");
    std::optional<Hasher> hasher;
    if (isHashed) hasher.emplace(*application);
    bool runs = true;
    for (auto _ : state)
        runs = application->update() && runs;
    if (!runs) state.SkipWithError("a frame failed");
}

void BM_DriveFrame(benchmark::State& state) {
    runDriveCycle(state, false);
}
void BM_HashedDriveFrame(benchmark::State& state) {
    runDriveCycle(state, true);
}

BENCHMARK(BM_FrameHash)->Arg(100)->Arg(10000);
BENCHMARK(BM_FrameHashAfterRename)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DriveFrame);
BENCHMARK(BM_HashedDriveFrame);

}  // namespace
