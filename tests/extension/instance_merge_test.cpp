#include <gmock/gmock.h>
#include <pthread.h>

#include <functional>
#include <ostream>
#include <string>

#include "kr/core/connections/connection.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/typed_field.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace instance_merge_test {

using Kr::KrConnectionFactory;
using Kr::KrSmartPtr;
using KrData::Types;
using KrData::detail::FieldAccess;
using KrSim::KrContentID;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::ObjectAccess;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const KrSim::KrFactoryKey kWheelType{"0a5e9a10-5a5f-4c4e-8c7e-3d1b6d1b7a01", "Instances", "Wheel"};
const KrSim::KrFactoryKey kRimType{"0a5e9a10-5a5f-4c4e-8c7e-3d1b6d1b7a02", "Instances", "Rim"};

/// A wheel that turns: its speed and the angle within are state.
class Wheel final : public KrSim::IExtension {
public:
    explicit Wheel(KrExtension* proxy) : IExtension(proxy, 1) {}
    void onSynchronized(const IExtension& source) override { angle = static_cast<const Wheel&>(source).angle; }

    KrSim::Input<double> torque{this, "Torque"};
    KrSim::Output<double> speed{this, "Speed"};
    KrSim::Parameter<double> grip{this, "Grip", {.value = 0.8}};
    double angle{0.0};
};

class Rim final : public KrSim::IExtension {
public:
    explicit Rim(KrExtension* proxy) : IExtension(proxy, 1) {}
    KrSim::Parameter<double> grip{this, "Grip", {.value = 0.1}};
};

Wheel& wheelOf(const KrObject& object, const char* name) {
    return *object.findExtensionByName(name, true)->getImplementationAs<Wheel>();
}

KrSmartPtr<KrExtension> addWheel(KrObject& object, const char* name) {
    auto wheel = KrSim::KrExtensionFactory::create(kWheelType);
    wheel->setName(name);
    object.add(wheel.get());
    return wheel;
}

KrSmartPtr<KrObject> addObject(KrObject& object, const char* name) {
    auto made = Kr::makeSmart<KrObject>();
    made->setName(name);
    object.add(made.get());
    return made;
}

/// "Name=Grip" of every extension, what is below an object in parentheses; "?" behind a lost one.
std::string describe(const KrObject& object) {
    std::string text;
    for (const auto& extension : object.getExtensions()) {
        text += text.empty() ? "" : " ";
        text += extension->getName();
        if (const auto* grip = extension->getParameter("Grip")) text += "=" + grip->toString();
        if (const auto* added = extension->getParameter("Note")) text += "+" + added->toString();
        if (ExtensionAccess::isUnknownPlaceholder(*extension)) text += "?";
        if (const auto* child = dynamic_cast<const KrObject*>(extension.get())) text += "(" + describe(*child) + ")";
    }
    return text;
}

struct TypeScope {
    TypeScope() {
        KrSim::registerExtensionType<Wheel>(kWheelType);
        KrSim::registerExtensionType<Rim>(kRimType);
    }
    TypeScope(const TypeScope&) = delete;
    TypeScope& operator=(const TypeScope&) = delete;
    ~TypeScope() {
        KrSim::KrExtensionFactory::unregisterType(kWheelType);
        KrSim::KrExtensionFactory::unregisterType(kRimType);
    }
};

/// A car: "Left" drives "Right"; a wheel lies in the "Boot".
class Car {
public:
    Car() {
        definition->setName("Car");
        left = addWheel(*definition, "Left");
        right = addWheel(*definition, "Right");
        boot = addObject(*definition, "Boot");
        spare = addWheel(*boot, "Spare");
        KrConnectionFactory::connect(left->getOutput("Speed"), right->getInput("Torque"));
        instance = definition->instantiate();
    }

    TypeScope types;
    KrSmartPtr<KrObject> definition = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrExtension> left, right, spare;
    KrSmartPtr<KrObject> boot, instance;

