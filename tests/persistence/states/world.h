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
#include "kr/events/event_access.h"
#include "kr/events/event_dispatcher.h"
#include "kr/extension/extension.h"
#include "kr/extension/typed_field.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "kr/testing/test_application.h"
#include "tests/support/dispatcher_scope.h"
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

/// Two units with feedback, stepped by a clock that advances with the frames.
struct World {
    World() {
        Kr::KrConnectionFactory::connect(*first->speed.getField(), *second->force.getField());
        first->force.getField()->setValue(1.0);
    }
    ~World() { KrSim::detail::DispatcherAccess::replaceDelayedEvents({}); }
    Unit* add(const char* name) { return &test.make<Unit>(name); }
    void run(int frames) { test.step(static_cast<std::uint32_t>(frames)); }
    [[nodiscard]] std::shared_ptr<const SimulationSnapshot> take() const {
        return SimulationSnapshot::take(*application);
    }

    test_support::DispatcherScope dispatcher;
    KrTesting::TestApplication test;
    KrApplication* const application{&test.getApplication()};
    Stepper* const stepper{&test.make<Stepper>("Stepper")};
    Unit* const first{add("First")};
    Unit* const second{add("Second")};
};

inline KrExtension& proxyOf(Unit* unit) {
    return *unit->_getProxy();
}

}  // namespace states_test
