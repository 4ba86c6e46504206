#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kr/experiments/assignment.h"
#include "kr/platform/export.h"

namespace KrExperiments {

/// What one field takes in the runs of a sweep.
struct Variation {
    std::string pattern{};              ///< see findFields
    std::vector<std::string> values{};  ///< as setField takes them: a list, or the steps of a range
    bool isRange{false};                ///< all values from `first` to `last`, for random samples
    double first{0.0};                  ///< in the unit of the range
    double last{0.0};
    std::string unit{};  ///< of `first` and `last`: "t"
};

/// Reads "Car/Mass=1 t:2 t:100 kg", a range with a step, "Car/Mass=1 t:2 t", a range for random samples, or
/// "Car.Gear=Park,Drive", a list. The units may differ; the values are in the unit of the first number.
/// \return the problem, as the end of a message; empty when `variation` has it.
[[nodiscard]] KR_API std::string parseVariation(std::string_view text, Variation& variation);

enum class eSampling {
    kGrid,    ///< each value of each field with each of the others; the last field changes fastest
    kRandom,  ///< evenly distributed, independent numbers
    kLatin,   ///< Latin hypercube: of each field, one number in each of as many equal parts of its range as there are
              ///< runs
};

struct SweepPlan {
    std::vector<Variation> variations{};
    eSampling sampling{eSampling::kGrid};
    std::size_t runs{0};    ///< of random samples
    std::uint32_t seed{0};  ///< of the samples, and of the random streams of the first run
};

/// One run: its number, from 1 on, and what makes it another one than the others.
struct SweepRun {
    std::size_t number{0};
    std::uint32_t seed{0};  ///< of the random streams: that of the plan; of random samples another one for each run
    std::vector<Assignment> assignments{};  ///< one for each variation, in order
};

/// All runs of a sweep: the same for the same plan, on each machine. At most a million.
/// \param problem  why there are none, as the end of a message; else empty.
[[nodiscard]] KR_API std::vector<SweepRun> makeRuns(const SweepPlan& plan, std::string& problem);

}  // namespace KrExperiments
