// What a frame costs beyond the work of its modules.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_modules.h"
#include "benchmarks/second_thread.h"
#include "kr/application/application.h"
#include "kr/application/context/application_context.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/module_of.h"
#include "kr/application/modules/simulator_module_sequence.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/smart_interface.h"

namespace {

using KrSim::ApplicationContext;
using KrSim::eApplicationMode;
using KrSim::KrExtension;
using KrSim::KrSimulatorModule;
using KrSim::KrSimulatorModuleSequence;
using Module = KrSim::KrSmartInterface<KrSim::ISimulatorModule>;

constexpr std::size_t kModules = 1000;

std::int64_t calls = 0;

class Counter final : public KrSim::ISimulatorModule {
public:
    explicit Counter(KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) {}
    void onPreUpdate(eApplicationMode mode) override { calls += static_cast<int>(mode); }
    void onUpdate(eApplicationMode mode) override { calls += static_cast<int>(mode); }
    void onPostUpdate(eApplicationMode mode) override { calls += static_cast<int>(mode); }
};

void runFrame(const KrSimulatorModuleSequence& sequence) {
    const ApplicationContext context;
    sequence.preUpdate(context);
    sequence.update(context);
    sequence.postUpdate(context);
}

void BM_ThreePasses(benchmark::State& state) {
    KrSimulatorModuleSequence sequence;
    for (std::size_t i = 0; i < kModules; ++i) {
        const auto proxy = Kr::makeSmart<KrSimulatorModule>();
        sequence.insert(Module(new Counter(proxy.get())));
    }
    calls = 0;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        runFrame(sequence);
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (calls != state.iterations() * std::int64_t{3 * kModules}) state.SkipWithError("calls were lost");
    state.SetItemsProcessed(calls);
}
BENCHMARK(BM_ThreePasses);

template <class Call>
void runGuarded(const std::vector<std::unique_ptr<kr_benchmark::BareModule>>& modules, const Call& call) {
    for (const auto& module : modules) {
        try {
            call(*module);
        } catch (...) {
            calls = -1;
        }
    }
}

void BM_GuardedVirtualCalls(benchmark::State& state) {
    const auto modules = kr_benchmark::makeBareModules(kModules, calls);
    calls = 0;
    for (auto _ : state) {
        runGuarded(modules, [](auto& module) { module.preUpdate(1); });
        runGuarded(modules, [](auto& module) { module.update(1); });
        runGuarded(modules, [](auto& module) { module.postUpdate(1); });
    }
    if (calls != state.iterations() * std::int64_t{3 * kModules}) state.SkipWithError("calls were lost");
    state.SetItemsProcessed(calls);
}
BENCHMARK(BM_GuardedVirtualCalls);

/// Looks at each of the extensions that it manages, in order.
class Walker final : public KrSim::ISimulatorModule {
public:
    explicit Walker(KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) {}
    void onExtensionAdded(KrExtension* extension) override { _addManagedExtension(extension); }
    void onExtensionRemoved(KrExtension* extension) override { _removeManagedExtension(extension); }
    void onUpdate(eApplicationMode) override {
        _sortManagedExtensions();
        for (const auto& each : getManagedExtensions())
            updated += static_cast<std::uint64_t>(each->getDataVersion());
    }
    std::uint64_t updated{0};
};

struct Managed {
    explicit Managed(std::int64_t count) : extensions(static_cast<std::size_t>(count)) {
        for (auto& each : extensions) {
            each = Kr::makeSmart<KrExtension>();
            KrSim::detail::ExtensionAccess::setDataVersion(*each, 1);
            KrSim::KrExtensionSorter::instance().addExtension(each.get());
        }
    }
    void offerAll() const {
        for (const auto& each : extensions)
            proxy->addExtension(each.get());
    }

