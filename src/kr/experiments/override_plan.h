#pragma once

#include <limits>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace KrExperiments {

/// What others see of a field in the place of the value that was set.
enum class eOverrideKind {
    kForce,    ///< a value
    kBias,     ///< the own value plus an amount
    kGain,     ///< the own value times a number
    kFreeze,   ///< the value at the beginning of the override
    kDelay,    ///< the value of so many seconds ago
    kNoise,    ///< the own value plus a normally distributed number, another one in each frame
    kDropout,  ///< in each frame the last value that came through, with this probability, and the own value otherwise
};

/// An override of fields, and when it is in effect.
struct OverridePlan {
    static constexpr double kNever = std::numeric_limits<double>::infinity();

    std::string pattern{};  ///< as findMeantFields takes it
    eOverrideKind kind{eOverrideKind::kForce};
    /// "1 m/s": the value for kForce; a difference in a unit of the field for kBias, and for kNoise, whose standard
    /// deviation it is; a number or per cent for kGain and kDropout; a time for kDelay; empty for kFreeze.
    std::string amount{};
    double fromSeconds{-kNever};  ///< of simulated time; from the frame that begins then
    double untilSeconds{kNever};  ///< up to the frame that begins then, which is without the override
    std::string condition{};      ///< in effect in frames before which it held; empty for always. See ConditionMaker.
};

/// Reads "Car/Vehicle.Speed=bias 1 m/s from 400 s until 500 s when Gear == 2". After the kind and its amount come, each
/// once and in this order if at all: "from T", "until T" or "for T", "when" and a condition to the end of the text.
/// \return the problem, as the end of a message; empty when `plan` has the override.
/// Thread: any.
[[nodiscard]] KR_API std::string parseOverride(std::string_view text, OverridePlan& plan);

/// A text that reads back as the plan, without its pattern: "bias 1 m/s from 400 s".
[[nodiscard]] KR_API std::string describeOverride(const OverridePlan& plan);

}  // namespace KrExperiments