    [[nodiscard]] KrExtension* own(const char* name) const { return instance->findExtensionByName(name, true); }
    [[nodiscard]] bool isConnected(const char* source, const char* sink) const {
        const auto* from = own(source)->getOutput("Speed");
        for (const auto* connection : FieldAccess::getOutgoingConnections(*from)) {
            if (connection->getSink() == own(sink)->getInput("Torque")) return true;
        }
        return false;
    }
    bool sync() const { return instance->sync(); }
};

// --- The table -----------------------------------------------------------------------------------------------------

using Edit = std::function<void(Car&)>;
void nothing(Car&) {}

void setGrip(KrExtension* extension, double grip) {
    extension->getParameter("Grip")->set(grip);
}
void note(KrExtension* extension, const char* text) {
    extension->addParameter("Note", Types::kString)->set<std::string>(text);
}
void moveToTheEnd(KrObject& object, const KrSmartPtr<KrExtension>& extension) {
    object.remove(extension.get());
    object.add(extension.get());
}

struct SyncCase {
    friend void PrintTo(const SyncCase& each, std::ostream* out) { *out << each.name; }

    const char* name;
    Edit inDefinition;
    Edit inInstance;
    const char* expected;
};

class Syncs : public testing::TestWithParam<SyncCase> {
protected:
    Car _car;
};

TEST_P(Syncs, KeepWhatTheUserChangedAndTakeWhatTheDefinitionChanged) {
    const LogCapture log;
    GetParam().inInstance(_car);
    GetParam().inDefinition(_car);
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describe(*_car.instance), GetParam().expected);
    ASSERT_TRUE(_car.sync()) << "and once more changes nothing";
    EXPECT_EQ(describe(*_car.instance), GetParam().expected);
}

