#include <kr/foundation.h>

#include <cstdio>

int main() {
    KrData::Container car("Car");
    auto* speed = car.add<double>("Speed", 20.0);
    speed->setPhysicalDimension(Kr::kSpeed);
    speed->setRange(0.0, 60.0);
    car.addContainer("Engine")->add<bool>("Running", true);

    const auto watching = car.addObserver([](const KrData::FieldBase& changed) {
        std::printf("%s = %s\n", changed.getPath().c_str(), changed.toString().c_str());
    });
    speed->setValue(75.0);                // prints "Car.Speed = 60": clamped into the range
    car["Engine"]["Running"].set(false);  // prints "Car.Engine.Running = false"
    car["Engine"]["Colour"].set(4);       // no such field: nothing happens

    const auto unit = Kr::KrPhysicalDimension::eDimensionHint::kKilometrePerHour;
    std::printf("%s\n", Kr::KrPhysicalDimension::format(speed->getValue(), Kr::kSpeed, unit).c_str());  // "216 km/h"
}
