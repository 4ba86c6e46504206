#pragma once

#include <algorithm>
#include <cmath>

#include "road_profile.h"

// The quarter car as plain arithmetic: a wheel on a tyre, a body on a suspension whose damper is controlled. Each form
// of the model - six parts, one part, plain program - calls these functions, so that all of them compute the same bits.
// SI units; positions are relative to the car at rest, upwards. docs/fleet.md has the equations.
namespace fleet {

/// Steps of the model in a frame; at 60 frames in a second that is 960 Hz.
inline constexpr int kStepsPerFrame = 16;

struct TyreSettings {
    double stiffness{190e3};    // N/m
    double staticLoad{3335.4};  // N, weight of the quarter: the tyre cannot pull
};

struct SuspensionSettings {
    double stiffness{18e3};       // N/m
    double stopTravel{0.08};      // m, either way, until it hits a stop
    double stopStiffness{150e3};  // N/m, of a stop
};

struct SkyhookSettings {
    bool isActive{true};            ///< otherwise the damping is the minimum
    double skyhookDamping{2500.0};  // N s/m, of the imagined damper between the body and the sky
    double minimumDamping{300.0};   // N s/m, of the real damper
    double maximumDamping{4000.0};
};

/// Of a mass.
struct Motion {
    double position{0.0};
    double velocity{0.0};
    double acceleration{0.0};
};

/// What the suspension does; the force pulls the body down when it is positive.
struct SuspensionState {
    double force{0.0};
    double deflection{0.0};        // m, positive when it is stretched
    double dissipatedEnergy{0.0};  // J, in the damper since the beginning
};

/// What a passenger feels.
struct Ride {
    double peakAcceleration{0.0};  // m/s2, of either sign
    double discomfort{0.0};        // m2/s3, integral of the squared acceleration
};

/// The force on the wheel, upwards; a wheel that has left the road feels its missing weight.
[[nodiscard]] inline double pressTyre(const TyreSettings& settings, double compression) {
    return std::max(settings.stiffness * compression, -settings.staticLoad);
}

/// The damping that comes closest to a damper between the body and the sky (D. Karnopp's semi-active control).
[[nodiscard]] inline double controlDamping(const SkyhookSettings& settings, double bodyVelocity, double wheelVelocity) {
    const double relative = bodyVelocity - wheelVelocity;
    const double wanted = settings.skyhookDamping * bodyVelocity;
    if (!settings.isActive || wanted * relative <= 0.0) return settings.minimumDamping;
    return std::min(std::max(wanted / relative, settings.minimumDamping), settings.maximumDamping);
}

inline void strainSuspension(const SuspensionSettings& settings, double damping, const Motion& wheel,
                             const Motion& body, double seconds, SuspensionState& suspension) {
    const double deflection = body.position - wheel.position;
    const double rate = body.velocity - wheel.velocity;
    const double beyond = deflection - std::clamp(deflection, -settings.stopTravel, settings.stopTravel);
    suspension.deflection = deflection;
    suspension.force = settings.stiffness * deflection + settings.stopStiffness * beyond + damping * rate;
    suspension.dissipatedEnergy += damping * rate * rate * seconds;
}

/// Semi-implicit Euler.
inline void moveMass(double mass, double force, double seconds, Motion& motion) {
    motion.acceleration = force / mass;
    motion.velocity += motion.acceleration * seconds;
    motion.position += motion.velocity * seconds;
}

inline void feelRide(double acceleration, double seconds, Ride& ride) {
    ride.peakAcceleration = std::max(ride.peakAcceleration, std::abs(acceleration));
    ride.discomfort += acceleration * acceleration * seconds;
}

/// All that does not change while a car runs.
struct CarSettings {
    double speed{20.0};  // m/s
    TyreSettings tyre;
    double wheelMass{40.0};  // kg, with half of the axle
    SuspensionSettings suspension;
    SkyhookSettings skyhook;
    double bodyMass{300.0};  // kg, a quarter of the body
};

/// All that changes.
struct CarState {
    double distance{0.0};
    double elevation{0.0};
    double compression{0.0};
    double tyreForce{0.0};
    double damping{0.0};
    SuspensionState suspension;
    Motion wheel;
    Motion body;
    Ride ride;
};

/// One step of the whole car. The forces follow from the motions at the end of the last step, which the six parts get
/// over their feedback connections.
inline void stepCar(const RoadProfile& road, const CarSettings& settings, double seconds, CarState& car) {
    car.distance += settings.speed * seconds;
    car.elevation = getElevation(road, car.distance);
    car.compression = car.elevation - car.wheel.position;
    car.tyreForce = pressTyre(settings.tyre, car.compression);
    car.damping = controlDamping(settings.skyhook, car.body.velocity, car.wheel.velocity);
    strainSuspension(settings.suspension, car.damping, car.wheel, car.body, seconds, car.suspension);
    moveMass(settings.wheelMass, car.tyreForce + car.suspension.force, seconds, car.wheel);
    moveMass(settings.bodyMass, -car.suspension.force, seconds, car.body);
    feelRide(car.body.acceleration, seconds, car.ride);
}

}  // namespace fleet
