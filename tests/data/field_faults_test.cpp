#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/case_name.h"
#include "tests/support/field_doubles.h"

namespace field_faults_test {

using test_support::Container;
using test_support::FakeConnection;
using test_support::FakeListener;
using test_support::FakeOwner;
using test_support::Field;
using test_support::FieldBase;
using test_support::Types;

// --- Connections that their owner deletes as soon as a field lets go of them -----------------------------------------

struct DyingEnd {
    const char* name;
    bool isSource;
    bool isTold;  // which end has the listener: the dying one or the other
};
class FieldFaultsDyingEnd : public testing::TestWithParam<DyingEnd> {};
TEST_P(FieldFaultsDyingEnd, AListenerMayDeleteTheConnection) {
    const DyingEnd given = GetParam();
    auto dying = std::make_unique<Field<int>>("Dying");
    Field<int> other("Other");
    std::vector<std::unique_ptr<FakeConnection>> connections;
    for (int i = 0; i < 3; ++i)
        connections.push_back(given.isSource ? std::make_unique<FakeConnection>(*dying, other)
                                             : std::make_unique<FakeConnection>(other, *dying));
    int later = 0;
    FakeListener listener([&](const char*, Kr::KrConnectionBase* connection) {
        for (auto& each : connections) {
            if (each.get() == connection) const auto deleted = std::exchange(each, nullptr);
        }
    });
    FakeListener second(
        [&](const char*, Kr::KrConnectionBase* connection) { later += Kr::KrBase::isKrBaseValid(connection) ? 0 : 1; });
    FieldBase& told = given.isTold ? *dying : other;
    told.registerListener(&listener);
    told.registerListener(&second);
    dying.reset();
    for (const auto& each : connections)
        EXPECT_EQ(each, nullptr);
    EXPECT_EQ(later, 0) << "nobody is told of a connection that is gone";
    EXPECT_FALSE(other._hasOutgoingConnections());
    EXPECT_FALSE(other._hasIncomingConnections());
    other.unregisterListener(&listener);
    other.unregisterListener(&second);
}
INSTANTIATE_TEST_SUITE_P(Ends, FieldFaultsDyingEnd,
                         testing::Values(DyingEnd{"SourceToldAtTheSource", true, true},
                                         DyingEnd{"SourceToldAtTheSink", true, false},
                                         DyingEnd{"SinkToldAtTheSink", false, true},
                                         DyingEnd{"SinkToldAtTheSource", false, false}),
                         test_support::caseName);

// --- Containers that die under their own operations ------------------------------------------------------------------

TEST(FieldFaults, AnObserverOfTheOldParentMayDestroyTheNewOne) {
    Container old("Old");
    auto next = std::make_unique<Container>("New");
    auto* field = old.addField("Field", Types::kInteger);
    const auto killer = old.addObserver([&](const FieldBase&) { next.reset(); });
    EXPECT_FALSE(field->setParent(next.get()));
    EXPECT_EQ(field->getParent(), &old) << "a refused move changes nothing";
}

TEST(FieldFaults, AContainerMayDieWhileItResetsItsChildren) {
    auto* group = new Container("Group");
    for (int i = 0; i < 3; ++i)
        group->add<int>("Field", 1);
    const auto killer = group->at(0).addObserver([&](const FieldBase&) { delete std::exchange(group, nullptr); });
    group->reset();
    EXPECT_EQ(group, nullptr);
}

TEST(FieldFaults, ADyingChildMayTakeItsSiblingOrItsContainerAlong) {
    for (const bool takesContainer : {false, true}) {
        auto group = std::make_unique<Container>("Group");
        auto* source = group->add<int>("Source");
        FieldBase* sibling = group->add<int>("Sibling");
        Field<int> sink("Sink");
        const FakeConnection connection(*source, sink);
        FakeListener listener(
            [&](auto...) { takesContainer ? group.reset() : delete std::exchange(sibling, nullptr); });
        sink.registerListener(&listener);
        group->clear();
        EXPECT_TRUE(takesContainer ? group == nullptr : group->empty());
        EXPECT_FALSE(connection.isValid());
    }
}

TEST(FieldFaults, ACopyMayKillItsDestination) {
    Container source("Source");
    for (int i = 0; i < 3; ++i)
        source.add<int>("Field");
    auto* destination = new Container("Destination");
    const auto killer = destination->addObserver([&](const FieldBase&) { delete std::exchange(destination, nullptr); });
    source.copyFieldsTo(destination);
    EXPECT_EQ(destination, nullptr);
}

TEST(FieldFaults, AContainerMayBecomeTheLikenessOfADescendant) {
    Container top("Top");
    top.addContainer("Group")->add<int>("X", 7);
    top._cloneFrom(top["Group"]);
    ASSERT_EQ(top.size(), 1U);
    EXPECT_EQ(top["X"].get<int>(), 7);
}

// --- Observer lists --------------------------------------------------------------------------------------------------

TEST(FieldFaults, AnObserverMayRegisterAndEndManyTimes) {
    Field<int> field("Field");
    const auto handle = field.addObserver([&](const FieldBase&) {
        for (int i = 0; i < 200'000; ++i)
            const auto brief = field.addObserver([](const FieldBase&) {});
    });
    field.setValue(1);
    EXPECT_TRUE(field.hasWatchers());
}

TEST(FieldFaults, DeepTreesAreClonedAndDestroyedQuickly) {
    constexpr int kDepth = 2000;
    Container top("Top");
    Container* lowest = &top;
    for (int i = 0; i < kDepth; ++i)
        lowest = lowest->addContainer("Group");
    for (int i = 0; i < 20; ++i)
        delete top.clone(nullptr);
}

}  // namespace field_faults_test
