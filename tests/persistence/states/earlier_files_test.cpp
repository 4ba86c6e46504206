// Files of earlier releases, whose content IDs name no files: tests/persistence/fixtures/README.md.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "kr/application/application.h"
#include "kr/application/application_config.h"
#include "kr/application/module_record.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/extension/object.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/setups/setup_file.h"
#include "kr/persistence/states/simulation_state_file.h"
#include "tests/support/log_capture.h"

namespace earlier_files_test {

namespace fs = std::filesystem;

using KrPersistence::LoadedObjects;
using KrSim::KrContentID;
using KrSim::KrExtension;
using KrSim::KrObject;
using testing::ElementsAre;
using testing::IsEmpty;

KrContentID makeID(std::uint64_t first, std::uint64_t second, const std::string& file) {
    auto id = KrContentID::createFromWords(first, second);
    id.setFile(file);
    return id;
}

/// The car and the parts, loaded as the setup names them.
class Town {
public:
    explicit Town(const std::string& carFile) : car(load("content/" + carFile)), parts(load("content/parts.json")) {
        root = car.getObject(0);
        wheel = parts.getObject(0);
        motor = root->findExtensionByName("Motor", false);
        panel = root->findExtensionByName("Panel", false);
        hub = wheel->getExtension(0);
        front = static_cast<KrObject*>(root->findExtensionByName("Front", false));
        frontHub = front->getExtension(0);
    }

    static fs::path folder() { return fs::path(KR_FIXTURES) / "2020.3"; }
    static LoadedObjects load(const std::string& file) {
        const auto setup = (folder() / "town.json").string();
        auto loaded = KrPersistence::loadObjects((folder() / file).string(), {.referringFile = setup, .progress = {}});
        EXPECT_TRUE(loaded) << loaded.toString();
        return loaded ? std::move(*loaded) : LoadedObjects();
    }

    test_support::LogCapture log;
    LoadedObjects car, parts;
    KrObject* root;
    KrObject* wheel;
    KrObject* front;
    KrExtension* motor;
    KrExtension* panel;
    KrExtension* hub;
    KrExtension* frontHub;
};

TEST(FilesOf2020, OfSetupsLoad) {
    const auto setup = KrPersistence::loadSetupFile((Town::folder() / "town.json").string());
    ASSERT_TRUE(setup) << setup.toString();
    EXPECT_THAT(setup->contentFiles, ElementsAre((Town::folder() / "content/car.xml").string(),
                                                 (Town::folder() / "content/parts.json").string()));
    EXPECT_EQ(setup->setup->_getObjectProxy()->getContentID(), makeID(9, 1, "town.json"));
}

TEST(FilesOf2020, OfSetupsLoadWithTheirModules) {
    const auto setup = KrPersistence::loadSetupFile((Town::folder() / "traffic.json").string());
    ASSERT_TRUE(setup) << setup.toString();
    const auto record = KrSim::readModuleRecord(*setup->setup->_getObjectProxy()->getExtension(0));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->contentID, makeID(0x966A1CF16970F0D1, 0x1037E34A082DCA68, "traffic.json"));
    EXPECT_EQ((*record->settings)["Step"].toReal(), 0.02);
}

TEST(FilesOf2020, OfSetupsLoadFromBinaryFilesWithoutASeed) {
    const auto setup = KrPersistence::loadSetupFile((Town::folder() / "traffic.binary").string());
    ASSERT_TRUE(setup) << setup.toString();
    EXPECT_THAT(setup->findings, IsEmpty());
    EXPECT_EQ(setup->setup->simulationFrameRate, 125.0);
    EXPECT_EQ(setup->setup->getRemoteAccess()->getListeningPort(), 4000);
    EXPECT_EQ(setup->setup->randomSeed, 0U);
    EXPECT_EQ(setup->setup->_getObjectProxy()->getExtensionCount(), 1U);
}

class ContentOf2020 : public testing::TestWithParam<const char*> {};

TEST_P(ContentOf2020, LoadsWithItsReferencesAndConnections) {
    const Town town(GetParam());
    EXPECT_THAT(town.parts.problems, IsEmpty());
    EXPECT_EQ(town.root->getContentID(), makeID(8, 1, std::string("content/") + GetParam()));
    EXPECT_EQ(town.wheel->getContentID(), makeID(7, 1, "content/parts.json"));
    EXPECT_EQ(town.panel->getParameter("Target")->toExtension(), town.motor);
    EXPECT_EQ(town.panel->getParameter("Other")->toExtension(), town.hub);
    EXPECT_THAT(KrData::Vector<KrExtension*>::from(*town.panel->getParameter("All"))->getItems(),
                ElementsAre(town.motor, town.hub));
    auto& pedal = static_cast<KrData::Proxy&>(*town.panel->getInput("Pedal"));
    pedal.updateLinks();
    EXPECT_EQ(pedal.getLink(0).getField(), town.motor->getInput("Throttle"));
    EXPECT_EQ(pedal.getLink(1).getField(), town.hub->getInput("Brake"));
    town.motor->getOutput("Torque")->set(90.0);
    town.hub->getOutput("Speed")->set(3.5);
    EXPECT_EQ(town.panel->getInput("Dial")->toReal(), 90.0);
    EXPECT_EQ(town.panel->getInput("Spin")->toReal(), 3.5);
    EXPECT_EQ(town.frontHub->getInput("Brake")->toReal(), 90.0);
}

