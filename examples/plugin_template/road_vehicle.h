#pragma once

#include <kr/plugin.h>

/// A mass that a force accelerates.
class RoadVehicle final : public KrSim::IExtension {
public:
    static constexpr int kVersion = 1;  // of the data that is saved; count it up when its meaning changes

    explicit RoadVehicle(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {
        _watching = force.getField()->addObserver([this](const KrData::FieldBase&) { acceleration = force / mass; });
    }

    void step(double seconds) {
        acceleration = force / mass;
        speed = speed + acceleration * seconds;
    }

    KrSim::Input<double> force{this, "Force", {.dimension = Kr::kForce, .description = "Accelerates the mass."}};
    KrSim::Parameter<double> mass{this, "Mass", {.value = 1500.0, .min = 1.0, .max = 1e5, .dimension = Kr::kMass}};
    KrSim::Output<double> acceleration{this, "Acceleration", {.dimension = Kr::kAcceleration}};
    KrSim::Output<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};

private:
    KrData::DelegateConnection _watching;  // ends with the vehicle
};
