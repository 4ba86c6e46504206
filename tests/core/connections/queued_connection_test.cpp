#include "kr/core/connections/sim_queued_connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/core/connections/queued_values.h"
#include "kr/core/id.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/events/event_access.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/sim_event.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace queued_connection_test {

using KrData::detail::FieldAccess;
using namespace test_support;
using Kr::KrSimQueuedConnection;
using KrSim::KrEventDispatcher;
using KrSim::KrSimEvent;
using testing::ElementsAre;
using testing::IsEmpty;

std::size_t waiting() {
    return Kr::detail::getWaitingCount();
}

class Queued : public testing::Test {
protected:
    Queued() { KrEventDispatcher::preUpdate(); }  // this thread owns the dispatcher
    ~Queued() override { EXPECT_EQ(waiting(), 0U) << "no copy is left behind"; }

    template <class Work>
    static void elsewhere(const Work& work) {
        std::thread(work).join();
    }

    DispatcherScope _dispatcher;
    Container _outputs{"O", nullptr, Types::kOutput};
    Container _inputs{"I", nullptr, Types::kInput};
    Field<double>* _source = _outputs.add<double>("Source", 1.0);
    Field<double>* _sink = _inputs.add<double>("Sink");
};

TEST_F(Queued, DeliversToTheOwnerThread) {
    const KrSimQueuedConnection connection(_source, _sink);
    EXPECT_EQ(_sink->getValue(), 1.0) << "on that thread at once";
    _source->setValue(2.0);
    EXPECT_EQ(_sink->getValue(), 2.0);

    const auto here = std::this_thread::get_id();
    std::vector<double> heard;
    const auto observer = _sink->addObserver([&](const FieldBase& field) {
        EXPECT_EQ(std::this_thread::get_id(), here);
        heard.push_back(field.toReal());
    });
    elsewhere([&] {
        for (int i = 3; i < 103; ++i)
            _source->setValue(i);
    });
    EXPECT_EQ(waiting(), 100U);
    EXPECT_EQ(_sink->getValue(), 2.0);
    KrEventDispatcher::preUpdate();
    ASSERT_EQ(heard.size(), 100U);
    for (std::size_t i = 0; i < 100; ++i)
        EXPECT_EQ(heard[i], static_cast<double>(i) + 3.0);
}

TEST_F(Queued, KeepsWhatIsUnderWayApartFromBothEnds) {
    auto connection = std::make_unique<KrSimQueuedConnection>(_source, _sink);
    auto* other = _inputs.add<double>("Other");
    KrSimQueuedConnection toOther(_source, other);
    elsewhere([&] { _source->setValue(5.0); });
    EXPECT_EQ(waiting(), 2U);
    connection.reset();
    toOther.disable(true);
    _outputs.clear();
    _inputs.removeField("Sink");
    _inputs.add<double>("New");
    KrEventDispatcher::preUpdate();
    EXPECT_EQ(_inputs["New"].toReal(), 0.0) << "at the place of the dead one, perhaps";
    EXPECT_EQ(other->getValue(), 5.0) << "sent before the connection ended";
    EXPECT_FALSE(toOther.isValid());
}

TEST_F(Queued, TakesTheValueAsItWasAtTheChange) {
    auto* group = _outputs.addContainer("G");
    auto* leaf = group->add<double>("x", 1.0);
    auto* sinkGroup = _inputs.addContainer("G");
    auto* sinkLeaf = sinkGroup->add<int>("x");
    KrData::Vector<double> items("V", &_outputs, {1.0}), sinkItems("V", &_inputs);
    auto* linked = _outputs.add<double>("Linked", 1.0);
    auto* sinkLinked = _inputs.add<double>("Linked");
    KrData::Proxy from("P", Types::kUnknown, &_outputs), to("P", Types::kUnknown, &_inputs);
    from.addLink(linked);
    to.addLink(sinkLinked);
    auto* nestedLinked = _outputs.add<double>("NestedLinked", 1.0);
    auto* inner = new KrData::Proxy("p", Types::kUnknown, group);
    inner->addLink(nestedLinked);
    auto* sinkInner = sinkGroup->add<double>("p");
    auto* bound = _outputs.add<double>("Bound");
    auto* sinkBound = _inputs.add<double>("Bound");
    double variable = 1.0;
    bound->bindVariable(&variable);
    const KrSimQueuedConnection groups(group, sinkGroup), vectors(&items, &sinkItems), proxies(&from, &to),
        variables(bound, sinkBound);
    const auto values = [&] {
        return std::vector<double>{sinkLeaf->toReal(), sinkItems.getItem(0), sinkLinked->getValue(),
                                   sinkInner->getValue(), sinkBound->getValue()};
    };
    EXPECT_THAT(values(), testing::Each(1.0));
    std::vector<std::vector<double>> seen;
    const auto observer = sinkBound->addObserver([&](const FieldBase&) { seen.push_back(values()); });
    elsewhere([&] {
        for (const double value : {2.0, 3.0}) {
            leaf->setValue(value);
            items.setItem(0, value);
            linked->setValue(value);
            nestedLinked->setValue(value);
            bound->setValue(value);
        }
    });
    KrEventDispatcher::preUpdate();
    EXPECT_THAT(seen, ElementsAre(testing::Each(2.0), testing::Each(3.0)));
}

