// Where the copies of a tree lead, and which values they have in the end.

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "kr/core/connection_access.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/extension_field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace clone_targets_test {

using Kr::KrConnectionFactory;
using Kr::KrSmartPtr;
using Kr::detail::ConnectionAccess;
using KrData::Types;
using KrData::detail::FieldAccess;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::detail::ExtensionAccess;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

KrSmartPtr<KrExtension> add(KrObject& object, const char* name) {
    auto extension = Kr::makeSmart<KrExtension>();
    extension->setName(name);
    object.add(extension.get());
    return extension;
}

KrSmartPtr<KrObject> addObject(KrObject& object, const char* name) {
    auto below = Kr::makeSmart<KrObject>();
    below->setName(name);
    object.add(below.get());
    return below;
}

/// The two ways to copy a tree.
struct Way {
    const char* name;
    KrSmartPtr<KrExtension> (*copy)(KrObject& original);
};
const Way kWays[] = {
    {"Clone", [](KrObject& original) { return original.clone(); }},
    {"Instance", [](KrObject& original) { return KrSmartPtr<KrExtension>(original.instantiate().get()); }},
};

/// Car(Engine Axle(Wheel)), and a Road outside of it.
class Copies : public testing::TestWithParam<Way> {
protected:
    Copies() {
        _car->setName("Car");
        _engine = add(*_car, "Engine");
        _axle = addObject(*_car, "Axle");
        _wheel = add(*_axle, "Wheel");
        _road->setName("Road");
    }
    [[nodiscard]] KrSmartPtr<KrObject> copy() {
        const auto made = GetParam().copy(*_car);
        return KrSmartPtr<KrObject>(static_cast<KrObject*>(made.get()));
    }

    KrSmartPtr<KrObject> _car = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrExtension> _road = Kr::makeSmart<KrExtension>();
    KrSmartPtr<KrExtension> _engine, _wheel;
    KrSmartPtr<KrObject> _axle;
};

TEST_P(Copies, ReferToTheCopiesOfTheirParts) {
    auto& references = _engine->getParameterContainer();
    const std::vector<KrExtension*> targets{_engine.get(), _wheel.get(), _axle.get(), _car.get(), _road.get(), nullptr};
    for (auto* target : targets)
        references.addExtensionField("Target", "Anything")->set(target);
    new KrData::Vector<KrExtension*>("Targets", references.addContainer("Group"), targets);

    const auto made = copy();
    auto* axle = made->findExtensionByName("Axle", false);
    const std::vector<KrExtension*> copied{made->findExtensionByName("Engine", false),
                                           made->findExtensionByName("Wheel", true),
                                           axle,
                                           made.get(),
                                           _road.get(),
                                           nullptr};
    const auto& own = copied[0]->getParameterContainer();
    for (std::size_t i = 0; i < copied.size(); ++i)
        EXPECT_EQ(own[i].toExtension(), copied[i]) << i;
    const auto& group = static_cast<const KrData::Container&>(own["Group"]);
    EXPECT_EQ(KrData::Vector<KrExtension*>::from(group[0])->getItems(), copied);
    EXPECT_EQ(references[1].toExtension(), _wheel.get()) << "the original stays as it is";
}

TEST_P(Copies, HaveProxiesThatLinkTheCopiesOfTheirParts) {
    auto* throttle = static_cast<KrData::Proxy*>(_engine->addInput("Throttle", Types::kProxy));
    auto* own = _engine->addInput("Valve", Types::kDouble);
    auto* inside = _wheel->addInput("Torque", Types::kDouble);
    auto* outside = _road->addInput("Wear", Types::kDouble);
    for (auto* each : {own, inside, outside})
        ASSERT_TRUE(throttle->addLink(each));
    own->set(1.0);
    inside->set(2.0);
    outside->set(3.0);

    const auto made = copy();
    auto* engine = made->findExtensionByName("Engine", false);
    auto* wheel = made->findExtensionByName("Wheel", true);
    const auto values = [&] {
        return std::vector<double>{own->toReal(), inside->toReal(), outside->toReal(),
                                   engine->getInput("Valve")->toReal(), wheel->getInput("Torque")->toReal()};
    };
    EXPECT_EQ(static_cast<KrData::Proxy*>(engine->getInput("Throttle"))->getLinkedField(), engine->getInput("Valve"));
    EXPECT_THAT(values(), ElementsAre(1, 2, 3, 1, 2)) << "copying sets nothing";
    EXPECT_TRUE(engine->getInput("Throttle")->copyValue(KrData::Field<double>("Source", nullptr, 9.0)));
    EXPECT_THAT(values(), ElementsAre(1, 2, 9, 9, 9));
}

