#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/field_access.h"
#include "kr/data/field_listener.h"
#include "kr/data/field_observer_factory.h"
#include "tests/support/case_name.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace field_notification_test {

using KrData::detail::FieldAccess;
using namespace test_support;
using KrData::DelegateConnection;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Three levels, top > group > x, whose callbacks write down who was called.
class FieldNotification : public testing::Test {
protected:
    FieldBase::Observer note(const char* who) {
        return [this, who](const FieldBase&) { events.emplace_back(who); };
    }
    void observe(FieldBase& field, const char* who) { observers.push_back(field.addObserver(note(who))); }
    void connect(FieldBase& field, const char* who) {
        connections.push_back(std::make_unique<FakeConnection>(field, sink, note(who)));
    }
    /// Gives x a value that it did not have, and answers who was called meanwhile.
    Events change() {
        events.clear();
        x->set(x->get<double>() + 1.0);
        return std::exchange(events, {});
    }

    Field<double> sink{"Sink"};
    std::unique_ptr<Container> top{std::make_unique<Container>("Top")};
    Container* group{top->addContainer("Group")};
    FieldBase* x{group->addField("X", Types::kDouble)};
    Events events;
    std::vector<DelegateConnection> observers;
    std::vector<std::unique_ptr<FakeConnection>> connections;
};

TEST_F(FieldNotification, RunsConnectionsUpwardThenObserversDownward) {
    observe(*x, "x1");
    observe(*group, "group");
    observe(*x, "x2");
    std::vector<const FieldBase*> seen;
    const auto onTop = KrData::FieldObserverFactory::create(*top, [&](const FieldBase& changed) {
        events.emplace_back("top");
        seen.push_back(&changed);
    });
    connect(*top, "top>");
    connect(*group, "group>");
    connect(*x, "x>1");
    connect(*x, "x>2");
    EXPECT_THAT(change(), ElementsAre("x>1", "x>2", "group>", "top>", "top", "group", "x1", "x2"));
    x->set(x->get<double>());
    EXPECT_THAT(events, IsEmpty());
    EXPECT_THAT(seen, ElementsAre(x)) << "containers are shown the leaf that changed";
}

enum Flags : unsigned { kNone = 0, kActive = 0x02, kEditing = 0x04, kLocal = 0x20, kForce = 0x40 };
struct FlagCase {
    const char* name;
    unsigned ofX, ofGroup;
    bool isGroupConnected, isTopObserved;
    Events expected;
    bool hasWatchers;
};
class FieldNotificationFlags : public FieldNotification, public testing::WithParamInterface<FlagCase> {
protected:
    static void setFlags(FieldBase& field, unsigned flags) {
        field._setOwnerIsActive(flags & kActive);
        field._setApplicationModeIsEditing(flags & kEditing);
        FieldAccess::setAlwaysNotifyLocally(field, flags & kLocal);
        Container::_setAlwaysCallObservers(field, flags & kForce);
    }
};

TEST_P(FieldNotificationFlags, DecideWhoHears) {
    const FlagCase& given = GetParam();
    observe(*x, "x");
    observe(*group, "group");
    if (given.isGroupConnected) connect(*group, "group>");
    if (given.isTopObserved) observe(*top, "top");
    setFlags(*group, given.ofGroup);
    setFlags(*x, given.ofX);
    EXPECT_EQ(change(), given.expected);
    EXPECT_EQ(x->hasWatchers(), given.hasWatchers);
}

const FlagCase kFlagCases[] = {
    {"Active", kActive, kActive, false, false, {"group", "x"}, true},
    {"Editing", kEditing, kEditing, false, false, {"group", "x"}, true},
    {"Local", kLocal, kLocal, false, false, {"group", "x"}, true},
    {"QuietGroupStops", kLocal, kNone, false, true, {"x"}, true},
    {"QuietConnectedGroup", kLocal, kNone, true, false, {"group>", "x"}, true},
    {"ForcedGroupPassesOn", kLocal, kForce, false, true, {"top", "x"}, true},
    {"None", kNone, kEditing, false, false, {}, false},
    {"NoneBelowAConnection", kNone, kEditing, true, true, {"group>", "top", "group"}, true},
    {"ForceReachesTheGroup", kForce, kEditing, false, false, {"group"}, true},
    {"ForceAllTheWay", kForce, kForce, false, true, {"top"}, true},
};
INSTANTIATE_TEST_SUITE_P(Combinations, FieldNotificationFlags, testing::ValuesIn(kFlagCases), caseName);

