#include "kr/persistence/states/frame_hash.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/core/enum.h"
#include "kr/data/field.h"
#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/platform/weak_ptr.h"
#include "tests/support/case_name.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/recording_module.h"

namespace frame_hash_test {

using KrData::Types;
using KrPersistence::FrameHash;
using KrSim::KrExtension;

enum class eGear : int { kPark, kDrive };
enum class eDoor : int { kPark, kDrive };
KR_REGISTER_ENUM(frame_hash_test::eGear, {frame_hash_test::eGear::kPark, "Park"},
                 {frame_hash_test::eGear::kDrive, "Drive"});
KR_REGISTER_ENUM(frame_hash_test::eDoor, {frame_hash_test::eDoor::kPark, "Park"},
                 {frame_hash_test::eDoor::kDrive, "Drive"});

Kr::KrSmartPtr<KrExtension> makeExtension(const char* name) {
    auto made = Kr::makeSmart<KrExtension>();
    made->setName(name);
    return made;
}

/// An application with an extension that has a field of each kind, another one, and a module.
struct World {
    World() {
        auto& outputs = car->getOutputContainer();
        speed = static_cast<KrData::Field<double>*>(car->addOutput("Speed", Types::kDouble));
        car->addOutput("Power", Types::kDouble);
        car->addOutput("Load", Types::kFloat);
        car->addOutput("Count", Types::kInteger);
        car->addOutput("Open", Types::kBoolean);
        car->addOutput("Text", Types::kString)->set(std::string("twelve bytes"));
        car->addOutput("File", Types::kFilename);
        car->addOutput("Place", Types::kVector3);
        car->addOutput("Pose", Types::kTransform);
        car->addOutput("Target", Types::kExtension);
        car->addOutput("Gear", Types::kEnumeration)->set(Kr::KrEnum(eGear::kPark));
        numbers = new KrData::Vector<double>("Numbers", &outputs, {1.0, 2.0, 3.0});
        items = new KrData::FieldArray<KrData::Field<double>>("Items", &outputs);
        items->resize(2);
        module.getExtension()->addParameter("Gain", Types::kDouble);
        application->add(car.get());
        application->add(other.get());
        application->insertModule(module);
    }
    KrData::FieldBase& output(const char* name) { return car->getOutputContainer()[name]; }
    std::uint64_t calculate() { return hash.calculate(); }

