#pragma once

#include <kr/foundation.h>

#include "quarter_car.h"
#include "road.h"

namespace fleet {

/// The same car as one extension, which makes the steps of a frame itself.
class WholeCar final : public KrSim::IExtension {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "d5b17543-d055-4071-8e3d-82a5b793f900";
    static constexpr CarSettings kDefaults{};

    explicit WholeCar(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {}

    void runFrame(double frameSeconds) {
        const RoadProfile& road = _maker.get(roadClass.get(), seed);
        const CarSettings settings = _getSettings();
        CarState state = _getState();
        for (int step = 0; step < kStepsPerFrame; ++step)
            stepCar(road, settings, frameSeconds / kStepsPerFrame, state);
        _setState(state);
    }

    KrSim::Parameter<Kr::KrEnum> roadClass{
        this, "Road Class", {.value = Kr::KrEnum(eRoadClass::kC), .description = "Roughness after ISO 8608."}};
    KrSim::Parameter<std::int32_t> seed{
        this, "Seed", {.value = 1, .description = "Roads of one class differ by their seeds."}};
    KrSim::Parameter<double> speed{this,
                                   "Speed",
                                   {.value = kDefaults.speed,
                                    .min = 0.0,
                                    .max = 100.0,
                                    .dimension = Kr::kSpeed,
                                    .description = "At which the car drives over the road."}};
    KrSim::Parameter<double> tyreStiffness{this,
                                           "Tyre Stiffness",
                                           {.value = kDefaults.tyre.stiffness,
                                            .min = 1e3,
                                            .max = 1e7,
                                            .dimension = Kr::kStiffness,
                                            .description = "Of the tyre against its compression."}};
    KrSim::Parameter<double> staticLoad{this,
                                        "Static Load",
                                        {.value = kDefaults.tyre.staticLoad,
                                         .min = 0.0,
                                         .max = 1e6,
                                         .dimension = Kr::kForce,
                                         .description = "Weight that the tyre carries at rest; it cannot pull."}};
    KrSim::Parameter<double> wheelMass{this,
                                       "Wheel Mass",
                                       {.value = kDefaults.wheelMass,
                                        .min = 1.0,
                                        .max = 1e4,
                                        .dimension = Kr::kMass,
                                        .description = "All that moves with the wheel."}};
    KrSim::Parameter<double> stiffness{this,
                                       "Suspension Stiffness",
                                       {.value = kDefaults.suspension.stiffness,
                                        .min = 0.0,
                                        .max = 1e7,
                                        .dimension = Kr::kStiffness,
                                        .description = "Of the spring."}};
    KrSim::Parameter<double> stopTravel{this,
                                        "Stop Travel",
                                        {.value = kDefaults.suspension.stopTravel,
                                         .min = 0.0,
                                         .max = 1.0,
                                         .dimension = Kr::kLength,
                                         .description = "Deflection, either way, at which it hits a stop."}};
    KrSim::Parameter<double> stopStiffness{this,
                                           "Stop Stiffness",
                                           {.value = kDefaults.suspension.stopStiffness,
                                            .min = 0.0,
                                            .max = 1e8,
                                            .dimension = Kr::kStiffness,
                                            .description = "Of a stop, on top of that of the spring."}};
    KrSim::Parameter<bool> active{
        this,
        "Active",
        {.value = kDefaults.skyhook.isActive, .description = "When false, the damping is the minimum."}};
    KrSim::Parameter<double> skyhookDamping{this,
                                            "Skyhook Damping",
                                            {.value = kDefaults.skyhook.skyhookDamping,
                                             .min = 0.0,
                                             .max = 1e6,
                                             .description = "Of the imagined damper in N s/m."}};
    KrSim::Parameter<double> minimumDamping{this,
                                            "Minimum Damping",
                                            {.value = kDefaults.skyhook.minimumDamping,
                                             .min = 0.0,
                                             .max = 1e6,
                                             .description = "Of the real damper in N s/m."}};
    KrSim::Parameter<double> maximumDamping{this,
                                            "Maximum Damping",
                                            {.value = kDefaults.skyhook.maximumDamping,
                                             .min = 0.0,
                                             .max = 1e6,
                                             .description = "Of the real damper in N s/m, at least the minimum."}};
    KrSim::Parameter<double> bodyMass{this,
                                      "Body Mass",
                                      {.value = kDefaults.bodyMass,
                                       .min = 1.0,
                                       .max = 1e5,
                                       .dimension = Kr::kMass,
                                       .description = "A quarter of the body with its load."}};
    KrSim::Output<double> distance{this, "Distance", {.dimension = Kr::kLength, .description = "Since the beginning."}};
    KrSim::Output<double> elevation{
        this, "Elevation", {.dimension = Kr::kLength, .description = "Height of the road under the wheel."}};
    KrSim::Output<double> compression{
        this, "Tyre Compression", {.dimension = Kr::kLength, .description = "Beyond that at rest."}};
    KrSim::Output<double> tyreForce{
        this, "Tyre Force", {.dimension = Kr::kForce, .description = "On the wheel, upwards, beyond that at rest."}};
    KrSim::Output<double> damping{this, "Damping", {.description = "Of the damper in N s/m."}};
    KrSim::Output<double> suspensionForce{
        this, "Suspension Force", {.dimension = Kr::kForce, .description = "Pulls the body down and the wheel up."}};
    KrSim::Output<double> deflection{
        this, "Deflection", {.dimension = Kr::kLength, .description = "Positive when the suspension is stretched."}};
    KrSim::Output<double> dissipatedEnergy{
        this, "Dissipated Energy", {.dimension = Kr::kEnergy, .description = "In the damper since the beginning."}};
    KrSim::Output<double> wheelPosition{
        this, "Wheel Position", {.dimension = Kr::kLength, .description = "Above that at rest."}};
    KrSim::Output<double> wheelVelocity{this, "Wheel Velocity", {.dimension = Kr::kSpeed, .description = "Upwards."}};
    KrSim::Output<double> wheelAcceleration{
        this, "Wheel Acceleration", {.dimension = Kr::kAcceleration, .description = "In the last step."}};
    KrSim::Output<double> bodyPosition{
        this, "Body Position", {.dimension = Kr::kLength, .description = "Above that at rest."}};
    KrSim::Output<double> bodyVelocity{this, "Body Velocity", {.dimension = Kr::kSpeed, .description = "Upwards."}};
    KrSim::Output<double> bodyAcceleration{
        this, "Body Acceleration", {.dimension = Kr::kAcceleration, .description = "In the last step."}};
    KrSim::Output<double> peakAcceleration{
        this,
        "Peak Acceleration",
        {.dimension = Kr::kAcceleration, .description = "Of the body, of either sign, since the beginning."}};
    KrSim::Output<double> discomfort{
        this, "Discomfort", {.description = "Integral of the squared acceleration of the body, in m2/s3."}};

private:
    [[nodiscard]] CarSettings _getSettings() const {
        return {.speed = speed,
                .tyre = {tyreStiffness, staticLoad},
                .wheelMass = wheelMass,
                .suspension = {stiffness, stopTravel, stopStiffness},
                .skyhook = {active, skyhookDamping, minimumDamping, maximumDamping},
                .bodyMass = bodyMass};
    }
    [[nodiscard]] CarState _getState() const {
        return {.distance = distance,
                .elevation = elevation,
                .compression = compression,
                .tyreForce = tyreForce,
                .damping = damping,
                .suspension = {suspensionForce, deflection, dissipatedEnergy},
                .wheel = {wheelPosition, wheelVelocity, wheelAcceleration},
                .body = {bodyPosition, bodyVelocity, bodyAcceleration},
                .ride = {peakAcceleration, discomfort}};
    }
    void _setState(const CarState& state) {
        distance = state.distance;
        elevation = state.elevation;
        compression = state.compression;
        tyreForce = state.tyreForce;
        damping = state.damping;
        suspensionForce = state.suspension.force;
        deflection = state.suspension.deflection;
        dissipatedEnergy = state.suspension.dissipatedEnergy;
        wheelPosition = state.wheel.position;
        wheelVelocity = state.wheel.velocity;
        wheelAcceleration = state.wheel.acceleration;
        bodyPosition = state.body.position;
        bodyVelocity = state.body.velocity;
        bodyAcceleration = state.body.acceleration;
        peakAcceleration = state.ride.peakAcceleration;
        discomfort = state.ride.discomfort;
    }

    RoadMaker _maker;
};

}  // namespace fleet
