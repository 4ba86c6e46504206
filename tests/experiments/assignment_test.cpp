#include "kr/experiments/assignment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kr/experiments/field_search.h"
#include "tests/experiments/world.h"

using experiments_test::World;
using KrExperiments::Assignment;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

Assignment parse(const std::string& text) {
    Assignment assignment;
    EXPECT_TRUE(KrExperiments::parseAssignment(text, assignment)) << text;
    return assignment;
}

KrExperiments::AssignmentResult assign(const World& world, const std::string& text) {
    const std::vector<Assignment> assignments{parse(text)};
    return KrExperiments::assignFields(world.application, assignments);
}

struct Accepted {
    const char* name;
    const char* text;
    const char* path;
    const char* after;
};
class AcceptedAssignment : public testing::TestWithParam<Accepted> {};
TEST_P(AcceptedAssignment, SetsTheField) {
    const World world;
    const auto result = assign(world, GetParam().text);
    EXPECT_THAT(result.problems, IsEmpty());
    ASSERT_EQ(result.fields.size(), 1U);
    EXPECT_EQ(result.fields[0].path, GetParam().path);
    EXPECT_EQ(result.fields[0].after, GetParam().after);
}
INSTANTIATE_TEST_SUITE_P(
    Forms, AcceptedAssignment,
    testing::Values(Accepted{"FullPath", "First.Parameters.Mass=1.9 t", "First.Parameters.Mass", "1900 kg"},
                    Accepted{"WithoutRole", "First.Mass=1900", "First.Parameters.Mass", "1900 kg"},
                    Accepted{"WithSlash", "First/Mass=1900 kg", "First.Parameters.Mass", "1900 kg"},
                    Accepted{"PatternOfOne", "F?rst*Mass=2t", "First.Parameters.Mass", "2000 kg"},
                    Accepted{"FreeInput", "First.Force=3 kN", "First.Inputs.Force", "3000 N"},
                    Accepted{"Output", "First.Speed=36 km/h", "First.Outputs.Speed", "10 m/s"},
                    Accepted{"Integer", "First.Seats=5", "First.Parameters.Seats", "5"},
                    Accepted{"Boolean", "First.Broken=yes", "First.Parameters.Broken", "true"},
                    Accepted{"Text", "First.Owner=A = B", "First.Parameters.Owner", "A = B"},
                    Accepted{"Enumeration", "First.Gear=Park", "First.Parameters.Gear", "Park"},
                    Accepted{"Vector", "First.Place=1, 2 3 km", "First.Parameters.Place", "1000 2000 3000 m"}),
    [](const auto& each) { return std::string(each.param.name); });

struct Refused {
    const char* name;
    const char* text;
    const char* problem;
};
class RefusedAssignment : public testing::TestWithParam<Refused> {};
TEST_P(RefusedAssignment, NamesTheCureAndChangesNothing) {
    const World world;
    const auto result = assign(world, GetParam().text);
    EXPECT_THAT(result.problems, ElementsAre(HasSubstr(GetParam().problem)));
    EXPECT_THAT(result.fields, IsEmpty());
    EXPECT_EQ(world.first->mass.get(), 1000.0);
}
INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusedAssignment,
    testing::Values(
        Refused{"UnknownName", "First.Maas=1", "there is no field 'First.Maas'; did you mean 'First.Mass'?"},
        Refused{"UnknownPattern", "*.Maas=1", "no field is of the pattern '*.Maas'"},
        Refused{"SeveralFields", "Mass=1",
                "'Mass' is the end of 2 paths: 'First.Parameters.Mass', "
                "'Second.Parameters.Mass'; write more of it, or a pattern"},
        Refused{"OutOfRange", "First.Mass=200 t", "'200 t' is out of the range of the field, 1 kg to 1e+05 kg"},
        Refused{"BelowTheOneBound", "First.Seats=0", "'0' is out of the range of the field, at least 1"},
        Refused{"WrongDimension", "First.Mass=3 s", "'3 s' is no mass; its units are kg, g, t, lb, oz"},
        Refused{"NoNumber", "First.Seats=many", "'many' is no number"},
        Refused{"NoWholeNumber", "First.Seats=2.5", "'2.5' is no whole number"},
        Refused{"TooLarge", "First.Seats=1e12", "does not fit in a field of type Integer"},
        Refused{"NoBoolean", "First.Broken=maybe", "'maybe' is neither true nor false"},
        Refused{"UnknownValue", "First.Gear=Perk", "did you mean 'Park'?; they are 'Park', 'Drive'"},
        Refused{"TooFewNumbers", "First.Place=1 2 m", "'1 2 m' has 2 of 3 numbers"},
        Refused{"ConnectedInput", "Second.Wind=1", "a connection sets it in each frame"}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(Assignments, APatternSetsAllItsFieldsInOrder) {
    const World world;
    const auto result = assign(world, "*.Mass=2 t");
    ASSERT_EQ(result.fields.size(), 2U);
    EXPECT_EQ(world.first->mass.get(), 2000.0);
    EXPECT_EQ(world.second->mass.get(), 2000.0);
}

TEST(Assignments, OneWithAProblemDoesNotKeepTheNextFromBeingTried) {
    const World world;
    const std::vector<Assignment> assignments{parse("First.Maas=1"), parse("First.Mass=2 t")};
    const auto result = KrExperiments::assignFields(world.application, assignments);
    EXPECT_EQ(result.problems.size(), 1U);
    EXPECT_EQ(world.first->mass.get(), 2000.0);
}

TEST(Assignments, ATextWithoutPathOrSignIsNone) {
    Assignment assignment;
    EXPECT_FALSE(KrExperiments::parseAssignment("Mass", assignment));
    EXPECT_FALSE(KrExperiments::parseAssignment("=1", assignment));
}

}  // namespace
