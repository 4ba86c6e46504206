#include "road_vehicle.h"

/// Simulates all road vehicles of the application.
class RoadTraffic final : public KrSim::ISimulatorModule {
public:
    static constexpr int kVersion = 1;

    explicit RoadTraffic(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}

    KrSim::Parameter<double> step{this, "Step", {.value = 0.02, .min = 1e-6, .max = 1.0, .dimension = Kr::kTime}};

    void onExtensionAdded(KrSim::KrExtension* extension) override {
        if (extension->getImplementationAs<RoadVehicle>() != nullptr) _addManagedExtension(extension);
    }
    void onExtensionRemoved(KrSim::KrExtension* extension) override { _removeManagedExtension(extension); }

    void onUpdate(KrSim::eApplicationMode mode) override {
        if (mode != KrSim::eApplicationMode::kSimulating) return;
        _sortManagedExtensions();  // what feeds others comes first; next to free while nothing changed
        for (const auto& each : getManagedExtensions())
            static_cast<RoadVehicle*>(each->getImplementation())->step(step);
    }
};

KR_PLUGIN("RoadVehicle", "1.0",
          KR_EXTENSION(RoadVehicle, "Simulation", "Road Vehicle", "c1cc32ca-534d-422e-aed7-dc6a7f583235"),
          KR_EXTENSION(RoadTraffic, "Simulation", "Road Traffic", "b53058a4-f899-4c88-9733-147b6482f00e"))