TEST_F(Queued, LeavesOutAProxyThatWasMovedIntoTheContainerItLinks) {
    auto* group = _outputs.addContainer("G");
    auto* leaf = group->add<double>("x", 1.0);
    auto* sinkGroup = _inputs.addContainer("G");
    sinkGroup->add<double>("x");
    auto* proxy = new KrData::Proxy("P", Types::kUnknown, &_outputs);
    proxy->_setDynamic(true);
    ASSERT_TRUE(proxy->addLink(group));
    ASSERT_TRUE(proxy->setParent(group));
    const KrSimQueuedConnection connection(group, sinkGroup);
    leaf->setValue(2.0);
    EXPECT_EQ((*sinkGroup)["x"].toReal(), 2.0);
}

/// A queued connection of a kind, and changes of its source that repeat.
struct SteadyCase {
    const char* name;
    void (*fill)(Container& group);
    void (*change)(Container& group, int round);
};

class SteadyQueue : public Queued, public testing::WithParamInterface<SteadyCase> {
protected:
    /// Ten changes of the source, then the delivery of what waits.
    void frame() {
        for (int round = 0; round < 10; ++round)
            GetParam().change(*_group, round);
        KrEventDispatcher::preUpdate();
    }

    Container* _group = _outputs.addContainer("G");
    Container* _sinkGroup = _inputs.addContainer("G");
};

TEST_P(SteadyQueue, AllocatesNothing) {
    GetParam().fill(*_group);
    GetParam().fill(*_sinkGroup);
    const KrSimQueuedConnection connection(_group, _sinkGroup);
    for (const bool isExternal : {false, true}) {
        KrEventDispatcher::enableExternalControl(isExternal);
        frame();
        frame();
        const auto before = kr_benchmark::allocations();
        for (int i = 0; i < 100; ++i)
            frame();
        EXPECT_EQ(kr_benchmark::allocations() - before, 0U) << (isExternal ? "waiting" : "at once");
        EXPECT_TRUE(_sinkGroup->isEqual(*_group));
    }
    KrEventDispatcher::enableExternalControl(false);
}

template <class T>
void addField(Container& group) {
    group.add<T>("x");
}
template <class T>
void setField(Container& group, int round) {
    group["x"].set(static_cast<T>(round));
}
void addText(Container& group) {
    group.add<std::string>("x");
}
void setText(Container& group, int round) {
    static const std::array texts{std::string(100, 'a'), std::string(90, 'b'), std::string("short")};
    group["x"].set(texts[static_cast<std::size_t>(round) % texts.size()]);
}
void addVector(Container& group) {
    new KrData::Vector<double>("x", &group, std::vector<double>(50));
}
void setVector(Container& group, int round) {
    auto& vector = static_cast<KrData::Vector<double>&>(group["x"]);
    const auto index = static_cast<std::size_t>(round);
    vector.setItem(index, vector.getItem(index) + 1.0);
}
void addNested(Container& group) {
    group.add<bool>("Before");
    group.addContainer("Inner")->add<double>("x");
}
void setNested(Container& group, int round) {
    setField<double>(static_cast<Container&>(group["Inner"]), round);
}