TEST_P(Syncs, AreTheSameForAClone) {
    const LogCapture log;
    GetParam().inInstance(_car);
    GetParam().inDefinition(_car);
    const auto clone = _car.instance->clone();
    ASSERT_TRUE(static_cast<KrObject&>(*clone).sync());
    EXPECT_EQ(describe(static_cast<const KrObject&>(*clone)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Values, Syncs,
    testing::Values(SyncCase{"Nothing", nothing, nothing, "Left=0.8 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"Definition", [](Car& car) { setGrip(car.left.get(), 0.7); }, nothing,
                             "Left=0.7 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"UserWithoutAMark", [](Car& car) { setGrip(car.right.get(), 0.7); },
                             [](Car& car) { setGrip(car.own("Left"), 0.3); }, "Left=0.3 Right=0.7 Boot(Spare=0.8)"},
                    SyncCase{"Both", [](Car& car) { setGrip(car.left.get(), 0.7); },
                             [](Car& car) { setGrip(car.own("Left"), 0.3); }, "Left=0.3 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"MarkOnAnEqualValue", [](Car& car) { setGrip(car.left.get(), 0.7); },
                             [](Car& car) { KrObject::setInstanceData(*car.own("Left")->getParameter("Grip")); },
                             "Left=0.8 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"FieldOfTheUser", [](Car& car) { setGrip(car.left.get(), 0.7); },
                             [](Car& car) { note(car.own("Left"), "mine"); },
                             "Left=0.7+mine Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"FieldOfTheDefinition", [](Car& car) { note(car.spare.get(), "new"); }, nothing,
                             "Left=0.8 Right=0.8 Boot(Spare=0.8+new)"}),
    test_support::caseName);

INSTANTIATE_TEST_SUITE_P(
    Children, Syncs,
    testing::Values(SyncCase{"AddedByTheDefinition", [](Car& car) { addWheel(*car.boot, "Second"); }, nothing,
                             "Left=0.8 Right=0.8 Boot(Spare=0.8 Second=0.8)"},
                    SyncCase{"AddedByTheUser", nothing,
                             [](Car& car) { addWheel(static_cast<KrObject&>(*car.own("Boot")), "Mine"); },
                             "Left=0.8 Right=0.8 Boot(Spare=0.8 Mine=0.8)"},
                    SyncCase{"RemovedByTheDefinition", [](Car& car) { car.definition->remove(car.left.get()); },
                             nothing, "Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"RemovedByTheUser", nothing, [](Car& car) { car.instance->remove(car.own("Left")); },
                             "Left=0.8 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"ReorderedByTheDefinition", [](Car& car) { moveToTheEnd(*car.definition, car.left); },
                             nothing, "Right=0.8 Boot(Spare=0.8) Left=0.8"},
                    SyncCase{"ReorderedByTheUser", [](Car& car) { setGrip(car.left.get(), 0.7); },
                             [](Car& car) { moveToTheEnd(*car.instance, KrSmartPtr<KrExtension>(car.own("Left"))); },
                             "Right=0.8 Boot(Spare=0.8) Left=0.7"},
                    SyncCase{"RenamedByTheDefinition", [](Car& car) { car.left->setName("Port"); }, nothing,
                             "Port=0.8 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"RenamedByTheUser", [](Car& car) { car.left->setName("Port"); },
                             [](Car& car) { car.own("Left")->setName("Mine"); }, "Mine=0.8 Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"LostWithOwnValues", [](Car& car) { car.definition->remove(car.left.get()); },
                             [](Car& car) { setGrip(car.own("Left"), 0.3); }, "Left=0.3? Right=0.8 Boot(Spare=0.8)"},
                    SyncCase{"LostWithContentOfTheUser", [](Car& car) { car.definition->remove(car.boot.get()); },
                             [](Car& car) { addWheel(static_cast<KrObject&>(*car.own("Boot")), "Mine"); },
                             "Left=0.8 Right=0.8 Boot?(Mine=0.8)"}),
    test_support::caseName);

// --- Connections ---------------------------------------------------------------------------------------------------

class InstanceConnections : public testing::Test {
protected:
    Car _car;
};

TEST_F(InstanceConnections, FollowThoseOfTheDefinition) {
    EXPECT_TRUE(_car.isConnected("Left", "Right"));
    KrConnectionFactory::disconnect(_car.left->getOutput("Speed"), _car.right->getInput("Torque"));
    KrConnectionFactory::connect(_car.right->getOutput("Speed"), _car.spare->getInput("Torque"));
    ASSERT_TRUE(_car.sync());
    EXPECT_FALSE(_car.isConnected("Left", "Right"));
    EXPECT_TRUE(_car.isConnected("Right", "Spare"));
}

TEST_F(InstanceConnections, AreTheUsersWhereHeMadeOrEndedThem) {
    KrConnectionFactory::disconnect(_car.own("Left")->getOutput("Speed"), _car.own("Right")->getInput("Torque"));
    KrConnectionFactory::connect(_car.own("Left")->getOutput("Speed"), _car.own("Spare")->getInput("Torque"));
    setGrip(_car.left.get(), 0.7);
    ASSERT_TRUE(_car.sync());
    EXPECT_FALSE(_car.isConnected("Left", "Right"));
    EXPECT_TRUE(_car.isConnected("Left", "Spare"));
}

TEST_F(InstanceConnections, OfTheDefinitionAreNotKeptForTheUser) {
    _car.definition->remove(_car.left.get());
    const LogCapture log;
    ASSERT_TRUE(_car.sync());
    _car.definition->add(_car.left.get());
    ASSERT_TRUE(_car.sync());
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_TRUE(_car.isConnected("Left", "Right"));
    EXPECT_EQ(FieldAccess::getIncomingConnections(*_car.own("Right")->getInput("Torque")).size(), 1U);
}

using Settings = std::function<void(Kr::KrConnection&)>;

struct SettingsCase {
    friend void PrintTo(const SettingsCase& each, std::ostream* out) { *out << each.name; }

    const char* name;
    Settings inDefinition;
    Settings inInstance;
    double expected;  // of a speed of 1; 0 for a connection that is off
};

class SettingsOfConnections : public InstanceConnections, public testing::WithParamInterface<SettingsCase> {
protected:
    static Kr::KrConnection& connectionFrom(KrExtension& left) {
        return static_cast<Kr::KrConnection&>(*FieldAccess::getOutgoingConnections(*left.getOutput("Speed")).front());
    }
    [[nodiscard]] double transfer() const {
        for (const double speed : {0.0, 1.0})
            _car.own("Left")->getOutput("Speed")->set(speed);
        return _car.own("Right")->getInput("Torque")->toReal();
    }
};

TEST_P(SettingsOfConnections, FollowTheDefinitionUnlessTheUserChangedThem) {
    GetParam().inDefinition(connectionFrom(*_car.left));
    GetParam().inInstance(connectionFrom(*_car.own("Left")));
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(transfer(), GetParam().expected);
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(transfer(), GetParam().expected);
}

Settings gain(double factor) {
    return [factor](auto& connection) { connection.setTransferFunction(KrData::TransferFunction::gain(factor)); };
}
void turnOff(Kr::KrConnection& connection) {
    connection.disable(true);
}
void leave(Kr::KrConnection&) {}

INSTANTIATE_TEST_SUITE_P(Changed, SettingsOfConnections,
                         testing::Values(SettingsCase{"FunctionOfTheDefinition", gain(2.0), leave, 2.0},
                                         SettingsCase{"FunctionOfTheUser", leave, gain(3.0), 3.0},
                                         SettingsCase{"FunctionsOfBoth", gain(2.0), gain(3.0), 3.0},
                                         SettingsCase{"OffInTheDefinition", turnOff, leave, 0.0},
                                         SettingsCase{"OffByTheUser", gain(2.0), turnOff, 0.0}),
                         test_support::caseName);

// --- Stories -------------------------------------------------------------------------------------------------------

class InstanceStories : public InstanceConnections {};

TEST_F(InstanceStories, GoOnRunningThroughASync) {
    auto& wheel = wheelOf(*_car.instance, "Left");
    wheel.speed = 30.0;
    wheel.angle = 1.5;
    setGrip(_car.left.get(), 0.7);
    _car.left->getOutput("Speed")->setDescription("m/s");
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(wheelOf(*_car.instance, "Left").speed, 30.0);
    EXPECT_EQ(wheelOf(*_car.instance, "Left").angle, 1.5);
    EXPECT_EQ(wheelOf(*_car.instance, "Right").torque, 30.0) << "a driven input has what its source gave it";
    EXPECT_EQ(_car.own("Left")->getOutput("Speed")->getDescription(), "m/s");
    EXPECT_EQ(_car.own("Left")->getParameter("Grip")->toReal(), 0.7);
}

TEST_F(InstanceStories, GiveLostDataBackWhenTheDefinitionHasItAgain) {
    const LogCapture log;
    setGrip(_car.own("Spare"), 0.3);
    note(_car.own("Spare"), "mine");
    const auto mine = addWheel(static_cast<KrObject&>(*_car.own("Boot")), "Mine");
    _car.definition->remove(_car.boot.get());
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describe(*_car.instance), "Left=0.8 Right=0.8 Boot?(Spare=0.3+mine? Mine=0.8)");
    EXPECT_THAT(_car.instance->getAllErrors(), HasSubstr("the definition has no 'Spare' any more"));
    EXPECT_THAT(log.lines(), testing::Contains(HasSubstr("Lost extension: the definition has no 'Boot'")));
    const auto clone = _car.instance->clone();
    EXPECT_EQ(describe(static_cast<const KrObject&>(*clone)), describe(*_car.instance)) << "a clone keeps it lost";

    _car.definition->add(_car.boot.get());
    setGrip(_car.spare.get(), 0.6);
    for (auto* instance : {_car.instance.get(), static_cast<KrObject*>(clone.get())}) {
        ASSERT_TRUE(instance->sync());
        EXPECT_EQ(describe(*instance), "Left=0.8 Right=0.8 Boot(Spare=0.3+mine Mine=0.8)");
        EXPECT_EQ(instance->getAllErrors(), "");
    }
    EXPECT_EQ(_car.own("Mine"), mine.get()) << "content of the user is the same object";
}

/// "Name=Value" of the parameters, in order.
std::string describeParameters(const KrExtension& extension) {
    std::string text;
    for (const auto* field : extension.getParameterContainer())
        text += (text.empty() ? "" : " ") + field->getID().str() + "=" + field->toString();
    return text;
}

using Fields = KrData::Container;

struct ReturnCase {
    friend void PrintTo(const ReturnCase& each, std::ostream* out) { *out << each.name; }

    const char* name;
    std::function<void(Fields& parameters)> edit;
    const char* expected;
};

class ReturningParts : public InstanceConnections, public testing::WithParamInterface<ReturnCase> {};

TEST_P(ReturningParts, HaveTheOwnFieldsThatTheyHad) {
    const LogCapture log;
    auto& parameters = _car.spare->getParameterContainer();
    parameters.add<int>("Size", 1);
    parameters.add<int>("Size", 2);
    ASSERT_TRUE(_car.sync());
    GetParam().edit(_car.own("Spare")->getParameterContainer());
    const KrSmartPtr<KrExtension> spare = _car.spare;
    _car.boot->remove(spare.get());
    ASSERT_TRUE(_car.sync());
    EXPECT_TRUE(ExtensionAccess::isUnknownPlaceholder(*_car.own("Spare")));
    _car.boot->add(spare.get());
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describeParameters(*_car.own("Spare")), GetParam().expected);
    EXPECT_EQ(_car.instance->getAllErrors(), "");
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describeParameters(*_car.own("Spare")), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Own, ReturningParts,
    testing::Values(
        ReturnCase{"Order", [](Fields& fields) { fields.moveField(fields.end(), "Grip"); }, "Size=1 Size=2 Grip=0.8"},
        ReturnCase{"FirstOfTwins", [](Fields& fields) { fields[1].set(5); }, "Grip=0.8 Size=5 Size=2"},
        ReturnCase{"SecondOfTwins", [](Fields& fields) { fields[2].set(5); }, "Grip=0.8 Size=1 Size=5"},
        ReturnCase{"SecondWithoutTheFirst",
                   [](Fields& fields) {
                       fields.erase(fields.begin() + 1);
                       fields[1].set(5);
                   },
                   "Grip=0.8 Size=5"},
        ReturnCase{"AddedTwin", [](Fields& fields) { fields.add<int>("Size", 3); }, "Grip=0.8 Size=1 Size=2 Size=3"}),
    test_support::caseName);

