#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "kr/application/application.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/events/event_dispatcher.h"
#include "kr/extension/extension.h"
#include "kr/extension/typed_field.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/manual_clock.h"
#include "tests/support/stepping_module.h"

namespace states_test {

using KrPersistence::SimulationSnapshot;
using KrSim::KrApplication;
using KrSim::KrExtension;

/// Integrates with a memory that no field shows.
class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrExtension* proxy) : IExtension(proxy, 1) {}

    void step(double seconds) {
        _memory += (force - drag * speed) * seconds;
        speed = speed + _memory * seconds;
    }
    void onStateSave(std::ostream& state) override {
        if (throws) throw std::runtime_error("cannot save");
        state.write(reinterpret_cast<const char*>(&_memory), sizeof _memory);
        if (addsToState != 0) state.write(reinterpret_cast<const char*>(&addsToState), sizeof addsToState);
    }
    void onStateRestore(std::istream& state) override {
        if (throws) throw std::runtime_error("cannot restore");
        state.read(reinterpret_cast<char*>(&_memory), sizeof _memory);
        if (onRestored) onRestored();
    }

    KrSim::Input<double> force{this, "Force"};
    KrSim::Parameter<double> drag{this, "Drag", {.value = 0.1}};
    KrSim::Output<double> speed{this, "Speed"};
    bool throws{false};
    std::int32_t addsToState{0};  // what it writes, but does not read
    std::function<void()> onRestored;

private:
    double _memory{0.0};
};

using Holder = KrSim::KrSmartInterface<KrSim::ISimulatorModule>;

class Stepper final : public test_support::SteppingModule<Unit> {
public:
    explicit Stepper(KrSim::KrSimulatorModule* proxy)
        : SteppingModule(proxy, [](Unit& unit, double seconds) { unit.step(seconds); }) {}
    void onAfterSteps(double) override {
        if (const auto action = std::exchange(inUpdate, {})) action();
        if (onEachUpdate) onEachUpdate();
    }
    std::function<void()> inUpdate;  // once
    std::function<void()> onEachUpdate;
};

/// Two units with feedback, stepped by a clock that goes by the frame.
struct World {
    World() {
        KrSim::KrEventDispatcher::_setClock(&clock);
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
        const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
        stepper = new Stepper(proxy.get());
        application->insertModule(Holder(stepper));
        first = add("First");
        second = add("Second");
        Kr::KrConnectionFactory::connect(*first->speed.getField(), *second->force.getField());
        first->force.getField()->setValue(1.0);
    }
    ~World() { KrSim::KrEventDispatcher::_replaceDelayedEvents({}); }
    Unit* add(const char* name) {
        const auto extension = Kr::makeSmart<KrExtension>();
        extension->setName(name);
        auto* unit = new Unit(extension.get());
        application->add(extension.get());
        return unit;
    }
    void run(int frames) {
        for (int i = 0; i < frames; ++i) {
            clock.sleep(1.0 / 60.0);
            application->update();
        }
    }
    [[nodiscard]] std::shared_ptr<const SimulationSnapshot> take() const {
        return SimulationSnapshot::take(*application);
    }

    test_support::ManualClock clock;
    test_support::DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrApplication> application{KrApplication::create(clock)};
    Stepper* stepper{nullptr};
    Unit* first{nullptr};
    Unit* second{nullptr};
};

inline KrExtension& proxyOf(Unit* unit) {
    return *unit->_getProxy();
}

}  // namespace states_test
