#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/application_config_implementation.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/types.h"
#include "kr/events/errors/error_handler.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/object.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/plugins/resource_manager.h"
#include "kr/platform/process.h"
#include "kr/platform/runtime_error.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/process_settings.h"
#include "tests/support/temporary_folder.h"

namespace application_setup_test {

using KrPluginSystem::KrPluginManager;
using KrPluginSystem::KrResourceManager;
using KrSim::ApplicationConfig;
using KrSim::KrApplication;
using KrSim::KrSmartInterface;
using testing::ElementsAre;

using Setup = KrSmartInterface<ApplicationConfig>;

Setup makeSetup() {
    const auto made = KrSim::KrExtensionFactory::create(ApplicationConfig::kFactoryKey);
    return Setup(made->getImplementationAs<ApplicationConfig>());
}

std::vector<std::string> texts(const Kr::KrArray<std::string>& array) {
    return {array.begin(), array.end()};
}

TEST(Setup, HasItsParametersInOrderWithTheirDefaults) {
    const auto setup = makeSetup();
    EXPECT_TRUE(KrData::Types::extensionIsInterfaceFieldType(setup.getExtension(), ApplicationConfig::kFieldTypeId));
    std::string parameters;
    const std::function<void(const KrData::Container&)> add = [&](const KrData::Container& fields) {
        for (const auto* field : fields) {
            parameters += field->getID().str() + "|" + KrData::Types::nameFor(field->getDataType()) + "|";
            parameters += dynamic_cast<const KrData::VectorBase*>(field) ? "\n" : field->toString() + "\n";
            if (const auto* group = dynamic_cast<const ApplicationConfig::RemoteAccessContainer*>(field)) add(*group);
        }
    };
    add(setup.getExtension()->getParameterContainer());
    EXPECT_EQ(parameters, R"(LoggingLevel|Enumeration|Info
LogFile|String|
LogConsole|Boolean|true
SimulationFrameRate|Double|60
ApplicationMode|Enumeration|Editing mode
Global Key Frame Lists Path|Filename|
Synchronization Mode|Enumeration|SW + V-Sync
IsProfilerFilteringEnabled|Boolean|true
ProfilerEnabledCategories|Vector|
ProfilerDisabledCategories|Vector|
ProfilerPeriod|Unsigned Integer|1
CommunicationModel|Enumeration|Master
PluginDirectories|Vector|
ResourcesDirectories|Vector|
Remote Access|Data Container|
Enable|Boolean|false
Listening Port|Unsigned Short Integer|0
RandomSeed|Unsigned Integer|0
)");
}

TEST(Setup, WithoutAProxyIsRefusedAndHarmless) {
    const test_support::LogCapture log;
    const KrSim::ApplicationConfigImplementation setup(nullptr);
    EXPECT_EQ(log.lines().front(), "2 IExtension can't be created with a NULL proxy.\n");
    EXPECT_EQ(setup.getRemoteAccess(), nullptr);
    EXPECT_TRUE(setup.pluginDirectories.get().empty());
    EXPECT_FALSE(ApplicationConfig::createFromApplication(nullptr));
    EXPECT_FALSE(KrApplication::create()->applySetup({}));
}

class Tuned final : public KrSim::ISimulatorModule {
public:
    explicit Tuned(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) {}
    KrSim::Parameter<double> gain{this, "Gain", {.value = 1.0, .max = 10.0}};
};
const KrSim::KrFactoryKey kTuned("3b4e4f5e-52f2-4d3c-9b3d-0f4b8a1f6a11", "Test", "Tuned");

/// Has two parameters of one identifier.
class Doubled final : public KrSim::ISimulatorModule {
public:
    explicit Doubled(KrSim::KrSimulatorModule* proxy)
        : ISimulatorModule(proxy, 1), gains(proxy->getParameterContainer()) {
        gains.add<double>("Gain", 1.0);
        gains.add<double>("Gain", 2.0);
    }
    KrData::Container& gains;
};
const KrSim::KrFactoryKey kDoubled("3b4e4f5e-52f2-4d3c-9b3d-0f4b8a1f6a12", "Test", "Doubled");

TEST(Setup, KeepsTwoParametersOfOneIdentifierApart) {
    const test_support::ProcessSettings process;
    ASSERT_TRUE(KrSim::registerExtensionType<Doubled>(kDoubled));
    {
        const auto made = KrSim::KrExtensionFactory::create(kDoubled);
        auto* module = made->getImplementationAs<Doubled>();
        module->gains[0].set(5.0);
        module->gains[1].set(6.0);
        const auto first = KrApplication::create();
        first->insertModule(KrSmartInterface<KrSim::ISimulatorModule>(module));
        const auto second = KrApplication::create();
        EXPECT_TRUE(second->applySetup(ApplicationConfig::createFromApplication(first.get())));
        ASSERT_EQ(second->getModuleCount(), 1U);
        const auto& gains = second->getModule(0)->getImplementationAs<Doubled>()->gains;
        EXPECT_EQ(gains[0].toReal(), 5.0);
        EXPECT_EQ(gains[1].toReal(), 6.0);
    }
    EXPECT_TRUE(KrSim::KrExtensionFactory::unregisterType(kDoubled));
}

TEST(Setup, CapturedFromAnApplicationMakesAnotherOneLikeIt) {
    const test_support::ProcessSettings process;
    const test_support::TemporaryFolder folder;
    const std::string path = folder.path().string();
    ASSERT_TRUE(KrSim::registerExtensionType<Tuned>(kTuned));
    auto setup = makeSetup();
    setup->loggingLevel = Kr::KrEnum(Kr::eLogLevel::kWarn);
    setup->logFile = path + "/run_";
    setup->logConsole = false;
    setup->simulationFrameRate = 25.0;
    setup->applicationMode = Kr::KrEnum(KrSim::eApplicationMode::kSimulating);
    setup->synchronizationMode = Kr::KrEnum(KrSim::eSynchronizationMode::kSyncOff);
    setup->communicationModel = Kr::KrEnum(KrSim::eCommunicationModel::kSlave);
    setup->randomSeed = 7;
    setup->pluginDirectories.set({"b", "a"});
    setup->resourcesDirectories.set({"/not/there", path});
    setup->profilerEnabledCategories.set({"Frame"});
    static_cast<KrData::Field<bool>&>((*setup->getRemoteAccess())["Enable"]).setValue(true);
    setup =
        KrSmartInterface<ApplicationConfig>(setup.getExtension()->clone()->getImplementationAs<ApplicationConfig>());
    std::ofstream(path + "/Road.krr") << "x";
    for (int round = 0; round < 2; ++round) {
        KrPluginManager::instance().addPluginSearchDir("gone");
        const auto application = KrApplication::create();
        if (round == 0) {
            const auto made = KrSim::KrExtensionFactory::create(kTuned);
            made->setName("Fast");
            made->getImplementationAs<Tuned>()->gain = 7.0;
            application->insertModule(
                KrSmartInterface<KrSim::ISimulatorModule>(made->getImplementationAs<KrSim::ISimulatorModule>()));
        }
        EXPECT_TRUE(application->applySetup(setup));
        EXPECT_EQ(Kr::LogGetLevel(), Kr::eLogLevel::kWarn);
        std::string host = Kr::Process::getHostNameProcessID();
        std::replace(host.begin(), host.end(), ':', '_');
        EXPECT_EQ(application->getLogFilename(), path + "/run_" + host + ".log");
        EXPECT_FALSE(application->isConsoleLogEnabled());
        EXPECT_EQ(application->getSimulationFrameRate(), 25.0);
        EXPECT_EQ(application->getApplicationMode(), KrSim::eApplicationMode::kSimulating);
        EXPECT_EQ(application->getSyncMode(), KrSim::eSynchronizationMode::kSyncOff);
        EXPECT_TRUE(application->isSlave());
        EXPECT_EQ(application->getContext().getRandomSeed(), 7U);
        EXPECT_THAT(texts(KrPluginManager::instance().getAddedPluginsSearchDirs()), ElementsAre("b", "a"));
        EXPECT_EQ(KrResourceManager::instance().findResource("Road"), path + "/Road.krr");
        ASSERT_EQ(application->getModuleCount(), 1U);
        EXPECT_EQ(application->getModule(0)->getName(), "Fast");
        EXPECT_EQ(application->getModule(0)->getImplementationAs<Tuned>()->gain.get(), 7.0);
        setup = ApplicationConfig::createFromApplication(application.get());
        EXPECT_EQ(setup.getExtension()->getName(), "Config");
        EXPECT_TRUE(setup->getRemoteAccess()->isEnabled());
        EXPECT_THAT(setup->profilerEnabledCategories.get(), ElementsAre("Frame"));
        application->setApplicationMode(KrSim::eApplicationMode::kPlayback);
        EXPECT_EQ(ApplicationConfig::createFromApplication(application.get())->applicationMode.get(),
                  Kr::KrEnum(KrSim::eApplicationMode::kPlayback));
        KrSim::KrErrorHandler::enableConsoleLog(true);
    }
    setup.reset();
    EXPECT_TRUE(KrSim::KrExtensionFactory::unregisterType(kTuned));
}

TEST(Setup, WithValuesThatDoNotExistLeavesTheSettingsAsTheyAre) {
    const test_support::ProcessSettings process;
    const test_support::LogCapture log;
    const auto application = KrApplication::create();
    const auto setup = makeSetup();
    setup->simulationFrameRate = 1e9;
    setup->loggingLevel = Kr::KrEnum(static_cast<Kr::eLogLevel>(42));
    setup->applicationMode = Kr::KrEnum(static_cast<KrSim::eApplicationMode>(-1));
    setup->pluginDirectories.set({""});
    EXPECT_TRUE(application->applySetup(setup));
    EXPECT_EQ(application->getSimulationFrameRate(), ApplicationConfig::kHighestFrameRate);
    EXPECT_EQ(application->getApplicationMode(), KrSim::eApplicationMode::kEditing);
    EXPECT_TRUE(KrPluginManager::instance().getAddedPluginsSearchDirs().isEmpty());
    EXPECT_THAT(
        log.lines(),
        ElementsAre("3 KrApplication: 'LoggingLevel' of the setup has the value 42, which does not exist; it is "
                    "ignored\n",
                    testing::HasSubstr("it is empty or has a zero byte in it"),
                    "5 KrApplication: Frame rate set to 100000 Hz",
                    "3 KrApplication: 'ApplicationMode' of the setup has the value -1, which does not exist; it "
                    "is ignored\n"));
    setup->simulationFrameRate = std::nan("");
    EXPECT_TRUE(application->applySetup(setup));
    EXPECT_EQ(application->getSimulationFrameRate(), ApplicationConfig::kHighestFrameRate);
    EXPECT_EQ(application->getConfiguration()->simulationFrameRate, ApplicationConfig::kHighestFrameRate);
}

struct RateOfASetup {
    const char* name;
    double stored;  // as a file has it, unclamped
    double paced;
};

class FrameRateOfASetup : public testing::TestWithParam<RateOfASetup> {};

TEST_P(FrameRateOfASetup, IsBroughtIntoTheBounds) {
    const test_support::ProcessSettings process;
    const auto application = KrApplication::create();
    const auto setup = makeSetup();
    const KrData::Field<double> loaded("SimulationFrameRate", nullptr, GetParam().stored);
    setup->simulationFrameRate.getField()->copyValue(loaded);
    EXPECT_TRUE(application->applySetup(setup));
    EXPECT_EQ(application->getSimulationFrameRate(), GetParam().paced);
    EXPECT_EQ(application->getConfiguration()->simulationFrameRate, GetParam().paced);
}

INSTANTIATE_TEST_SUITE_P(Rates, FrameRateOfASetup,
                         testing::Values(RateOfASetup{"Zero", 0.0, ApplicationConfig::kLowestFrameRate},
                                         RateOfASetup{"Negative", -1.0, ApplicationConfig::kLowestFrameRate},
                                         RateOfASetup{"TooHigh", 1e300, ApplicationConfig::kHighestFrameRate},
                                         RateOfASetup{"Infinite", std::numeric_limits<double>::infinity(),
                                                      ApplicationConfig::kHighestFrameRate}),
                         test_support::caseName);

TEST(Setup, WithoutAFieldLeavesThatSettingAsItIs) {
    const test_support::ProcessSettings process;
    const auto application = KrApplication::create();
    KrPluginManager::instance().addPluginSearchDir("kept");
    application->setSimulationFrameRate(25.0);
    const auto setup = makeSetup();
    setup.getExtension()->getParameterContainer().clear();
    EXPECT_TRUE(application->applySetup(setup));
    EXPECT_EQ(application->getSimulationFrameRate(), 25.0);
    EXPECT_TRUE(application->isConsoleLogEnabled());
    EXPECT_THAT(texts(KrPluginManager::instance().getAddedPluginsSearchDirs()), ElementsAre("kept"));
}

TEST(Configuration, EditsOfItTakeEffectWithTheNextFrame) {
    const test_support::ProcessSettings process;
    const auto application = KrApplication::create();
    auto* configuration = application->getConfiguration();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    configuration->loggingLevel = Kr::KrEnum(Kr::eLogLevel::kFatal);
    configuration->logConsole = false;
    configuration->applicationMode = Kr::KrEnum(KrSim::eApplicationMode::kSimulating);
    configuration->pluginDirectories.set({"first", "second"});
    application->update();
    EXPECT_EQ(Kr::LogGetLevel(), Kr::eLogLevel::kFatal);
    EXPECT_FALSE(application->isConsoleLogEnabled());
    EXPECT_EQ(application->getApplicationMode(), KrSim::eApplicationMode::kSimulating);
    EXPECT_THAT(texts(KrPluginManager::instance().getAddedPluginsSearchDirs()), ElementsAre("first", "second"));
}

TEST(Configuration, OnlyAnotherSeedBeginsTheRandomStreamsAnew) {
    const auto application = KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    application->setRandomSeed(7);
    auto stream = application->getContext().getRandomStream("Road");
    const double first = stream.getUniform();
    const double second = stream.getUniform();
    application->setRandomSeed(7);
    EXPECT_EQ(stream.getUniform(), first);
    application->update();
    EXPECT_TRUE(application->applySetup(ApplicationConfig::createFromApplication(application.get())));
    EXPECT_EQ(stream.getUniform(), second);
    application->getConfiguration()->randomSeed = 8;
    application->update();
    EXPECT_EQ(application->getContext().getRandomSeed(), 8U);
    application->getConfiguration()->randomSeed = 7;
    application->update();
    EXPECT_EQ(stream.getUniform(), first);
}

TEST(Configuration, WithoutItsFieldsTheSettingsStay) {
    const test_support::ProcessSettings process;
    const auto application = KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    application->setSimulationFrameRate(25.0);
    application->getConfiguration()->logConsole = true;
    application->getConfiguration()->_getProxy()->getParameterContainer().clear();
    application->update();
    EXPECT_EQ(application->getSimulationFrameRate(), 25.0);
    application->setSimulationFrameRate(1e9);
    EXPECT_EQ(application->getSimulationFrameRate(), ApplicationConfig::kHighestFrameRate);
}

TEST(Configuration, ThatCannotBeMadeIsAnExceptionOfCreate) {
    ASSERT_TRUE(KrSim::KrExtensionFactory::unregisterType(ApplicationConfig::kFactoryKey));
    EXPECT_THROW(KrApplication::create(), KrSim::KrRuntimeError);
    EXPECT_TRUE(KrSim::registerExtensionType<KrSim::ApplicationConfigImplementation>(ApplicationConfig::kFactoryKey));
    EXPECT_TRUE(KrApplication::create());
}

TEST(CapturedSetup, LeavesOutADirectoryThatItCannotHoldWithAWarning) {
    const test_support::ProcessSettings process;
    const auto application = KrApplication::create();
    const std::string longest(ApplicationConfig::FileName::capacity(), 'a');
    KrPluginManager::instance().addPluginSearchDir(longest);
    KrPluginManager::instance().addPluginSearchDir(longest + "b");
    const test_support::LogCapture log;
    const auto setup = ApplicationConfig::createFromApplication(application.get());
    EXPECT_THAT(setup->pluginDirectories.get(), ElementsAre(ApplicationConfig::FileName(longest)));
    EXPECT_THAT(log.lines(), ElementsAre(testing::HasSubstr("has 512 bytes, a setup holds 511")));
}

}  // namespace application_setup_test