TEST_F(FieldNotification, RemovalTakesEffectAtOnce) {
    std::vector<DelegateConnection> handles;
    observe(*x, "before");
    handles.push_back(x->addObserver([&](const FieldBase&) {
        events.emplace_back("remover");
        observers.front().disconnect();
        handles[0].disconnect();
        handles[2].disconnect();
        handles[2] = x->addObserver(note("replacement"));
    }));
    handles.push_back(x->addObserver(note("kept")));
    handles.push_back(x->addObserver(note("removed")));
    EXPECT_THAT(change(), ElementsAre("before", "remover", "kept"));
    EXPECT_THAT(change(), ElementsAre("kept", "replacement"));
}

TEST_F(FieldNotification, ExceptionsAreWarningsAndOthersStillHear) {
    const LogCapture log;
    const auto bad = x->addObserver([](const FieldBase&) { throw std::runtime_error("bad 100%s"); });
    const auto odd = group->addObserver([](const FieldBase&) { throw 7; });
    const auto property = x->addPropertyObserver([](const FieldBase&) { throw std::runtime_error("property"); });
    observe(*x, "x");
    observe(*group, "group");
    EXPECT_THAT(change(), ElementsAre("group", "x"));
    EXPECT_NO_THROW(x->setVisible(false));
    using testing::AllOf, testing::EndsWith;
    EXPECT_THAT(log.lines(),
                ElementsAre(StartsWith("3 FieldBase: unhandled exception in 'Top.Group.X'"),
                            AllOf(StartsWith("3 FieldBase: fatal error in 'Top.Group.X'"), EndsWith("[bad 100%s]\n")),
                            AllOf(StartsWith("3 FieldBase: fatal error in 'Top.Group.X'"), EndsWith("[property]\n"))));
}

TEST_F(FieldNotification, TheTopObserverOrATransferMayDestroyTheWholeTree) {
    const auto kill = [&](const FieldBase&) { top.reset(); };
    for (const bool byTransfer : {false, true}) {
        top = std::make_unique<Container>("Top");
        x = top->addContainer("Group")->addField("X", Types::kDouble);
        const auto killer = byTransfer ? DelegateConnection() : top->addObserver(kill);
        observe(*x, "never");
        observe(*top, "never");
        if (byTransfer) connections.push_back(std::make_unique<FakeConnection>(*x, sink, kill));
        if (byTransfer) connect(*x, "never");
        x->set(1.0);
        EXPECT_EQ(top, nullptr);
        EXPECT_THAT(events, IsEmpty());
        EXPECT_FALSE(FieldAccess::hasIncomingConnections(sink));
    }
}

TEST_F(FieldNotification, TransfersMayAddAndDestroyConnections) {
    connections.push_back(std::make_unique<FakeConnection>(*x, sink, [&](const FieldBase&) {
        events.emplace_back("first");
        connections[0].reset();
        connections[2].reset();
        for (int i = 0; i < 100; ++i)  // more than any spare room in the list
            connect(*x, "added");
    }));
    connect(*x, "second");
    connect(*x, "never");
    connect(*x, "fourth");
    EXPECT_THAT(change(), ElementsAre("first", "second", "fourth"));
    EXPECT_EQ(change().size(), 102U);
    std::shuffle(connections.begin(), connections.end(), std::mt19937(20));
    connections.resize(50);
    EXPECT_EQ(FieldAccess::getOutgoingConnections(*x).size(), FieldAccess::getIncomingConnections(sink).size());
    connections.clear();
    EXPECT_FALSE(FieldAccess::hasOutgoingConnections(*x) || FieldAccess::hasIncomingConnections(sink));
}

TEST_F(FieldNotification, HandlesMoveAndOutliveTheirField) {
    EXPECT_FALSE(x->addObserver(nullptr).isConnected());
    DelegateConnection first = x->addObserver(note("first"));
    DelegateConnection second = x->addObserver(note("second"));
    DelegateConnection moved = std::move(first);
    EXPECT_FALSE(first.isConnected());
    EXPECT_THAT(change(), ElementsAre("first", "second"));
    moved = std::move(second);  // ends the registration that it held
    EXPECT_THAT(change(), ElementsAre("second"));
    top.reset();
    EXPECT_FALSE(moved.isConnected());
    moved.disconnect();
}

TEST_F(FieldNotification, AFunctionMayDestroyItsOwnHandleAndIsFreedAfterwards) {
    auto handle = std::make_unique<DelegateConnection>();
    const auto witness = std::make_shared<std::string>("captured");
    std::string seen;
    *handle = x->addObserver([&handle, &seen, witness](const FieldBase&) {
        handle.reset();
        seen = *witness;
    });
    change();
    EXPECT_EQ(seen, "captured");
    EXPECT_EQ(witness.use_count(), 1) << "freed once it has returned";
    auto held = x->addObserver([witness](const FieldBase&) {});
    top.reset();
    held.disconnect();
    EXPECT_EQ(witness.use_count(), 1) << "freed with the field";
}

