#include "apps/krsim/doctor_command.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/case_name.h"
#include "tests/support/temporary_folder.h"

namespace krsim_doctor_test {

using eLevel = krsim::Examined::eLevel;
using testing::HasSubstr;

const char* const kClock = "sys/devices/system/clocksource/clocksource0/current_clocksource";
const char* const kGovernor = "sys/devices/system/cpu/cpu0/cpufreq/scaling_governor";
const char* const kLargePages = "sys/kernel/mm/transparent_hugepage/enabled";
const char* const kSwap = "proc/swaps";

krsim::Examined find(const std::vector<krsim::Examined>& all, const std::string& subject) {
    const auto it = std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.subject == subject; });
    return it == all.end() ? krsim::Examined{} : *it;
}

struct Kernel {
    const char* name;
    const char* file;
    const char* content;
    const char* subject;
    eLevel level;
    const char* state;
};
class KrsimDoctor : public testing::TestWithParam<Kernel> {};

TEST_P(KrsimDoctor, ReadsWhatTheKernelTells) {
    const test_support::TemporaryFolder root;
    const auto file = root / GetParam().file;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << GetParam().content;
    const auto examined = find(krsim::examineKernel(root.path()), GetParam().subject);
    EXPECT_EQ(examined.level, GetParam().level);
    EXPECT_THAT(examined.state, HasSubstr(GetParam().state));
    EXPECT_EQ(examined.advice.empty(), examined.level == eLevel::kGood || examined.state == "the kernel does not tell");
}

const Kernel kKernels[] = {
    {"GoodClock", kClock, "tsc\n", "clock source", eLevel::kGood, "tsc"},
    {"SlowClock", kClock, "hpet\n", "clock source", eLevel::kProblem, "hpet: "},
    {"EmptyClock", kClock, "", "clock source", eLevel::kNote, "does not tell"},
    {"FastGovernor", kGovernor, "performance\n", "frequency governor", eLevel::kGood, "performance on 1"},
    {"SlowGovernor", kGovernor, "powersave\n", "frequency governor", eLevel::kProblem, "powersave on 1"},
    {"LargePages", kLargePages, "always [madvise] never\n", "large pages", eLevel::kGood, "madvise"},
    {"NoLargePages", kLargePages, "always madvise [never]\n", "large pages", eLevel::kProblem, "never: "},
    {"DamagedLargePages", kLargePages, "]always[", "large pages", eLevel::kNote, "does not tell"},
    {"NoSwap", kSwap, "Filename Type Size Used Priority\n", "swap", eLevel::kGood, "none"},
    {"Swap", kSwap, "Filename Type Size Used Priority\n/dev/sda2 partition 1 0 -2\n", "swap", eLevel::kNote,
     "1 in use"},
};
INSTANTIATE_TEST_SUITE_P(All, KrsimDoctor, testing::ValuesIn(kKernels), test_support::caseName);

TEST(KrsimDoctor, NotesWhatAKernelDoesNotTell) {
    const test_support::TemporaryFolder root;
    for (const auto& each : krsim::examineKernel(root.path())) {
        EXPECT_EQ(each.level, eLevel::kNote) << each.subject;
        EXPECT_EQ(each.state, "the kernel does not tell") << each.subject;
    }
}

TEST(KrsimDoctor, AdvisesForEachProblemOfTheProcess) {
    const auto all = krsim::examineProcess();
    for (const auto& each : all) {
        EXPECT_FALSE(each.state.empty()) << each.subject;
        EXPECT_TRUE(each.level != eLevel::kProblem || !each.advice.empty()) << each.subject;
    }
    EXPECT_EQ(find(all, "library").level, eLevel::kGood);
}

}  // namespace krsim_doctor_test
