#pragma once

#include "car_part.h"

/// Drives all electric cars of the application while it simulates: steps their parts, sources before sinks, then has
/// each account for what has come of it.
class DriveModule final : public KrSim::ModuleOf<CarPart> {
public:
    static constexpr int kVersion = 1;
    static constexpr char kUuid[] = "cb6ddcca-78d2-45a4-b46f-178922be4b1d";

    explicit DriveModule(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {}

    void onStep(CarPart& part, double seconds) override { part.step(seconds); }
    void onPostUpdate(KrSim::eApplicationMode mode) override {
        stepEach(mode, [](CarPart& part, double seconds) { part.settle(seconds); });
    }
};
