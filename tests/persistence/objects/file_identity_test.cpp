// The file part of content identity: what is loaded from which file, and how IDs that name another file are resolved.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/extension/input_output_container.h"
#include "kr/persistence/objects/definition_files.h"
#include "kr/persistence/objects/object_file.h"
#include "kr/persistence/objects/open_ends.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"
#include "tests/support/temporary_folder.h"

namespace file_identity_test {

using KrData::detail::FieldAccess;

namespace fs = std::filesystem;

using garage::Extensions;
using garage::KrSmartPtr;
using garage::make;
using garage::makeObject;
using KrData::FieldBase;
using KrData::Types;
using KrPersistence::KrFile;
using KrPersistence::LoadedObjects;
using KrSim::KrContentID;
using KrSim::KrContentRegistry;
using KrSim::KrExtension;
using KrSim::KrObject;
using test_support::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const KrContentID kMotor = KrContentID::createFromWords(7, 1);
const KrContentID kPanel = KrContentID::createFromWords(7, 2);

KrContentID inFile(KrContentID id, const std::string& file) {
    id.setFile(file);
    return id;
}

void save(const fs::path& file, const Extensions& objects, int flags = KrFile::kXml) {
    std::vector<KrExtension*> all;
    for (const auto& object : objects)
        all.push_back(object.get());
    fs::create_directories(file.parent_path());
    const auto saved = KrPersistence::saveObjects(file.string(), all, flags);
    ASSERT_TRUE(saved) << saved.toString();
}

LoadedObjects load(const fs::path& file, const fs::path& referringFile = {}) {
    auto loaded = KrPersistence::loadObjects(file.string(), {.referringFile = referringFile.string(), .progress = {}});
    EXPECT_TRUE(loaded) << loaded.toString();
    return loaded ? std::move(*loaded) : LoadedObjects();
}

std::string bytesOf(const fs::path& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return std::move(bytes).str();
}

KrSmartPtr<KrExtension> makeMotor() {
    auto motor = make({}, "Motor", 1);
    motor->addInput("Throttle", Types::kDouble);
    motor->addOutput("Torque", Types::kDouble);
    return motor;
}

/// Refers to the motor in a field and a vector, links and follows it.
KrSmartPtr<KrExtension> makePanel(KrExtension& motor) {
    auto panel = make({}, "Panel", 2);
    panel->addParameter("Target", Kr::KrID("Motor"))->set<KrExtension*>(&motor);
    new KrData::Vector<KrExtension*>("All", &panel->getParameterContainer(), {&motor});
    auto* pedal = new KrData::Proxy("Pedal", Types::kDouble, &panel->getInputContainer());
    EXPECT_TRUE(pedal->addLink(motor.getInput("Throttle")));
    auto* dial = panel->addInput("Dial", Types::kDouble);
    EXPECT_NE(Kr::KrConnectionFactory::connect(motor.getOutput("Torque"), dial), nullptr);
    return panel;
}

/// What the panel refers to in its four ways; null where there is nothing.
std::vector<const KrExtension*> targetsOf(KrExtension& panel) {
    const auto& pedal = static_cast<const KrData::Proxy&>(*panel.getInput("Pedal"));
    const auto* linked = pedal.getLinkedField();
    const auto incoming = FieldAccess::getIncomingConnections(*panel.getInput("Dial"));
    return {panel.getParameter("Target")->toExtension(),
            KrData::Vector<KrExtension*>::from(*panel.getParameter("All"))->getItem(0),
            linked != nullptr ? linked->getOwnerExtension() : nullptr,
            incoming.empty() ? nullptr : incoming.front()->getSourceOwner()};
}

// --- The name --------------------------------------------------------------------------------------------------------

struct NameCase {
    const char* name;
    const char* path;           // below the folder; made absolute
    const char* referringFile;  // below the folder, or none
    const char* file;           // the part of identity
};

class FileNames : public testing::TestWithParam<NameCase> {};

TEST_P(FileNames, AreThoseOfTheReferringFile) {
    const TemporaryFolder folder;
    const auto& [name, path, referringFile, file] = GetParam();
    save(folder / path, {makeMotor()});
    const auto loaded = load(folder / path, *referringFile != '\0' ? folder / referringFile : fs::path());
    ASSERT_EQ(loaded.objects.size(), 1U);
    const auto& id = loaded.objects[0]->getContentID();
    EXPECT_EQ(id.getFile(), file);
    EXPECT_EQ(id, inFile(kMotor, file));
    EXPECT_EQ(id.getRawID(), kMotor.getRawID());
}

INSTANTIATE_TEST_SUITE_P(Of, FileNames,
                         testing::Values(NameCase{"NoReferringFile", "content/car.kro", "", "car.kro"},
                                         NameCase{"OneBesideIt", "content/car.kro", "content/town.kro", "car.kro"},
                                         NameCase{"OneAbove", "content/car.kro", "setup.xml", "content/car.kro"},
                                         NameCase{"OneElsewhere", "car.kro", "setups/setup.xml", "../car.kro"}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(FileIdentity, TellsOneItemOfTwoFilesApart) {
    const TemporaryFolder folder;
    save(folder / "a/car.kro", {makeMotor()});
    save(folder / "b/car.kro", {makeMotor()});
    save(folder / "b/van.kro", {makeMotor()});
    const auto first = load(folder / "a/car.kro");
    const auto second = load(folder / "b/car.kro");
    const auto third = load(folder / "b/van.kro");
    EXPECT_EQ(first.objects[0]->getContentID(), inFile(kMotor, "car.kro"));
    EXPECT_EQ(second.objects[0]->getContentID(), inFile(kMotor, "b/car.kro")) << "the name was taken";
    EXPECT_EQ(third.objects[0]->getContentID(), inFile(kMotor, "van.kro"));
    for (const auto* each : {&first, &second, &third})
        EXPECT_THAT(each->problems, IsEmpty());
}

TEST(FileIdentity, OfContentInTwoFilesOfOneNameIsAConflictToldWithBoth) {
    const TemporaryFolder folder;
    save(folder / "a/car.kro", {makeMotor()});
    save(folder / "b/car.kro", {makeMotor()});
    const auto first = load(folder / "a/car.kro", folder / "a/setup.xml");
    const auto second = load(folder / "b/car.kro", folder / "b/setup.xml");
    const auto id = inFile(kMotor, "car.kro").toString();
    EXPECT_THAT(second.problems,
                ElementsAre("'Motor' of '" + (folder / "b/car.kro").string() + "' has the content ID " + id +
                            " of 'Motor' of '" + (folder / "a/car.kro").string() +
                            "', which was loaded before; references find the first one"));
}

// --- References ------------------------------------------------------------------------------------------------------

class FileReferences : public testing::TestWithParam<int> {
protected:
    TemporaryFolder _folder;
    test_support::LogCapture _log;
};

TEST_P(FileReferences, InAFileMeanWhatThatFileHolds) {
    {
        const auto motor = makeMotor();
        save(_folder / "a.kro", {motor, makePanel(*motor)}, GetParam());
    }
    fs::copy_file(_folder / "a.kro", _folder / "b.kro");
    for (const auto* file : {"a.kro", "b.kro"}) {
        const auto first = load(_folder / "a.kro");
        const auto second = load(_folder / "b.kro");
        EXPECT_THAT(first.problems, IsEmpty());
        EXPECT_THAT(second.problems, IsEmpty());
        const auto& loaded = std::string(file) == "a.kro" ? first : second;
        EXPECT_THAT(targetsOf(*loaded.objects[1]), testing::Each(loaded.objects[0].get())) << file;
        save(_folder / "again.kro", loaded.objects, GetParam());
        EXPECT_TRUE(test_support::areSame(bytesOf(_folder / "again.kro"), bytesOf(_folder / "a.kro")));
    }
}

TEST_P(FileReferences, FindTheFileThatTheyWereSavedWith) {
    save(_folder / "a.kro", {makeMotor()}, GetParam());
    save(_folder / "b.kro", {makeMotor()}, GetParam());
    {
        const auto other = load(_folder / "a.kro");
        const auto meant = load(_folder / "b.kro");
        save(_folder / "panel.kro", {makePanel(*meant.objects[0])}, GetParam());
    }
    const auto panel = load(_folder / "panel.kro");
    EXPECT_THAT(targetsOf(*panel.objects[0]), testing::Each(nullptr));
    const auto other = load(_folder / "a.kro");
    EXPECT_THAT(targetsOf(*panel.objects[0]), testing::Each(other.objects[0].get())) << "for want of a better one";
    const auto meant = load(_folder / "b.kro");
    EXPECT_THAT(targetsOf(*panel.objects[0]), testing::Each(meant.objects[0].get()));
    EXPECT_THAT(FieldAccess::getProxies(*other.objects[0]->getInput("Throttle")), IsEmpty());
    EXPECT_THAT(FieldAccess::getOutgoingConnections(*other.objects[0]->getOutput("Torque")), IsEmpty());
    EXPECT_THAT(FieldAccess::getIncomingConnections(*panel.objects[0]->getInput("Dial")), testing::SizeIs(1));
}

TEST_P(FileReferences, FindTheOnlyOneOfTheItemWhereItsFileHasAnotherName) {
    save(_folder / "a.kro", {makeMotor()}, GetParam());
    {
        const auto motor = load(_folder / "a.kro");
        save(_folder / "panel.kro", {makePanel(*motor.objects[0])}, GetParam());
    }
    fs::rename(_folder / "a.kro", _folder / "moved.kro");
    {
        const auto panel = load(_folder / "panel.kro");
        const auto motor = load(_folder / "moved.kro");
        EXPECT_THAT(targetsOf(*panel.objects[0]), testing::Each(motor.objects[0].get())) << "loaded later";
    }
    const auto motor = load(_folder / "moved.kro");
    const auto panel = load(_folder / "panel.kro");
    EXPECT_THAT(targetsOf(*panel.objects[0]), testing::Each(motor.objects[0].get())) << "loaded before";
    EXPECT_THAT(panel.problems, IsEmpty());
}

TEST_P(FileReferences, TakeNoneOfSeveralAndSayWhy) {
    save(_folder / "a.kro", {makeMotor()}, GetParam());
    {
        const auto motor = load(_folder / "a.kro");
        save(_folder / "panel.kro", {makePanel(*motor.objects[0])}, GetParam());
    }
    fs::copy_file(_folder / "a.kro", _folder / "b.kro");
    fs::rename(_folder / "a.kro", _folder / "c.kro");
    const auto first = load(_folder / "b.kro");
    const auto second = load(_folder / "c.kro");
    const auto panel = load(_folder / "panel.kro");
    EXPECT_THAT(targetsOf(*panel.objects[0]), testing::Each(nullptr));
    const auto why = HasSubstr("; 2 objects have that content ID, and none is chosen: 'Motor' of '" +
                               (_folder / "b.kro").string() + "', 'Motor' of '" + (_folder / "c.kro").string() + "'");
    EXPECT_THAT(panel.problems, testing::AllOf(testing::SizeIs(3), testing::Each(why)));
    const auto open = KrPersistence::describeOpenEnds(*panel.objects[0]);
    EXPECT_THAT(open, testing::AllOf(testing::SizeIs(4), testing::Each(why))) << "with the link";
    save(_folder / "again.kro", panel.objects, GetParam());
    EXPECT_TRUE(test_support::areSame(bytesOf(_folder / "again.kro"), bytesOf(_folder / "panel.kro")));
}

TEST_P(FileReferences, GoOnTellingTwoFilesApartThatAreSavedAsOne) {
    save(_folder / "a.kro", {makeMotor()}, GetParam());
    save(_folder / "b.kro", {makeMotor()}, GetParam());
    {
        auto first = load(_folder / "a.kro");
        auto second = load(_folder / "b.kro");
        const auto panel = makePanel(*second.objects[0]);
        save(_folder / "both.kro", {first.objects[0], second.objects[0], panel}, GetParam());
    }
    const auto both = load(_folder / "both.kro");
    EXPECT_THAT(both.problems, IsEmpty());
    EXPECT_EQ(both.objects[0]->getContentID(), inFile(kMotor, "both.kro"));
    EXPECT_EQ(both.objects[1]->getContentID(), inFile(kMotor, "b.kro"));
    EXPECT_THAT(targetsOf(*both.objects[2]), testing::Each(both.objects[1].get()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, FileReferences, testing::Values(0, KrFile::kJson, KrFile::kXml), [](const auto& each) {
    return each.param == KrFile::kXml ? "Xml" : each.param == KrFile::kJson ? "Json" : "Binary";
});

/// The extensions that the dial is connected with.
std::vector<const KrExtension*> sourcesOf(const LoadedObjects& panel) {
    std::vector<const KrExtension*> sources;
    for (const auto* each : FieldAccess::getIncomingConnections(*panel.objects[0]->getInput("Dial")))
        sources.push_back(each->getSourceOwner());
    return sources;
}

TEST(FileIdentity, OfBothEndsOfAConnectionIsFoundEndByEnd) {
    const TemporaryFolder folder;
    test_support::LogCapture log;
    const auto setup = folder / "setup.xml";
    const auto makeDial = [](const char* name, std::uint64_t number) {
        auto made = make({}, name, number);
        made->addInput("Dial", Types::kDouble);
        return made;
    };
    save(folder / "a/motor.kro", {makeMotor()});
    save(folder / "a/panel.kro", {makeDial("Panel", 2)});
    fs::copy(folder / "a", folder / "b");
    {
        const auto motor = load(folder / "a/motor.kro", setup);
        const auto board = makeDial("Board", 9);
        Kr::KrConnectionFactory::connect(motor.objects[0]->getOutput("Torque"), board->getInput("Dial"));
        save(folder / "wiring.kro", {board});
    }
    // As if it connected what is in the two other files.
    auto text = bytesOf(folder / "wiring.kro");
    const std::string board = "<Sink>" + KrContentID::createFromWords(7, 9).toString() + "</Sink>";
    ASSERT_NE(text.find(board), std::string::npos);
    text.replace(
        text.find(board), board.size(),
        "<Sink>" + inFile(kPanel, "a/panel.kro").toString() + "</Sink><SinkRaw>" + kPanel.toString() + "</SinkRaw>");
    std::ofstream(folder / "wiring.kro", std::ios::binary) << text;

    const auto otherMotor = load(folder / "b/motor.kro", setup);
    const auto otherPanel = load(folder / "b/panel.kro", setup);
    const auto wiring = load(folder / "wiring.kro");
    EXPECT_THAT(wiring.problems, IsEmpty());
    EXPECT_THAT(sourcesOf(otherPanel), ElementsAre(otherMotor.objects[0].get())) << "stand-ins at both ends";
    const auto motor = load(folder / "a/motor.kro", setup);
    EXPECT_THAT(sourcesOf(otherPanel), ElementsAre(motor.objects[0].get()));
    const auto panel = load(folder / "a/panel.kro", setup);
    EXPECT_THAT(sourcesOf(panel), ElementsAre(motor.objects[0].get()));
    EXPECT_THAT(sourcesOf(otherPanel), IsEmpty());
    EXPECT_THAT(FieldAccess::getOutgoingConnections(*otherMotor.objects[0]->getOutput("Torque")), IsEmpty());
}

// --- Instances -------------------------------------------------------------------------------------------------------

TEST(FileIdentity, OfInstancesFollowsTheFilesOfInstanceAndDefinition) {
    const TemporaryFolder folder;
    auto hubID = KrContentID();
    {
        auto wheel = makeObject({}, "Wheel", 3);
        auto hub = make({}, "Hub", 4);
        hub->addParameter("Radius", Types::kDouble)->set(0.3);
        wheel->add(hub.get());
        save(folder / "parts/wheel.kro", {wheel});
    }
    {
        const auto parts = load(folder / "parts/wheel.kro", folder / "car.kro");
        const auto front = parts.getObject(0)->instantiate(KrContentID::createFromWords(7, 5));
        auto* radius = front->getExtension(0)->getParameter("Radius");
        radius->set(0.4);
        KrObject::setInstanceData(*radius);
        save(folder / "car.kro", {KrSmartPtr<KrExtension>(front)});
    }
    const auto bytes = bytesOf(folder / "car.kro");
    const auto frontID = inFile(KrContentID::createFromWords(7, 5), "car.kro");
    const auto expect = [&](const LoadedObjects& car, const std::string& file) {
        const auto* front = car.getObject(0);
        ASSERT_NE(front->getDefinition(), nullptr) << file;
        ASSERT_EQ(front->getExtensionCount(), 1U) << file;
        const auto* hub = front->getExtension(0);
        EXPECT_EQ(hub->getContentID(),
                  KrContentID::createFromParentInstance(frontID, inFile(KrContentID::createFromWords(7, 4), file)));
        EXPECT_EQ(hub->getParameter("Radius")->toReal(), 0.4) << file;
    };
    {
        const auto car = load(folder / "car.kro");
        std::vector<Kr::FileResult> refused;
        const auto parts = KrPersistence::loadDefinitions({}, refused);
        EXPECT_THAT(refused, IsEmpty());
        expect(car, "parts/wheel.kro");
        save(folder / "again/car.kro", car.objects);
    }
    const auto parts = load(folder / "parts/wheel.kro", folder / "setups/setup.xml");
    expect(load(folder / "car.kro"), "../parts/wheel.kro");
}

TEST(FileIdentity, OfADefinitionIsFollowedOnceItComes) {
    const TemporaryFolder folder;
    const auto saveWheel = [&](const char* file, double width) {
        auto wheel = makeObject({}, "Wheel", 3);
        wheel->addParameter("Width", Types::kDouble)->set(width);
        wheel->addParameter("Radius", Types::kDouble)->set(0.3);
        save(folder / file, {wheel});
    };
    saveWheel("wheel.kro", 1.0);
    saveWheel("other.kro", 2.0);
    {
        const auto wheel = load(folder / "wheel.kro");
        const auto front = wheel.getObject(0)->instantiate(KrContentID::createFromWords(7, 5));
        front->getParameter("Radius")->set(0.4);
        save(folder / "car.kro", {KrSmartPtr<KrExtension>(front)});
    }
    const auto car = load(folder / "car.kro");
    const auto* front = car.getObject(0);
    const auto other = load(folder / "other.kro");
    EXPECT_EQ(front->getDefinition(), other.getObject(0)) << "for want of a better one";
    EXPECT_EQ(front->getParameter("Width")->toReal(), 2.0);
    const auto wheel = load(folder / "wheel.kro");
    EXPECT_EQ(front->getDefinition(), wheel.getObject(0));
    EXPECT_EQ(front->getParameter("Width")->toReal(), 1.0);
    EXPECT_EQ(front->getParameter("Radius")->toReal(), 0.4);
}

}  // namespace file_identity_test
