#include "kr/persistence/setups/simulation_files.h"

#include <gmock/gmock.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/module_record.h"
#include "kr/application/setup_presets.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/setups/setup_file.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/process_settings.h"
#include "tests/support/temporary_folder.h"

namespace simulation_files_test {

using KrPersistence::KrFile;
using KrPersistence::LoadedSimulation;
using KrPersistence::SimulationLoadOptions;
using KrSim::ApplicationConfig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using eFailure = Kr::FileResult::eFailure;

using SetupPtr = KrSim::KrSmartInterface<ApplicationConfig>;

SetupPtr makeSetup(double rateHz) {
    const auto made = KrSim::KrExtensionFactory::create(ApplicationConfig::kFactoryKey);
    const SetupPtr setup(made->getImplementationAs<ApplicationConfig>());
    setup->simulationFrameRate = rateHz;
    return setup;
}

/// A setup at 25 Hz that lists car.kro, a second one, a road that no setup lists, and files that are none of both.
class SimulationFiles : public testing::Test {
protected:
    SimulationFiles() {
        saveObject("car.kro", "Car");
        saveObject("road.kro", "Road");
        saveSetup("setup.xml", makeSetup(25.0), {path("car.kro")});
        saveSetup("second.xml", makeSetup(50.0), {});
        std::ofstream(path("foreign.kro")) << "PNG";
        KrFile empty;
        EXPECT_TRUE(empty.save(path("empty.kr")));
    }

    [[nodiscard]] std::string path(const std::string& name) const { return folder / name; }

    void saveObject(const std::string& file, const char* name) const {
        const auto object = Kr::makeSmart<KrSim::KrObject>();
        object->setName(name);
        KrSim::KrExtension* const objects[] = {object.get()};
        EXPECT_TRUE(KrPersistence::saveObjects(path(file), objects));
    }

    void saveSetup(const std::string& file, const SetupPtr& setup, const std::vector<std::string>& content) const {
        EXPECT_TRUE(KrPersistence::saveSetupFile({setup, content}, path(file), KrFile::kXml));
    }

    LoadedSimulation load(const std::vector<std::string>& names, const SimulationLoadOptions& options = {}) {
        std::vector<std::string> files;
        for (const auto& each : names)
            files.push_back(path(each));
        return KrPersistence::loadSimulation(*application, files, options);
    }

    [[nodiscard]] std::vector<std::string> getContent() const {
        std::vector<std::string> names;
        for (const auto& each : application->getContentDispatcher().getExtensions())
            names.push_back(each->getName());
        return names;
    }

