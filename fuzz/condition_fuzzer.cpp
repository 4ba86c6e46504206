#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kr/conditions/condition.h"
#include "kr/platform/log.h"
#include "tests/experiments/world.h"

using KrConditions::Condition;
using KrConditions::eConditionState;

// A condition on two cars: refused with a place in it, or evaluated in a frame.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const experiments_test::World& world = *new experiments_test::World;
    Kr::LogSetLevel(Kr::eLogLevel::kOff);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Condition condition(world.application, text);
    const auto& problem = condition.getProblem();
    if (problem) {
        if (problem.column < 1 || problem.column > size + 1) std::abort();
        if (condition.describeProblem().empty() || condition.evaluate() != eConditionState::kFails) std::abort();
        return 0;
    }
    if (condition.evaluate() == eConditionState::kPaused || condition.evaluate() != eConditionState::kPaused)
        std::abort();
    if (condition.formatValues(condition.getValues()).empty() != condition.getValues().empty()) std::abort();
    return 0;
}
