#pragma once

#include <string>

#include "kr/core/connections/connection_factory.h"
#include "kr/core/enum.h"
#include "kr/extension/extension.h"
#include "kr/extension/typed_field.h"
#include "kr/math/vector3.h"
#include "kr/testing/test_application.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/stepping_module.h"

namespace experiments_test {

enum class eGear { kPark, kDrive };

/// Adds its acceleration to its speed in each frame, which it reads back.
class Car final : public KrSim::IExtension {
public:
    explicit Car(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}

    void step(double seconds) { speed = speed + (isBroken ? 0.0 : force / mass) * seconds; }

    KrSim::Input<double> force{this, "Force", {.dimension = Kr::kForce}};
    KrSim::Input<double> wind{this, "Wind", {.dimension = Kr::kSpeed}};
    KrSim::Parameter<double> mass{this, "Mass", {.value = 1000.0, .min = 1.0, .max = 1e5, .dimension = Kr::kMass}};
    KrSim::Parameter<int> seats{this, "Seats", {.value = 4, .min = 1}};
    KrSim::Parameter<bool> isBroken{this, "Broken"};
    KrSim::Parameter<std::string> owner{this, "Owner"};
    KrSim::Parameter<Kr::KrEnum> gear{this, "Gear", {.value = Kr::KrEnum(eGear::kDrive)}};
    KrSim::Parameter<KrMath::Vector3T<double>> place{this, "Place", {.dimension = Kr::kLength}};
    KrSim::Output<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};
};

class Traffic final : public test_support::SteppingModule<Car> {
public:
    explicit Traffic(KrSim::KrSimulatorModule* proxy)
        : SteppingModule(proxy, [](Car& car, double seconds) { car.step(seconds); }) {}
};

/// Two cars, the first of which drives the second.
struct World {
    World() { Kr::KrConnectionFactory::connect(*first->speed.getField(), *second->wind.getField()); }

    test_support::DispatcherScope dispatcher;
    KrTesting::TestApplication test;
    KrSim::KrApplication& application{test.getApplication()};
    Traffic* const traffic{&test.make<Traffic>("Traffic")};
    Car* const first{&test.make<Car>("First")};
    Car* const second{&test.make<Car>("Second")};
};

}  // namespace experiments_test

KR_REGISTER_ENUM(experiments_test::eGear, {experiments_test::eGear::kPark, "Park"},
                 {experiments_test::eGear::kDrive, "Drive"});
