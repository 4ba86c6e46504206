#include "apps/krsim/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <variant>
#include <vector>

#include "tests/support/case_name.h"

namespace krsim_command_line_test {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(KrsimCommandLine, MakesAPlanOfAllThatIsGiven) {
    const auto command = krsim::parseCommandLine(
        {"run",    "--content", "A",           "--plugins", "one",        "--content", "B C",    "--plugins",
         "two",    "--module",  "M",           "--free",    "--frames",   "010",       "--rate", "1e2",
         "--mode", "Editing",   "--log-level", "warn",      "--log-file", "",          "--quiet"});
    const auto& plan = std::get<krsim::RunPlan>(command);
    EXPECT_THAT(plan.pluginDirectories, ElementsAre("one", "two"));
    EXPECT_THAT(plan.content, ElementsAre("A", "B C"));
    EXPECT_THAT(plan.modules, ElementsAre("M"));
    EXPECT_EQ(plan.limits.frames, 10U);
    EXPECT_EQ(plan.limits.seconds, std::numeric_limits<double>::infinity());
    EXPECT_EQ(plan.isPaced, false);
    EXPECT_EQ(plan.rateHz, 100.0);
    EXPECT_EQ(plan.mode, KrSim::eApplicationMode::kEditing);
    EXPECT_EQ(plan.logLevel, Kr::eLogLevel::kWarn);
    EXPECT_EQ(plan.logFilePrefix, "");
    EXPECT_TRUE(plan.isQuiet);
}

TEST(KrsimCommandLine, LeavesToTheSetupWhatIsNotGiven) {
    const auto command =
        krsim::parseCommandLine({"run", "setup.xml", "car.xml", "--record", "r.csv", "--record-field", "*.A",
                                 "--record-field", "*.B", "--record-period", "0.5", "--save-state", "end"});
    const auto& plan = std::get<krsim::RunPlan>(command);
    EXPECT_THAT(plan.files, ElementsAre("setup.xml", "car.xml"));
    EXPECT_FALSE(plan.isPaced || plan.mode || plan.rateHz || plan.logLevel);
    EXPECT_THAT(plan.record.patterns, ElementsAre("*.A", "*.B"));
    EXPECT_EQ(plan.record.periodSeconds, 0.5);
    EXPECT_EQ(plan.stateToSave, "end");
}

TEST(KrsimCommandLine, KnowsTheCommandsForFiles) {
    using krsim::parseCommandLine;
    EXPECT_THAT(std::get<krsim::InfoPlan>(parseCommandLine({"info", "a", "b"})).files, ElementsAre("a", "b"));
    const auto convert = std::get<krsim::ConvertPlan>(parseCommandLine({"convert", "a", "b", "--to", "JSON"}));
    EXPECT_THAT((std::vector{convert.input, convert.output}), ElementsAre("a", "b"));
    EXPECT_EQ(convert.kind, krsim::eFileKind::kJson);
    const auto create = std::get<krsim::CreatePlan>(
        parseCommandLine({"create", "--content", "A", "--setup", "s", "--free", "--mode", "editing"}));
    EXPECT_THAT(create.what.content, ElementsAre("A"));
    EXPECT_EQ(create.what.isPaced, false);
    EXPECT_EQ(create.kind, krsim::eFileKind::kXml);
}

struct FileRefusal {
    const char* name;
    std::vector<std::string> arguments;
    const char* text;
};
class KrsimFileRefusals : public testing::TestWithParam<FileRefusal> {};

TEST_P(KrsimFileRefusals, NameWhatIsMissing) {
    const auto command = krsim::parseCommandLine(GetParam().arguments);
    const auto* answer = std::get_if<krsim::Answer>(&command);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->code, krsim::eExitCode::kUsage);
    EXPECT_THAT(answer->text, HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    All, KrsimFileRefusals,
    testing::Values(FileRefusal{"NoFile", {"info"}, "FILE is required"},
                    FileRefusal{"NoKind", {"convert", "a", "b"}, "--to is required"},
                    FileRefusal{"OtherKind", {"convert", "a", "b", "--to", "yaml"}, "none of binary|xml|json"},
                    FileRefusal{"OneFileToCompare", {"diff", "a"}, "SECOND is required"},
                    FileRefusal{"StrayWord", {"diff", "a", "b", "c"}, "not expected: c"},
                    FileRefusal{"NothingToCreate", {"create", "--setup", "a"}, "--content (or --module) is required"},
                    FileRefusal{"OneFileForBoth",
                                {"create", "--content", "a", "--setup", "b", "--objects", "b"},
                                "needs another file"},
                    FileRefusal{"NowhereToCreate", {"create", "--content", "a"}, "--setup or --objects is required"}),
    test_support::caseName);

struct Refusal {
    const char* name;
    std::vector<std::string> more;
    const char* text;
};
class KrsimRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(KrsimRefusals, NameWhatWasAskedAndWhatThereIs) {
    std::vector<std::string> arguments{"run", "--content", "A"};
    arguments.insert(arguments.end(), GetParam().more.begin(), GetParam().more.end());
    const auto command = krsim::parseCommandLine(arguments);
    const auto* answer = std::get_if<krsim::Answer>(&command);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->code, krsim::eExitCode::kUsage);
    EXPECT_THAT(answer->text, HasSubstr(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Values, KrsimRefusals,
    testing::Values(Refusal{"NegativeCount", {"--frames", "-5"}, "--frames: '-5' is no whole number above 0"},
                    Refusal{"FractionOfAFrame", {"--frames", "1.5"}, "'1.5' is no whole number above 0"},
                    Refusal{"CountBeyondAll", {"--frames", "99999999999999999999"}, "is no whole number"},
                    Refusal{"NoFrame", {"--frames", "0"}, "'0' is no whole number above 0"},
                    Refusal{"TimeThatIsNoNumber", {"--seconds", "nan"}, "--seconds: 'nan' is no number above 0"},
                    Refusal{"EndlessTime", {"--seconds", "inf"}, "'inf' is no number above 0"},
                    Refusal{"TimeWithUnit", {"--seconds", "5s"}, "'5s' is no number above 0"},
                    Refusal{"RateBelowBounds", {"--rate", "0.09"}, "0.09 Hz is out of bounds"},
                    Refusal{"RateAboveBounds", {"--rate", "100001"}, "it must be from 0.1 to 100000 Hz"},
                    Refusal{"Mode", {"--mode", "fast"}, "'fast' is none of simulating|editing|playback"},
                    Refusal{"Level", {"--log-level", "3"}, "'3' is none of off|fatal|error|warn|info|debug|trace"},
                    Refusal{"TwoLimits", {"--frames", "1", "--seconds", "1"}, "--frames"},
                    Refusal{"TwoRates", {"--rate", "1", "--restore-state", "a"}, "--rate"},
                    Refusal{"TwoPaces", {"--free", "--paced"}, "--free"},
                    Refusal{"RecordFieldsOfNoRecord", {"--record-field", "B"}, "--record-field requires --record"},
                    Refusal{"UnknownOption", {"--contnt"}, "not expected: --contnt"},
                    Refusal{"MissingValue", {"--content"}, "--content"}),
    test_support::caseName);

}  // namespace krsim_command_line_test
