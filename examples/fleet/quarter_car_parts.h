#pragma once

#include "body.h"
#include "road.h"
#include "skyhook.h"
#include "suspension.h"
#include "tyre.h"
#include "wheel.h"

namespace fleet {

/// The six parts of one car.
struct QuarterCarParts {
    Road& road;
    Tyre& tyre;
    Skyhook& skyhook;
    Suspension& suspension;
    Wheel& wheel;
    Body& body;
};

/// Connects the parts: forces and heights directly, in the order of a step; the motions of the masses return to the
/// springs, the damper and the controller with a delay of one step. Throws std::runtime_error, which names the sink.
void connectParts(const QuarterCarParts& parts);

}  // namespace fleet
