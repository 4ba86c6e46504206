#include "apps/krsim/recorder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "apps/krsim/failure.h"
#include "apps/krsim/path_pattern.h"
#include "kr/application/application.h"
#include "kr/data/field.h"
#include "kr/extension/extension.h"
#include "tests/support/case_name.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/temporary_folder.h"

namespace krsim_recorder_test {

struct Match {
    const char* name;
    const char* pattern;
    const char* text;
    bool matches;
};
class KrsimPatterns : public testing::TestWithParam<Match> {};

TEST_P(KrsimPatterns, StandForPaths) {
    EXPECT_EQ(krsim::matches(GetParam().pattern, GetParam().text), GetParam().matches);
}

const Match kMatches[] = {
    {"Same", "Car.Speed", "Car.Speed", true},
    {"Part", "Car", "Car.Speed", false},
    {"End", "*.Speed", "Car/Vehicle.Outputs.Speed", true},
    {"StarTakesNothing", "Car*", "Car", true},
    {"StarTakenBack", "*ab*c", "aabxabc", true},
    {"StarsWithoutEnd", "*a*b", "ba", false},
    {"OneCharacter", "C?r", "Car", true},
    {"NoCharacter", "Car?", "Car", false},
    {"NothingOfNothing", "", "", true},
    {"Dots", "Car.S", "CarXS", false},
};
INSTANTIATE_TEST_SUITE_P(All, KrsimPatterns, testing::ValuesIn(kMatches), test_support::caseName);

struct Simulation {
    Simulation() {
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->setSimulationFrameRate(4.0);
        extension->setName("A,\"B\"");
        extension->addOutput("Speed", KrData::Types::kDouble)->set(0.1);
        extension->addOutput("Text", KrData::Types::kString)->set(std::string("a\nb"));
        extension->addParameter("Mass", KrData::Types::kDouble);
        application->add(extension.get());
    }

    std::string record(krsim::RecordPlan plan, int frames) {
        plan.file = (folder / "record.csv").string();
        krsim::Recorder recorder(plan);
        application->registerListener(&recorder);
        for (int frame = 0; frame < frames; ++frame) {
            application->update();
            if (frame == 4) extension->removeOutput("Text");
        }
        application->unregisterListener(&recorder);
        recorder.finish();
        std::stringstream text;
        text << std::ifstream(plan.file, std::ios::binary).rdbuf();
        return text.str();
    }

    test_support::TemporaryFolder folder;
    test_support::DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();
    Kr::KrSmartPtr<KrSim::KrExtension> extension = Kr::makeSmart<KrSim::KrExtension>();
};

TEST(KrsimRecorder, WritesALineEachPeriodWithWhatIsStillThere) {
    Simulation simulation;
    EXPECT_EQ(simulation.record({.patterns = {"*.Outputs.*"}, .periodSeconds = 1.0}, 9),
              "Time,\"A,\"\"B\"\".Outputs.Speed\",\"A,\"\"B\"\".Outputs.Text\"\r\n"
              "0.25,0.1,\"a\nb\"\r\n"
              "1,0.1,\"a\nb\"\r\n"
              "2,0.1,\r\n");
}

TEST(KrsimRecorder, RefusesWhatItCannotRecord) {
    Simulation simulation;
    EXPECT_THROW(simulation.record({.patterns = {"*.Speed", "*.Sped"}}, 1), krsim::Failure);
    EXPECT_FALSE(simulation.application->update());  // the run is over
    EXPECT_THROW(krsim::Recorder({.file = (simulation.folder / "none/record.csv").string()}), krsim::Failure);
    EXPECT_THROW(krsim::Recorder({.file = "/dev/null"}), krsim::Failure);
}

}  // namespace krsim_recorder_test
