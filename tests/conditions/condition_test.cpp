#include "kr/conditions/condition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/persistence/states/restore_report.h"
#include "kr/persistence/states/simulation_snapshot.h"
#include "tests/experiments/world.h"

using experiments_test::eGear;
using experiments_test::World;
using KrConditions::Condition;
using KrConditions::eConditionState;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// First: 10 m/s, force 300 N, mass 1000 kg, 4 seats, place (1, 2, 3) m. Second: mass 2000 kg, broken.
struct ReadyWorld : World {
    ReadyWorld() {
        first->speed = 10.0;
        first->place = KrMath::Vector3T<double>(1.0, 2.0, 3.0);
        second->mass = 2000.0;
        second->isBroken = true;
    }
    eConditionState evaluate(const std::string& text) const {
        Condition condition(application, text);
        EXPECT_EQ(condition.describeProblem(), "");
        return condition.evaluate();
    }
};

struct Case {
    const char* name;
    const char* text;
    bool holds;
};
class Conditions : public testing::TestWithParam<Case> {};
TEST_P(Conditions, HoldOrFail) {
    const ReadyWorld world;
    EXPECT_EQ(world.evaluate(GetParam().text), GetParam().holds ? eConditionState::kHolds : eConditionState::kFails);
}
std::string nameOf(const testing::TestParamInfo<Case>& each) {
    return each.param.name;
}
INSTANTIATE_TEST_SUITE_P(
    Paths, Conditions,
    testing::Values(
        Case{"Bare", "First.Speed == 10", true}, Case{"Full", "First.Outputs.Speed == 10", true},
        Case{"SingleQuotes", "'First/Speed' == 10", true}, Case{"DoubleQuotes", "\"First/Speed\" == 10", true},
        Case{"BackQuotes", "`First/Speed` == 10", true}, Case{"SlashDivides", "First.Speed/First.Seats == 2.5", true},
        Case{"Component", "First.Place.Y == 2", true}, Case{"QuotedComponent", "'First/Place.Z' == 3", true},
        Case{"Boolean", "Second.Broken and not First.Broken", true}, Case{"Integer", "First.Seats == 4", true},
        Case{"Enumeration", "First.Gear == 'Drive'", true}, Case{"EnumerationFirst", "'Park' == 'First/Gear'", false},
        Case{"EnumerationNumber", "First.Gear == 1", true}),
    nameOf);
INSTANTIATE_TEST_SUITE_P(
    Quantities, Conditions,
    testing::Values(Case{"Unit", "First.Speed == 36 km/h", true}, Case{"UnitAtTheNumber", "First.Speed==36km/h", true},
                    Case{"UnitInBrackets", "First.Speed == 36 [ km/h ]", true},
                    Case{"UnitFirst", "36 km/h == First.Speed", true}, Case{"SI", "First.Speed == 10", true},
                    Case{"LongestSymbol", "First.Mass > 999 kg", true}, Case{"UnitThenDivision", "10 m/2 == 5 m", true},
                    Case{"UnitThenWord", "First.Mass == 1 t and true", true},
                    Case{"AmbiguousTakesThatOfTheField", "First.Mass == 1000000 g", true},
                    Case{"OffsetOfDegrees", "20 °C == 293.15 K", true}, Case{"Percent", "50 % == 0.5", true},
                    Case{"NegativeDegreesAreOneQuantity", "-5 °C == 268.15 K", true},
                    Case{"MinusBetweenQuantities", "10 km - 5 km == 5000 m", true},
                    Case{"NegativeQuantity", "First.Speed > -36 km/h", true},
                    Case{"PlainSymbol", "3 m^2 == 3 m²", true}, Case{"Exponent", "First.Mass == 1e3", true}),
    nameOf);
INSTANTIATE_TEST_SUITE_P(
    Operators, Conditions,
    testing::Values(Case{"NotBindsWeakerThanComparison", "not First.Speed > 30", true},
                    Case{"BangBindsStronger", "!First.Speed > 30", false},
                    Case{"NotBindsStrongerThanAnd", "not false and false", false},
                    Case{"AndBeforeOr", "true or false and false", true},
                    Case{"Signs", "true && !false || false", true},
                    Case{"Brackets", "(true or false) and false", false},
                    Case{"ComparedResultsInBrackets", "(1 < 2) == (3 < 4)", true},
                    Case{"ThreeOperators", "1 != 2 and 2 <= 2 and 2 >= 2", true}, Case{"Power", "2^3^2 == 512", true},
                    Case{"Functions", "max(abs(-3), sqrt(16), 1) == 4", true},
                    Case{"Choice", "First.Speed > 5 ? 1 : 0", true}, Case{"ANumber", "First.Seats - 4", false},
                    Case{"FirstFrame", "frame == 1", true}, Case{"Time", "time <= 20 ms and time > 0", true},
                    Case{"DivisionByZero", "1/0 > 1e300", true}),
    nameOf);

