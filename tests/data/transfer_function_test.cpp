#include "kr/data/transfer_function.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "tests/support/case_name.h"

namespace transfer_function_test {

using KrData::TransferFunction;
using Points = TransferFunction::Points;
using eInterpolation = TransferFunction::eInterpolation;
using eExtrapolation = TransferFunction::eExtrapolation;
using Ends = TransferFunction::Ends;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr Ends kLines{eExtrapolation::kLinear, eExtrapolation::kLinear};
constexpr Ends kAgain{eExtrapolation::kRepeat, eExtrapolation::kRepeat};

const Points kPoints{{1.0, 10.0}, {2.0, 30.0}, {4.0, 20.0}};

TransferFunction table(Ends ends, eInterpolation interpolation = eInterpolation::kLinear) {
    return TransferFunction::table(kPoints, interpolation, ends);
}

struct ValueCase {
    const char* name;
    TransferFunction function;
    double x;
    double y;
};

class TransferFunctionValues : public testing::TestWithParam<ValueCase> {};

TEST_P(TransferFunctionValues, AreThese) {
    const auto& [name, function, x, y] = GetParam();
    EXPECT_EQ(function.getFault(), "");
    const auto result = function(x);
    EXPECT_TRUE(result == y || (std::isnan(result) && std::isnan(y))) << result << " and not " << y;
}

const ValueCase kValues[] = {
    {"NoSteps", TransferFunction(), 3.0, 3.0},
    {"Gain", TransferFunction::gain(2.0, 0.5), 3.0, 6.5},
    {"OnAPoint", table({}), 2.0, 30.0},
    {"Between", table({}), 3.0, 25.0},
    {"BelowClamped", table({}), 0.0, 10.0},
    {"AboveClamped", table({}), kInfinity, 20.0},
    {"BelowOnALine", table(kLines), 0.0, -10.0},
    {"AboveOnALine", table(kLines), 8.0, 0.0},
    {"LastPointOnALine", table(kLines), 4.0, 20.0},
    {"FlatLineAtInfinity", TransferFunction::table({{0.0, 5.0}, {1.0, 5.0}}, eInterpolation::kLinear, kLines),
     kInfinity, 5.0},
    {"Repeated", table(kAgain), 6.0, 25.0},
    {"RepeatedBelow", table(kAgain), 0.0, 25.0},
    {"RepeatedEndIsTheStart", table(kAgain), 4.0, 10.0},
    {"RepeatedInfinity", table(kAgain), kInfinity, kNan},
    {"Step", table({}, eInterpolation::kStep), 3.9, 30.0},
    {"StepOnAPoint", table({}, eInterpolation::kStep), 4.0, 20.0},
    {"OnePoint", TransferFunction::table({{1.0, 7.0}}), 100.0, 7.0},
    {"FarApart", TransferFunction::table({{0.0, -kLargest}, {1.0, kLargest}}), 0.5, 0.0},
    {"Nan", table({}), kNan, kNan},
    {"CurveOnAPoint", TransferFunction::curve({{0.0, 1.0, 9.0}, {2.0, 5.0, -9.0}}), 2.0, 5.0},
    {"CurveBetween", TransferFunction::curve({{0.0, 1.0, 2.0}, {2.0, 5.0, 0.0}}), 1.0, 3.5},
    {"CurveBelowOnALine", TransferFunction::curve({{0.0, 1.0, 2.0}, {2.0, 5.0, 0.0}}, kLines), -1.0, -1.0},
    {"CurveThroughALineIsALine", TransferFunction::curveThrough({{0.0, 0.0}, {1.0, 2.0}, {4.0, 8.0}}), 2.5, 5.0},
    {"Chain", TransferFunction::gain(2.0).then(table({})).then(TransferFunction::gain(1.0, 1.0)), 1.5, 26.0},
};
INSTANTIATE_TEST_SUITE_P(Of, TransferFunctionValues, testing::ValuesIn(kValues), test_support::caseName);

struct FaultCase {
    const char* name;
    TransferFunction function;
    const char* fault;
};

class TransferFunctionFaults : public testing::TestWithParam<FaultCase> {};

TEST_P(TransferFunctionFaults, SayWhatIsWrongAndAnswerNan) {
    EXPECT_EQ(GetParam().function.getFault(), GetParam().fault);
    EXPECT_TRUE(GetParam().function.getSteps().empty());
    EXPECT_TRUE(std::isnan(GetParam().function(1.0)));
}

const FaultCase kFaults[] = {
    {"InfiniteGain", TransferFunction::gain(kInfinity), "step 1 (gain): gain or offset is not finite"},
    {"NoPoints", TransferFunction::table({}), "step 1 (table): there are 0 points, where at least 1 are needed"},
    {"OnePointForALine", TransferFunction::table({{1.0, 1.0}}, eInterpolation::kLinear, kLines),
     "step 1 (table): there are 1 points, where at least 2 are needed"},
    {"EqualX", TransferFunction::table({{1.0, 1.0}, {1.0, 2.0}}),
     "step 1 (table): the x of point 2 is not above that of the one before"},
    {"NanY", TransferFunction::table({{1.0, 1.0}, {2.0, kNan}}), "step 1 (table): point 2 is not finite"},
    {"InfiniteSlope", TransferFunction::curve({{1.0, 1.0, kInfinity}}),
     "step 1 (curve): the slope of point 1 is not finite"},
    {"OneEndRepeats", table({eExtrapolation::kRepeat, eExtrapolation::kClamp}),
     "step 1 (table): one end repeats and the other does not"},
    {"TooWide", TransferFunction::table({{-kLargest, 1.0}, {kLargest, 2.0}}),
     "step 1 (table): the points are too far apart"},
    {"SecondOfAChain", TransferFunction::gain(1.0).then(TransferFunction::gain(kNan)),
     "step 1 (gain): gain or offset is not finite"},
    {"TooManySteps", TransferFunction(TransferFunction::Steps(257)), "there are 257 steps, and 256 are the most"},
};
INSTANTIATE_TEST_SUITE_P(Of, TransferFunctionFaults, testing::ValuesIn(kFaults), test_support::caseName);

TEST(TransferFunctionCurves, RiseOnlyWhereTheirPointsDo) {
    const auto curve = TransferFunction::curveThrough({{0.0, 0.0}, {1.0, 0.1}, {2.0, 5.0}, {3.0, 5.0}, {4.0, 4.0}});
    double before = curve(0.0);
    for (int i = 1; i <= 400; ++i) {
        const double y = curve(i / 100.0);
        EXPECT_TRUE(i <= 300 ? y >= before - 1e-12 : y <= before + 1e-12) << "at " << i / 100.0;
        before = y;
    }
    EXPECT_EQ(curve(2.5), 5.0);
}

}  // namespace transfer_function_test