TEST_P(Copies, HaveTheValuesOfTheOriginalWhereConnectionsWouldSetOthers) {
    auto* first = _engine->addOutput("First", Types::kDouble);
    auto* second = _engine->addOutput("Second", Types::kDouble);
    auto* driven = _wheel->addInput("Driven", Types::kDouble);
    auto* lagging = _wheel->addParameter("Lagging", Types::kDouble);
    for (auto* source : {first, second})
        ASSERT_NE(KrConnectionFactory::connect(source, driven), nullptr);
    ASSERT_NE(KrConnectionFactory::connect(second, lagging), nullptr);
    second->set(2.0);
    first->set(1.0);
    lagging->set(7.0);  // as one that took no values while the simulation ran
    driven->setDescription("At the hub.");
    driven->as<double>()->setRange(0.0, 5.0);

    const auto made = copy();
    auto* wheel = made->findExtensionByName("Wheel", true);
    EXPECT_EQ(wheel->getInput("Driven")->toReal(), 1.0) << "the last one that was set";
    EXPECT_EQ(wheel->getParameter("Lagging")->toReal(), 7.0);
    EXPECT_EQ(wheel->getInput("Driven")->getDescription(), "At the hub.");
    EXPECT_EQ(wheel->getInput("Driven")->as<double>()->getMaximum(), 5.0);
    made->findExtensionByName("Engine", false)->getOutput("Second")->set(3.0);
    EXPECT_EQ(wheel->getInput("Driven")->toReal(), 3.0) << "and is connected";
}

INSTANTIATE_TEST_SUITE_P(Ways, Copies, testing::ValuesIn(kWays), test_support::caseName);

/// Sets one of its fields when another one changes, and writes down what it sees.
struct Following : KrSim::IExtension {
    explicit Following(KrExtension* proxy)
        : IExtension(proxy, 1),
          both("Both", Types::kDouble, &proxy->getParameterContainer()),
          limits("Limits", &proxy->getParameterContainer()) {
        _observer = leader.getField()->addObserver([this](const auto&) { follower = leader * 10.0; });
        _recorder = follower.getField()->addObserver([this](const auto&) { seen.push_back(follower); });
    }
    KrSim::Parameter<double> follower{this, "Follower"};
    KrSim::Parameter<double> leader{this, "Leader"};
    KrData::Proxy both;
    KrData::FieldArray<KrData::Field<double>> limits;
    std::vector<double> seen;

private:
    KrData::DelegateConnection _observer, _recorder;
};

class CopiesOfDeclaredFields : public testing::Test {
protected:
    CopiesOfDeclaredFields() {
        KrSim::registerExtensionType<Following>(_key);
        _source = KrSim::KrExtensionFactory::create(_key);
    }
    ~CopiesOfDeclaredFields() override {
        _source.reset();
        KrSim::KrExtensionFactory::unregisterType(_key);
    }
    [[nodiscard]] Following& source() const { return *_source->getImplementationAs<Following>(); }

    const KrSim::KrFactoryKey _key{"0a1b2c3d-0000-4000-8000-000000000006", "Test", "Following"};
    KrSmartPtr<KrExtension> _source;
};

TEST_F(CopiesOfDeclaredFields, HaveTheValuesThatObserversWouldChange) {
    source().leader = 2.0;
    source().follower = 5.0;
    const auto copy = _source->clone();
    const auto& copied = *copy->getImplementationAs<Following>();
    EXPECT_EQ(copied.follower, 5.0);
    EXPECT_EQ(copied.seen.back(), 5.0) << "and the implementation has seen it";
}

TEST_F(CopiesOfDeclaredFields, KeepWhatWasSaidAboutThem) {
    auto* leader = source().leader.getField();
    leader->setDescription("Who goes first.");
    leader->as<double>()->setRange(-1.0, 1.0);
    _source->getParameterContainer().setDescription("What it is made of.");
    _source->getFieldsContainer().getNameField().setReadOnlyHint(true);
    source().limits.append()->setRange(0.0, 4.0);
    source().limits.setSizeRange(1, 3);
    const auto copy = _source->clone();
    const auto& copied = *copy->getImplementationAs<Following>();
    EXPECT_EQ(copied.leader.getField()->getDescription(), "Who goes first.");
    EXPECT_EQ(copied.leader.getField()->as<double>()->getMinimum(), -1.0);
    EXPECT_EQ(copy->getParameterContainer().getDescription(), "What it is made of.");
    EXPECT_TRUE(copy->getFieldsContainer().getNameField().isReadOnlyHint());
    EXPECT_EQ(copied.limits.getMaximumSize(), 3U);
    EXPECT_EQ(copied.limits.item(0)->getMaximum(), 4.0);
}