TEST_F(FieldNotification, ClearingEndsAllRegistrationsBelow) {
    observe(*x, "x");
    observe(*top, "top");
    const auto property = x->addPropertyObserver(note("property"));
    top->_clearObservers();
    x->setVisible(false);
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_FALSE(observers[0].isConnected());
    observe(*top, "anew");
    EXPECT_THAT(change(), ElementsAre("anew"));
}

TEST_F(FieldNotification, DescendantsForgetOnlyTheAncestorThatStopped) {
    auto onTop = top->addObserver(note("top"));
    auto onGroup = group->addObserver(note("group"));
    onGroup.disconnect();
    EXPECT_THAT(change(), ElementsAre("top"));
    onGroup = group->addObserver(note("group"));
    onTop.disconnect();
    EXPECT_THAT(change(), ElementsAre("group"));
    onGroup.disconnect();
    EXPECT_FALSE(x->hasWatchers());
}

TEST_F(FieldNotification, FollowsASubtreeToItsNewPlace) {
    Container other("Other");
    observe(other, "other");
    connect(*top, "top>");
    EXPECT_TRUE(group->setParent(&other));
    EXPECT_THAT(change(), ElementsAre("other"));
    other._setOwnerIsActive(true);
    other._setApplicationModeIsEditing(false);
    FieldBase* late = group->addField("Late", Types::kInteger);
    EXPECT_TRUE(FieldAccess::isOwnerActive(*x));
    EXPECT_FALSE(FieldAccess::isApplicationModeEditing(*late));
    EXPECT_TRUE(group->setParent(top.get()));
    EXPECT_FALSE(FieldAccess::isOwnerActive(*x));
    EXPECT_TRUE(FieldAccess::isApplicationModeEditing(*late));
    EXPECT_THAT(change(), ElementsAre("top>"));
    observe(*top, "top");
    const std::unique_ptr<Container> detached(group);
    EXPECT_TRUE(group->setParent(nullptr));
    EXPECT_FALSE(x->hasWatchers());
}

TEST_F(FieldNotification, ObserversMayRemoveAChildAsItComes) {
    const auto killer = group->addObserver([&](const FieldBase&) { group->clear(); });
    EXPECT_EQ(group->addField("New", Types::kDouble), nullptr);
    EXPECT_EQ(group->add<int>("Typed", 5), nullptr);
    EXPECT_EQ(group->insert(group->begin(), "Placed", Types::kDouble), group->end());
    EXPECT_EQ(Field<int>("Original").clone("Clone", group), nullptr);
    EXPECT_TRUE(group->empty());
}

TEST_F(FieldNotification, ListenersHearOfEveryAdditionOfAConnectionListedOnce) {
    const LogCapture log;
    FakeListener listener([&](const char* what, Kr::KrConnectionBase*) { events.emplace_back(what); });
    Field<int> stranger("Stranger");
    for (FieldBase* field : {x, x, static_cast<FieldBase*>(&sink), static_cast<FieldBase*>(&stranger)})
        field->registerListener(&listener);
    {
        FakeConnection connection(*x, sink);
        x->_addConnection(&connection);
        sink._addConnection(&connection);
        EXPECT_THAT(std::exchange(events, {}), ElementsAre("+out", "+in", "+out", "+in"));
        stranger._addConnection(&connection);
        stranger._removeConnection(&connection);
        stranger._addConnection(nullptr);
        stranger._removeConnection(nullptr);
        EXPECT_THAT(log.lines(), ElementsAre("5 FieldBase::_addConnection: Field 'Stranger' received a connection "
                                             "that is irrevelant!\n"));
        EXPECT_THAT(FieldAccess::getOutgoingConnections(*x), ElementsAre(&connection));
        EXPECT_THAT(FieldAccess::getIncomingConnections(sink), ElementsAre(&connection));
        EXPECT_THAT(FieldAccess::getOutgoingConnections(stranger), IsEmpty());
    }
    EXPECT_THAT(std::exchange(events, {}), ElementsAre("-out", "-in"));
    EXPECT_FALSE(FieldAccess::hasOutgoingConnections(*x));
    x->unregisterListener(&listener);
    const FakeConnection half(*x, sink);
    EXPECT_THAT(events, ElementsAre("+in"));
    sink.unregisterListener(&listener);
}

