#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/field_listener.h"
#include "kr/data/field_observer_factory.h"
#include "tests/support/case_name.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace field_notification_test {

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
    observe(*top, "top");
    connect(*top, "top>");
    connect(*group, "group>");
    connect(*x, "x>1");
    connect(*x, "x>2");
    EXPECT_THAT(change(), ElementsAre("x>1", "x>2", "group>", "top>", "top", "group", "x1", "x2"));
    x->set(x->get<double>());
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(FieldNotification, ShowsContainersTheLeafThatChanged) {
    std::vector<const FieldBase*> seen;
    const auto see = [&](const FieldBase& changed) { seen.push_back(&changed); };
    const auto onTop = KrData::FieldObserverFactory::create(*top, see);
    const FakeConnection connection(*top, sink, see);
    change();
    EXPECT_THAT(seen, ElementsAre(x, x));
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
        field._setAlwaysNotifyLocally(flags & kLocal);
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

// --- Observers that change what they observe -----------------------------------------------------------------------

TEST_F(FieldNotification, AnObserverMaySetTheFieldAgain) {
    std::vector<double> first;
    std::vector<double> second;
    const auto one = x->addObserver([&](const FieldBase& changed) {
        first.push_back(changed.toReal());
        if (changed.toReal() < 3.0) x->set(changed.toReal() + 1.0);
    });
    const auto two = x->addObserver([&](const FieldBase& changed) { second.push_back(changed.toReal()); });
    x->set(1.0);
    EXPECT_THAT(first, ElementsAre(1.0, 2.0, 3.0));
    EXPECT_THAT(second, ElementsAre(3.0, 3.0, 3.0));
}

TEST_F(FieldNotification, AnObserverAddedMeanwhileWaitsForTheNextChange) {
    auto adder = x->addObserver([&](const FieldBase&) { observe(*x, "added"); });
    const auto groupAdder = group->addObserver([&](const FieldBase&) { observe(*group, "added to group"); });
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_THAT(change(), ElementsAre("added to group", "added"));

    observers.clear();
    adder = x->addObserver([&](const FieldBase&) {
        if (!observers.empty() && observers.size() < 3) observe(*x, "added"), x->set(100.0);
    });
    EXPECT_THAT(change(), ElementsAre("added to group", "added")) << "of the nested change only";
}

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
                ElementsAre(StartsWith("3 FieldBase: unhandled exception in 'X'"),
                            AllOf(StartsWith("3 FieldBase: fatal error in 'X'"), EndsWith("[bad 100%s]\n")),
                            AllOf(StartsWith("3 FieldBase: fatal error in 'X'"), EndsWith("[property]\n"))));
}

// --- Fields that die while they notify -----------------------------------------------------------------------------

TEST_F(FieldNotification, AFieldDestroyedByAnObserverIsDone) {
    for (FieldBase* place : {x, static_cast<FieldBase*>(group)}) {
        const auto killer = place->addObserver([&](const FieldBase& changed) {
            if (&changed == x) delete std::exchange(x, nullptr);
        });
        std::vector<FieldBase*> heard;
        const auto onGroup =
            group->addObserver([&](const FieldBase& changed) { heard.push_back(&changed == group ? group : nullptr); });
        const auto onX = x->addObserver([](const FieldBase&) { FAIL() << "not told any more"; });
        x->set(1.0);
        EXPECT_EQ(killer.isConnected(), place == group);
        EXPECT_EQ(heard.size(), place == group ? 1U : 2U) << "of the child list, and before of the value";
        EXPECT_EQ(heard.back(), group);
        x = group->addField("X", Types::kDouble);
    }
}