TEST_F(CopiesOfDeclaredFields, SetNothingElsewhereThroughTheirProxies) {
    const auto object = Kr::makeSmart<KrObject>();
    const auto road = add(*object, "Road");
    object->add(_source.get());
    auto* wear = road->addParameter("Wear", Types::kDouble);
    ASSERT_TRUE(source().both.addLink(source().leader.getField()));
    ASSERT_TRUE(source().both.addLink(wear));
    source().leader = 2.0;
    wear->set(3.0);
    const auto copy = object->clone();
    const auto& copied = static_cast<const KrObject&>(*copy);
    EXPECT_EQ(wear->toReal(), 3.0);
    EXPECT_EQ(copied.getExtension(0)->getParameter("Wear")->toReal(), 3.0);
    EXPECT_EQ(copied.getExtension(1)->getImplementationAs<Following>()->both.getLink(1).getField(),
              copied.getExtension(0)->getParameter("Wear"));
}

TEST(CopiedInstances, FollowTheCopyOfTheirDefinition) {
    const auto car = Kr::makeSmart<KrObject>();
    const auto axle = addObject(*car, "Axle");
    const auto hub = addObject(*axle, "Hub");
    add(*hub, "Bolt")->addParameter("Grip", Types::kDouble)->set(0.1);
    const auto front = axle->instantiate();
    front->setName("Front");
    car->add(front.get());
    KrObject::setInstanceData(front->getFieldsContainer().getNameField());
    auto* own = front->findExtensionByName("Bolt", true)->getParameter("Grip");
    own->set(0.5);
    KrObject::setInstanceData(*own);

    const auto copy = car->clone();
    const auto& copied = static_cast<const KrObject&>(*copy);
    auto& copiedAxle = static_cast<KrObject&>(*copied.getExtension(0));
    auto& copiedFront = static_cast<KrObject&>(*copied.getExtension(1));
    EXPECT_EQ(copiedFront.getDefinition(), &copiedAxle);
    copiedAxle.findExtensionByName("Bolt", true)->addParameter("Length", Types::kDouble)->set(2.0);
    const auto* bolt = copiedFront.findExtensionByName("Bolt", true);
    EXPECT_TRUE(copiedFront.sync());
    EXPECT_EQ(copiedFront.findExtensionByName("Bolt", true), bolt) << "what is there stays the same extension";
    EXPECT_EQ(bolt->getParameter("Grip")->toReal(), 0.5);
    ASSERT_NE(bolt->getParameter("Length"), nullptr);
    EXPECT_EQ(bolt->getParameter("Length")->toReal(), 2.0);
    EXPECT_EQ(copiedFront.getName(), "Front");
    EXPECT_EQ(copiedFront.getAllErrors(), "");
}

TEST(MessagesOfADefinition, GoFromItsInstancesWhenTheyGoThere) {
    const auto axle = Kr::makeSmart<KrObject>();
    axle->setName("Axle");
    const auto wheel = add(*axle, "Wheel");
    wheel->addError("flat", false);
    wheel->addInfo("winter", false);
    axle->addError("bent", false);
    const auto instance = axle->instantiate();
    auto* part = instance->getExtension(0);
    EXPECT_EQ(instance->getAllErrors(), "Axle: bent\nWheel: flat\n");
    part->addError("its own", false);
    part->addError("loose", false);
    wheel->clearErrors();
    wheel->clearInfos();
    wheel->addError("loose", false);
    axle->clearErrors();
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(instance->getAllErrors(), "Wheel: its own\nWheel: loose\n");
    EXPECT_EQ(instance->getAllInfos(), "");
    wheel->clearErrors();
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(instance->getAllErrors(), "Wheel: its own\nWheel: loose\n") << "it had this one by itself";
}

