#include "apps/krsim/command_line.h"

#include <gmock/gmock.h>

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
    EXPECT_FALSE(plan.isPaced);
    EXPECT_FALSE(plan.mode);
    EXPECT_FALSE(plan.rateHz);
    EXPECT_FALSE(plan.logLevel);
    EXPECT_THAT(plan.record.patterns, ElementsAre("*.A", "*.B"));
    EXPECT_EQ(plan.record.periodSeconds, 0.5);
    EXPECT_EQ(plan.stateToSave, "end");
}

struct Refusal {
    const char* name;
    std::vector<std::string> arguments;
    const char* text;
};
class KrsimRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(KrsimRefusals, NameWhatWasAskedAndWhatThereIs) {
    auto arguments = GetParam().arguments;
    if (arguments[0].front() == '-') arguments.insert(arguments.begin(), {"run", "--content", "A"});
    const auto command = krsim::parseCommandLine(arguments);
    const auto* answer = std::get_if<krsim::Answer>(&command);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->code, krsim::eExitCode::kUsage);
    EXPECT_THAT(answer->text, HasSubstr(GetParam().text));
}

const Refusal kRefusals[] = {
    {"NoFile", {"info"}, "FILE is required"},
    {"NoKind", {"convert", "a", "b"}, "--to is required"},
    {"OtherKind", {"convert", "a", "b", "--to", "yaml"}, "none of binary|xml|json"},
    {"OneFileToCompare", {"diff", "a"}, "SECOND is required"},
    {"StrayWord", {"diff", "a", "b", "c"}, "not expected: c"},
    {"CommandWithAFault", {"rnu"}, "; did you mean 'run'?"},
    {"OptionWithAFault", {"--contnt", "B"}, "; did you mean '--content'?"},
    {"OptionWithAFaultAndAValue", {"--record-feild=B"}, "; did you mean '--record-field'?"},
    {"OptionOfAnotherCommand", {"dump", "a", "--frames"}, "not expected: --frames\n"},
    {"TwoForms", {"dump", "a", "--json", "--flat"}, "--json excludes --flat"},
    {"TwoLogFiles", {"--log-file", "a", "--no-log-file"}, "--log-file excludes --no-log-file"},
    {"TwoResultsOnStandardOutput",
     {"--record", "-", "--save-state", "-"},
     "only one of --outputs, --json, --record -, --hash - and"},
    {"HashesInTheRecord", {"--record", "a", "--hash", "./a"}, "--record, --hash and --save-state need a file each"},
    {"StateInTheRecord", {"--record", "a", "--save-state", "b/../a"}, "need a file each"},
    {"OneStateToCompare", {"diff", "a", "b", "--states", "c"}, "--states"},
    {"SummaryForProgramsBesideTheOutputs", {"--json", "--outputs"}, "only one of --outputs, --json"},
    {"NothingToCreate", {"create", "--setup", "a"}, "--content (or --module) is required"},
    {"OneFileForBoth", {"create", "--content", "a", "--setup", "b", "--objects", "b"}, "needs another file"},
    {"NowhereToCreate", {"create", "--content", "a"}, "--setup or --objects is required"},
    {"FractionOfAFrame", {"--frames", "1.5"}, "'1.5' is no whole number above 0"},
    {"NoFrame", {"--frames", "0"}, "'0' is no whole number above 0"},
    {"TimeThatIsNoNumber", {"--seconds", "nan"}, "--seconds: 'nan' is no number above 0"},
    {"NoTimeToLoad", {"list", "--limit", "0"}, "--limit: '0' is no number above 0"},
    {"TimeWithUnit", {"--seconds", "5s"}, "'5s' is no number above 0"},
    {"RateBelowBounds", {"--rate", "0.09"}, "0.09 Hz is out of bounds"},
    {"RateAboveBounds", {"--rate", "100001"}, "it must be from 0.1 to 100000 Hz"},
    {"Mode", {"--mode", "fast"}, "'fast' is none of simulating|editing|playback"},
    {"Level", {"--log-level", "3"}, "'3' is none of off|fatal|error|warn|info|debug|trace"},
    {"TwoLimits", {"--frames", "1", "--seconds", "1"}, "--frames"},
    {"TwoRates", {"--rate", "1", "--restore-state", "a"}, "--rate"},
    {"TwoSeeds", {"--seed", "1", "--restore-state", "a"}, "--seed"},
    {"SeedOfNoNumber", {"--seed", "-1"}, "--seed"},
    {"TwoPaces", {"--free", "--paced"}, "--free"},
    {"RecordFieldsOfNoRecord", {"--record-field", "B"}, "--record-field requires --record"},
    {"MissingValue", {"--content"}, "--content"},
};
INSTANTIATE_TEST_SUITE_P(All, KrsimRefusals, testing::ValuesIn(kRefusals), test_support::caseName);

}  // namespace krsim_command_line_test