TEST_F(FieldNotification, TheTopObserverOrATransferMayDestroyTheWholeTree) {
    for (const bool byTransfer : {false, true}) {
        top = std::make_unique<Container>("Top");
        x = top->addContainer("Group")->addField("X", Types::kDouble);
        DelegateConnection killer;
        const auto kill = [&](const FieldBase&) { top.reset(); };
        if (!byTransfer) killer = top->addObserver(kill);
        observe(*x, "never");
        observe(*top, "never");
        if (byTransfer) connections.push_back(std::make_unique<FakeConnection>(*x, sink, kill));
        if (byTransfer) connect(*x, "never");
        x->set(1.0);
        EXPECT_EQ(top, nullptr);
        EXPECT_THAT(events, IsEmpty());
        for (const auto& each : connections)
            EXPECT_FALSE(each->isValid());
        EXPECT_FALSE(sink._hasIncomingConnections());
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
}

TEST_F(FieldNotification, AConnectionFromAFieldToItselfIsListedAtItsSource) {
    auto loop = std::make_unique<Field<double>>("Loop");
    const FakeConnection connection(*loop, *loop, note("loop"));
    EXPECT_TRUE(loop->_hasOutgoingConnections());
    EXPECT_FALSE(loop->_hasIncomingConnections());
    loop->setValue(1.0);
    EXPECT_THAT(events, ElementsAre("loop"));
    loop.reset();
    EXPECT_FALSE(connection.isValid());
}

// --- Handles -------------------------------------------------------------------------------------------------------

TEST_F(FieldNotification, HandlesMoveAndOutliveTheirField) {
    EXPECT_FALSE(x->addObserver(nullptr).isConnected());
    DelegateConnection first = x->addObserver(note("first"));
    DelegateConnection second = x->addObserver(note("second"));
    DelegateConnection moved = std::move(first);
    EXPECT_FALSE(first.isConnected());
    EXPECT_THAT(change(), ElementsAre("first", "second"));
    moved = std::move(second);  // ends the registration that it held
    auto& same = moved;
    moved = std::move(same);
    EXPECT_THAT(change(), ElementsAre("second"));
    top.reset();
    EXPECT_FALSE(moved.isConnected());
    moved.disconnect();
}

TEST_F(FieldNotification, AFunctionMayDestroyItsOwnHandleAndIsFreedAfterwards) {
    auto handle = std::make_unique<DelegateConnection>();
    auto witness = std::make_shared<std::string>("captured");
    const std::weak_ptr<std::string> watch = witness;
    std::string seen;
    *handle = x->addObserver([&handle, &seen, witness](const FieldBase&) {
        handle.reset();
        seen = *witness;
    });
    change();
    EXPECT_EQ(seen, "captured");
    EXPECT_EQ(witness.use_count(), 1) << "freed once it has returned";
    EXPECT_FALSE(x->hasWatchers());
    auto held = x->addObserver([witness](const FieldBase&) {});
    witness.reset();
    top.reset();
    held.disconnect();
    EXPECT_TRUE(watch.expired()) << "freed with the field";
}

TEST_F(FieldNotification, ClearingEndsAllRegistrationsBelow) {
    observe(*x, "x");
    observe(*top, "top");
    const auto property = x->addPropertyObserver(note("property"));
    top->_clearObservers();
    x->setVisible(false);
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_FALSE(observers[0].isConnected());
    EXPECT_FALSE(property.isConnected());
    observe(*top, "anew");
    EXPECT_THAT(change(), ElementsAre("anew"));
}

// --- What descendants know of observers and connections above --------------------------------------------------------

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

    connect(*group, "group>");
    connect(*top, "top>");
    connections.erase(connections.begin());
    EXPECT_THAT(change(), ElementsAre("top>"));
    connections.clear();
    EXPECT_FALSE(x->hasWatchers());
}

TEST_F(FieldNotification, FollowsASubtreeToItsNewPlace) {
    Container other("Other");
    observe(*top, "top");
    connect(*top, "top>");
    EXPECT_TRUE(group->setParent(&other));
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_FALSE(x->hasWatchers());
    observe(other, "other");
    EXPECT_THAT(change(), ElementsAre("other"));
    other._setOwnerIsActive(true);
    other._setApplicationModeIsEditing(false);
    FieldBase* late = group->addField("Late", Types::kInteger);
    EXPECT_TRUE(x->_isOwnerActive());
    EXPECT_FALSE(late->_isApplicationModeEditing());
    EXPECT_TRUE(group->setParent(top.get()));
    EXPECT_FALSE(x->_isOwnerActive());
    EXPECT_TRUE(late->_isApplicationModeEditing());
    EXPECT_THAT(change(), ElementsAre("top>", "top"));
    EXPECT_TRUE(group->setParent(nullptr));
    EXPECT_FALSE(x->hasWatchers());
    observe(*group, "group");
    EXPECT_THAT(change(), ElementsAre("group"));
    delete group;
}

