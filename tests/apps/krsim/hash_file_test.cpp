#include "apps/krsim/hash_file.h"

#include <gmock/gmock.h>

#include <string>

#include "apps/krsim/failure.h"
#include "tests/support/case_name.h"

namespace krsim_hash_file_test {

using krsim::HashFile;
using testing::HasSubstr;

const std::string kHead = "frame hashes 1\nversion 1.0.0\nseed 0\nframes\n";
const std::string kZero = "0 00000000000000aa\n";
const std::string kOne = "1 00000000000000bb\n";
const std::string kTwo = "2 00000000000000cc\n";

struct Pair {
    const char* name;
    std::string first;
    std::string second;
    std::string difference;
};
class KrsimHashFiles : public testing::TestWithParam<Pair> {};

TEST_P(KrsimHashFiles, TellTheFirstFrameThatDiffers) {
    const auto& [name, first, second, difference] = GetParam();
    EXPECT_EQ(compareHashes(HashFile::parse("a", first), HashFile::parse("b", second)).text, difference);
}

const std::string kWhole = kHead + kZero + kOne + kTwo + "end 2\n";

const Pair kPairs[] = {
    {"Equal", kWhole, kWhole, ""},
    {"EqualOfTwoReleases", kWhole, "frame hashes 1\nversion 2.0.0\nframes\n" + kZero + kOne + kTwo + "end 2\n", ""},
    {"OneFrame", kWhole, kHead + kZero + "1 00000000000000bc\n" + kTwo + "end 2\n",
     "frame 1 00000000000000bb -> 1 00000000000000bc\n"},
    {"Seed", kWhole, "frame hashes 1\nversion 1.0.0\nseed 7\nframes\n0 00000000000000ab\nend 0\n",
     "frame 0 00000000000000aa -> 0 00000000000000ab\nonly in the first: seed 0\nonly in the second: seed 7\n"},
    {"Longer", kWhole, kHead + kZero + "end 0\n", "frames 1 to 2: only in the first\n"},
    {"CutOff", kHead + kZero + kOne, kWhole, "frame 2: only in the second\nthe other file was cut off\n"},
    {"CutOffInALine", kHead + kZero + kOne + "2 00000000", kWhole,
     "frame 2: only in the second\nthe other file was cut off\n"},
    {"BothCutOff", kHead + kZero + "1 00", kHead + kZero, ""},
    {"CutOffInTheHeader", "frame hashes 1\nvers", kWhole, "only one of the files has frames\n"},
    {"BothCutOffInTheHeader", "frame hashes 1\nvers", kHead, "none of the files has frames\n"},
    {"BegunWithAState", kWhole, kHead + kOne + kTwo + "end 2\n", ""},
    {"BegunWithALaterState", kWhole, kHead + "7 00000000000000bb\nend 7\n", "no frame is in both files\n"},
};
INSTANTIATE_TEST_SUITE_P(All, KrsimHashFiles, testing::ValuesIn(kPairs), test_support::caseName);

struct Fault {
    const char* name;
    std::string text;
    const char* refusal;
};
class KrsimHashFaults : public testing::TestWithParam<Fault> {};

TEST_P(KrsimHashFaults, NameFileAndLine) {
    std::string refusal;
    try {
        static_cast<void>(HashFile::parse("run.hashes", GetParam().text));
    } catch (const krsim::Failure& failure) {
        EXPECT_EQ(failure.getCode(), krsim::eExitCode::kRefusedFile);
        refusal = failure.what();
    }
    EXPECT_THAT(refusal, HasSubstr(GetParam().refusal));
    EXPECT_THAT(refusal, HasSubstr("file 'run.hashes' is refused: "));
}

const Fault kFaults[] = {
    {"Nothing", "", "it holds no frame hashes"},
    {"Other", "Dear reader\n", "it holds no frame hashes"},
    {"Later", "frame hashes 2\n", "of a later release"},
    {"NoNumber", kHead + "x 00000000000000aa\n", "line 5 is no number"},
    {"Negative", kHead + "-1 00000000000000aa\n", "line 5 is no number"},
    {"ShortHash", kHead + kZero + "1 aa\n", "line 6 is no number"},
    {"NoHash", kHead + "1\n", "line 5 is no number"},
    {"EndBeforeTheEnd", kHead + kZero + "end 0\n" + kOne, "line 6 is no number"},
};
INSTANTIATE_TEST_SUITE_P(All, KrsimHashFaults, testing::ValuesIn(kFaults), test_support::caseName);

TEST(KrsimHashFile, WritesWhatItReads) {
    const auto file = HashFile::parse("a", kWhole);
    auto text = file.formatHeader();
    for (const auto& each : file.frames) {
        HashFile::appendFrame(text, each);
        text += '\n';
    }
    EXPECT_EQ(text + "end 2\n", kWhole);
    EXPECT_TRUE(file.isComplete);
}

}  // namespace krsim_hash_file_test
