#pragma once

#include <functional>
#include <utility>

#include "kr/application/modules/i_simulator_module.h"
#include "kr/extension/extension.h"
#include "kr/extension/smart_interface.h"

namespace test_support {

/// Manages every extension of the content, and in each update calls `step` with each that is a Unit, in their order.
template <class Unit>
class SteppingModule : public KrSim::ISimulatorModule {
public:
    using Step = std::function<void(Unit&)>;

    SteppingModule(KrSim::KrSimulatorModule* proxy, Step step) : ISimulatorModule(proxy, 1), _step(std::move(step)) {}

    void onExtensionAdded(KrSim::KrExtension* extension) override { _addManagedExtension(extension); }
    void onExtensionRemoved(KrSim::KrExtension* extension) override { _removeManagedExtension(extension); }
    void onUpdate(KrSim::eApplicationMode) override {
        _sortManagedExtensions();
        for (const auto& each : getManagedExtensions()) {
            if (auto* unit = each->template getImplementationAs<Unit>()) _step(*unit);
        }
    }

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
