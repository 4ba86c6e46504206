#pragma once

#include <cstddef>
#include <memory>
#include <vector>

/// The least that a chain of simulated units can be: a virtual call, two values read, one written, and handed on.
/// Defined in a file of its own, so that the compiler cannot look through the calls.
namespace kr_benchmark {

struct BareUnit {
    virtual ~BareUnit();
    virtual void update();

    double force{0.0};
    double drag{0.0};
    double speed{0.0};
    BareUnit* next{nullptr};
};

[[nodiscard]] std::vector<std::unique_ptr<BareUnit>> makeBareUnits(std::size_t count);

}  // namespace kr_benchmark