    const Kr::KrSmartPtr<KrSimulatorModule> proxy = Kr::makeSmart<KrSimulatorModule>();
    Walker* const walker = new Walker(proxy.get());
    std::vector<Kr::KrSmartPtr<KrExtension>> extensions;
};

/// One module and 10,000 extensions, nothing changes.
void BM_SteadyFrame(benchmark::State& state) {
    const Managed managed(state.range(0));
    managed.offerAll();
    KrSimulatorModuleSequence sequence;
    sequence.insert(Module(managed.walker));
    runFrame(sequence);
    managed.walker->updated = 0;
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        runFrame(sequence);
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (managed.walker->updated != static_cast<std::uint64_t>(state.iterations() * state.range(0)))
        state.SkipWithError("extensions were lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SteadyFrame)->Arg(10000);

/// A step of a few instructions, so that the walk over the units is most of the time.
class Rotor final : public KrSim::IExtension {
public:
    explicit Rotor(KrExtension* proxy) : IExtension(proxy, 1) {}
    void step(double seconds) {
        _angle += _speed * seconds;
        _speed -= 0.1 * _speed * seconds;
        ++steps;
    }
    std::int64_t steps{0};

private:
    double _angle{0.0};
    double _speed{100.0};
};

/// The loop that authors wrote by hand.
class HandWritten final : public KrSim::ISimulatorModule {
public:
    explicit HandWritten(KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) {}
    void onExtensionAdded(KrExtension* extension) override {
        if (extension->getImplementationAs<Rotor>() != nullptr) _addManagedExtension(extension);
    }
    void onExtensionRemoved(KrExtension* extension) override { _removeManagedExtension(extension); }
    void onUpdate(eApplicationMode mode) override {
        if (mode != eApplicationMode::kSimulating) return;
        const double seconds = getApplicationContext().getSimulationTimeStep();
        _sortManagedExtensions();
        for (const auto& each : getManagedExtensions())
            static_cast<Rotor*>(each->getImplementation())->step(seconds);
    }
};

class Typed final : public KrSim::ModuleOf<Rotor> {
public:
    explicit Typed(KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {}
    void onStep(Rotor& rotor, double seconds) override { rotor.step(seconds); }
};

/// Updates of one module with so many units; nothing changes.
template <class StepperModule>
void runSteps(benchmark::State& state) {
    const auto application = KrSim::KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    application->setApplicationMode(eApplicationMode::kSimulating);
    const auto proxy = Kr::makeSmart<KrSimulatorModule>();
    application->insertModule(Module(new StepperModule(proxy.get())));
    std::vector<Rotor*> rotors;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        const auto extension = Kr::makeSmart<KrExtension>();
        rotors.push_back(new Rotor(extension.get()));
        application->add(extension.get());
    }
    application->update();
    const auto before = kr_benchmark::allocations();
    for (auto _ : state) {
        proxy->update(eApplicationMode::kSimulating);
    }
    state.counters["allocations"] = static_cast<double>(kr_benchmark::allocations() - before);
    if (rotors.back()->steps != state.iterations() + 1) state.SkipWithError("steps were lost");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_HandWrittenSteps(benchmark::State& state) {
    runSteps<HandWritten>(state);
}
BENCHMARK(BM_HandWrittenSteps)->Arg(10000);

void BM_TypedSteps(benchmark::State& state) {
    runSteps<Typed>(state);
}
BENCHMARK(BM_TypedSteps)->Arg(10000);

/// Content comes, is simulated for a frame and goes again, in the order in which it came.
void BM_OfferAndWithdraw(benchmark::State& state) {
    const Managed managed(state.range(0));
    for (auto _ : state) {
        managed.offerAll();
        managed.proxy->update(eApplicationMode::kSimulating);
        for (const auto& each : managed.extensions)
            managed.proxy->removeExtension(each.get());
    }
    if (!managed.proxy->getManagedExtensions().isEmpty()) state.SkipWithError("extensions stayed");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_OfferAndWithdraw)->Arg(1000)->Arg(10000);

}  // namespace