struct Refused {
    const char* name;
    std::string text;
    std::size_t column;
    const char* problem;
};
class RefusedConditions : public testing::TestWithParam<Refused> {};
TEST_P(RefusedConditions, SayWhereAndWhatToDo) {
    const World world;
    const Condition condition(world.application, GetParam().text);
    EXPECT_THAT(condition.getProblem().text, HasSubstr(GetParam().problem));
    EXPECT_EQ(condition.getProblem().column, GetParam().column);
}
INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedConditions,
    testing::Values(Refused{"Empty", "  ", 3, "there is no condition"},
                    Refused{"UnknownField", "1 < First.Sped", 5,
                            "there is no field 'First.Sped'; did you mean 'First.Speed'?"},
                    Refused{"SeveralFields", "'Speed' > 1", 1, "'Speed' is the end of 2 paths"},
                    Refused{"Pattern", "'*.Speed' > 1", 1, "is a pattern"},
                    Refused{"Vector", "First.Place > 1", 1, "has the components 'X', 'Y', 'Z'; write one behind it"},
                    Refused{"UnknownComponent", "First.Place.Q > 1", 1, "has no component 'Q'; they are 'X', 'Y', 'Z'"},
                    Refused{"Text", "First.Owner == 1", 1, "'First.Parameters.Owner' is no number"},
                    Refused{"EnumerationText", "First.Gear == 'Perk'", 15,
                            "is no value of 'First.Parameters.Gear'; they are 'Park'"},
                    Refused{"Assignment", "First.Speed = 5", 13, "write =="},
                    Refused{"OneAmpersand", "true & true", 6, "write && or the word and"},
                    Refused{"UnknownUnit", "First.Speed > 3 kmh", 17, "there is no unit 'kmh'; did you mean"},
                    Refused{"UnknownUnitInBrackets", "First.Speed > 3 [kmh]", 18, "there is no unit 'kmh'"},
                    Refused{"OpenUnit", "First.Speed > 3 [km/h", 17, "the ']' behind the unit is missing"},
                    Refused{"OtherDimension", "First.Speed > 3 kg", 15,
                            "'3 kg' is no speed, as 'First.Outputs.Speed' is; its units are m/s"},
                    Refused{"AmbiguousUnit", "abs(First.Mass) > 5 g", 19,
                            "is one of mass and of acceleration; compare it with a field"},
                    Refused{"ColumnsCountCharacters", "20 °C > 1 °X", 11, "there is no unit '°X'"},
                    Refused{"OpenQuotes", "1 < 'First/Speed", 5, "the second ' is missing"},
                    Refused{"NoFirstOperand", "and true", 1, "an operand is missing before '&&'"},
                    Refused{"NoLastOperand", "First.Speed >", 14, "an operand is missing at the end"},
                    Refused{"NoOperator", "First.Speed First.Mass", 13, "an operator is missing before 'First.Mass'"},
                    Refused{"ComparedComparison", "1 < First.Speed < 3", 17, "write 'a < b and b < c'"},
                    Refused{"OpenBracket", "(1 < (2)", 1, "the ')' for this '(' is missing"},
                    Refused{"ClosedBracket", "1 < 2)", 6, "there is no '(' for this ')'"},
                    Refused{"EmptyBrackets", "1 < ()", 6, "there is nothing in the brackets"},
                    Refused{"UnknownFunction", "sqr(4) == 2", 1, "there is no function 'sqr'; did you mean"},
                    Refused{"TooManyArguments", "sqrt(4, 5) == 2", 10, "too many arguments"},
                    Refused{"TooFewArguments", "atan2(4) == 2", 8, "too few arguments"},
                    Refused{"Comma", "1, 2", 2, "a comma is possible between arguments of a function only"},
                    Refused{"NoElse", "true ? 1", 6, "the ':' for this '?' is missing"},
                    Refused{"NoQuestion", "1 : 2", 3, "there is no '?' for this ':'"},
                    Refused{"ForInBrackets", "(true for 2 s) and true", 7, "at the end of a whole condition only"},
                    Refused{"ForInTheMiddle", "true for 2 s and true", 6, "at the end of a whole condition only"},
                    Refused{"ForWithoutTime", "true for", 6, "at the end of a whole condition only"},
                    Refused{"ForOfAnotherDimension", "true for 2 kg", 10, "'2 kg' is no time"},
                    Refused{"UnknownCharacter", "1 < 2 ; 3", 7, "';' is not known here"},
                    Refused{"NoUtf8", "1 < \xFF", 5, "no text in UTF-8"},
                    Refused{"HugeNumber", "1e999 > 1", 1, "too large or too small"},
                    Refused{"TooLong", std::string(3000, '('), 2001, "longer than 2000 bytes"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(ConditionText, ManyBracketsAreReadOrRefusedWithoutHarm) {
    const World world;
    const std::string open(900, '(');
    const std::string close(900, ')');
    EXPECT_EQ(Condition(world.application, open + "1" + close).evaluate(), eConditionState::kHolds);
    EXPECT_EQ(Condition(world.application, open).getProblem().column, 901U);
}

class DecimalComma final : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

TEST(ConditionText, NumbersDoNotDependOnTheLocale) {
    const ReadyWorld world;
    const auto before = std::locale::global(std::locale(std::locale(), new DecimalComma));
    const auto state = world.evaluate("First.Speed > 9.5 and max(1.5, 2.5) == 2.5");
    std::locale::global(before);
    EXPECT_EQ(state, eConditionState::kHolds);
}

TEST(ConditionText, TheProblemIsDescribedWithTheCondition) {
    const World world;
    EXPECT_EQ(Condition(world.application, "1 <").describeProblem(),
              "'1 <', column 4: an operand is missing at the end");
}

TEST(ConditionValues, AreNamedWithTheirUnits) {
    const ReadyWorld world;
    Condition condition(world.application, "First.Speed > 30 and First.Speed < 50 and First.Gear == 'Park'");
    (void)condition.evaluate();
    EXPECT_EQ(condition.formatValues(condition.getValues()),
              "First.Outputs.Speed = 10 m/s, First.Parameters.Gear = Drive");
}

struct NaNCase {
    const char* name;
    const char* text;
};
class ConditionsWithNaN : public testing::TestWithParam<NaNCase> {};
TEST_P(ConditionsWithNaN, AreNeitherTrueNorFalse) {
    const ReadyWorld world;
    world.first->speed = kNaN;
    EXPECT_EQ(world.evaluate(GetParam().text), eConditionState::kNotANumber);
}
INSTANTIATE_TEST_SUITE_P(Forms, ConditionsWithNaN,
                         testing::Values(NaNCase{"Compared", "First.Speed > 1"},
                                         NaNCase{"Negated", "not First.Speed > 1"},
                                         NaNCase{"Different", "First.Speed != 1"},
                                         NaNCase{"OfAFunction", "sqrt(-1) < 3"}, NaNCase{"Result", "0/0"}),
                         [](const auto& each) { return std::string(each.param.name); });

/// States of the condition after each frame, with the first car's acceleration in it.
std::vector<eConditionState> step(World& world, Condition& condition, const std::vector<double>& speeds) {
    std::vector<eConditionState> states;
    for (const double each : speeds) {
        world.first->speed = each;
        world.test.step();
        states.push_back(condition.evaluate());
    }
    return states;
}

constexpr auto kHolds = eConditionState::kHolds;
constexpr auto kFails = eConditionState::kFails;
constexpr auto kUndecided = eConditionState::kUndecided;

TEST(ConditionFor, HoldsAfterItsTimeWithoutABreak) {
    World world;
    Condition condition(world.application, "First.Speed > 5 for 50 ms");  // three frames
    EXPECT_THAT(step(world, condition, {1, 9, 9, 9, 9, 9}),
                ElementsAre(kFails, kFails, kFails, kFails, kHolds, kHolds));
    EXPECT_THAT(step(world, condition, {1, 9, 9}), ElementsAre(kFails, kFails, kFails));
}

TEST(ConditionFor, IsUndecidedWhereItHasHeldFromTheBeginning) {
    World world;
    Condition condition(world.application, "First.Speed > 5 for 0.05");
    EXPECT_THAT(step(world, condition, {9, 9, 9, 9}), ElementsAre(kUndecided, kUndecided, kUndecided, kHolds));
}

TEST(ConditionFor, ANaNIsABreak) {
    World world;
    Condition condition(world.application, "First.Speed > 5 for 1 ms");
    EXPECT_THAT(step(world, condition, {9, 9, kNaN, 9}),
                ElementsAre(kUndecided, kHolds, eConditionState::kNotANumber, kFails));
}

TEST(ConditionEvaluation, AFrameCountsOnce) {
    World world;
    Condition condition(world.application, "true");
    world.test.step();
    EXPECT_EQ(condition.evaluate(), kHolds);
    EXPECT_EQ(condition.evaluate(), eConditionState::kPaused);
}

TEST(ConditionEvaluation, ARestoredStateBeginsTheTimeAgain) {
    World world;
    world.test.step(10);
    const auto snapshot = KrPersistence::SimulationSnapshot::take(world.application);
    Condition condition(world.application, "true for 50 ms");
    EXPECT_THAT(step(world, condition, {1, 1, 1, 1}), ElementsAre(kUndecided, kUndecided, kUndecided, kHolds));
    ASSERT_TRUE(snapshot->restore(world.application).isComplete());
    EXPECT_THAT(step(world, condition, {1, 1, 1, 1}), ElementsAre(kUndecided, kUndecided, kUndecided, kHolds));
}

TEST(ConditionEvaluation, ARemovedFieldIsNamed) {
    World world;
    Condition condition(world.application, "First.Speed > 5 and Second.Mass > 5");
    world.application.remove(world.second->_getProxy());
    EXPECT_EQ(condition.evaluate(), eConditionState::kFieldRemoved);
    EXPECT_EQ(condition.getRemovedField(), "Second.Parameters.Mass");
}

TEST(ConditionEvaluation, AllocatesNothing) {
    const ReadyWorld world;
    Condition condition(world.application, "First.Speed > 36 km/h and abs(First.Place.X) < 3 and First.Gear == 'Park'");
    const auto before = kr_benchmark::allocations();
    (void)condition.evaluate();
    EXPECT_EQ(kr_benchmark::allocations(), before);
}

}  // namespace