TEST_F(FieldNotification, AChildThatComesTellsTheObserversOfItsContainers) {
    observe(*top, "top");
    observe(*group, "group");
    group->addField("New", Types::kDouble);
    EXPECT_THAT(events, ElementsAre("top", "group"));
    events.clear();
    EXPECT_TRUE(x->setParent(top.get()));
    EXPECT_EQ(std::count(events.begin(), events.end(), "top"), 2) << "of the one below, and of its own list";
}

TEST_F(FieldNotification, ObserversMayRemoveAChildAsItComes) {
    const auto killer = group->addObserver([&](const FieldBase&) { group->clear(); });
    EXPECT_EQ(group->addField("New", Types::kDouble), nullptr);
    EXPECT_EQ(group->add<int>("Typed", 5), nullptr);
    EXPECT_EQ(group->insert(group->begin(), "Placed", Types::kDouble), group->end());
    EXPECT_EQ(Field<int>("Original").clone("Clone", group), nullptr);
    EXPECT_TRUE(group->empty());
}

TEST_F(FieldNotification, ManyObserversOfABigTreeDoNotWalkIt) {
    for (int i = 0; i < 100'000; ++i)
        new Field<int>("Field", group);
    for (int i = 0; i < 20'000; ++i)
        observe(*group, "group");
    EXPECT_TRUE(x->hasWatchers());
    observers.resize(1);
    EXPECT_TRUE(x->hasWatchers());
    observers.clear();
    EXPECT_FALSE(x->hasWatchers());
}

// --- Listeners -----------------------------------------------------------------------------------------------------

class Listener final : public KrData::FieldListener {
public:
    Listener(Events& events, std::string name) : _events(events), _name(std::move(name)) {}
    std::function<void()> then;

    void onIncomingConnectionAdded(Kr::KrConnectionBase*) override { _note("+in"); }
    void onIncomingConnectionRemoved(Kr::KrConnectionBase*) override { _note("-in"); }
    void onOutgoingConnectionAdded(Kr::KrConnectionBase*) override { _note("+out"); }
    void onOutgoingConnectionRemoved(Kr::KrConnectionBase*) override { _note("-out"); }

private:
    void _note(const char* what) {
        _events.push_back(_name + what);
        if (then) then();
    }

    Events& _events;
    std::string _name;
};

TEST_F(FieldNotification, ListenersHearOfEveryAdditionOfAConnectionListedOnce) {
    const LogCapture log;
    Listener listener(events, "");
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
        EXPECT_THAT(x->_getOutgoingConnections(), ElementsAre(&connection));
        EXPECT_THAT(sink._getIncomingConnections(), ElementsAre(&connection));
        EXPECT_THAT(stranger._getOutgoingConnections(), IsEmpty());
    }
    EXPECT_THAT(std::exchange(events, {}), ElementsAre("-out", "-in"));
    EXPECT_FALSE(x->_hasOutgoingConnections());
    x->unregisterListener(&listener);
    const FakeConnection half(*x, sink);
    EXPECT_THAT(events, ElementsAre("+in"));
    sink.unregisterListener(&listener);
}

TEST_F(FieldNotification, ListenersMayUnregisterEachOtherAndDestroyTheField) {
    Listener first(events, "first");
    auto second = std::make_unique<Listener>(events, "second");
    Listener third(events, "third");
    Listener late(events, "late");
    first.then = [&] {
        x->unregisterListener(second.get());
        second.reset();
        x->unregisterListener(&first);
        x->registerListener(&late);
    };
    for (Listener* each : {&first, second.get(), &third})
        x->registerListener(each);
    connect(*x, "x>");
    EXPECT_THAT(std::exchange(events, {}), ElementsAre("first+out", "third+out"));
    third.then = [&] {
        third.then = {};
        group->removeField("X");
    };
    auto* source = x;
    const FakeConnection another(*source, sink);
    EXPECT_FALSE(another.isValid());
    EXPECT_EQ(std::count(events.begin(), events.end(), "late+out"), 0);
    EXPECT_FALSE(sink._hasIncomingConnections());
}

// --- The counts of an owner ----------------------------------------------------------------------------------------

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

TEST_F(OutputCounts, CountOutputsNotObserversOrConnections) {
    const auto property = output->addPropertyObserver([](const FieldBase&) {});
    EXPECT_EQ(owner.outputs(), kNothing);
    watch();
    watch();
    EXPECT_EQ(owner.outputs(), Counts(0, 1));
    connect();
    std::optional<FakeConnection> second(std::in_place, *output, sink);
    output->_addConnection(&*second);
    EXPECT_EQ(owner.outputs(), kOne);
    observers.pop_back();
    connection.reset();
    EXPECT_EQ(owner.outputs(), kOne);
    second.reset();
    EXPECT_EQ(owner.outputs(), Counts(0, 1));
    observers.clear();
    EXPECT_EQ(owner.outputs(), kNothing);
}

struct LeavingCase {
    const char* name;
    void (*leave)(FieldBase* output, Container* group, Container* outputs);
};
class LeavingOutputs : public OutputCounts, public testing::WithParamInterface<LeavingCase> {};

TEST_P(LeavingOutputs, TakesBackWhatTheyCounted) {
    watch();
    connect();
    ASSERT_EQ(owner.outputs(), kOne);
    GetParam().leave(output, group, outputs);
    EXPECT_EQ(owner.outputs(), kNothing);
    connection.reset();
    observers.clear();
    EXPECT_EQ(owner.outputs(), kNothing);
}

const LeavingCase kWays[] = {
    {"Removed", [](FieldBase*, Container* group, Container*) { group->removeField("Output"); }},
    {"Deleted", [](FieldBase* output, Container*, Container*) { delete output; }},
    {"GroupDeleted", [](FieldBase*, Container* group, Container*) { delete group; }},
    {"Cleared", [](FieldBase*, Container*, Container* outputs) { outputs->clear(); }},
    {"Silenced", [](FieldBase* output, Container* group, Container*) { output->_clearObservers(), delete group; }},
};
INSTANTIATE_TEST_SUITE_P(Ways, LeavingOutputs, testing::ValuesIn(kWays), caseName);

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

TEST_F(OutputCounts, ReturnToZeroWhenTheOtherEndDies) {
    auto target = std::make_unique<Field<double>>("Target");
    const FakeConnection toTarget(*output, *target);
    EXPECT_EQ(owner.outputs(), Counts(1, 0));
    target.reset();
    EXPECT_EQ(owner.outputs(), kNothing);
    EXPECT_FALSE(toTarget.isValid());
}

// --- Many connections ----------------------------------------------------------------------------------------------

TEST(ManyConnections, LeaveTheirFieldsQuicklyInAnyOrder) {
    constexpr std::size_t kCount = 10'000;
    for (const std::string order : {"creation", "reverse", "random", "fields die"}) {
        SCOPED_TRACE(order);
        auto source = std::make_unique<Field<double>>("Source");
        auto sink = std::make_unique<Field<double>>("Sink");
        Field<double> otherSource("Other source");
        Field<double> otherSink("Other sink");
        std::vector<std::unique_ptr<FakeConnection>> connections;
        for (std::size_t i = 0; i < kCount; ++i) {
            connections.push_back(std::make_unique<FakeConnection>(*source, otherSink));
            connections.push_back(std::make_unique<FakeConnection>(otherSource, *sink));
        }
        if (order == "reverse") std::reverse(connections.begin(), connections.end());
        if (order == "random") std::shuffle(connections.begin(), connections.end(), std::mt19937(20));
        if (order == "fields die") {
            source.reset();
            sink.reset();
            EXPECT_TRUE(
                std::none_of(connections.begin(), connections.end(), [](auto& each) { return each->isValid(); }));
        } else {
            connections.erase(connections.begin(), connections.begin() + kCount);
            EXPECT_EQ(source->_getOutgoingConnections().size() + sink->_getIncomingConnections().size(), kCount);
            connections.clear();
        }
        EXPECT_FALSE(otherSource._hasOutgoingConnections());
        EXPECT_FALSE(otherSink._hasIncomingConnections());
    }
}

TEST(ManyConnections, TransferInTheOrderOfAdditionAfterRemovals) {
    Field<double> source("Source");
    Field<double> sink("Sink");
    std::vector<int> heard;
    std::vector<std::unique_ptr<FakeConnection>> connections;
    for (int i = 0; i < 10; ++i)
        connections.push_back(
            std::make_unique<FakeConnection>(source, sink, [&heard, i](const FieldBase&) { heard.push_back(i); }));
    for (const std::size_t gone : {0U, 4U, 5U, 9U})
        connections[gone].reset();
    source.setValue(1.0);
    EXPECT_THAT(heard, ElementsAre(1, 2, 3, 6, 7, 8));
}

}  // namespace field_notification_test