TEST_P(ContentOf2020, LoadsInstancesThatFollowTheirDefinition) {
    const Town town(GetParam());
    EXPECT_EQ(town.front->getDefinition(), town.wheel);
    EXPECT_EQ(town.front->getExtensionCount(), 1U);
    EXPECT_EQ(town.frontHub->getParameter("Radius")->toReal(), 0.4);
    EXPECT_EQ(town.frontHub->getContentID(),
              KrContentID::createFromParentInstance(town.front->getContentID(), town.hub->getContentID()));
}

/// That release marked what is an instance's own, and recorded nothing else.
TEST_P(ContentOf2020, LoadsInstancesThatFollowAChangedDefinitionButForWhatIsMarked) {
    const test_support::LogCapture log;
    const auto parts = Town::load("content/parts.json");
    auto* hub = parts.getObject(0)->getExtension(0);
    hub->setName("Nave");
    hub->getParameter("Radius")->set(0.7);
    hub->getInput("Brake")->setDescription("bar");
    hub->addParameter("Width", KrData::Types::kDouble)->set(0.2);
    const auto car = Town::load(std::string("content/") + GetParam());
    const auto& front = static_cast<const KrObject&>(*car.getObject(0)->findExtensionByName("Front", false));
    ASSERT_EQ(front.getExtensionCount(), 1U);
    const auto* own = front.getExtension(0);
    EXPECT_EQ(own->getParameter("Radius")->toReal(), 0.4) << "marked";
    EXPECT_EQ(own->getName(), "Nave");
    EXPECT_EQ(own->getParameter("Width")->toReal(), 0.2);
    EXPECT_EQ(own->getInput("Brake")->getDescription(), "bar");
    EXPECT_EQ(own->getOutput("Speed")->toReal(), 1.5) << "state";
    EXPECT_EQ(front.getAllErrors(), "");
    car.getObject(0)->findExtensionByName("Motor", false)->getOutput("Torque")->set(90.0);
    EXPECT_EQ(own->getInput("Brake")->toReal(), 90.0) << "connected as before";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ContentOf2020, testing::Values("car.xml", "car.binary"),
                         [](const auto& each) { return fs::path(each.param).extension().string().substr(1); });

class StatesOf2020 : public testing::TestWithParam<const char*> {};

TEST_P(StatesOf2020, AreRestoredIntoContentThatNamesItsFile) {
    const Town town("car.xml");
    const auto application = KrSim::KrApplication::create();
    ASSERT_TRUE(application->add(town.root));
    ASSERT_TRUE(application->add(town.wheel));
    const auto report = KrPersistence::restoreSimulationState(*application, (Town::folder() / GetParam()).string());
    ASSERT_TRUE(report) << report.toString();
    EXPECT_EQ(report->restored, 7U);
    EXPECT_TRUE(report->isComplete());
    EXPECT_EQ(town.motor->getOutput("Torque")->toReal(), 120.0);
    EXPECT_EQ(town.hub->getOutput("Speed")->toReal(), 2.5);
    EXPECT_EQ(town.frontHub->getParameter("Radius")->toReal(), 0.45);
    EXPECT_EQ(town.panel->getParameter("Target")->toExtension(), town.hub);
    EXPECT_EQ(town.panel->getParameter("Other")->toExtension(), town.frontHub);
    application->removeAllExtensions();
}

INSTANTIATE_TEST_SUITE_P(Kinds, StatesOf2020, testing::Values("state.json", "state.binary"),
                         [](const auto& each) { return fs::path(each.param).extension().string().substr(1); });

TEST(States, OfOneOfTwoFilesOfAnItemGoToNeitherOfTwoOthers) {
    const Town town("car.xml");
    const Town other("car.binary");
    const auto application = KrSim::KrApplication::create();
    for (auto* each : {town.root, other.root})
        ASSERT_TRUE(application->add(each));
    const auto report = KrPersistence::restoreSimulationState(*application, (Town::folder() / "state.json").string());
    ASSERT_TRUE(report) << report.toString();
    EXPECT_EQ(report->restored, 0U) << "states that name no file";
    const auto file = fs::path(testing::TempDir()) / "kr_state_of_two.json";
    town.motor->getOutput("Torque")->set(1.0);
    other.motor->getOutput("Torque")->set(2.0);
    const auto saved = KrPersistence::saveSimulationState(*application, file.string());
    ASSERT_TRUE(saved) << saved.toString();
    town.motor->getOutput("Torque")->set(3.0);
    other.motor->getOutput("Torque")->set(4.0);
    EXPECT_EQ(KrPersistence::restoreSimulationState(*application, file.string())->missing, 0U);
    fs::remove(file);
    EXPECT_EQ(town.motor->getOutput("Torque")->toReal(), 1.0) << "states that do";
    EXPECT_EQ(other.motor->getOutput("Torque")->toReal(), 2.0);
    application->removeAllExtensions();
}

}  // namespace earlier_files_test
