#include "bare_fleet.h"

namespace fleet {

void runFrameStepByStep(std::vector<BareCar>& cars, double stepSeconds) {
    for (int step = 0; step < kStepsPerFrame; ++step)
        for (auto& car : cars)
            stepCar(car.road, car.settings, stepSeconds, car.state);
}

void runFrameCarByCar(std::vector<BareCar>& cars, double stepSeconds) {
    for (auto& car : cars)
        for (int step = 0; step < kStepsPerFrame; ++step)
            stepCar(car.road, car.settings, stepSeconds, car.state);
}

}  // namespace fleet
