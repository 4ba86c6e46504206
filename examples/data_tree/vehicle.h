#pragma once

#include <kr/foundation.h>

namespace Demo {

enum class eGear { kPark, kReverse, kNeutral, kDrive };

/// One item of the array of wheels: a group of fields that are members of it.
struct Wheel : KrData::Container {
    explicit Wheel(const Kr::KrID& id);

    KrData::Field<KrMath::Vector3T<double>> position{"Position", this};
    KrData::Field<double> radius{"Radius", this, 0.35};
    KrData::Field<double> pressure{"Pressure", this, 250e3};
};

/// A car on a straight road, as an author of plug-ins would write it: what comes in, what goes out and what it is made
/// of are fields. Members are set through their type; tools reach the same fields by name through `tree`.
struct Vehicle {
    Vehicle();

    /// Moves on by this much time, with the throttle as it is.
    void step(double seconds);

    // Containers before their fields, so that fields die first.
    KrData::Container tree{"Vehicle"};

    KrData::Container inputs{"Inputs", &tree, KrData::Types::kInput};
    KrData::Field<double> throttle{"Throttle", &inputs};
    KrData::Field<Kr::KrEnum> gear{"Gear", &inputs, Kr::KrEnum(eGear::kPark)};

    KrData::Container outputs{"Outputs", &tree, KrData::Types::kOutput};
    KrData::Field<double> speed{"Speed", &outputs};
    KrData::Field<double> distance{"Distance", &outputs};

    KrData::Container parameters{"Parameters", &tree, KrData::Types::kParameter};
    KrData::Field<double> mass{"Mass", &parameters, 1500.0};
    KrData::Field<Kr::KrColor> paint{"Paint", &parameters, Kr::KrColor(0.25, 0.5, 1.0)};
    KrData::Container engine{"Engine", &parameters, KrData::Types::kParameter};
    KrData::Field<double> maximumForce{"Maximum force", &engine, 6000.0};
    KrData::Field<double> idleSpeed{"Idle speed", &engine};
    KrData::Vector<double> torque{"Torque", &engine, {90.0, 160.0, 210.0, 185.0}};
    KrData::FieldArray<Wheel> wheels{"Wheels", &parameters, KrData::Types::kParameter};
    KrData::Container equipment{"Equipment", &parameters, KrData::Types::kParameter};
};

}  // namespace Demo
