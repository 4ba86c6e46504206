#pragma once

#include "car_part.h"
#include "quarter_car.h"

namespace fleet {

/// Controls the damper so that the body moves as if a second damper held it to the sky.
class Skyhook final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "2029fbb9-ec7e-40be-a9a1-eab3e21acd3b";
    static constexpr SkyhookSettings kDefaults{};

    explicit Skyhook(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double) override {
        damping = controlDamping({active, skyhookDamping, minimumDamping, maximumDamping}, bodyVelocity, wheelVelocity);
    }

    KrSim::Input<double> bodyVelocity{
        this, "Body Velocity", {.dimension = Kr::kSpeed, .description = "At the end of the last step."}};
    KrSim::Input<double> wheelVelocity{
        this, "Wheel Velocity", {.dimension = Kr::kSpeed, .description = "At the end of the last step."}};
    KrSim::Parameter<bool> active{
        this, "Active", {.value = kDefaults.isActive, .description = "When false, the damping is the minimum."}};
    KrSim::Parameter<double> skyhookDamping{
        this,
        "Skyhook Damping",
        {.value = kDefaults.skyhookDamping, .min = 0.0, .max = 1e6, .description = "Of the imagined damper in N s/m."}};
    KrSim::Parameter<double> minimumDamping{
        this,
        "Minimum Damping",
        {.value = kDefaults.minimumDamping, .min = 0.0, .max = 1e6, .description = "Of the real damper in N s/m."}};
    KrSim::Parameter<double> maximumDamping{this,
                                            "Maximum Damping",
                                            {.value = kDefaults.maximumDamping,
                                             .min = 0.0,
                                             .max = 1e6,
                                             .description = "Of the real damper in N s/m, at least the minimum."}};
    KrSim::Output<double> damping{
        this, "Damping", {.min = 0.0, .max = 1e6, .description = "That the damper is to have, in N s/m."}};
};

}  // namespace fleet
