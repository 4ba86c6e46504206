#include "kr/persistence/setups/setup_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/module_record.h"
#include "kr/application/setup_presets.h"
#include "kr/data/field.h"
#include "kr/data/vector.h"
#include "kr/extension/extension_properties.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/object.h"
#include "kr/persistence/files/file.h"
#include "kr/persistence/setups/setup_section.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace setup_file_test {

using KrPersistence::KrFile;
using KrPersistence::loadSetupFile;
using KrPersistence::saveSetupFile;
using KrPersistence::SetupFile;
using KrSim::ApplicationConfig;
using KrSim::ExtensionProperties;
using KrSim::SetupPresets;
using Setup = KrSim::KrSmartInterface<ApplicationConfig>;
using testing::ElementsAre;

Setup makeSetup() {
    const auto made = KrSim::KrExtensionFactory::create(ApplicationConfig::kFactoryKey);
    return Setup(made->getImplementationAs<ApplicationConfig>());
}

const KrSim::KrFactoryKey kModuleKey("12345678-9abc-4def-8123-456789abcdef", "Test", "Traffic", "Traffic");

/// A setup in which everything differs from the defaults.
Setup makeFullSetup(const std::filesystem::path& folder) {
    auto setup = makeSetup();
    auto& object = *setup->_getObjectProxy();
    object.setName("Town & <road>");
    setup->loggingLevel = Kr::KrEnum(Kr::eLogLevel::kDebug);
    setup->logFile = "prefix\n_";
    setup->logConsole = false;
    setup->simulationFrameRate = 0.1 + 0.2;
    setup->synchronizationMode = Kr::KrEnum(KrSim::eSynchronizationMode::kSyncOff);
    setup->keyFrameListsPath = (folder / "keys").c_str();
    setup->profilerEnabledCategories.set({"a", "", "a"});
    setup->profilerPeriod = 7;
    setup->randomSeed = 4'000'000'000U;
    setup->pluginDirectories.set({(folder / "plugins").c_str(), (folder.parent_path() / "shared").c_str(), "/far"});
    auto& remote = *setup->getRemoteAccess();
    remote["Enable"].set(true);
    remote["Listening Port"].set(static_cast<unsigned short>(65535));
    object.addParameter("Own", KrData::Types::kVector3)->set(KrMath::Vector3T<double>{1.0, -0.0, 3.0});

    KrData::Container settings("Settings");
    settings.add<double>("Density", 0.1)->setRange(0.0, 1.0);
    settings.addContainer("Group")->add<std::string>("Text", "x");
    const auto id = KrSim::KrContentID::createFromWords(1, 2);
    object.add(KrSim::makeModuleRecord({"Traffic", kModuleKey, id, &settings}).get());
    return setup;
}

KrSim::KrContentID inFile(KrSim::KrContentID id, const std::string& file) {
    id.setFile(file);
    return id;
}

std::string read(const std::filesystem::path& file) {
    std::stringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

struct Kind {
    const char* name;
    int flags;
};
class SetupFiles : public testing::TestWithParam<Kind> {
protected:
    test_support::LogCapture log;
    test_support::TemporaryFolder folder;
};

TEST_P(SetupFiles, KeepEverySettingAndTheSecondSaveWritesTheSameBytes) {
    const auto setup = makeFullSetup(folder.path());
    const auto first = folder / "first";
    ASSERT_TRUE(saveSetupFile({setup, {folder / "car.xml", "/far/road"}}, first, GetParam().flags));
    const auto loaded = loadSetupFile(first);
    ASSERT_TRUE(loaded) << loaded.toString();
    const auto& object = *loaded->setup->_getObjectProxy();
    const auto& original = *setup->_getObjectProxy();
    EXPECT_EQ(object.getName(), original.getName());
    EXPECT_EQ(object.getContentID(), inFile(original.getContentID(), "first"));
    EXPECT_TRUE(object.getParameterContainer().isEqual(original.getParameterContainer()));
    EXPECT_NE(loaded->setup->getRemoteAccess(), nullptr);
    ASSERT_EQ(object.getExtensionCount(), 1U);
    const auto record = KrSim::readModuleRecord(*object.getExtension(0));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->name, "Traffic");
    EXPECT_EQ(record->key, kModuleKey);
    EXPECT_EQ(record->contentID, inFile(KrSim::KrContentID::createFromWords(1, 2), "first"));
    EXPECT_EQ(record->settings->size(), 2U);
    EXPECT_TRUE(record->settings->isEqual(*KrSim::readModuleRecord(*original.getExtension(0))->settings));
    EXPECT_THAT(loaded->findings, testing::IsEmpty());
    EXPECT_THAT(loaded->contentFiles, ElementsAre((folder / "car.xml").string(), "/far/road"));

    const auto second = folder / "second";
    ASSERT_TRUE(saveSetupFile(*loaded, second, GetParam().flags));
    EXPECT_EQ(read(first), read(second));
}

