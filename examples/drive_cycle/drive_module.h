#pragma once

#include "car_part.h"

/// Drives all electric cars of the application while it simulates: steps their parts, sources before sinks, with the
/// time step of the application.
class DriveModule final : public KrSim::ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "cb6ddcca-78d2-45a4-b46f-178922be4b1d";

    explicit DriveModule(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}

    void onExtensionAdded(KrSim::KrExtension* extension) override {
        if (extension->getImplementationAs<CarPart>() != nullptr) _addManagedExtension(extension);
    }
    void onExtensionRemoved(KrSim::KrExtension* extension) override { _removeManagedExtension(extension); }

    void onUpdate(KrSim::eApplicationMode mode) override {
        if (mode != KrSim::eApplicationMode::kSimulating) return;
        _sortManagedExtensions();
        _forEachPart([](CarPart& part, double seconds) { part.step(seconds); });
    }
    void onPostUpdate(KrSim::eApplicationMode mode) override {
        if (mode != KrSim::eApplicationMode::kSimulating) return;
        _forEachPart([](CarPart& part, double seconds) { part.settle(seconds); });
    }

private:
    template <class Work>
    void _forEachPart(const Work& work) const {
        const double seconds = getApplicationContext().getSimulationTimeStep();
        if (!(seconds > 0.0)) return;  // outside of an application
        for (const auto& each : getManagedExtensions())
            work(*static_cast<CarPart*>(each->getImplementation()), seconds);
    }
};