    test_support::RecordingModule::Calls calls;
    Kr::KrSmartPtr<KrSim::KrApplication> application = KrSim::KrApplication::create();
    Kr::KrSmartPtr<KrExtension> car = makeExtension("Car");
    Kr::KrSmartPtr<KrExtension> other = makeExtension("Other");
    test_support::RecordingModule::Holder module = test_support::makeModule("Module", calls);
    KrData::Field<double>* speed{nullptr};
    KrData::Vector<double>* numbers{nullptr};
    KrData::FieldArray<KrData::Field<double>>* items{nullptr};
    FrameHash hash{*application};
};

struct Change {
    const char* name;
    std::function<void(World& world)> make;
};

class FrameHashOf : public testing::TestWithParam<Change> {
    test_support::DispatcherScope _dispatcher;
};

class FrameHashes : public testing::Test {
    test_support::DispatcherScope _dispatcher;
};

TEST_P(FrameHashOf, AChangedWorldIsAnotherOne) {
    World world;
    const auto before = world.calculate();
    ASSERT_EQ(world.calculate(), before);
    GetParam().make(world);
    EXPECT_NE(world.calculate(), before);
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    With, FrameHashOf,
    testing::Values(
        Change{"Number", [](World& w) { w.speed->setValue(1e-300); }},
        Change{"NegativeZero", [](World& w) { w.speed->_cloneFrom(KrData::Field<double>("", nullptr, -0.0)); }},
        Change{"NaN", [](World& w) { w.speed->setValue(kNaN); }},
        Change{"ValuesOfTwoFieldsSwapped",
               [](World& w) {
                   w.speed->setValue(1.0);
                   const auto before = w.calculate();
                   w.output("Power").set(1.0);
                   w.speed->setValue(0.0);
                   ASSERT_NE(w.calculate(), before);
               }},
        Change{"Float", [](World& w) { w.output("Load").set(0.1F); }},
        Change{"NegativeInteger", [](World& w) { w.output("Count").set(-1); }},
        Change{"Boolean", [](World& w) { w.output("Open").set(true); }},
        Change{"LastByteOfText", [](World& w) { w.output("Text").set(std::string("twelve bytez")); }},
        Change{"ZeroBehindText", [](World& w) { w.output("Text").set(std::string("twelve bytes\0", 13)); }},
        Change{"Filename", [](World& w) { w.output("File").set(Kr::KrString<512>("a")); }},
        Change{"Component",
               [](World& w) {
                   w.output("Place").set(KrMath::Vector3T<double>{0.0, 0.0, 1.0});
               }},
        Change{"EntryOfTransform",
               [](World& w) {
                   auto pose = w.output("Pose").toTransform();
                   pose.m[11] = 1.0;
                   w.output("Pose").set(pose);
               }},
        Change{"Enumeration", [](World& w) { w.output("Gear").set(Kr::KrEnum(eGear::kDrive)); }},
        Change{"TypeOfEnumeration",
               [](World& w) {
                   w.car->removeOutput("Gear");
                   w.car->addOutput("Gear", Types::kEnumeration)->set(Kr::KrEnum(eDoor::kPark));
               }},
        Change{"Reference", [](World& w) { w.output("Target").set<KrExtension*>(w.other.get()); }},
        Change{"OtherReference",
               [](World& w) {
                   w.output("Target").set<KrExtension*>(w.other.get());
                   const auto before = w.calculate();
                   w.output("Target").set<KrExtension*>(w.car.get());
                   ASSERT_NE(w.calculate(), before);
               }},
        Change{"OrderOfItems",
               [](World& w) {
                   w.numbers->setItems({2.0, 1.0, 3.0});
               }},
        Change{"NumberOfItems", [](World& w) { w.numbers->append(0.0); }},
        Change{"ItemOfArray", [](World& w) { (*w.items)[1].set(1.0); }},
        Change{"SizeOfArray", [](World& w) { w.items->resize(3); }},
        Change{"NewField", [](World& w) { w.car->addOutput("New", Types::kDouble); }},
        Change{"RemovedField", [](World& w) { w.car->removeOutput("Power"); }},
        Change{"FieldOfAnotherType",
               [](World& w) {
                   w.car->removeOutput("Count");
                   w.car->addOutput("Count", Types::kUnsignedInteger);
               }},
        Change{"FieldOfAnotherGroup",
               [](World& w) {
                   w.car->removeOutput("Count");
                   w.car->addInput("Count", Types::kInteger);
               }},
        Change{"NewExtensionWithoutFields", [](World& w) { w.application->add(makeExtension("New").get()); }},
        Change{"RenamedExtension", [](World& w) { w.other->setName("Else"); }},
        Change{"ContentID",
               [](World& w) {
                   auto id = KrSim::KrContentID::createFromWords(1, 2);
                   id.setFile("car.xml");
                   KrSim::detail::ExtensionAccess::setContentID(*w.other, id);
               }},
        Change{"NewMaterialField", [](World& w) { w.car->addOutput("New", Types::kMaterial); }},
        Change{"RemovedExtension", [](World& w) { w.application->remove(w.other.get()); }},
        Change{"ParameterOfModule", [](World& w) { w.module.getExtension()->getParameter("Gain")->set(1.0); }},
        Change{"RemovedModule", [](World& w) { w.application->removeModule(w.module); }}),
    test_support::caseName);

TEST_F(FrameHashes, IsThatOfEarlierValuesWhenTheyReturn) {
    World world;
    const auto before = world.calculate();
    world.speed->setValue(1.0);
    world.car->addOutput("New", Types::kDouble);
    world.car->removeOutput("New");
    world.application->remove(world.car.get());
    world.application->add(world.car.get());  // now the last one
    world.speed->setValue(0.0);
    EXPECT_EQ(world.calculate(), before);
}

TEST_F(FrameHashes, CountsNoMessages) {
    World world;
    const auto before = world.calculate();
    world.car->addError("no fuel", false);
    EXPECT_EQ(world.calculate(), before);
}

TEST_F(FrameHashes, OfTwoProcessesAddsUpToThatOfOne) {
    World whole;
    World first;
    World second;
    first.application->removeAllModules();
    first.application->remove(first.other.get());
    second.application->remove(second.car.get());
    EXPECT_EQ(first.calculate() + second.calculate(), whole.calculate());
}

TEST_F(FrameHashes, IsTheSumOfItsParts) {
    World world;
    const auto parts = world.hash.calculateParts();
    std::vector<std::string> paths;
    std::uint64_t sum = 0;
    for (const auto& each : parts) {
        paths.push_back(each.path);
        sum += each.hash;
    }
    EXPECT_EQ(sum, world.calculate());
    EXPECT_EQ(paths, (std::vector<std::string>{"Car", "Other", "Module"}));
}

TEST_F(FrameHashes, FollowsTheContentIDFromAFileAndNeitherNameNorFile) {
    World world;
    const auto hashOf = [&](const char* file, const char* name) {
        auto id = KrSim::KrContentID::createFromWords(1, 2);
        id.setFile(file);
        const auto saved = makeExtension("Saved");
        KrSim::detail::ExtensionAccess::setContentID(*saved, id);
        world.application->add(saved.get());
        static_cast<void>(world.calculate());
        saved->setName(name);
        const auto hash = world.calculate();
        world.application->remove(saved.get());
        return hash;
    };
    EXPECT_EQ(hashOf("car.xml", "Saved"), hashOf("folder/car.xml", "Renamed"));
}

TEST_F(FrameHashes, HoldsNoRemovedContent) {
    World world;
    static_cast<void>(world.calculate());
    const Kr::KrWeakPtr<KrExtension> other(world.other.get());
    world.application->remove(world.other.get());
    world.other.reset();
    EXPECT_FALSE(other.lock());
}

// Calculated from the description of the classes by another program, so that files of hashes stay comparable.
TEST_F(FrameHashes, OfOneNumberIsThatOfEarlierReleases) {
    const auto application = KrSim::KrApplication::create();
    FrameHash hash(*application);
    EXPECT_EQ(hash.calculate(), 0U);
    const auto car = makeExtension("Car");
    car->addOutput("Speed", Types::kDouble)->set(1.5);
    application->add(car.get());
    EXPECT_EQ(hash.calculate(), 0x4e87166e6dfce04aU);
}

}  // namespace frame_hash_test