TEST_F(InstanceStories, KeepFieldsThatTheDefinitionLostUnderOwnValues) {
    const LogCapture log;
    note(_car.left.get(), "fast");
    ASSERT_TRUE(_car.sync());
    _car.own("Left")->getParameter("Note")->set<std::string>("slow");
    _car.left->removeParameter("Note");
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describe(*_car.instance), "Left=0.8+slow Right=0.8 Boot(Spare=0.8)");
    EXPECT_THAT(_car.instance->getAllErrors(), HasSubstr("has no place for the field 'Parameters.Note' any more"));
    note(_car.left.get(), "fast");
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describe(*_car.instance), "Left=0.8+slow Right=0.8 Boot(Spare=0.8)");
    EXPECT_EQ(_car.instance->getAllErrors(), "");
}

TEST_F(InstanceStories, MoveOwnValuesToAPartOfAnotherType) {
    const LogCapture log;
    setGrip(_car.own("Left"), 0.3);
    const auto rim = KrSim::KrExtensionFactory::create(kRimType);
    rim->setName("Left");
    ExtensionAccess::setContentID(*rim, _car.left->getContentID());
    _car.definition->remove(_car.left.get());
    _car.definition->add(rim.get());
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(_car.own("Left")->getParameter("Grip")->toReal(), 0.3);
    EXPECT_NE(_car.own("Left")->getImplementationAs<Rim>(), nullptr);
}

