#include "apps/krsim/recorder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "apps/krsim/failure.h"
#include "kr/application/application.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/data/field.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/text_pattern.h"
#include "tests/support/case_name.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/recording_module.h"
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
    EXPECT_EQ(Kr::matchesPattern(GetParam().pattern, GetParam().text), GetParam().matches);
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
        extension->addOutput("Place", KrData::Types::kVector3)->set(KrMath::Vector3T<double>{1.5, -0.0, 3.0});
        extension->addParameter("Mass", KrData::Types::kDouble);
        application->add(extension.get());
        module.getExtension()->addOutput("Load", KrData::Types::kFloat)->set(0.1F);
        application->insertModule(module);
    }

    std::string record(krsim::RecordPlan plan, int frames) {
        plan.file = file;
        krsim::Recorder recorder(plan);
        recorder.start(*application);
        extension->getOutputContainer()["Speed"].set(0.2);
        application->registerListener(&recorder);
        for (int frame = 0; frame < frames; ++frame) {
            application->update();
            if (frame == 4) extension->removeOutput("Text");
        }
        application->unregisterListener(&recorder);
        recorder.finish();
        return read();
    }

    std::string read() const {
        std::stringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }

    test_support::TemporaryFolder folder;
    std::string file = (folder / "record.csv").string();
    test_support::RecordingModule::Calls calls;  // the module writes to the end
    test_support::DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();
    Kr::KrSmartPtr<KrSim::KrExtension> extension = Kr::makeSmart<KrSim::KrExtension>();
    test_support::RecordingModule::Holder module = test_support::makeModule("M", calls);
};

TEST(KrsimRecorder, WritesALineEachPeriodWithWhatIsStillThere) {
    Simulation simulation;
    EXPECT_EQ(simulation.record({.patterns = {"*.Speed", "*.Text"}, .periodSeconds = 1.0}, 9),
              "Time,\"A,\"\"B\"\".Outputs.Speed\",\"A,\"\"B\"\".Outputs.Text\"\r\n"
              "0,0.1,\"a\nb\"\r\n"
              "1,0.2,\"a\nb\"\r\n"
              "2,0.2,\r\n");
}

TEST(KrsimRecorder, WritesAColumnForEachComponentAndTheOutputsOfModules) {
    Simulation simulation;
    simulation.extension->setName("A");
    EXPECT_EQ(
        simulation.record({}, 1),
        "Time,A.Outputs.Speed,A.Outputs.Text,A.Outputs.Place.X,A.Outputs.Place.Y,A.Outputs.Place.Z,M.Outputs.Load\r\n"
        "0,0.1,\"a\nb\",1.5,-0,3,0.1\r\n"
        "0.25,0.2,\"a\nb\",1.5,-0,3,0.1\r\n");
}

TEST(KrsimRecorder, WritesValuesInTheUnitsThatItsColumnsName) {
    Simulation simulation;
    simulation.extension->setName("A");
    auto& speed = simulation.extension->getOutputContainer()["Speed"];
    speed.setPhysicalDimension(Kr::kSpeed);
    speed.setPhysicalDimensionHint(Kr::KrPhysicalDimension::eDimensionHint::kKilometrePerHour);
    simulation.extension->getOutputContainer()["Place"].setPhysicalDimension(Kr::kLength);
    EXPECT_EQ(simulation.record({.patterns = {"*.Speed", "*.Place", "*.Load"}, .hasUnits = true}, 1),
              "Time [s],A.Outputs.Speed [km/h],A.Outputs.Place.X [m],A.Outputs.Place.Y [m],A.Outputs.Place.Z [m],"
              "M.Outputs.Load\r\n"
              "0,0.36,1.5,-0,3,0.1\r\n"
              "0.25,0.72,1.5,-0,3,0.1\r\n");
}

TEST(KrsimRecorder, KeepsAnEarlierTableUntilTheRunHasBegun) {
    Simulation simulation;
    const auto earlier = simulation.record({.patterns = {"*.Load"}}, 1);
    simulation.record({.patterns = {"*.Speed"}}, 0);
    EXPECT_EQ(simulation.read(), earlier);
    EXPECT_THROW(simulation.record({.patterns = {"*.Sped"}}, 1), krsim::Failure);
    EXPECT_EQ(simulation.read(), earlier);
}

TEST(KrsimRecorder, RefusesWhatItCannotRecord) {
    Simulation simulation;
    EXPECT_THROW(simulation.record({.patterns = {"*.Speed", "*.Sped"}}, 1), krsim::Failure);
    EXPECT_FALSE(simulation.application->update());  // the run is over
    EXPECT_THROW(krsim::Recorder({.file = (simulation.folder / "none/record.csv").string()}), krsim::Failure);
    EXPECT_THROW(krsim::Recorder({.file = "/dev/null"}), krsim::Failure);
    EXPECT_THROW(krsim::Recorder({.file = simulation.folder.path().string()}), krsim::Failure);
}

}  // namespace krsim_recorder_test
