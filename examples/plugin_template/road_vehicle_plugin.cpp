#include "road_vehicle.h"

/// Steps every RoadVehicle of the application.
class RoadVehicleModule final : public KrSim::ModuleOf<RoadVehicle> {
public:
    static constexpr int kVersion = 1;

    explicit RoadVehicleModule(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {}

    void onStep(RoadVehicle& unit, double seconds) override { unit.step(seconds); }
};

KR_PLUGIN("RoadVehicle", "1.0",
          KR_EXTENSION(RoadVehicle, "Simulation", "Road Vehicle", "c1cc32ca-534d-422e-aed7-dc6a7f583235"),
          KR_EXTENSION(RoadVehicleModule, "Simulation", "Road Vehicle Module", "b53058a4-f899-4c88-9733-147b6482f00e"))
