#include "quarter_car_object.h"

#include <stdexcept>
#include <string>

#include "quarter_car_parts.h"

namespace fleet {

QuarterCar::QuarterCar(KrSim::KrObject* proxy) : IObject(proxy, kVersion) {
    if (proxy == nullptr) return;
    connectParts({.road = _add<Road>("Road"),
                  .tyre = _add<Tyre>("Tyre"),
                  .skyhook = _add<Skyhook>("Skyhook"),
                  .suspension = _add<Suspension>("Suspension"),
                  .wheel = _add<Wheel>("Wheel"),
                  .body = _add<Body>("Body")});
}

QuarterCar::~QuarterCar() = default;

/// By the factory, so that the part can be copied, saved and loaded.
template <class Part>
Part& QuarterCar::_add(const char* name) {
    const Kr::KrSmartPtr<KrSim::KrExtension> made =
        KrSim::KrExtensionFactory::create({Part::kUuid, "Fleet", name, "Fleet"});
    auto* part = made ? made->getImplementationAs<Part>() : nullptr;
    if (part == nullptr) throw std::runtime_error(std::string("there is no part of the type ") + name);
    part->setName(name);
    if (!add(KrSim::KrSmartInterface<KrSim::IExtension>(part)))
        throw std::runtime_error(std::string("it does not take its ") + name);
    return *part;
}

}  // namespace fleet