TEST_P(SetupFiles, WithoutASetupOrWithMoreAreRefused) {
    const auto file = Kr::makeSmart<KrFile>();
    const auto name = (folder / "empty").string();
    ASSERT_TRUE(file->save(name, GetParam().flags));
    EXPECT_THAT(loadSetupFile(name).text, testing::HasSubstr("holds no setup"));
    EXPECT_THAT(loadSetupFile(folder / "none").text, testing::HasSubstr("cannot open"));
    const auto setup = makeSetup();
    const auto stranger = Kr::makeSmart<KrSim::KrExtension>();
    setup->_getObjectProxy()->add(stranger.get());
    EXPECT_THAT(saveSetupFile({setup, {}}, name, GetParam().flags).text,
                testing::HasSubstr("is no record of a module"));
    EXPECT_EQ(saveSetupFile({}, name, GetParam().flags).toString(), "there is no setup to save");
}

TEST_P(SetupFiles, KeepPropertiesOfTheSetupAndOfModules) {
    const auto setup = makeFullSetup(folder.path());
    auto& object = *setup->_getObjectProxy();
    ExtensionProperties::set<std::string>(object, "Author", "Ada");
    ExtensionProperties::set<int>(*object.getExtension(0), "Colour", 7);
    const auto name = folder / "setup";
    ASSERT_TRUE(saveSetupFile({setup, {}}, name, GetParam().flags));
    const auto loaded = loadSetupFile(name);
    ASSERT_TRUE(loaded) << loaded.toString();
    const auto& again = *loaded->setup->_getObjectProxy();
    EXPECT_EQ(ExtensionProperties::get<std::string>(again, "Author"), "Ada");
    EXPECT_TRUE(again.getParameterContainer().isEqual(object.getParameterContainer()));
    const auto record = KrSim::readModuleRecord(*again.getExtension(0));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->settings->size(), 2U);
    EXPECT_EQ(ExtensionProperties::get<int>(*again.getExtension(0), "Colour"), 7);
}

TEST_P(SetupFiles, KeepPresetsAsTheDifferencesOfVariants) {
    const auto setup = makeSetup();
    setup->simulationFrameRate = 30.0;
    const auto fast = makeFullSetup(folder.path());
    ASSERT_TRUE(SetupPresets::store(*setup, "Fast", *fast));
    ASSERT_TRUE(SetupPresets::store(*setup, "Same", *setup));
    const auto name = folder / "setup";
    ASSERT_TRUE(saveSetupFile({setup, {}}, name, GetParam().flags));
    const auto loaded = loadSetupFile(name);
    ASSERT_TRUE(loaded) << loaded.toString();
    auto& again = *loaded->setup;
    EXPECT_THAT(SetupPresets::getNames(again), ElementsAre("Fast", "Same"));
    EXPECT_EQ(SetupPresets::apply(again, "Same"), "");
    EXPECT_EQ(again.simulationFrameRate, 30.0);
    EXPECT_EQ(SetupPresets::apply(again, "Fast"), "settings of preset 'Fast' do not exist or have another type: 'Own'");
    EXPECT_EQ(again.simulationFrameRate, 0.1 + 0.2);
    EXPECT_EQ(again.profilerEnabledCategories.get(), fast->profilerEnabledCategories.get());
    EXPECT_TRUE(again.getRemoteAccess()->isEqual(*fast->getRemoteAccess()));
    EXPECT_EQ(SetupPresets::apply(again, "Slow"), "there is no preset 'Slow'; there are 'Fast', 'Same'");
    EXPECT_TRUE(SetupPresets::remove(again, "Fast"));
    EXPECT_TRUE(SetupPresets::remove(again, "Same"));
    EXPECT_FALSE(SetupPresets::remove(again, "Same"));
    EXPECT_FALSE(SetupPresets::store(again, "", *fast));
    EXPECT_EQ(SetupPresets::apply(again, "Fast"), "there is no preset 'Fast'");
    EXPECT_EQ(ExtensionProperties::find(*again._getObjectProxy()), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SetupFiles,
                         testing::Values(Kind{"Binary", 0}, Kind{"Xml", KrFile::kXml}, Kind{"Json", KrFile::kJson}),
                         test_support::caseName);

}  // namespace setup_file_test
