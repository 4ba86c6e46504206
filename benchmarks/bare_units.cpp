#include "benchmarks/bare_units.h"

namespace kr_benchmark {

BareUnit::~BareUnit() = default;

void BareUnit::update() {
    const double value = force + drag;
    if (value == speed) return;
    speed = value;
    if (next != nullptr) next->force = value;
}

std::vector<std::unique_ptr<BareUnit>> makeBareUnits(std::size_t count) {
    std::vector<std::unique_ptr<BareUnit>> units(count);
    for (std::size_t i = count; i-- > 0;) {
        units[i] = std::make_unique<BareUnit>();
        if (i + 1 < count) units[i]->next = units[i + 1].get();
    }
    return units;
}

}  // namespace kr_benchmark
