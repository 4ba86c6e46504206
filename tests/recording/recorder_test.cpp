#include "kr/recording/recorder.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "kr/recording/recording_file.h"
#include "tests/experiments/world.h"
#include "tests/support/temporary_folder.h"

namespace recorder_test {

using KrRecording::Recorder;
using KrRecording::RecordingOptions;
using testing::ElementsAre;
using testing::HasSubstr;

/// A recording of two cars.
class Recording {
public:
    explicit Recording(RecordingOptions options) : recorder(filename, std::move(options)) {
        world.application.registerListener(&recorder);
    }
    ~Recording() { world.application.unregisterListener(&recorder); }

    KrRecording::RecordingSummary finish() {
        result = recorder.finish();
        auto summary = KrRecording::readRecordingSummary(filename);
        EXPECT_TRUE(summary) << summary.toString();
        return summary ? *summary : KrRecording::RecordingSummary{};
    }
    [[nodiscard]] std::string read() const {
        std::ifstream stream(filename, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    void write(const std::string& bytes) const { std::ofstream(filename, std::ios::binary) << bytes; }

    test_support::TemporaryFolder folder;
    const std::string filename{(folder / "drive.mcap").string()};
    experiments_test::World world;
    Recorder recorder;
    KrRecording::RecordingResult result;
};

TEST(Recordings, HaveAChannelForEachExtensionAndRole) {
    Recording recording({.patterns = {"First.*", "*.Speed"}, .metadata = {{"set", "Mass=1 t"}}});
    recording.world.test.step(3);
    const auto summary = recording.finish();
    EXPECT_EQ(summary.problem, "");
    EXPECT_THAT(summary.metadata, ElementsAre(testing::Pair("set", "Mass=1 t")));
    std::vector<std::string> topics;
    for (const auto& each : summary.channels)
        topics.push_back(each.topic);
    EXPECT_THAT(topics, ElementsAre("First", "First.Inputs", "First.Outputs", "First.Parameters", "Second.Outputs"));
    ASSERT_EQ(summary.channels.size(), 5U);
    EXPECT_EQ(summary.channels[1].topic, "First.Inputs");
    EXPECT_THAT(summary.channels[1].fields, ElementsAre("Inputs.Force", "Inputs.Wind"));
    EXPECT_EQ(summary.channels[4].topic, "Second.Outputs");
    EXPECT_EQ(summary.channels[4].messages, 3U);
    EXPECT_EQ(summary.messages, 15U);
    EXPECT_NEAR(summary.firstSeconds, 1.0 / 60.0, 1e-9);
    EXPECT_NEAR(summary.lastSeconds, 3.0 / 60.0, 1e-9);
    EXPECT_EQ(recording.result.frames, 3U);
    EXPECT_EQ(recording.result.dropped, 0U);
    EXPECT_EQ(recording.result.bytes, std::filesystem::file_size(recording.filename));
}

TEST(Recordings, KeepThePeriod) {
    Recording recording({.patterns = {"First.Speed"}, .periodSeconds = 0.1});
    recording.recorder.start(recording.world.application);
    recording.world.test.step(60);
    EXPECT_EQ(recording.finish().messages, 11U);
}

TEST(Recordings, LeaveOutWhatDoesNotChange) {
    Recording recording({.patterns = {"*.Speed"}, .isOnChange = true});
    recording.world.first->force.getField()->setValue(1000.0);  // the first one accelerates, the second one stands
    recording.world.test.step(10);
    const auto summary = recording.finish();
    ASSERT_EQ(summary.channels.size(), 2U);
    EXPECT_EQ(summary.channels[0].messages, 10U);
    EXPECT_EQ(summary.channels[1].messages, 1U);
}

TEST(Recordings, FollowContentThatComesAndGoes) {
    Recording recording({.patterns = {"*.Speed"}});
    recording.world.test.step(2);
    auto& third = recording.world.test.make<experiments_test::Car>("Third");
    recording.world.test.step(2);
    recording.world.application.remove(third.speed.getField()->getOwnerExtension());
    recording.world.test.step(2);
    const auto summary = recording.finish();
    EXPECT_EQ(recording.result.problem, "");
    ASSERT_EQ(summary.channels.size(), 3U);
    EXPECT_EQ(summary.channels[0].messages, 6U);
    EXPECT_EQ(summary.channels[2].topic, "Third.Outputs");
    EXPECT_EQ(summary.channels[2].messages, 2U);
}

TEST(Recordings, OfNoFieldTellTheNearestOne) {
    Recording recording({.patterns = {"First.Sped"}});
    recording.world.test.step();
    EXPECT_THAT(recording.recorder.getProblem(),
                HasSubstr("drive.mcap' has no fields: there is no field 'First.Sped'; did you mean 'First.Speed'?"));
    EXPECT_FALSE(std::filesystem::exists(recording.filename));
}

TEST(Recordings, OnAFullDiskEndAndTheRunGoesOn) {
    experiments_test::World world;
    Recorder recorder("/dev/full", {.mayWait = true});
    world.application.registerListener(&recorder);
    EXPECT_TRUE(world.test.step(5'000));
    world.application.unregisterListener(&recorder);
    EXPECT_EQ(recorder.finish().problem, "recording '/dev/full' cannot be written: No space left on device");
}

TEST(Recordings, WithMoreFramesThanTheQueueHasRoomLoseNoneWhenTheyMayWait) {
    Recording recording({.mayWait = true});
    recording.world.test.step(20'000);
    EXPECT_EQ(recording.finish().channels.at(0).messages, 20'000U);
    EXPECT_EQ(recording.result.dropped, 0U);
}

struct Damage {
    const char* name;
    void (*inflict)(std::string& bytes);
    const char* problem;
    std::uint64_t fewest;  ///< messages left of 60,000
    std::uint64_t most;
};
class DamagedRecordings : public testing::TestWithParam<Damage> {};

TEST_P(DamagedRecordings, AreRecoveredButForTheDamage) {
    Recording recording({.patterns = {"First.Speed"}, .mayWait = true});
    recording.world.test.step(60'000);
    recording.finish();
    auto bytes = recording.read();
    GetParam().inflict(bytes);
    recording.write(bytes);
    const auto recovered = (recording.folder / "recovered.mcap").string();
    const auto told = KrRecording::recoverRecording(recording.filename, recovered);
    ASSERT_TRUE(told) << told.toString();
    EXPECT_THAT(told->problem, HasSubstr(GetParam().problem));
    const auto whole = KrRecording::readRecordingSummary(recovered);
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->problem, "");
    EXPECT_GE(whole->messages, GetParam().fewest);
    EXPECT_LE(whole->messages, GetParam().most);
}

const Damage kDamages[] = {
    {"None", [](std::string&) {}, "", 60'000, 60'000},
    {"NoMagic", [](std::string& bytes) { bytes.pop_back(); }, "its end is missing, at byte ", 60'000, 60'000},
    {"NoIndex", [](std::string& bytes) { bytes.resize(bytes.size() - 20); }, "its end is missing", 60'000, 60'000},
    {"CutChunk", [](std::string& bytes) { bytes.resize(bytes.size() / 4); }, "its end is missing", 0, 20'000},
    // A chunk has no more than 27,000 of them.
    {"WrongByte", [](std::string& bytes) { bytes[bytes.size() / 2] ^= 1; }, "the checksum of a chunk is wrong, at byte",
     30'000, 59'999},
};
INSTANTIATE_TEST_SUITE_P(Kinds, DamagedRecordings, testing::ValuesIn(kDamages),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(OtherFiles, AreNoRecordings) {
    const test_support::TemporaryFolder folder;
    const auto file = (folder / "drive.csv").string();
    std::ofstream(file) << "Time,Speed\r\n";
    EXPECT_THAT(KrRecording::readRecordingSummary(file).toString(), HasSubstr("it is no MCAP file of version 0"));
    EXPECT_THAT(KrRecording::recoverRecording(file, (folder / "new").string()).toString(), HasSubstr("no MCAP file"));
    EXPECT_FALSE(std::filesystem::exists(folder / "new"));
    EXPECT_EQ(KrRecording::readRecordingSummary((folder / "none").string()).failure,
              Kr::FileResult::eFailure::kMissing);
}

}  // namespace recorder_test
