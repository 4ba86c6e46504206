#include "apps/krsim/output_file.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "apps/krsim/failure.h"
#include "tests/support/case_name.h"
#include "tests/support/temporary_folder.h"

namespace krsim_output_file_test {

using krsim::eOutputKind;

const std::string kState = "<!--KrB3KB11000000000001-->";
const std::string kObjects = "<!--KrB3OX11000000000001-->";
const std::string kSetup = "<!--KrB3UX11000000000001-->";

struct Replacement {
    const char* name;
    eOutputKind kind;
    std::string content;
    const char* refusal;  ///< what the Failure names; empty where the file may be replaced
};
class KrsimReplacements : public testing::TestWithParam<Replacement> {
protected:
    KrsimReplacements() { std::ofstream(_file, std::ios::binary) << GetParam().content; }

    std::string refusalOf(bool isForced) const {
        try {
            krsim::requireReplaceable(GetParam().kind, _file, isForced);
        } catch (const krsim::Failure& failure) {
            EXPECT_EQ(failure.getCode(), krsim::eExitCode::kUsage);
            return failure.what();
        }
        return {};
    }

private:
    test_support::TemporaryFolder _folder;
    std::string _file = (_folder / "file").string();
};

TEST_P(KrsimReplacements, LoseNothingUnlessForced) {
    const std::string expected = GetParam().refusal;
    EXPECT_THAT(refusalOf(false), testing::EndsWith(expected));
    EXPECT_EQ(refusalOf(false).empty(), expected.empty());
    EXPECT_EQ(refusalOf(true), "");
}

const Replacement kReplacements[] = {
    {"TableByTable", eOutputKind::kTable, "Time,Car.Outputs.Speed\r\n0,1\r\n", ""},
    {"TableByState", eOutputKind::kState, "Time\r\n", "holds a recorded table; --force replaces it"},
    {"OtherTableByTable", eOutputKind::kTable, "Timetable,A\n",
     "holds what krsim has not written; --force replaces it"},
    {"StateByState", eOutputKind::kState, kState, ""},
    {"StateByObjects", eOutputKind::kObjects, kState, "holds a simulation state; --force replaces it"},
    {"ObjectsByObjects", eOutputKind::kObjects, kObjects, "holds objects; --force replaces it"},
    {"ObjectsBySetup", eOutputKind::kSetup, kObjects, "holds objects; --force replaces it"},
    {"ObjectsByTable", eOutputKind::kTable, kObjects, "holds objects; --force replaces it"},
    {"SetupBySetup", eOutputKind::kSetup, kSetup, "holds a setup or content; --force replaces it"},
    {"HashesByHashes", eOutputKind::kHashes, "frame hashes 1\n", ""},
    {"HashesByTable", eOutputKind::kTable, "frame hashes 1\n", "holds frame hashes; --force replaces it"},
    {"ObjectsByHashes", eOutputKind::kHashes, kObjects, "holds objects; --force replaces it"},
    {"GraphByGraph", eOutputKind::kGraph, "digraph extensions {\n", ""},
    {"TextByGraph", eOutputKind::kGraph, "Dear reader", "holds what krsim has not written; --force replaces it"},
    {"NothingBySetup", eOutputKind::kSetup, "", ""},
};
INSTANTIATE_TEST_SUITE_P(All, KrsimReplacements, testing::ValuesIn(kReplacements), test_support::caseName);

}  // namespace krsim_output_file_test
