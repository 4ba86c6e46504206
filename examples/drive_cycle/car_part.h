#pragma once

#include <kr/foundation.h>

/// What DriveModule steps: the base of the car's extensions.
class CarPart : public KrSim::IExtension {
public:
    using IExtension::IExtension;

    /// Once in a frame, sources before sinks: one time step, of more than 0 s.
    virtual void step(double seconds) = 0;
    /// After the steps of all parts: accounts for what has come of this one.
    virtual void settle(double) {}
};