    test_support::ProcessSettings settings;
    test_support::LogCapture log;
    test_support::TemporaryFolder folder;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();
};

struct OrderCase {
    const char* name;
    std::vector<std::string> files;
};
class OrdersOfFiles : public SimulationFiles, public testing::WithParamInterface<OrderCase> {};

TEST_P(OrdersOfFiles, ApplyTheSetupBeforeAllContentIsAdded) {
    const auto simulation = load(GetParam().files);
    EXPECT_TRUE(simulation.isComplete());
    EXPECT_EQ(simulation.toString(), "");
    EXPECT_EQ(simulation.setupFile, path("setup.xml"));
    EXPECT_EQ(application->getSimulationFrameRate(), 25.0);
    EXPECT_THAT(getContent(), ElementsAre("Car", "Road"));
}

const OrderCase kOrders[] = {{"SetupFirst", {"setup.xml", "road.kro"}}, {"SetupLast", {"road.kro", "setup.xml"}}};
INSTANTIATE_TEST_SUITE_P(Orders, OrdersOfFiles, testing::ValuesIn(kOrders), test_support::caseName);

struct ProblemCase {
    const char* name;
    std::vector<std::string> files;  // road.kro stands behind the one with the problem
    SimulationLoadOptions options;
    eFailure failure;
    const char* text;
    std::vector<std::string> content;
};
class FilesWithAProblem : public SimulationFiles, public testing::WithParamInterface<ProblemCase> {};

TEST_P(FilesWithAProblem, AreReportedAndTheOthersAreLoaded) {
    const auto simulation = load(GetParam().files, GetParam().options);
    ASSERT_EQ(simulation.problems.size(), 1U);
    EXPECT_EQ(simulation.problems[0].failure, GetParam().failure);
    EXPECT_THAT(simulation.toString(), HasSubstr(GetParam().text));
    EXPECT_FALSE(simulation.isComplete());
    EXPECT_EQ(getContent(), GetParam().content);
}

const ProblemCase kProblems[] = {
    {"Missing", {"none.kro", "road.kro"}, {}, eFailure::kMissing, "none.kro for loading. No such file", {"Road"}},
    {"Refused", {"foreign.kro", "road.kro"}, {}, eFailure::kRefused, "foreign.kro, invalid format.\n", {"Road"}},
    {"Empty", {"empty.kr", "road.kro"}, {}, eFailure::kUnsuitable, "holds neither a setup nor objects", {"Road"}},
    {"SecondSetup",
     {"setup.xml", "second.xml", "road.kro"},
     {},
     eFailure::kUnsuitable,
     "second.xml' is a setup file; give one setup file, before all others",
     {"Car", "Road"}},
    {"UnknownPreset",
     {"setup.xml", "road.kro"},
     {.presets = {"Fast"}},
     eFailure::kUnsuitable,
     "preset 'Fast' cannot be applied: there is no preset 'Fast'",
     {"Road"}},
    {"PresetWithoutSetup",
     {"road.kro"},
     {.presets = {"Fast"}},
     eFailure::kUnsuitable,
     "preset 'Fast' needs a setup file",
     {"Road"}},
    {"LongDirectory",
     {"setup.xml", "road.kro"},
     {.pluginDirectories = {"/" + std::string(600, 'x')}},
     eFailure::kUnsuitable,
     "bytes that a setup holds; use a shorter path or a link",
     {"Road"}},
    {"Stopped", {"none.kro", "road.kro"}, {.stopsAtFirstProblem = true}, eFailure::kMissing, "none.kro", {}},
};
INSTANTIATE_TEST_SUITE_P(Problems, FilesWithAProblem, testing::ValuesIn(kProblems), test_support::caseName);

TEST_F(SimulationFiles, OfASetupAreChangedBeforeItIsApplied) {
    const auto setup = makeSetup(25.0);
    ASSERT_TRUE(KrSim::SetupPresets::store(*setup, "Fast", *makeSetup(100.0)));
    setup->pluginDirectories.set({path("own").c_str()});
    saveSetup("setup.xml", setup, {});
    double seen = 0.0;
    const auto simulation = load(
        {"setup.xml"},
        {.pluginDirectories = {path("first")}, .presets = {"Fast"}, .adjustSetup = [&](ApplicationConfig& adjusted) {
             seen = adjusted.simulationFrameRate;
             adjusted.simulationFrameRate = 75.0;
             throw std::runtime_error("too late");
         }});
    EXPECT_THAT(simulation.problems, IsEmpty());
    EXPECT_EQ(seen, 100.0);
    EXPECT_EQ(application->getSimulationFrameRate(), 75.0);
    EXPECT_THAT(KrPluginSystem::KrPluginManager::instance().getAddedPluginsSearchDirs(),
                ElementsAre(path("first"), path("own")));
    EXPECT_THAT(log.lines(), testing::Contains(HasSubstr("adjustSetup [too late]")));
}

TEST_F(SimulationFiles, NameEachPluginThatIsMissingOnce) {
    const KrSim::KrFactoryKey key("12345678-9abc-4def-8123-456789abcdef", "Test", "Traffic", "TrafficLights");
    const auto setup = makeSetup(25.0);
    for (const char* name : {"North", "South"})
        setup->_getObjectProxy()->add(KrSim::makeModuleRecord({name, key, {}, nullptr}).get());
    saveSetup("setup.xml", setup, {});
    const auto simulation = load({"setup.xml"});
    EXPECT_THAT(simulation.missingPlugins, ElementsAre("TrafficLights"));
    EXPECT_EQ(simulation.getFindings().size(), 2U);
    EXPECT_FALSE(simulation.isComplete());
    EXPECT_THAT(simulation.toString(), testing::StartsWith("plug-in 'TrafficLights' is missing\n"));
}

TEST_F(SimulationFiles, AreReadFromAStreamWhereTheyAreNamedSo) {
    std::stringstream stream;
    stream << std::ifstream(path("road.kro"), std::ios::binary).rdbuf();
    const std::string files[] = {"-"};
    EXPECT_TRUE(KrPersistence::loadSimulation(*application, files, {.stream = &stream}).isComplete());
    EXPECT_THAT(getContent(), ElementsAre("Road"));
    EXPECT_EQ(KrPersistence::loadSimulation(*application, files).problems.at(0).failure, eFailure::kMissing);
}

}  // namespace simulation_files_test
