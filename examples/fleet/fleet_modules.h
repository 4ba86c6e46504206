#pragma once

#include "car_part.h"
#include "whole_car.h"

namespace fleet {

/// Steps the parts of all cars, sources before sinks: each part makes one step before any part makes the next one.
class PartsModule final : public KrSim::ModuleOf<CarPart> {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "92deb83f-73bf-4bda-a60d-e569bb1c10d9";

    explicit PartsModule(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {
        setStepRate(KrSim::StepRate::perFrame(kStepsPerFrame));
    }

    void onStep(CarPart& part, double seconds) override { part.step(seconds); }
};

/// Runs the cars that are one extension each.
class CarsModule final : public KrSim::ModuleOf<WholeCar> {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "584beeb9-3775-4d1b-a37d-6468baf4e520";

    explicit CarsModule(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {}

    void onStep(WholeCar& car, double seconds) override { car.runFrame(seconds); }
};

}  // namespace fleet
