#include "electric_car.h"

#include <stdexcept>
#include <string>

#include "driver.h"
#include "driving_cycle.h"
#include "electric_drive.h"
#include "vehicle.h"

namespace {

void connect(const KrSim::Output<double>& source, const KrSim::Input<double>& sink) {
    if (Kr::KrConnectionFactory::connect(source.getField(), sink.getField()) == nullptr)
        throw std::runtime_error("cannot connect to " + sink.getField()->getPath());
}

void feedBack(const KrSim::Output<double>& source, const KrSim::Input<double>& sink) {
    if (Kr::KrConnectionFactory::connectQueued(source.getField(), sink.getField()) == nullptr)
        throw std::runtime_error("cannot feed back to " + sink.getField()->getPath());
}

}  // namespace

ElectricCar::ElectricCar(KrSim::KrObject* proxy) : IObject(proxy, kVersion) {
    if (proxy == nullptr) return;
    auto& cycle = _add<DrivingCycle>("Driving Cycle");
    auto& driver = _add<Driver>("Driver");
    auto& drive = _add<ElectricDrive>("Electric Drive");
    auto& vehicle = _add<Vehicle>("Vehicle");
    connect(cycle.targetSpeed, driver.targetSpeed);
    connect(cycle.targetAcceleration, driver.targetAcceleration);
    connect(driver.pedal, drive.pedal);
    connect(drive.tractionForce, vehicle.tractionForce);
    connect(drive.brakeForce, vehicle.brakeForce);
    feedBack(vehicle.speed, driver.speed);
    feedBack(vehicle.speed, drive.speed);
    feedBack(vehicle.tractionWork, drive.tractionWork);
}

ElectricCar::~ElectricCar() = default;

/// By the factory, so that the part can be copied, saved and loaded.
template <class Part>
Part& ElectricCar::_add(const char* name) {
    const Kr::KrSmartPtr<KrSim::KrExtension> made =
        KrSim::KrExtensionFactory::create({Part::kUuid, "Drive Cycle", name, "DriveCycle"});
    auto* part = made ? made->getImplementationAs<Part>() : nullptr;
    if (part == nullptr) throw std::runtime_error(std::string("there is no part of the type ") + name);
    part->setName(name);
    if (!add(KrSim::KrSmartInterface<KrSim::IExtension>(part)))
        throw std::runtime_error(std::string("it does not take its ") + name);
    return *part;
}
