#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/field_doubles.h"

namespace field_faults_test {

using test_support::Container;
using test_support::FakeConnection;
using test_support::FakeListener;
using test_support::Field;
using test_support::FieldBase;
using test_support::Types;

TEST(FieldFaults, AListenerMayDeleteTheConnectionsOfADyingField) {
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
        EXPECT_FALSE(other._hasOutgoingConnections() || other._hasIncomingConnections());
        other.unregisterListener(&deleting);
        other.unregisterListener(&second);
    }
}

TEST(FieldFaults, AnObserverOfTheOldParentMayDestroyTheNewOne) {
    Container old("Old");
    auto next = std::make_unique<Container>("New");
    auto* field = old.addField("Field", Types::kInteger);
    const auto killer = old.addObserver([&](const FieldBase&) { next.reset(); });
    EXPECT_FALSE(field->setParent(next.get()));
    EXPECT_EQ(field->getParent(), &old) << "a refused move changes nothing";
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

TEST(FieldFaults, AContainerMayBecomeTheLikenessOfADescendant) {
    Container top("Top");
    top.addContainer("Group")->add<int>("X", 7);
    top._cloneFrom(top["Group"]);
    ASSERT_EQ(top.size(), 1U);
    EXPECT_EQ(top["X"].get<int>(), 7);
}

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
