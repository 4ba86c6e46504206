// Snapshots of 10,000 connected extensions with ten fields each, and restores, against a loop over the fields.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/second_thread.h"
#include "kr/application/application.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/extension/extension.h"
#include "kr/extension/typed_field.h"
#include "kr/persistence/states/simulation_snapshot.h"

namespace {

using KrPersistence::SimulationSnapshot;
using KrSim::KrExtension;

class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrExtension* proxy) : IExtension(proxy, 1) {}

    KrSim::Input<double> force{this, "Force"}, drag{this, "Drag"}, slope{this, "Slope"};
    KrSim::Output<double> speed{this, "Speed"}, power{this, "Power"};
    KrSim::Output<int> gear{this, "Gear"};
    KrSim::Parameter<double> mass{this, "Mass"}, area{this, "Area"};
    KrSim::Parameter<bool> isElectric{this, "Electric"};
    KrSim::Parameter<KrMath::Vector3T<double>> size{this, "Size"};
};
constexpr std::size_t kFieldsPerUnit = 10;

struct World {
    World() {
        for (std::size_t i = 0; i < 10000; ++i) {
            const auto extension = Kr::makeSmart<KrExtension>();
            units.push_back(new Unit(extension.get()));
            if (i > 0) {
                auto& before = *units[i - 1];
                Kr::KrConnectionFactory::connect(*before.speed.getField(), *units[i]->force.getField());
            }
            for (const auto* group : {&extension->getInputContainer(), &extension->getOutputContainer(),
                                      &extension->getParameterContainer()}) {
                fields.insert(fields.end(), group->begin(), group->end());
            }
            application->add(extension.get());
        }
        drive(1.0);
    }
    /// Gives every second output another value.
    void drive(double speed) {
        for (std::size_t i = 0; i < units.size(); i += 2)
            units[i]->power = speed;
    }

    std::vector<Unit*> units;
    std::vector<KrData::FieldBase*> fields;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();
};

World& world() {
    static auto& only = *new World;
    return only;
}

void countValues(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(world().fields.size()));
}

/// The values of fields whose types are known, one after the other.
void BM_CopyLoop(benchmark::State& state) {
    struct Values {
        double numbers[7];
        KrMath::Vector3T<double> size;
        int gear;
        bool isElectric;
    };
    std::vector<Values> values(world().units.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto& unit = *world().units[i];
            values[i] = {{unit.force.get(), unit.drag.get(), unit.slope.get(), unit.speed.get(), unit.power.get(),
                          unit.mass.get(), unit.area.get()},
                         unit.size.get(),
                         unit.gear.get(),
                         unit.isElectric.get()};
        }
        benchmark::DoNotOptimize(values.data());
    }
    countValues(state);
}

void BM_FirstSnapshot(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(SimulationSnapshot::take(*world().application));
    countValues(state);
}

/// As a ring takes it that is full.
void BM_Snapshot(benchmark::State& state) {
    auto snapshot = SimulationSnapshot::take(*world().application);
    snapshot = SimulationSnapshot::take(*world().application, std::move(snapshot));
    const auto before = kr_benchmark::allocations();
    for (auto _ : state)
        snapshot = SimulationSnapshot::take(*world().application, std::move(snapshot));
    state.counters["allocations"] =
        static_cast<double>(kr_benchmark::allocations() - before) / static_cast<double>(state.iterations());
    countValues(state);
}

void BM_Restore(benchmark::State& state) {
    auto& all = world();
    all.drive(2.0);
    const auto first = SimulationSnapshot::take(*all.application);
    all.drive(3.0);
    const auto second = SimulationSnapshot::take(*all.application);
    bool isComplete = true;
    bool isFirst = false;
    for (auto _ : state) {
        isFirst = !isFirst;
        isComplete = (isFirst ? first : second)->restore(*all.application).isComplete() && isComplete;
    }
    if (!isComplete || all.units.front()->power != (isFirst ? 2.0 : 3.0)) state.SkipWithError("values were lost");
    countValues(state);
}

BENCHMARK(BM_CopyLoop)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FirstSnapshot)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Snapshot)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Restore)->Unit(benchmark::kMicrosecond);

}  // namespace