/// An instance of Axle(Hub(Bolt)) in a car, with an engine beside it: Engine.Torque -> Bolt.Torque,
/// Bolt.Speed -> Engine.Speed.
class OutsideConnections : public testing::Test {
protected:
    OutsideConnections() {
        _car->setName("Car");
        _engine = add(*_car, "Engine");
        _axle->setName("Axle");
        _hub = addObject(*_axle, "Hub");
        _bolt = addBolt(*_hub);
        _instance = _axle->instantiate();
        _car->add(_instance.get());
        KrConnectionFactory::connect(_engine->addOutput("Torque", Types::kDouble), bolt()->getInput("Torque"));
        KrConnectionFactory::connect(bolt()->getOutput("Speed"), _engine->addInput("Speed", Types::kDouble));
    }
    static KrSmartPtr<KrExtension> addBolt(KrObject& hub) {
        auto bolt = add(hub, "Bolt");
        bolt->addInput("Torque", Types::kDouble);
        bolt->addOutput("Speed", Types::kDouble);
        return bolt;
    }
    [[nodiscard]] KrExtension* bolt() const { return _instance->findExtensionByName("Bolt", true); }
    /// What arrives at the bolt and at the engine.
    [[nodiscard]] std::vector<double> transfer(double torque, double speed) const {
        _engine->getOutput("Torque")->set(torque);
        bolt()->getOutput("Speed")->set(speed);
        return {bolt()->getInput("Torque")->toReal(), _engine->getInput("Speed")->toReal()};
    }
    static std::string warning(const std::string& source, const std::string& sink) {
        return "3 KrObject: the connection from " + source + " to " + sink +
               " is kept, but cannot be made now: the definition of 'Axle' does not have the part.\n";
    }

    KrSmartPtr<KrObject> _car = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrObject> _axle = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrExtension> _engine;
    KrSmartPtr<KrObject> _hub;
    KrSmartPtr<KrExtension> _bolt;
    KrSmartPtr<KrObject> _instance;
};

TEST_F(OutsideConnections, ComeBackWithThePartAndAreReportedMeanwhile) {
    const LogCapture log;
    _hub->remove(_bolt.get());
    EXPECT_TRUE(_instance->sync());
    EXPECT_TRUE(_instance->sync());
    ASSERT_EQ(bolt(), nullptr);
    EXPECT_THAT(log.lines(),
                testing::UnorderedElementsAre(warning("Car/Engine.Outputs.Torque", "Car/Axle/Hub/Bolt.Inputs.Torque"),
                                              warning("Car/Axle/Hub/Bolt.Outputs.Speed", "Car/Engine.Inputs.Speed")))
        << "once";
    _hub->add(_bolt.get());
    EXPECT_TRUE(_instance->sync());
    EXPECT_THAT(transfer(1.0, 2.0), ElementsAre(1.0, 2.0));
    EXPECT_TRUE(_instance->sync());
    EXPECT_EQ(FieldAccess::getOutgoingConnections(*_engine->getOutput("Torque")).size(), 1U);
}

TEST_F(OutsideConnections, ComeBackWithAWholeBranch) {
    _axle->remove(_hub.get());
    EXPECT_TRUE(_instance->sync());
    _axle->add(_hub.get());
    EXPECT_TRUE(_instance->sync());
    EXPECT_THAT(transfer(1.0, 2.0), ElementsAre(1.0, 2.0));
}

TEST_F(OutsideConnections, BetweenTwoInstancesComeBackWhicheverIsSyncedFirst) {
    for (const bool isFirstFirst : {true, false}) {
        const auto other = _axle->instantiate();
        _car->add(other.get());
        auto* sink = other->findExtensionByName("Bolt", true)->getInput("Torque");
        ASSERT_NE(KrConnectionFactory::connect(bolt()->getOutput("Speed"), sink), nullptr);
        const auto syncBoth = [&] {
            for (auto* each :
                 isFirstFirst ? std::vector{_instance.get(), other.get()} : std::vector{other.get(), _instance.get()})
                EXPECT_TRUE(each->sync());
        };
        _hub->remove(_bolt.get());
        syncBoth();
        _hub->add(_bolt.get());
        syncBoth();
        bolt()->getOutput("Speed")->set(isFirstFirst ? 4.0 : 5.0);
        EXPECT_EQ(other->findExtensionByName("Bolt", true)->getInput("Torque")->toReal(), isFirstFirst ? 4.0 : 5.0);
        _car->remove(other.get());
    }
}

