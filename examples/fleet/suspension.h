#pragma once

#include "car_part.h"
#include "quarter_car.h"

namespace fleet {

/// Spring, stops and damper between wheel and body.
class Suspension final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "5725c3b1-ddc6-4f73-8558-32bc29f548c5";
    static constexpr SuspensionSettings kDefaults{};

    explicit Suspension(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        SuspensionState state{.dissipatedEnergy = dissipatedEnergy};
        strainSuspension({stiffness, stopTravel, stopStiffness}, damping, {wheelPosition, wheelVelocity},
                         {bodyPosition, bodyVelocity}, seconds, state);
        deflection = state.deflection;
        dissipatedEnergy = state.dissipatedEnergy;
        force = state.force;
    }

    KrSim::Input<double> damping{
        this, "Damping", {.min = 0.0, .max = 1e6, .description = "Of the damper in N s/m, as the controller sets it."}};
    KrSim::Input<double> wheelPosition{
        this, "Wheel Position", {.dimension = Kr::kLength, .description = "At the end of the last step."}};
    KrSim::Input<double> wheelVelocity{
        this, "Wheel Velocity", {.dimension = Kr::kSpeed, .description = "At the end of the last step."}};
    KrSim::Input<double> bodyPosition{
        this, "Body Position", {.dimension = Kr::kLength, .description = "At the end of the last step."}};
    KrSim::Input<double> bodyVelocity{
        this, "Body Velocity", {.dimension = Kr::kSpeed, .description = "At the end of the last step."}};
    KrSim::Parameter<double> stiffness{this,
                                       "Stiffness",
                                       {.value = kDefaults.stiffness,
                                        .min = 0.0,
                                        .max = 1e7,
                                        .dimension = Kr::kStiffness,
                                        .description = "Of the spring."}};
    KrSim::Parameter<double> stopTravel{this,
                                        "Stop Travel",
                                        {.value = kDefaults.stopTravel,
                                         .min = 0.0,
                                         .max = 1.0,
                                         .dimension = Kr::kLength,
                                         .description = "Deflection, either way, at which it hits a stop."}};
    KrSim::Parameter<double> stopStiffness{this,
                                           "Stop Stiffness",
                                           {.value = kDefaults.stopStiffness,
                                            .min = 0.0,
                                            .max = 1e8,
                                            .dimension = Kr::kStiffness,
                                            .description = "Of a stop, on top of that of the spring."}};
    KrSim::Output<double> force{
        this, "Force", {.dimension = Kr::kForce, .description = "Pulls the body down and the wheel up."}};
    KrSim::Output<double> deflection{
        this, "Deflection", {.dimension = Kr::kLength, .description = "Positive when it is stretched."}};
    KrSim::Output<double> dissipatedEnergy{
        this, "Dissipated Energy", {.dimension = Kr::kEnergy, .description = "In the damper since the beginning."}};
};

}  // namespace fleet