/// Log handlers may throw. What the definition changed elsewhere is still no change of the user.
TEST_F(InstanceStories, FollowAllOtherPartsWhereTheMessageAboutOneThrows) {
    note(_car.left.get(), "fast");
    ASSERT_TRUE(_car.sync());
    _car.own("Left")->getParameter("Note")->set<std::string>("slow");
    _car.left->removeParameter("Note");
    setGrip(_car.right.get(), 0.5);
    setGrip(_car.spare.get(), 0.6);
    const LogCapture log([](const std::string& line) {
        if (line.find("has no place for the field") != std::string::npos) throw std::runtime_error(line);
    });
    EXPECT_THROW(_car.sync(), std::runtime_error);
    EXPECT_EQ(describe(*_car.instance), "Left=0.8+slow Right=0.5 Boot(Spare=0.6)");
    note(_car.left.get(), "fast");
    setGrip(_car.right.get(), 0.4);
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(describe(*_car.instance), "Left=0.8+slow Right=0.4 Boot(Spare=0.6)");
}

TEST_F(InstanceStories, ShareOneSnapshotOfEachVersion) {
    const auto second = _car.definition->instantiate();
    EXPECT_EQ(ObjectAccess::base(*second), ObjectAccess::base(*_car.instance));
    setGrip(_car.left.get(), 0.7);
    ASSERT_TRUE(second->sync());
    EXPECT_NE(ObjectAccess::base(*second), ObjectAccess::base(*_car.instance));
    ASSERT_TRUE(_car.sync());
    EXPECT_EQ(ObjectAccess::base(*second), ObjectAccess::base(*_car.instance));
}

