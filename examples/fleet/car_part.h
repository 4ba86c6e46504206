#pragma once

#include <kr/foundation.h>

namespace fleet {

/// What PartsModule steps: the base of the six parts of a car.
class CarPart : public KrSim::IExtension {
public:
    using IExtension::IExtension;

    virtual void step(double seconds) = 0;
};

}  // namespace fleet
