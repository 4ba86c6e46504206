#include "quarter_car_parts.h"

#include <stdexcept>

namespace fleet {

namespace {

void connect(const KrSim::Output<double>& source, const KrSim::Input<double>& sink) {
    if (Kr::KrConnectionFactory::connect(source.getField(), sink.getField()) == nullptr)
        throw std::runtime_error("cannot connect to " + sink.getField()->getPath());
}

void feedBack(const KrSim::Output<double>& source, const KrSim::Input<double>& sink) {
    if (Kr::KrConnectionFactory::connectUnitDelay(source.getField(), sink.getField()) == nullptr)
        throw std::runtime_error("cannot feed back to " + sink.getField()->getPath());
}

}  // namespace

void connectParts(const QuarterCarParts& parts) {
    connect(parts.road.elevation, parts.tyre.elevation);
    connect(parts.skyhook.damping, parts.suspension.damping);
    connect(parts.tyre.force, parts.wheel.tyreForce);
    connect(parts.suspension.force, parts.wheel.suspensionForce);
    connect(parts.suspension.force, parts.body.suspensionForce);
    feedBack(parts.wheel.position, parts.tyre.wheelPosition);
    feedBack(parts.wheel.position, parts.suspension.wheelPosition);
    feedBack(parts.wheel.velocity, parts.suspension.wheelVelocity);
    feedBack(parts.wheel.velocity, parts.skyhook.wheelVelocity);
    feedBack(parts.body.position, parts.suspension.bodyPosition);
    feedBack(parts.body.velocity, parts.suspension.bodyVelocity);
    feedBack(parts.body.velocity, parts.skyhook.bodyVelocity);
}

}  // namespace fleet
