#pragma once

#include "car_models.h"
#include "car_part.h"

/// A mass on a level road, against rolling and air resistance.
class Vehicle final : public CarPart {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "372bf1f7-4a36-4ac2-a1cd-4dd62191d966";
    static constexpr VehicleSettings kDefaults{};

    explicit Vehicle(KrSim::KrExtension* proxy) : CarPart(proxy, kVersion) {}

    void step(double seconds) override {
        const VehicleSettings settings{mass, rotatingMassFactor, rollingCoefficient, dragArea, airDensity};
        const auto moved = moveVehicle(settings, speed, {tractionForce, brakeForce}, seconds);
        distance = distance + moved.distance;
        tractionWork = tractionWork + moved.traction;
        rollingLoss = rollingLoss + moved.rolling;
        airLoss = airLoss + moved.air;
        brakeLoss = brakeLoss + moved.brake;
        kineticEnergy = 0.5 * settings.getInertia() * moved.speed * moved.speed;
        acceleration = (moved.speed - speed) / seconds;
        speed = moved.speed;
    }

    KrSim::Input<double> tractionForce{
        this, "Traction Force", {.dimension = Kr::kForce, .description = "At the wheels; below 0: recuperating."}};
    KrSim::Input<double> brakeForce{
        this, "Brake Force", {.min = 0.0, .dimension = Kr::kForce, .description = "At the wheels."}};

    KrSim::Parameter<double> mass{this,
                                  "Mass",
                                  {.value = kDefaults.mass,
                                   .min = 1.0,
                                   .max = 1e5,
                                   .dimension = Kr::kMass,
                                   .description = "Ready for the road, with driver."}};
    KrSim::Parameter<double> rotatingMassFactor{
        this,
        "Rotating Mass Factor",
        {.value = kDefaults.rotatingMassFactor,
         .min = 1.0,
         .max = 2.0,
         .dimension = Kr::kRatio,
         .description = "Mass to accelerate / mass: what turns is accelerated, too."}};
    KrSim::Parameter<double> rollingCoefficient{this,
                                                "Rolling Coefficient",
                                                {.value = kDefaults.rollingCoefficient,
                                                 .min = 0.0,
                                                 .max = 0.5,
                                                 .dimension = Kr::kRatio,
                                                 .description = "Rolling resistance / weight."}};
    KrSim::Parameter<double> dragArea{this,
                                      "Drag Area",
                                      {.value = kDefaults.dragArea,
                                       .min = 0.0,
                                       .max = 20.0,
                                       .dimension = Kr::kArea,
                                       .description = "Drag coefficient times frontal area."}};
    KrSim::Parameter<double> airDensity{this,
                                        "Air Density",
                                        {.value = kDefaults.airDensity,
                                         .min = 0.0,
                                         .max = 10.0,
                                         .dimension = Kr::kDensity,
                                         .description = "At the road."}};

    KrSim::Output<double> speed{
        this, "Speed", {.dimension = Kr::kSpeed, .description = "At the end of the frame; never below 0."}};
    KrSim::Output<double> acceleration{
        this, "Acceleration", {.dimension = Kr::kAcceleration, .description = "Mean of the frame."}};
    KrSim::Output<double> distance{this, "Distance", {.dimension = Kr::kLength, .description = "Since the beginning."}};
    KrSim::Output<double> tractionWork{
        this, "Traction Work", {.dimension = Kr::kEnergy, .description = "Of the traction force since the beginning."}};
    KrSim::Output<double> rollingLoss{
        this, "Rolling Loss", {.dimension = Kr::kEnergy, .description = "Work against the rolling resistance."}};
    KrSim::Output<double> airLoss{
        this, "Air Loss", {.dimension = Kr::kEnergy, .description = "Work against the air resistance."}};
    KrSim::Output<double> brakeLoss{
        this, "Brake Loss", {.dimension = Kr::kEnergy, .description = "Heat of the brakes."}};
    KrSim::Output<double> kineticEnergy{
        this, "Kinetic Energy", {.dimension = Kr::kEnergy, .description = "Of the car with its rotating masses."}};
};