TEST_F(OutsideConnections, MoveToTheSameItemsOfAnotherDefinition) {
    const auto again = Kr::makeSmart<KrObject>();
    again->setName("Axle");
    const auto hub = addObject(*again, "Hub");
    const auto copyOf = addBolt(*hub);
    // The same content, loaded from another file.
    for (const auto& [item, original] : {std::pair<KrExtension*, KrExtension*>{hub.get(), _hub.get()},
                                         std::pair<KrExtension*, KrExtension*>{copyOf.get(), _bolt.get()}}) {
        auto id = original->getContentID();
        id.setFile("other.file");
        ExtensionAccess::setContentID(*item, id);
    }
    const LogCapture log;
    _instance->replaceDefinition(again.get());
    EXPECT_THAT(transfer(1.0, 2.0), ElementsAre(1.0, 2.0));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OutsideConnections, KeepTheirSettings) {
    auto* out = _engine->getOutput("Torque");
    FieldAccess::getOutgoingConnections(*out).front()->disable(false);
    _hub->remove(_bolt.get());
    EXPECT_TRUE(_instance->sync());
    out->set(8.0);
    _hub->add(_bolt.get());
    EXPECT_TRUE(_instance->sync());
    ASSERT_EQ(FieldAccess::getOutgoingConnections(*out).size(), 1U);
    EXPECT_FALSE(FieldAccess::getOutgoingConnections(*out).front()->isEnabled());
    EXPECT_TRUE(ConnectionAccess::isRegisteredInSorter(*FieldAccess::getOutgoingConnections(*out).front()));
    EXPECT_EQ(bolt()->getInput("Torque")->toReal(), 0.0);
}

TEST_F(OutsideConnections, AreDroppedWithTheirOtherEndAndReported) {
    _hub->remove(_bolt.get());
    EXPECT_TRUE(_instance->sync());
    _car->remove(_engine.get());
    _engine.reset();
    _hub->add(_bolt.get());
    const LogCapture log;
    EXPECT_TRUE(_instance->sync());
    EXPECT_FALSE(FieldAccess::hasIncomingConnections(*bolt()->getInput("Torque")));
    EXPECT_THAT(log.lines(),
                testing::UnorderedElementsAre("3 KrObject: the connection from Car/Engine.Outputs.Torque to "
                                              "Car/Axle/Hub/Bolt.Inputs.Torque is dropped: Car/Engine has been "
                                              "destroyed.\n",
                                              "3 KrObject: the connection from Car/Axle/Hub/Bolt.Outputs.Speed to "
                                              "Car/Engine.Inputs.Speed is dropped: Car/Engine has been destroyed.\n"));
}

TEST_F(OutsideConnections, OfAFieldComeBackWithTheField) {
    const LogCapture log;
    _bolt->removeInput("Torque");
    EXPECT_TRUE(_instance->sync());
    ASSERT_EQ(bolt()->getInput("Torque"), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre(testing::HasSubstr("the definition of 'Axle' does not have the field")));
    _bolt->addInput("Torque", Types::kDouble);
    EXPECT_TRUE(_instance->sync());
    EXPECT_THAT(transfer(1.0, 2.0), ElementsAre(1.0, 2.0));
}

/// The parts that the definition loses, of two that the user of an instance has connected.
struct LossCase {
    const char* name;
    bool isSourceLost, isSinkLost;
};

class ConnectionsOfTheUser : public OutsideConnections, public testing::WithParamInterface<LossCase> {};

TEST_P(ConnectionsOfTheUser, BetweenTwoPartsComeBackWithThem) {
    const auto sink = addBolt(*_hub);
    sink->setName("Nut");
    ASSERT_TRUE(_instance->sync());
    auto* nut = _instance->findExtensionByName("Nut", true);
    ASSERT_NE(KrConnectionFactory::connect(bolt()->getOutput("Speed"), nut->getInput("Torque")), nullptr);
    if (GetParam().isSourceLost) _hub->remove(_bolt.get());
    if (GetParam().isSinkLost) _hub->remove(sink.get());
    const LogCapture log;
    EXPECT_TRUE(_instance->sync());
    const auto clone = _instance->clone();
    ExtensionAccess::setContentID(*_instance, KrSim::KrContentID::createUnique());
    if (GetParam().isSourceLost) _hub->add(_bolt.get());
    if (GetParam().isSinkLost) _hub->add(sink.get());
    for (auto* instance : {_instance.get(), static_cast<KrObject*>(clone.get())}) {
        EXPECT_TRUE(instance->sync());
        auto* torque = instance->findExtensionByName("Nut", true)->getInput("Torque");
        instance->findExtensionByName("Bolt", true)->getOutput("Speed")->set(4.0);
        EXPECT_EQ(torque->toReal(), 4.0);
        EXPECT_EQ(FieldAccess::getIncomingConnections(*torque).size(), 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(Lost, ConnectionsOfTheUser,
                         testing::Values(LossCase{"Source", true, false}, LossCase{"Sink", false, true},
                                         LossCase{"Both", true, true}),
                         test_support::caseName);

}  // namespace clone_targets_test