TEST(FieldObservers, AnObserverMayRegisterAndEndManyTimes) {
    Field<int> field("Field");
    const auto handle = field.addObserver([&](const FieldBase&) {
        for (int i = 0; i < 200'000; ++i)
            const auto brief = field.addObserver([](const FieldBase&) {});
    });
    field.setValue(1);
    EXPECT_TRUE(field.hasWatchers());
}

TEST(FieldListeners, AListenerMayDeleteTheConnectionsOfADyingField) {
    for (const auto& [isSource, isTold] : {std::pair(true, true), {true, false}, {false, true}, {false, false}}) {
        SCOPED_TRACE(std::string(isSource ? "the source dies" : "the sink dies") + (isTold ? ", and is told" : ""));
        auto dying = std::make_unique<Field<int>>("Dying");
        Field<int> other("Other");
        std::vector<std::unique_ptr<FakeConnection>> connections;
        for (int i = 0; i < 3; ++i)
            connections.push_back(isSource ? std::make_unique<FakeConnection>(*dying, other)
                                           : std::make_unique<FakeConnection>(other, *dying));
        FakeListener deleting([&](const char*, Kr::KrConnectionBase* connection) {
            for (auto& each : connections) {
                if (each.get() == connection) const auto deleted = std::exchange(each, nullptr);
            }
        });
        FakeListener second([](const char*, Kr::KrConnectionBase* connection) {
            EXPECT_TRUE(Kr::KrBase::isKrBaseValid(connection)) << "nobody is told of a connection that is gone";
        });
        FieldBase& told = isTold ? *dying : other;
        told.registerListener(&deleting);
        told.registerListener(&second);
        dying.reset();
        for (const auto& each : connections)
            EXPECT_EQ(each, nullptr);
        EXPECT_FALSE(FieldAccess::hasOutgoingConnections(other) || FieldAccess::hasIncomingConnections(other));
        other.unregisterListener(&deleting);
        other.unregisterListener(&second);
    }
}

using Counts = std::pair<int, int>;  // connected, watched
constexpr Counts kNothing{0, 0};
constexpr Counts kOne{1, 1};

/// An owner with one output, which belongs to a group of outputs.
class OutputCounts : public testing::Test {
protected:
    void watch() {
        observers.push_back(output->addObserver([](const FieldBase&) {}));
    }
    void connect() { connection.emplace(*output, sink); }

    FakeOwner owner;
    FakeOwner other;
    Container* outputs{new Container("Outputs", &owner, Types::kOutput)};
    Container* otherOutputs{new Container("Outputs", &other, Types::kOutput)};
    Container* group{outputs->addContainer("Group")};
    FieldBase* output{group->addField("Output", Types::kDouble)};
    Field<double> sink{"Sink"};
    std::optional<FakeConnection> connection;
    std::vector<DelegateConnection> observers;
};

TEST_F(OutputCounts, GoWithTheOutputsHoweverTheseGo) {
    const std::function<void()> ways[] = {
        [&] { group->removeField("Output"); },
        [&] { delete output; },
        [&] { delete group; },
        [&] { outputs->clear(); },
        [&] { output->_clearObservers(), delete group; },
    };
    for (const auto& leave : ways) {
        outputs->clear();
        group = outputs->addContainer("Group");
        output = group->addField("Output", Types::kDouble);
        watch();
        connect();
        ASSERT_EQ(owner.outputs(), kOne);
        leave();
        EXPECT_EQ(owner.outputs(), kNothing);
        connection.reset();
        observers.clear();
        EXPECT_EQ(owner.outputs(), kNothing);
    }
}

TEST_F(OutputCounts, MoveWithAFieldOrSubtreeToAnotherRoleOrOwner) {
    auto* inputs = new Container("Inputs", &owner, Types::kInput);
    watch();
    connect();
    EXPECT_TRUE(output->setParent(inputs));
    EXPECT_EQ(owner.outputs(), kNothing);
    EXPECT_TRUE(output->setParent(group));
    EXPECT_EQ(owner.outputs(), kOne);
    EXPECT_TRUE(group->setParent(otherOutputs));
    EXPECT_EQ(owner.outputs(), kNothing);
    EXPECT_EQ(other.outputs(), kOne);
    EXPECT_TRUE(output->setParent(nullptr));
    EXPECT_EQ(other.outputs(), kNothing);
    EXPECT_TRUE(outputs->_addField(output, outputs->begin()));
    EXPECT_EQ(owner.outputs(), kOne);
    observers.clear();
    connection.reset();
    EXPECT_EQ(owner.outputs(), kNothing);
}

}  // namespace field_notification_test