TEST_F(InstanceStories, KeepPartsApartThatWereTakenFromTwoInstances) {
    const auto second = _car.definition->instantiate();
    const auto garage = Kr::makeSmart<KrObject>();
    for (auto* source : {_car.instance.get(), second.get()}) {
        const KrSmartPtr<KrExtension> wheel(source->findExtensionByName("Left", false));
        source->remove(wheel.get());
        garage->add(wheel.get());
    }
    const auto instance = garage->instantiate();
    ASSERT_EQ(instance->getExtensionCount(), 2U);
    EXPECT_NE(instance->getExtension(0)->getContentID(), instance->getExtension(1)->getContentID());
    const auto* first = instance->getExtension(0);
    ASSERT_TRUE(instance->sync());
    ASSERT_EQ(instance->getExtensionCount(), 2U);
    EXPECT_EQ(instance->getExtension(0), first);
}

TEST_F(InstanceStories, StayOutOfAnOwnerThatCameBelowThem) {
    struct Mover final : KrObject::Listener {
        explicit Mover(const std::function<void()>& step) : move(step) {}
        void onExtensionRemoved(KrObject*, KrExtension*) override { move(); }
        std::function<void()> move;
    };
    const auto garage = Kr::makeSmart<KrObject>();
    garage->setName("Garage");
    garage->add(_car.instance.get());
    Mover mover([&] { _car.instance->add(garage.get()); });
    garage->registerListener(&mover);
    const LogCapture log;
    EXPECT_TRUE(_car.sync());
    garage->unregisterListener(&mover);
    EXPECT_EQ(_car.instance->getOwner(), nullptr);
    EXPECT_EQ(garage->getOwner(), _car.instance.get());
    EXPECT_THAT(log.lines(), ElementsAre("3 KrObject: Adding 'Car' to 'Garage' has failed.\n"));
    _car.instance->remove(garage.get());
}

TEST_F(InstanceStories, DoNotSyncWithinASync) {
    bool answer = true;
    const auto observer =
        _car.own("Left")->addObserver([&](const KrData::FieldBase&) { answer = _car.instance->sync(); });
    setGrip(_car.left.get(), 0.7);
    EXPECT_TRUE(_car.sync());
    EXPECT_FALSE(answer);
}

