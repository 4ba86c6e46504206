#pragma once

#include <vector>

#include "quarter_car.h"

namespace fleet {

/// A car without the library.
struct BareCar {
    RoadProfile road = makeRoadProfile(eRoadClass::kC, 1);
    CarSettings settings;
    CarState state;
};

/// One frame of the fleet, in which all cars make a step before any car makes the next one: the order of the six parts.
void runFrameStepByStep(std::vector<BareCar>& cars, double stepSeconds);
/// One frame in which each car makes all its steps at once: the order of cars of one part.
void runFrameCarByCar(std::vector<BareCar>& cars, double stepSeconds);

}  // namespace fleet
