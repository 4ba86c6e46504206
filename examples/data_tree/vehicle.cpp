#include "vehicle.h"

namespace Demo {

using Unit = Kr::KrPhysicalDimension::eDimensionHint;

KR_REGISTER_ENUM(Demo::eGear, {Demo::eGear::kPark, "Park"}, {Demo::eGear::kReverse, "Reverse"},
                 {Demo::eGear::kNeutral, "Neutral"}, {Demo::eGear::kDrive, "Drive"});

Wheel::Wheel(const Kr::KrID& id) : Container(id, nullptr, KrData::Types::kParameter) {
    position.setPhysicalDimension(Kr::kLength);
    radius.setPhysicalDimension(Kr::kLength);
    radius.setPhysicalDimensionHint(Unit::kCentimetre);
    radius.setRange(0.1, 1.0);
    pressure.setPhysicalDimension(Kr::kPressure);
    pressure.setPhysicalDimensionHint(Unit::kBar);
}

Vehicle::Vehicle() {
    throttle.setRange(0.0, 1.0);
    throttle.setPhysicalDimension(Kr::kRatio);
    throttle.setPhysicalDimensionHint(Unit::kPercent);
    throttle.setDescription("How far the pedal is pressed");

    speed.setPhysicalDimension(Kr::kSpeed);
    speed.setPhysicalDimensionHint(Unit::kKilometrePerHour);
    distance.setPhysicalDimension(Kr::kLength);

    mass.setRange(500.0, 3500.0);
    mass.setPhysicalDimension(Kr::kMass);
    mass.setDescription("With a full tank, without driver");
    maximumForce.setPhysicalDimension(Kr::kForce);
    maximumForce.setPhysicalDimensionHint(Unit::kKilonewton);
    maximumForce.setDescription("At the wheels, throttle fully open");
    idleSpeed.setPhysicalDimension(Kr::kAngularSpeed);
    idleSpeed.setPhysicalDimensionHint(Unit::kRevolutionPerMinute);
    idleSpeed = Kr::KrPhysicalDimension::toSI(750.0, Unit::kRevolutionPerMinute);
    idleSpeed.setDescription("Of the crankshaft");
    torque.setPhysicalDimension(Kr::kTorque);
    torque.setDescription("At 1000, 2000, 3000 and 4000 revolutions a minute");

    wheels.setSizeRange(2, 6);
    for (const double x : {1.25, -1.25}) {
        for (const double y : {0.75, -0.75})
            wheels.append()->position = KrMath::Vector3T<double>{x, y, 0.0};
    }

    // What a setup adds at run time is produced by type, and may be renamed, moved and removed again.
    auto* roofBox = equipment.add("Roof box", 18.5);
    roofBox->setPhysicalDimension(Kr::kMass);
}

void Vehicle::step(double seconds) {
    if (gear.getValue().get<eGear>() == eGear::kDrive) {
        speed = speed + throttle * maximumForce / mass * seconds;
    }
    distance = distance + speed * seconds;
}

}  // namespace Demo
