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
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace field_notification_test {

using KrData::DelegateConnection;
using test_support::Container;
using test_support::Events;
using test_support::FakeConnection;
using test_support::FakeOwner;
using test_support::Field;
using test_support::FieldBase;
using test_support::Types;
using testing::ElementsAre;
using testing::IsEmpty;

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
}

TEST_F(FieldNotification, ShowsContainersTheLeafThatChanged) {
    std::vector<const FieldBase*> seen;
    const auto see = [&](const FieldBase& changed) { seen.push_back(&changed); };
    const auto onTop = KrData::FieldObserverFactory::create(*top, see);
    const auto onGroup = group->addObserver(see);
    const FakeConnection connection(*top, sink, see);
    change();
    EXPECT_THAT(seen, ElementsAre(x, x, x));
}

enum Flags : unsigned { kNone = 0, kActive = 0x02, kEditing = 0x04, kLocal = 0x20, kForce = 0x40 };
struct FlagCase {
    const char* name;
    unsigned ofX, ofGroup;
    bool isGroupObserved, isGroupConnected, isTopObserved;
    Events expected;
    bool hasWatchers;
};
void PrintTo(const FlagCase& each, std::ostream* out) {
    *out << each.name;
}
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
    connect(*x, "x>");
    if (given.isGroupObserved) observe(*group, "group");
    if (given.isGroupConnected) connect(*group, "group>");
    if (given.isTopObserved) observe(*top, "top");
    setFlags(*group, given.ofGroup);
    setFlags(*x, given.ofX);
    EXPECT_EQ(change(), given.expected);
    connections.erase(connections.begin());  // which makes any field watched
    EXPECT_EQ(x->hasWatchers(), given.hasWatchers);
}

