#pragma once

#include "car_part.h"
#include "quarter_car.h"

namespace fleet {

/// A spring between road and wheel that cannot pull.
class Tyre final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "8dd87c09-48db-48ae-af08-02f76d14223d";
    static constexpr TyreSettings kDefaults{};

    explicit Tyre(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double) override {
        const double pressed = elevation - wheelPosition;
        compression = pressed;
        force = pressTyre({stiffness, staticLoad}, pressed);
    }

    KrSim::Input<double> elevation{
        this, "Elevation", {.dimension = Kr::kLength, .description = "Of the road under the wheel."}};
    KrSim::Input<double> wheelPosition{
        this, "Wheel Position", {.dimension = Kr::kLength, .description = "At the end of the last step."}};
    KrSim::Parameter<double> stiffness{this,
                                       "Stiffness",
                                       {.value = kDefaults.stiffness,
                                        .min = 1e3,
                                        .max = 1e7,
                                        .dimension = Kr::kStiffness,
                                        .description = "Of the tyre against its compression."}};
    KrSim::Parameter<double> staticLoad{this,
                                        "Static Load",
                                        {.value = kDefaults.staticLoad,
                                         .min = 0.0,
                                         .max = 1e6,
                                         .dimension = Kr::kForce,
                                         .description = "Weight that it carries at rest; it cannot pull."}};
    KrSim::Output<double> compression{
        this, "Compression", {.dimension = Kr::kLength, .description = "Beyond that at rest."}};
    KrSim::Output<double> force{
        this, "Force", {.dimension = Kr::kForce, .description = "On the wheel, upwards, beyond that at rest."}};
};

}  // namespace fleet
