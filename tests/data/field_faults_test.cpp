#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/data/extension_field.h"
#include "kr/data/field_listener.h"
#include "tests/support/field_doubles.h"

namespace field_faults_test {

using test_support::Container;
using test_support::FakeConnection;
using test_support::FakeOwner;
using test_support::Field;
using test_support::FieldBase;
using test_support::Types;

class Listener final : public KrData::FieldListener {
public:
    using Told = std::function<void(Kr::KrConnectionBase*)>;
    explicit Listener(Told told) : _told(std::move(told)) {}
    void onIncomingConnectionRemoved(Kr::KrConnectionBase* connection) override { _told(connection); }
    void onOutgoingConnectionRemoved(Kr::KrConnectionBase* connection) override { _told(connection); }

private:
    Told _told;
};

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
    Listener listener([&](Kr::KrConnectionBase* connection) {
        for (auto& each : connections) {
            if (each.get() == connection) const auto deleted = std::exchange(each, nullptr);
        }
    });
    Listener second([&](Kr::KrConnectionBase* connection) { later += Kr::KrBase::isKrBaseValid(connection) ? 0 : 1; });
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
                         [](const auto& each) { return std::string(each.param.name); });

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

TEST(FieldFaults, AContainerMayDieWithItsChildren) {
    auto* group = new Container("Group");
    auto* source = group->add<int>("Source");
    Field<int> sink("Sink");
    const FakeConnection connection(*source, sink);
    Listener listener([&](auto*) { delete std::exchange(group, nullptr); });
    sink.registerListener(&listener);
    group->clear();
    EXPECT_EQ(group, nullptr);
    EXPECT_FALSE(connection.isValid());
    sink.unregisterListener(&listener);
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

TEST(FieldFaults, ADyingChildMayTakeItsSiblingAlong) {
    Container group("Group");
    auto* first = group.add<int>("First");
    FieldBase* second = group.add<int>("Second");
    Field<int> sink("Sink");
    const FakeConnection connection(*first, sink);
    Listener listener([&](auto*) { delete std::exchange(second, nullptr); });
    sink.registerListener(&listener);
    group.clear();
    EXPECT_TRUE(group.empty());
    sink.unregisterListener(&listener);
}

// --- Observer lists --------------------------------------------------------------------------------------------------

TEST(FieldFaults, AnObserverMayRegisterAndEndAMillionTimes) {
    Field<int> field("Field");
    const auto handle = field.addObserver([&](const FieldBase&) {
        for (int i = 0; i < 1'000'000; ++i)
            const auto brief = field.addObserver([](const FieldBase&) {});
    });
    field.setValue(1);
    EXPECT_TRUE(field.hasWatchers());
}

TEST(FieldFaults, HandlesEndOnAnotherThreadWhileTheirOutputDies) {
    for (int round = 0; round < 500; ++round) {
        FakeOwner owner;
        auto* group = new Container("Outputs", &owner, Types::kOutput);
        auto handle = group->add<int>("Output")->addObserver([](const FieldBase&) {});
        std::latch start(2);
        std::thread other([&] {
            start.arrive_and_wait();
            handle.disconnect();
        });
        start.arrive_and_wait();
        group->removeField("Output");
        other.join();
        ASSERT_EQ(owner.outputs(), std::pair(0, 0)) << "round " << round;
    }
}

// --- Copies ----------------------------------------------------------------------------------------------------------

TEST(FieldFaults, ALikenessOfAnExtensionFieldRefersToTheSameInterface) {
    const KrData::ExtensionField source("A", "Demo::IWheel");
    KrData::ExtensionField likeness("B", "Demo::IOther");
    likeness._cloneFrom(source);
    EXPECT_EQ(likeness.getInterfaceId(), source.getInterfaceId());
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