INSTANTIATE_TEST_SUITE_P(
    Combinations, FieldNotificationFlags,
    testing::Values(
        FlagCase{"Active", kActive, kActive, true, false, false, {"x>", "group", "x"}, true},
        FlagCase{"Editing", kEditing, kEditing, true, false, false, {"x>", "group", "x"}, true},
        FlagCase{"Local", kLocal, kLocal, true, false, false, {"x>", "group", "x"}, true},
        FlagCase{"LocalBelowAQuietGroup", kLocal, kNone, true, false, false, {"x>", "x"}, true},
        FlagCase{"LocalBelowAQuietConnectedGroup", kLocal, kNone, true, true, false, {"x>", "group>", "x"}, true},
        FlagCase{"LocalBelowAQuietObservedGroupStopsThere", kLocal, kNone, true, false, true, {"x>", "x"}, true},
        FlagCase{"AForcedGroupPassesOn", kLocal, kForce, true, false, true, {"x>", "top", "x"}, true},
        FlagCase{"None", kNone, kNone, true, false, false, {"x>"}, false},
        FlagCase{"NoneBelowAnEditedGroup", kNone, kEditing, true, false, false, {"x>"}, false},
        FlagCase{"NoneBelowAConnectedGroup", kNone, kNone, true, true, false, {"x>", "group>"}, true},
        FlagCase{"NoneBelowAConnectedEditedGroup",
                 kNone,
                 kEditing,
                 true,
                 true,
                 true,
                 {"x>", "group>", "top", "group"},
                 true},
        FlagCase{"ForceReachesTheGroupOnly", kForce, kEditing, true, false, false, {"x>", "group"}, true},
        FlagCase{"ForceAllTheWay", kForce, kForce, true, false, true, {"x>", "top"}, true},
        FlagCase{"ForceAloneDoesNotCallTheOwnObserver", kForce, kNone, true, false, false, {"x>"}, true}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(FieldNotification, IsHeardOfAFreshFieldAndNotOfAnEqualValue) {
    observe(*x, "x");
    EXPECT_THAT(change(), ElementsAre("x"));
    x->set(x->get<double>());
    EXPECT_THAT(events, IsEmpty());
}

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
    const auto adder = x->addObserver([&](const FieldBase&) { observe(*x, "added"); });
    const auto groupAdder = group->addObserver([&](const FieldBase&) { observe(*group, "added to group"); });
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_THAT(change(), ElementsAre("added to group", "added"));
}

TEST_F(FieldNotification, AnObserverAddedBeforeANestedChangeHearsOnlyThat) {
    bool isFirst = true;
    const auto outer = x->addObserver([&](const FieldBase&) {
        if (!std::exchange(isFirst, false)) return;
        observe(*x, "added");
        x->set(100.0);
    });
    EXPECT_THAT(change(), ElementsAre("added"));
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

TEST_F(FieldNotification, TheLastObserverMayRemoveAllAndStartAnew) {
    observe(*x, "x");
    DelegateConnection again;
    const auto last = x->addObserver([&](const FieldBase&) {
        observers.clear();
        if (!again.isConnected()) again = x->addObserver(note("again"));
    });
    EXPECT_THAT(change(), ElementsAre("x"));
    EXPECT_THAT(change(), ElementsAre("again"));
}

TEST_F(FieldNotification, ExceptionsAreWarningsAndOthersStillHear) {
    const test_support::LogCapture log;
    const auto bad = x->addObserver([](const FieldBase&) { throw std::runtime_error("bad 100%s"); });
    const auto odd = group->addObserver([](const FieldBase&) { throw 7; });
    const auto property = x->addPropertyObserver([](const FieldBase&) { throw std::runtime_error("property"); });
    connect(*x, "x>");
    observe(*x, "x");
    observe(*group, "group");
    EXPECT_THAT(change(), ElementsAre("x>", "group", "x"));
    EXPECT_NO_THROW(x->setVisible(false));
    using testing::AllOf, testing::HasSubstr, testing::StartsWith;
    EXPECT_THAT(log.lines(),
                ElementsAre(StartsWith("3 FieldBase: unhandled exception in 'X'"),
                            AllOf(StartsWith("3 FieldBase: fatal error in 'X'"), HasSubstr("[bad 100%s]\n")),
                            AllOf(StartsWith("3 FieldBase: fatal error in 'X'"), HasSubstr("[property]\n"))));
}

// --- Fields that die while they notify -----------------------------------------------------------------------------

TEST_F(FieldNotification, AFieldDestroyedByItsOwnObserverIsDone) {
    observe(*group, "group");
    const auto killer = x->addObserver([&](const FieldBase&) { group->removeField("X"); });
    observe(*x, "never");
    events.clear();
    x->set(1.0);
    EXPECT_THAT(events, ElementsAre("group", "group")) << "of the value, and of the child list";
    EXPECT_TRUE(group->empty());
    EXPECT_FALSE(killer.isConnected());
}

TEST_F(FieldNotification, AContainersObserverMayRemoveTheChangedChild) {
    const auto killer = group->addObserver([&](const FieldBase&) {
        if (!group->empty()) group->removeField("X");
    });
    observe(*group, "group");
    observe(*x, "never");
    x->set(1.0);
    EXPECT_EQ(std::count(events.begin(), events.end(), "never"), 0);
    EXPECT_GE(std::count(events.begin(), events.end(), "group"), 1);
}

TEST_F(FieldNotification, TheTopObserverMayDestroyTheWholeTree) {
    observe(*x, "never");
    observe(*group, "never");
    const auto killer = top->addObserver([&](const FieldBase&) { top.reset(); });
    observe(*top, "never");
    x->set(1.0);
    EXPECT_EQ(top, nullptr);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(FieldNotification, ATransferMayDestroyTheSource) {
    observe(*x, "never");
    observe(*top, "never");
    connections.push_back(std::make_unique<FakeConnection>(*x, sink, [&](const FieldBase&) { top.reset(); }));
    connect(*x, "never");
    x->set(1.0);
    EXPECT_THAT(events, IsEmpty());
    EXPECT_FALSE(connections[0]->isValid());
    EXPECT_FALSE(connections[1]->isValid());
    EXPECT_FALSE(sink._hasIncomingConnections());
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
    const Events heard = change();
    EXPECT_THAT(heard, testing::IsSupersetOf({"first", "second", "fourth"}));
    EXPECT_EQ(std::count(heard.begin(), heard.end(), "never"), 0);
    EXPECT_EQ(change().size(), 102U);
}

TEST_F(FieldNotification, AConnectionFromAFieldToItselfIsListedAtItsSource) {
    Field<double> loop("Loop");
    auto connection = std::make_unique<FakeConnection>(loop, loop, note("loop"));
    EXPECT_TRUE(loop._hasOutgoingConnections());
    EXPECT_FALSE(loop._hasIncomingConnections());
    loop.setValue(1.0);
    EXPECT_THAT(events, ElementsAre("loop"));
    connection.reset();
    EXPECT_FALSE(loop.hasWatchers() && loop._hasOutgoingConnections());
    auto* dying = new Field<double>("Dying");
    const FakeConnection left(*dying, *dying);
    delete dying;
    EXPECT_FALSE(left.isValid());
}

// --- Handles -------------------------------------------------------------------------------------------------------

TEST_F(FieldNotification, HandlesMoveAndOutliveTheirField) {
    auto field = std::make_unique<Field<int>>("Field");
    int calls = 0;
    DelegateConnection first = field->addObserver([&](const FieldBase&) { ++calls; });
    DelegateConnection second = field->addObserver([&](const FieldBase&) { calls += 10; });
    DelegateConnection moved = std::move(first);
    EXPECT_FALSE(first.isConnected());
    field->setValue(1);
    EXPECT_EQ(calls, 11);
    moved = std::move(second);  // ends the registration that it held
    field->setValue(2);
    EXPECT_EQ(calls, 21);
    auto& same = moved;
    moved = std::move(same);
    EXPECT_TRUE(moved.isConnected());
    field.reset();
    EXPECT_FALSE(moved.isConnected());
    moved.disconnect();
    moved.disconnect();
    EXPECT_EQ(calls, 21);
}

TEST_F(FieldNotification, AFunctionMayDestroyItsOwnHandleAndGoOn) {
    auto handle = std::make_unique<DelegateConnection>();
    auto witness = std::make_shared<std::string>("captured");
    std::weak_ptr<std::string> watch = witness;
    std::string seen;
    *handle = x->addObserver([&handle, &seen, witness](const FieldBase&) {
        handle.reset();
        seen = *witness;
    });
    witness.reset();
    change();
    EXPECT_EQ(seen, "captured");
    EXPECT_TRUE(watch.expired()) << "the function is freed once it has returned";
    EXPECT_FALSE(x->hasWatchers());
}

TEST_F(FieldNotification, AFunctionThatHoldsItsFieldsHandleIsFreedWithIt) {
    auto witness = std::make_shared<int>(0);
    std::weak_ptr<int> watch = witness;
    auto handle = x->addObserver([witness](const FieldBase&) {});
    witness.reset();
    top.reset();
    handle.disconnect();
    EXPECT_TRUE(watch.expired());
}

TEST_F(FieldNotification, AnEmptyFunctionIsNoObserver) {
    const auto handle = x->addObserver(nullptr);
    EXPECT_NO_THROW(x->set(1.0));
    EXPECT_FALSE(x->hasWatchers());
}

TEST_F(FieldNotification, ClearingEndsAllRegistrationsBelow) {
    observe(*x, "x");
    observe(*top, "top");
    const auto property = x->addPropertyObserver(note("property"));
    top->_clearObservers();
    x->setVisible(false);
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_FALSE(x->hasWatchers());
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
    EXPECT_FALSE(group->hasWatchers() && !group->_hasLiveObservers());
    onGroup.disconnect();
    EXPECT_FALSE(x->hasWatchers());

    auto below = std::make_unique<FakeConnection>(*group, sink, note("group>"));
    auto above = std::make_unique<FakeConnection>(*top, sink, note("top>"));
    below.reset();
    EXPECT_THAT(change(), ElementsAre("top>"));
    above.reset();
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
    observers.clear();
    connections.clear();
    EXPECT_TRUE(group->setParent(nullptr));
    EXPECT_FALSE(x->hasWatchers());
    delete group;
}

TEST_F(FieldNotification, DetachingForgetsTheAncestorsButNotTheOwnObserver) {
    observe(*top, "top");
    connect(*top, "top>");
    observe(*group, "group");
    EXPECT_TRUE(group->setParent(nullptr));
    EXPECT_THAT(change(), ElementsAre("group"));
    delete group;
}

TEST_F(FieldNotification, AChildThatComesTellsTheObserversOfItsContainers) {
    group->addField("Quiet", Types::kDouble);
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
    EXPECT_EQ(group->addContainer("Container"), nullptr);
    EXPECT_EQ(group->insert(group->begin(), "Placed", Types::kDouble), group->end());
    EXPECT_EQ(group->insertExtensionField(group->end(), "Reference", "Demo::IInterface"), group->end());
    EXPECT_EQ(Field<int>("Original").clone("Clone", group), nullptr);
    EXPECT_TRUE(group->empty());
}

TEST_F(FieldNotification, ManyObserversOfABigTreeDoNotWalkIt) {
    for (int i = 0; i < 100'000; ++i)
        new Field<int>("Field", group);
    std::vector<DelegateConnection> many;
    for (int i = 0; i < 20'000; ++i)
        many.push_back(group->addObserver([](const FieldBase&) {}));
    EXPECT_TRUE(x->hasWatchers());
    many.erase(many.begin(), many.end() - 1);
    EXPECT_TRUE(x->hasWatchers());
    many.clear();
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
    Listener listener(events, "");
    x->registerListener(&listener);
    x->registerListener(&listener);
    x->registerListener(nullptr);
    sink.registerListener(&listener);
    {
        FakeConnection connection(*x, sink);
        x->_addConnection(&connection);
        sink._addConnection(&connection);
        EXPECT_THAT(x->_getOutgoingConnections(), ElementsAre(&connection));
        EXPECT_THAT(sink._getIncomingConnections(), ElementsAre(&connection));
        EXPECT_THAT(std::exchange(events, {}), ElementsAre("+out", "+in", "+out", "+in"));
    }
    EXPECT_THAT(std::exchange(events, {}), ElementsAre("-out", "-in"));
    EXPECT_THAT(x->_getOutgoingConnections(), IsEmpty());
    x->unregisterListener(&listener);
    sink.unregisterListener(&listener);
    const FakeConnection unheard(*x, sink);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(FieldNotification, AConnectionOfOtherFieldsIsReportedAndNotListed) {
    const test_support::LogCapture log;
    Listener listener(events, "");
    Field<int> stranger("Stranger");
    stranger.registerListener(&listener);
    FakeConnection connection(*x, sink);
    stranger._addConnection(&connection);
    stranger._addConnection(nullptr);
    stranger._removeConnection(&connection);
    stranger._removeConnection(nullptr);
    EXPECT_THAT(log.lines(), testing::Contains("5 FieldBase::_addConnection: Field 'Stranger' received a connection "
                                               "that is irrevelant!\n"));
    EXPECT_THAT(events, IsEmpty());
    EXPECT_FALSE(stranger._hasOutgoingConnections());
    EXPECT_THAT(x->_getOutgoingConnections(), ElementsAre(&connection)) << "and its own fields keep it";
}

TEST_F(FieldNotification, ListenersMayUnregisterEachOtherWhileTold) {
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
    x->registerListener(&first);
    x->registerListener(second.get());
    x->registerListener(&third);
    const FakeConnection connection(*x, sink);
    EXPECT_THAT(std::exchange(events, {}), ElementsAre("first+out", "third+out"));
    const FakeConnection another(*x, sink);
    EXPECT_THAT(events, ElementsAre("third+out", "late+out"));
    x->unregisterListener(&third);
    x->unregisterListener(&late);
}

TEST_F(FieldNotification, AListenerMayDestroyTheField) {
    Listener listener(events, "");
    Listener never(events, "never");
    listener.then = [&] { group->removeField("X"); };
    x->registerListener(&listener);
    x->registerListener(&never);
    auto* source = x;
    const FakeConnection connection(*source, sink);
    EXPECT_FALSE(connection.isValid());
    EXPECT_THAT(events, testing::Contains("+out"));
    EXPECT_FALSE(sink._hasIncomingConnections());
}

// --- The counts of an owner ----------------------------------------------------------------------------------------

/// An owner with one output, which belongs to a group of outputs.
class OutputCounts : public testing::Test {
protected:
    FakeOwner owner;
    FakeOwner other;
    Container* outputs{new Container("Outputs", &owner, Types::kOutput)};
    Container* otherOutputs{new Container("Outputs", &other, Types::kOutput)};
    Container* group{outputs->addContainer("Group")};
    FieldBase* output{group->addField("Output", Types::kDouble)};
    Field<double> sink{"Sink"};
    std::optional<FakeConnection> connection;
    std::vector<DelegateConnection> observers;

    void watch() {
        observers.push_back(output->addObserver([](const FieldBase&) {}));
    }
    void connect() { connection.emplace(*output, sink); }
};

using Counts = std::pair<int, int>;  // connected, watched
constexpr Counts kNothing{0, 0};
constexpr Counts kOne{1, 1};

TEST_F(OutputCounts, CountOutputsNotObserversOrConnections) {
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
    const auto property = output->addPropertyObserver([](const FieldBase&) {});
    EXPECT_EQ(owner.outputs(), kNothing);
}

TEST_F(OutputCounts, IgnoreInputsAndFieldsWithoutOwner) {
    auto* inputs = new Container("Inputs", &owner, Types::kInput);
    FieldBase* input = inputs->addField("Input", Types::kDouble);
    const auto watched = input->addObserver([](const FieldBase&) {});
    const FakeConnection connected(*input, sink);
    EXPECT_EQ(owner.outputs(), kNothing);
    EXPECT_TRUE(input->setParent(outputs));
    EXPECT_EQ(owner.outputs(), kOne) << "it became an output";
    EXPECT_TRUE(input->setParent(inputs));
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

INSTANTIATE_TEST_SUITE_P(
    Ways, LeavingOutputs,
    testing::Values(
        LeavingCase{"Removed", [](FieldBase*, Container* group, Container*) { group->removeField("Output"); }},
        LeavingCase{"Erased", [](FieldBase*, Container* group, Container*) { group->erase(group->begin()); }},
        LeavingCase{"Deleted", [](FieldBase* output, Container*, Container*) { delete output; }},
        LeavingCase{"GroupDeleted", [](FieldBase*, Container* group, Container*) { delete group; }},
        LeavingCase{"GroupRemoved", [](FieldBase*, Container*, Container* outputs) { outputs->removeField("Group"); }},
        LeavingCase{"Cleared", [](FieldBase*, Container*, Container* outputs) { outputs->clear(); }},
        LeavingCase{"Detached",
                    [](FieldBase* output, Container*, Container*) {
                        output->setParent(nullptr);
                        delete output;
                    }},
        LeavingCase{"GroupDetached",
                    [](FieldBase*, Container* group, Container* outputs) {
                        outputs->_removeField(group);
                        delete group;
                    }},
        LeavingCase{"ClearedOfObserversAndDeleted",
                    [](FieldBase* output, Container* group, Container*) {
                        output->_clearObservers();
                        delete group;
                    }}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(OutputCounts, MoveWithASubtreeToAnotherOwner) {
    watch();
    connect();
    EXPECT_TRUE(group->setParent(otherOutputs));
    EXPECT_EQ(owner.outputs(), kNothing);
    EXPECT_EQ(other.outputs(), kOne);
    EXPECT_TRUE(output->setParent(outputs));
    EXPECT_EQ(owner.outputs(), kOne);
    EXPECT_EQ(other.outputs(), kNothing);
    EXPECT_TRUE(output->setParent(nullptr));
    EXPECT_EQ(owner.outputs(), kNothing);
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
    EXPECT_FALSE(output->_hasOutgoingConnections());
    EXPECT_FALSE(toTarget.isValid());
}

TEST_F(OutputCounts, SurviveADyingOwner) {
    auto dying = std::make_unique<FakeOwner>();
    FieldBase* field = (new Container("Outputs", dying.get(), Types::kOutput))->addField("Output", Types::kDouble);
    auto watched = field->addObserver([](const FieldBase&) {});
    const FakeConnection connected(*field, sink);
    dying.reset();
    watched.disconnect();
    EXPECT_FALSE(connected.isValid());
    EXPECT_FALSE(sink._hasIncomingConnections());
}

// --- Many connections ----------------------------------------------------------------------------------------------

enum class Order { kCreation, kReverse, kRandom, kFieldsDie };
class ManyConnections : public testing::TestWithParam<Order> {};

TEST_P(ManyConnections, LeaveTheirFieldsQuicklyInAnyOrder) {
    constexpr int kCount = 10'000;
    auto source = std::make_unique<Field<double>>("Source");
    auto sink = std::make_unique<Field<double>>("Sink");
    Field<double> otherSource("Other source");
    Field<double> otherSink("Other sink");
    std::vector<std::unique_ptr<FakeConnection>> connections;
    for (int i = 0; i < kCount; ++i) {
        connections.push_back(std::make_unique<FakeConnection>(*source, otherSink));
        connections.push_back(std::make_unique<FakeConnection>(otherSource, *sink));
    }
    if (GetParam() == Order::kReverse) std::reverse(connections.begin(), connections.end());
    if (GetParam() == Order::kRandom) std::shuffle(connections.begin(), connections.end(), std::mt19937(20));
    if (GetParam() == Order::kFieldsDie) {
        source.reset();
        sink.reset();
        EXPECT_TRUE(std::none_of(connections.begin(), connections.end(), [](auto& each) { return each->isValid(); }));
    } else {
        for (std::size_t i = 0; i < connections.size() / 2; ++i)
            connections[i].reset();
        const auto left = source->_getOutgoingConnections().size() + sink->_getIncomingConnections().size();
        EXPECT_EQ(left, static_cast<std::size_t>(kCount));
        source->setValue(1.0);
        const auto transfers = std::accumulate(connections.begin(), connections.end(), 0, [](int sum, auto& each) {
            return sum + (each ? each->transfers() : 0);
        });
        EXPECT_EQ(static_cast<std::size_t>(transfers), source->_getOutgoingConnections().size());
        connections.clear();
    }
    EXPECT_FALSE(otherSource._hasOutgoingConnections());
    EXPECT_FALSE(otherSink._hasIncomingConnections());
}

std::string nameOf(const testing::TestParamInfo<Order>& info) {
    constexpr const char* kNames[] = {"Creation", "Reverse", "Random", "FieldsDie"};
    return kNames[static_cast<int>(info.param)];
}
INSTANTIATE_TEST_SUITE_P(Orders, ManyConnections,
                         testing::Values(Order::kCreation, Order::kReverse, Order::kRandom, Order::kFieldsDie), nameOf);

TEST(ConnectionOrder, IsThatOfAdditionAfterRemovals) {
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
    EXPECT_THAT(sink._getIncomingConnections(),
                ElementsAre(connections[1].get(), connections[2].get(), connections[3].get(), connections[6].get(),
                            connections[7].get(), connections[8].get()));
}

}  // namespace field_notification_test
