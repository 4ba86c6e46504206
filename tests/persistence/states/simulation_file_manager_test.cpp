#include "kr/persistence/states/simulation_file_manager.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <vector>

#include "kr/persistence/files/file.h"
#include "tests/persistence/states/world.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace simulation_file_manager_test {

using KrPersistence::SimulationFileManager;
using states_test::World;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Studio {
    Studio() { manager->directory = Kr::KrString<512>(folder.path().string()); }
    [[nodiscard]] KrSim::ISimulationFileManager::Done note() {
        return [this](const Kr::FileResult& result) { outcomes.push_back((result ? "+" : "-") + result.toString()); };
    }

    test_support::TemporaryFolder folder;
    World world;
    SimulationFileManager* manager =
        world.application->getSimulationFileManager()->getImplementationAs<SimulationFileManager>();
    std::vector<std::string> outcomes;
};

struct Ending {
    const char* name;
    const char* file;
    const char* begins;  // of the bytes
};
class StateFilesOfTheManager : public testing::TestWithParam<Ending> {};

TEST_P(StateFilesOfTheManager, HaveTheKindOfTheirEndingAndContinueTheRun) {
    Studio studio;
    const auto speed = [&] { return studio.world.second->speed.get(); };
    studio.world.run(10);
    EXPECT_TRUE(studio.manager->save(GetParam().file, studio.note()));
    studio.world.run(5);
    const double later = speed();
    EXPECT_TRUE(studio.manager->restore("", studio.note()));
    studio.world.run(5);
    EXPECT_EQ(speed(), later);
    EXPECT_THAT(studio.outcomes, ElementsAre("+", "+"));
    EXPECT_EQ(studio.manager->lastFile.get(), studio.folder / GetParam().file);
    const auto info = KrPersistence::KrFile::GetFileInfo(studio.folder / GetParam().file);
    EXPECT_EQ(info.fileType, KrPersistence::KrFile::eFileType::kSimulationState);
    std::ifstream stream(studio.folder / GetParam().file, std::ios::binary);
    std::string bytes(40, ' ');
    stream.read(bytes.data(), 40);
    EXPECT_THAT(bytes, HasSubstr(GetParam().begins));
}

const Ending kEndings[] = {
    {"Binary", "lap.krstate", "<!--KrB3KB"}, {"Xml", "lap.xml", "<!--KrB3KX"}, {"Json", "lap.json", "<!--KrB3KJ"}};
INSTANTIATE_TEST_SUITE_P(Endings, StateFilesOfTheManager, testing::ValuesIn(kEndings), test_support::caseName);

TEST(SimulationFileManager, WaitsForTheEndOfTheFrame) {
    Studio studio;
    std::vector<std::string> during;
    studio.world.stepper->inUpdate = [&] {
        EXPECT_TRUE(studio.manager->save("lap.krstate", studio.note()));
        during = studio.outcomes;
    };
    studio.world.run(1);
    EXPECT_THAT(during, IsEmpty());
    EXPECT_THAT(studio.outcomes, ElementsAre("+"));
}

TEST(SimulationFileManager, SaysWhatOfAStateFoundNoPlace) {
    Studio studio;
    EXPECT_TRUE(studio.manager->save("lap.krstate"));
    studio.world.application->remove(&states_test::proxyOf(studio.world.second));
    const LogCapture log;
    EXPECT_TRUE(studio.manager->restore("lap.krstate"));
    EXPECT_THAT(log.lines(), testing::Contains(HasSubstr("'lap.krstate' was restored: 1 extensions and 0 fields")));
}

TEST(SimulationFileManager, SaysWhyNothingWasDone) {
    Studio studio;
    EXPECT_TRUE(studio.manager->save("", studio.note()));
    EXPECT_TRUE(studio.manager->restore("none.krstate", studio.note()));
    EXPECT_TRUE(studio.manager->save("no folder/lap.krstate", studio.note()));
    EXPECT_THAT(studio.outcomes, ElementsAre("-no file was named", HasSubstr("cannot open"), HasSubstr("no folder")));
    EXPECT_EQ(studio.manager->lastFile.get(), "");
    const LogCapture log;
    EXPECT_TRUE(studio.manager->restore("none.krstate"));
    EXPECT_THAT(log.lines(), testing::Contains(HasSubstr("SimulationFileManager: 'none.krstate' was not restored: ")));
}

TEST(SimulationFileManager, OfNoApplicationRefuses) {
    const KrSim::KrSmartInterface<SimulationFileManager> held([] {
        World world;
        const Kr::KrSmartPtr<KrSim::KrExtension> manager(world.application->getSimulationFileManager());
        EXPECT_EQ(world.application->getSimulationFileManager(), manager.get());
        return KrSim::KrSmartInterface<SimulationFileManager>(manager->getImplementationAs<SimulationFileManager>());
    }());
    EXPECT_EQ(held->getApplication(), nullptr);
    EXPECT_FALSE(held->save("lap.krstate"));
    EXPECT_FALSE(held->restore("lap.krstate"));
}

}  // namespace simulation_file_manager_test
