// Loads the plug-in as krsim does, and checks what its types do: road_vehicle_test FOLDER

#include <kr/foundation.h>
#include <kr/testing/log_capture.h>
#include <kr/testing/test_application.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <string>

namespace {

int failures = 0;

void expect(bool holds, const std::string& what) {
    if (holds) return;
    ++failures;
    std::fprintf(stderr, "failed: %s\n", what.c_str());
}

/// 60 frames a second, one unit with 1500 kg and a force of 3000 N.
struct Simulation {
    explicit Simulation(const std::string& folder) {
        application.usePlugin(folder, "RoadVehicle");
        application.add("Simulation.Road Vehicle", "Unit");
        application.getField("Unit.Inputs.Force").set(3000.0);
    }
    KrTesting::TestApplication application;
};

void gathersSpeed(const std::string& folder) {
    Simulation simulation(folder);
    simulation.application.step(120);
    const double speed = simulation.application.getField("Unit.Outputs.Speed").toReal();
    expect(std::abs(speed - 4.0) < 1e-9, "after 2 s it does " + std::to_string(speed) + " m/s, not 4");
}

void continuesFromAnyMoment(const std::string& folder) {
    Simulation simulation(folder);
    const auto difference = simulation.application.explainReplay(60, 60);
    expect(difference.empty(), difference);
}

void doesTheSameInEveryRun(const std::string& folder) {
    const auto run = [&] { return Simulation(folder).application.record(60); };
    const auto difference = run().explainDifference(run());
    expect(difference.empty(), difference);
}

}  // namespace

int main(int count, char** arguments) {
    const std::string folder = count > 1 ? arguments[1] : ".";
    const KrTesting::LogCapture log;
    try {
        gathersSpeed(folder);
        continuesFromAnyMoment(folder);
        doesTheSameInEveryRun(folder);
    } catch (const std::exception& error) {
        expect(false, error.what());
    }
    for (const auto& line : log.lines(Kr::eLogLevel::kWarn))
        expect(false, "logged: " + line);
    return failures == 0 ? 0 : 1;
}
