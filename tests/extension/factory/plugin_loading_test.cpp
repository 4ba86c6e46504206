#include <gmock/gmock.h>

#include "kr/extension/extension.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/object.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "tests/support/log_capture.h"

namespace plugin_loading_test {

using KrPluginSystem::KrPluginManager;
using KrSim::KrExtensionFactory;
using KrSim::KrFactoryKey;
using test_support::LogCapture;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const KrFactoryKey kHorse("5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e41", "Animal", "Horse", "Animals");
const KrFactoryKey kOx("5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e42", "Animal", "Ox", "Animals");

/// The zoo is searched, and afterwards none of its plug-ins is loaded.
class PluginLoading : public testing::Test {
protected:
    PluginLoading() {
        manager.resetPluginSearchDirs();
        manager.addPluginSearchDir(KR_PLUGIN_ZOO);
    }
    ~PluginLoading() override {
        for (const auto& plugin : manager.getLoadedPlugins())
            manager.unload(plugin.name);
        manager.resetPluginSearchDirs();
    }
    KrPluginManager& manager = KrPluginManager::instance();
};

TEST_F(PluginLoading, StartsWithTheFirstExtensionAndEndsAfterTheLast) {
    auto horse = KrExtensionFactory::create(kHorse);
    ASSERT_TRUE(horse);
    ASSERT_TRUE(horse->hasImplementation());
    EXPECT_EQ(horse->getCreationKey(), kHorse);
    ASSERT_EQ(manager.getLoadedPlugins().size(), 1U);
    EXPECT_THAT(manager.getLoadedPlugins()[0].types, ElementsAre("Animal.Horse {5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e41}",
                                                                 "Animal.Ox {5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e42}"));

    EXPECT_FALSE(manager.unload("Animals"));
    EXPECT_TRUE(KrExtensionFactory::isValid(kHorse));
    EXPECT_TRUE(KrExtensionFactory::isValid(kOx));
    horse.reset();
    EXPECT_TRUE(manager.unload("Animals"));
    EXPECT_FALSE(KrExtensionFactory::isValid(kHorse));
    EXPECT_FALSE(KrExtensionFactory::isValid(kOx));
    EXPECT_TRUE(KrExtensionFactory::create({"", "Animal", "Horse", "Animals"}));
}

TEST_F(PluginLoading, OfAPluginWithATakenUuidFailsWholeAndLeavesTheOwnerAlone) {
    ASSERT_TRUE(manager.load("Animals"));
    const LogCapture log;
    EXPECT_FALSE(manager.load("Duplicate"));
    EXPECT_FALSE(manager.isLoaded("Duplicate"));
    EXPECT_THAT(log.lines(),
                ElementsAre(HasSubstr("already registered for Animal.Horse. Cannot register again with the same uuid "
                                      "(Animal.Mule)"),
                            AllOf(StartsWith("3 KrPluginManager: Cannot load plug-in 'Duplicate'"),
                                  HasSubstr("Duplicate.krp"), HasSubstr("a type was refused"))));
    EXPECT_FALSE(KrExtensionFactory::isValid({"5f0c7b52-0d3e-4a57-9f0e-2b8d9c1a6e40", "Animal", "Stable"}));
    EXPECT_TRUE(KrExtensionFactory::create(kHorse));
}

// The uuids stand in the plug-in and in the library; content of one must find the type of the other.
TEST_F(PluginLoading, FindsEachBuiltInTypeUnderItsKey) {
    using namespace KrSim::Keys;
    const KrFactoryKey extensions[] = {Seat::kFactoryKey,
                                       Role::kFactoryKey,
                                       VHLInterface::kFactoryKey,
                                       ControlPreset::kFactoryKey,
                                       DeviceMapping::kFactoryKey,
                                       Connections::kFactoryKey,
                                       ControlInterface::kFactoryKey,
                                       ContentLoader::kFactoryKey,
                                       SubEquipmentType::kFactoryKey,
                                       ConfigurationModuleSequenceController::kInternalFactoryKey,
                                       ExecuteLaterManager::kInternalFactoryKey,
                                       SimulationFileManager::kInternalFactoryKey,
                                       UnitSystem::kInternalFactoryKey,
                                       MetricsManager::kInternalFactoryKey,
                                       SystemProcessesMonitor::kInternalFactoryKey};
    const KrFactoryKey objects[] = {
        Configuration::kFactoryKey, Simulator::kFactoryKey, SimulatorApplication::kFactoryKey,
        Scene::kFactoryKey,         Scenario::kFactoryKey,  Equipment::kFactoryKey,
        SubEquipment::kFactoryKey,  Exercise::kFactoryKey,  ExerciseList::kFactoryKey,
        Object::kInternalFactoryKey};
    const auto check = [](const KrFactoryKey& key, bool isObject) {
        const auto made = KrExtensionFactory::create(key);
        ASSERT_TRUE(made) << key.toString();
        EXPECT_EQ(made->getCreationKey(), key);
        EXPECT_EQ(Kr::dynamicPointerCast<KrSim::KrObject>(made) != nullptr, isObject) << key.toString();
    };
    for (const KrFactoryKey& key : extensions)
        check(key, false);
    for (const KrFactoryKey& key : objects)
        check(key, true);
}

}  // namespace plugin_loading_test
