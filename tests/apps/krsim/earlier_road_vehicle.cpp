// The plug-in RoadVehicle as files of release 2020.3 have it: its module had a parameter for the step.

#include <kr/foundation.h>

namespace {

class RoadVehicle final : public KrSim::IExtension {
public:
    static constexpr int kVersion = 1;

    explicit RoadVehicle(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {}

    void step(double seconds) {
        acceleration = force / mass;
        speed = speed + acceleration * seconds;
    }

    KrSim::Input<double> force{this, "Force", {.dimension = Kr::kForce}};
    KrSim::Parameter<double> mass{this, "Mass", {.value = 1500.0, .min = 1.0, .max = 1e5, .dimension = Kr::kMass}};
    KrSim::Output<double> acceleration{this, "Acceleration", {.dimension = Kr::kAcceleration}};
    KrSim::Output<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};
};

class RoadTraffic final : public KrSim::ModuleOf<RoadVehicle> {
public:
    static constexpr int kVersion = 1;

    explicit RoadTraffic(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {}

    void onStep(RoadVehicle& unit, double) override { unit.step(step); }

    KrSim::Parameter<double> step{this, "Step", {.value = 0.02, .min = 1e-6, .max = 1.0, .dimension = Kr::kTime}};
};

}  // namespace

KR_PLUGIN("RoadVehicle", "1.0",
          KR_EXTENSION(RoadVehicle, "Simulation", "Road Vehicle", "c1cc32ca-534d-422e-aed7-dc6a7f583235"),
          KR_EXTENSION(RoadTraffic, "Simulation", "Road Traffic", "b53058a4-f899-4c88-9733-147b6482f00e"))