/// Runs on a thread whose stack has no room for one call a level.
void runOnSmallStack(const std::function<void()>& work) {
    constexpr std::size_t kStackBytes = 256 * 1024;
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStackBytes), 0);
    const auto start = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, start, const_cast<std::function<void()>*>(&work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(DeepInstances, FollowTheirDefinitionWithoutRecursion) {
    constexpr int kLevels = 1500;
    const auto definition = Kr::makeSmart<KrObject>();
    auto inner = definition;
    for (int i = 0; i < kLevels; ++i)
        inner = addObject(*inner, "Inner");
    auto* mass = inner->addParameter("Mass", Types::kDouble);
    inner->addParameter("Width", Types::kDouble);
    const auto instance = definition->instantiate();
    auto* own = static_cast<KrExtension*>(instance.get());
    while (auto* object = dynamic_cast<KrObject*>(own)) {
        if (object->getExtensionCount() == 0) break;
        own = object->getExtension(0);
    }
    runOnSmallStack([&] {
        own->getParameter("Width")->set(3.0);
        mass->set(2.0);
        EXPECT_TRUE(instance->sync());
        EXPECT_TRUE(instance->sync());
        EXPECT_EQ(ObjectAccess::getInternalInstanceData(*instance).size(), 1U);
    });
    EXPECT_EQ(own->getParameter("Mass")->toReal(), 2.0);
    EXPECT_EQ(own->getParameter("Width")->toReal(), 3.0);
}

// --- Instances in definitions --------------------------------------------------------------------------------------

/// A fleet has a car, which is an instance; a company is an instance of the fleet.
class InnerInstances : public testing::Test {
protected:
    InnerInstances() {
        _fleet->setName("Fleet");
        _fleet->add(_car.instance.get());
        setGrip(_car.own("Left"), 0.3);
        KrObject::setInstanceData(*_car.own("Right")->getParameter("Grip"));
        _company = _fleet->instantiate();
    }
    [[nodiscard]] KrObject& inner() const { return static_cast<KrObject&>(*_company->getExtension(0)); }
    [[nodiscard]] KrExtension* innerWheel(const char* name) const { return inner().findExtensionByName(name, true); }

    Car _car;
    KrSmartPtr<KrObject> _fleet = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrObject> _company;
};

TEST_F(InnerInstances, AreCopiedWithTheirOwnValuesAndFollowThem) {
    EXPECT_EQ(describe(*_company), "Car(Left=0.3 Right=0.8 Boot(Spare=0.8))");
    setGrip(_car.own("Left"), 0.4);
    setGrip(_car.own("Right"), 0.9);
    ASSERT_TRUE(_company->sync());
    EXPECT_EQ(describe(*_company), "Car(Left=0.4 Right=0.9 Boot(Spare=0.8))");
    EXPECT_THAT(ObjectAccess::getInternalInstanceData(*_company), IsEmpty()) << "none of it is the company's own";
    EXPECT_FALSE(KrObject::isInstanceData(*innerWheel("Right")->getParameter("Grip")));
}

TEST_F(InnerInstances, KeepTheirOwnValuesWhenTheyFollowTheirDefinitionThemselves) {
    setGrip(_car.left.get(), 0.5);
    setGrip(_car.right.get(), 0.5);
    setGrip(_car.spare.get(), 0.5);
    ASSERT_TRUE(inner().sync());
    EXPECT_EQ(describe(*_company), "Car(Left=0.3 Right=0.8 Boot(Spare=0.5))");
}

TEST_F(InnerInstances, KeepWhatTheOuterUserChanged) {
    setGrip(innerWheel("Left"), 0.9);
    KrObject::setInstanceData(*innerWheel("Right")->getParameter("Grip"));
    setGrip(_car.own("Left"), 0.4);
    setGrip(_car.own("Right"), 0.4);
    ASSERT_TRUE(_company->sync());
    EXPECT_EQ(describe(*_company), "Car(Left=0.9 Right=0.8 Boot(Spare=0.8))");
}

TEST_F(InnerInstances, FollowTheOuterOneAfterTheyFollowedTheirDefinitionThemselves) {
    setGrip(_car.spare.get(), 0.5);
    ASSERT_TRUE(inner().sync());
    EXPECT_THAT(ObjectAccess::getInternalInstanceData(*_company), IsEmpty())
        << "what the car changed is no choice of the company";
    setGrip(_car.own("Spare"), 0.6);
    ASSERT_TRUE(_company->sync());
    EXPECT_EQ(describe(*_company), "Car(Left=0.3 Right=0.8 Boot(Spare=0.6))");
}

}  // namespace instance_merge_test