INSTANTIATE_TEST_SUITE_P(Table, SteadyQueue,
                         testing::Values(SteadyCase{"Numbers", addField<double>, setField<double>},
                                         SteadyCase{"Integers", addField<int>, setField<int>},
                                         SteadyCase{"Texts", addText, setText},
                                         SteadyCase{"Vectors", addVector, setVector},
                                         SteadyCase{"NestedGroups", addNested, setNested}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_F(Queued, CarriesEveryBitInACopyThatItUsesAgain) {
    const KrSimQueuedConnection connection(_source, _sink);
    for (const double value : {3.0, 0.0, 4.0, -0.0, 5.0, std::nan(""), 6.0}) {
        _source->setValue(1.0);
        FieldAccess::initializeValue(*_source, value);
        _source->_notifyChanged(*_source);
        EXPECT_EQ(std::signbit(_sink->getValue()), std::signbit(value)) << value;
        EXPECT_EQ(std::isnan(_sink->getValue()), std::isnan(value)) << value;
    }
}

TEST_F(Queued, FollowsASourceWhoseFieldsChangeBetweenTransfers) {
    auto* group = _outputs.addContainer("G");
    auto* sinkGroup = _inputs.addContainer("G");
    group->add<double>("x", 1.0);
    for (const char* id : {"x", "y", "z"})
        sinkGroup->add<double>(id);
    const KrSimQueuedConnection connection(group, sinkGroup);
    group->add<double>("y")->setValue(2.0);
    EXPECT_EQ((*sinkGroup)["y"].toReal(), 2.0);
    group->removeField("x");
    (*group)["y"].setID("z");
    (*group)["z"].set(3.0);
    EXPECT_EQ((*sinkGroup)["z"].toReal(), 3.0);
    EXPECT_EQ((*sinkGroup)["y"].toReal(), 2.0);
    group->removeField("z");
    group->add<int>("z")->setValue(4);
    EXPECT_EQ((*sinkGroup)["z"].toReal(), 4.0);
}

TEST_F(Queued, LeavesTheValueThatASimulationStateHasAsItIs) {
    const KrSimQueuedConnection connection(_source, _sink);
    KrEventDispatcher::enableExternalControl(true);
    _source->setValue(7.0);
    const auto pending = KrSim::detail::DispatcherAccess::getPendingEvents();
    ASSERT_EQ(pending.events.size(), 1U);
    const auto peeked = Kr::detail::peekValue(pending.events[0].event);
    KrEventDispatcher::preUpdate();
    _source->setValue(8.0);
    KrEventDispatcher::preUpdate();
    KrEventDispatcher::enableExternalControl(false);
    EXPECT_EQ(_sink->getValue(), 8.0);
    EXPECT_EQ(peeked.value->toReal(), 7.0);
}

TEST_F(Queued, IgnoresPayloadsThatItDidNotSend) {
    const KrSimQueuedConnection connection(_source, _sink);
    const int number = Kr::KrID::numberFor("KrSimQueuedConnection::kQueuedConnectionEvent");
    const LogCapture log;
    const std::array<std::uint8_t, 12> bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const void* live = _sink;
    KrEventDispatcher::sendEventLocally(KrSimEvent(number, 8, bytes.data()));
    KrEventDispatcher::sendEventLocally(KrSimEvent(number, sizeof live, &live));
    EXPECT_THAT(log.lines(), IsEmpty());
    for (const unsigned size : {0U, 4U, 12U})
        KrEventDispatcher::sendEventLocally(KrSimEvent(number, size, bytes.data()));
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_THAT(log.lines()[1],
                testing::MatchesRegex("2 KrSimEvent: Invalid Type requested \\(.+\\) that is 8 bytes, but we have 4 "
                                      "bytes\\.\n"));
    EXPECT_EQ(_sink->getValue(), 1.0);
}

TEST_F(Queued, RefusesNullAndWhatDoesNotFit) {
    auto* color = _inputs.add<Kr::KrColor>("Color");
    Field<double> loose("Loose");
    const LogCapture log;
    EXPECT_FALSE(KrSimQueuedConnection(nullptr, _sink).isValid());
    EXPECT_FALSE(KrSimQueuedConnection(_source, nullptr).isValid());
    EXPECT_FALSE(KrSimQueuedConnection(_source, color).isValid());
    EXPECT_TRUE(KrSimQueuedConnection(_sink, &loose).isValid()) << "roles and parents are free";
    EXPECT_THAT(log.lines(),
                ElementsAre("2 KrSimQueuedConnection::ctor received a NULL source field.\n",
                            "2 KrSimQueuedConnection::ctor received a NULL sink field.\n",
                            "5 KrSimQueuedConnection: could not create connection from O.Source -> I.Color. Check that "
                            "types match. \n"));
}

TEST_F(Queued, FreesTheCopyWhenSomebodyThrows) {
    const KrSimQueuedConnection connection(_source, _sink);
    const int number = Kr::KrID::numberFor("KrSimQueuedConnection::kQueuedConnectionEvent");
    std::vector<std::string> calls;
    const RecordingListener listener(calls, "l", {number}, [](const KrSimEvent&) { throw std::runtime_error("no"); });
    EXPECT_THROW(_source->setValue(2.0), std::runtime_error);
    EXPECT_EQ(waiting(), 0U);
    EXPECT_EQ(_sink->getValue(), 2.0);
}

}  // namespace queued_connection_test
