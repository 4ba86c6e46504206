#pragma once

#include <functional>
#include <utility>

#include "kr/application/modules/module_of.h"
#include "kr/extension/smart_interface.h"

namespace test_support {

/// Calls `step` with each Unit of the content, in their order, while the application simulates.
template <class Unit>
class SteppingModule : public KrSim::ModuleOf<Unit> {
public:
    using Step = std::function<void(Unit&, double seconds)>;

    SteppingModule(KrSim::KrSimulatorModule* proxy, Step step)
        : KrSim::ModuleOf<Unit>(proxy, 1), _step(std::move(step)) {}

    void onStep(Unit& unit, double seconds) override { _step(unit, seconds); }

private:
    Step _step;
};

/// Both halves of a module, held by the proxy's holder.
template <class Unit>
KrSim::KrSmartInterface<KrSim::ISimulatorModule> makeSteppingModule(typename SteppingModule<Unit>::Step step) {
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    return KrSim::KrSmartInterface<KrSim::ISimulatorModule>(new SteppingModule<Unit>(proxy.get(), std::move(step)));
}

}  // namespace test_support
