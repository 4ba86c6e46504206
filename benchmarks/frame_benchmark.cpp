// A frame of 10,000 units, each of which reads two inputs and writes one output that is connected to the next unit.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_units.h"
#include "benchmarks/second_thread.h"
#include "kr/application/application.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/module_of.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/extension/extension.h"
#include "kr/extension/typed_field.h"

#ifdef KR_HAVE_SIGC
#include <sigc++/sigc++.h>
#endif
#ifdef KR_HAVE_QT_MOC
#include "benchmarks/frame_qt_peer.h"
#endif

namespace {

using KrSim::KrApplication;
using KrSim::KrExtension;
using Module = KrSim::KrSmartInterface<KrSim::ISimulatorModule>;

/// Frames that change the value at the head of the chain, and so all values.
double nextDrag() {
    static double drag = 0.0;
    return drag += 1.0;
}

// --- Ours ----------------------------------------------------------------------------------------------------------

class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrExtension* proxy) : IExtension(proxy, 1) {}
    virtual void update() { speed = force + drag; }

    KrSim::Input<double> force{this, "Force"}, drag{this, "Drag"};
    KrSim::Output<double> speed{this, "Speed"};
};

class Stepper final : public KrSim::ISimulatorModule {
public:
    explicit Stepper(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) {}
    void onExtensionAdded(KrExtension* extension) override { _addManagedExtension(extension); }
    void onExtensionRemoved(KrExtension* extension) override { _removeManagedExtension(extension); }
    void onUpdate(KrSim::eApplicationMode) override {
        _sortManagedExtensions();
        for (const auto& each : getManagedExtensions())
            static_cast<Unit*>(each->getImplementation())->update();
    }
};

/// The same with the module that authors write.
class TypedStepper final : public KrSim::ModuleOf<Unit> {
public:
    explicit TypedStepper(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {}
    void onStep(Unit& unit, double) override { unit.update(); }
};

template <class StepperModule>
struct World {
    explicit World(std::int64_t count) {
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
        const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
        application->insertModule(Module(new StepperModule(proxy.get())));
        for (std::int64_t i = 0; i < count; ++i) {
            const auto extension = Kr::makeSmart<KrExtension>();
            units.push_back(new Unit(extension.get()));
            if (i > 0) {
                auto& before = *units[units.size() - 2];
                Kr::KrConnectionFactory::connect(*before.speed.getField(), *units.back()->force.getField());
            }
            application->add(extension.get());
        }
    }

    std::vector<Unit*> units;
    Kr::KrSmartPtr<KrApplication> application = KrApplication::create();
};

/// Made once for all runs; never destroyed.
template <class StepperModule>
const World<StepperModule>& sharedWorld(std::int64_t count) {
    static auto& worlds = *new std::map<std::int64_t, World<StepperModule>>;
    return worlds.try_emplace(count, count).first->second;
}

template <class StepperModule>
void runFrames(benchmark::State& state) {
    const auto& world = sharedWorld<StepperModule>(state.range(0));
    world.application->update();
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        world.units.front()->drag.set(nextDrag());
        world.application->update();
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (world.units.front()->drag.get() != world.units.back()->speed.get()) state.SkipWithError("values were lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Frame(benchmark::State& state) {
    runFrames<Stepper>(state);
}
void BM_TypedFrame(benchmark::State& state) {
    runFrames<TypedStepper>(state);
}

/// The application itself: a frame without content.
void BM_EmptyFrame(benchmark::State& state) {
    const World<Stepper> world(0);
    for (auto _ : state) {
        world.application->update();
    }
    state.SetItemsProcessed(state.iterations());
}

/// From nothing to the end of the first frame, and down again.
void BM_Start(benchmark::State& state) {
    for (auto _ : state) {
        const World<Stepper> world(state.range(0));
        world.application->update();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// --- Peers ---------------------------------------------------------------------------------------------------------

void BM_BareFrame(benchmark::State& state) {
    const auto units = kr_benchmark::makeBareUnits(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        units.front()->drag = nextDrag();
        for (const auto& each : units)
            each->update();
    }
    if (units.front()->drag != units.back()->speed) state.SkipWithError("values were lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Peer>
[[maybe_unused]] void runPeer(benchmark::State& state) {
    std::vector<std::unique_ptr<Peer>> units;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        units.push_back(std::make_unique<Peer>());
        if (i > 0) units[units.size() - 2]->feed(*units.back());
    }
    double drag = 0.0;
    for (auto _ : state) {
        units.front()->setDrag(drag += 1.0);
        for (const auto& each : units)
            each->update();
    }
    if (units.back()->getSpeed() != drag) state.SkipWithError("values were lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

#ifdef KR_HAVE_SIGC
/// A value that tells of its changes, as every field does.
class SigcProperty {
public:
    virtual ~SigcProperty() = default;
    virtual void set(double value) {
        if (value == _value) return;
        _value = value;
        changed.emit(value);
    }
    [[nodiscard]] double get() const { return _value; }

    sigc::signal<void, double> changed;

private:
    double _value{0.0};
};

struct SigcUnit {
    virtual ~SigcUnit() = default;
    virtual void update() { speed.set(force.get() + drag.get()); }
    void feed(SigcUnit& next) { speed.changed.connect(sigc::mem_fun(next.force, &SigcProperty::set)); }
    void setDrag(double value) { drag.set(value); }
    [[nodiscard]] double getSpeed() const { return speed.get(); }

    SigcProperty force, drag, speed;
};

void BM_SigcFrame(benchmark::State& state) {
    runPeer<SigcUnit>(state);
}
#endif

#ifdef KR_HAVE_QT_MOC
void BM_QtFrame(benchmark::State& state) {
    runPeer<QtUnit>(state);
}
#endif

BENCHMARK(BM_Frame)->Arg(10'000)->Arg(100'000);
BENCHMARK(BM_TypedFrame)->Arg(10'000);
BENCHMARK(BM_BareFrame)->Arg(10'000)->Arg(100'000);
#ifdef KR_HAVE_SIGC
BENCHMARK(BM_SigcFrame)->Arg(10'000);
#endif
#ifdef KR_HAVE_QT_MOC
BENCHMARK(BM_QtFrame)->Arg(10'000);
#endif
BENCHMARK(BM_EmptyFrame);
BENCHMARK(BM_Start)->Arg(1'000)->Arg(10'000)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
