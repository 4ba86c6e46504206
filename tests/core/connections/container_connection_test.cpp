#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <random>
#include <vector>

#include "kr/core/connections/connection.h"
#include "kr/core/connections/field_base_to_proxy_connection.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/container.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/field_doubles.h"

namespace container_connection_test {

using namespace test_support;
using Kr::KrConnection;
using testing::ElementsAre;

class Containers : public testing::Test {
protected:
    /// The values of the children, in order.
    static Events valuesOf(const Container& container) {
        Events values;
        for (const auto* child : container)
            values.push_back(child->getID().str() + child->toString());
        return values;
    }

    Container _outputs{"Outputs", nullptr, Types::kOutput};
    Container _inputs{"Inputs", nullptr, Types::kInput};
    Container& _from = *_outputs.addContainer("From");
    Container& _to = *_inputs.addContainer("To");
};

TEST_F(Containers, LetSiblingsThatChangeMeanwhileFollowOnce) {
    auto* a = _from.add<double>("a", 1.0);
    auto* b = _from.add<double>("b", 1.0);
    auto* sinkA = _to.add<double>("a");
    auto* sinkB = _to.add<double>("b");
    const KrConnection connection(&_from, &_to);
    const auto answerA = sinkA->addObserver([&](const FieldBase&) { b->setValue(a->getValue() * 10.0); });
    a->setValue(2.0);
    EXPECT_THAT(valuesOf(_to), ElementsAre("a2", "b20"));
    // Each follows the other one: that must end.
    const auto answerB = sinkB->addObserver([&](const FieldBase&) { a->setValue(a->getValue() + 1.0); });
    a->setValue(3.0);
    EXPECT_THAT(valuesOf(_to), ElementsAre("a3", "b30"));
}

TEST_F(Containers, FindThePartnersThatComeGoAndAreRenamed) {
    auto* a = _from.add<double>("a", 1.0);
    auto* b = _from.add<double>("b", 1.0);
    auto* sinkA = _to.add<double>("a");
    auto* other = _to.add<double>("other");
    const KrConnection connection(&_from, &_to);
    double value = 1.0;
    // After each step: which field of the sink, if any, follows a and which b.
    const auto expect = [&](const char* step, FieldBase* ofA, FieldBase* ofB) {
        for (auto* source : {a, b}) {
            auto* sink = source == a ? ofA : ofB;
            source->setValue(++value);
            for (auto* field : _to)
                EXPECT_EQ(field->toReal() == value, field == sink) << step << field->getID().str();
        }
    };
    expect("at first ", sinkA, nullptr);
    other->setID("b");
    expect("sink renamed to fit ", sinkA, other);
    b->setID("c");
    expect("source renamed ", sinkA, nullptr);
    other->setID("c");
    expect("sink renamed ", sinkA, other);
    auto* late = _to.add<double>("d");
    b->setID("d");
    expect("another one fits now ", sinkA, late);
    _to.removeField("a");
    expect("sink gone ", nullptr, late);
    sinkA = _to.add<double>("a");
    expect("sink back ", sinkA, late);
    Container elsewhere("Elsewhere", nullptr, Types::kInput);
    late->setParent(&elsewhere);
    expect("sink moved ", sinkA, nullptr);
    EXPECT_NE(late->getValue(), value);
    auto* second = _to.add<double>("d");
    expect("replaced ", sinkA, second);
    _from.removeField("a");
    a = _from.add<double>("a");
    expect("source replaced ", sinkA, second);
}

TEST_F(Containers, PassOverWhatDoesNotFit) {
    _from.add<Kr::KrColor>("a");
    auto* b = _from.add<double>("b", 2.0);
    _to.add<double>("a", 1.0);
    _to.add<double>("b");
    const KrConnection connection(&_from, &_to);
    EXPECT_TRUE(connection.isValid());
    _from["a"].set(Kr::KrColor(0.0F, 0.0F, 0.0F, 0.0F));
    b->setValue(3.0);
    EXPECT_THAT(valuesOf(_to), ElementsAre("a1", "b3"));
}

TEST_F(Containers, LoseNoChangeInALoop) {
    Container& other = *_outputs.addContainer("Other");
    for (const char* name : {"a", "b"}) {
        _from.add<double>(name);
        other.add<double>(name);
    }
    KrConnection there(&_from, &other), back(&other, &_from);
    there.disable(false);
    _from["a"].set(5.0);
    _from["b"].set(6.0);
    there.enable(true);
    EXPECT_THAT(valuesOf(_from), ElementsAre("a5", "b6"));
    EXPECT_THAT(valuesOf(other), ElementsAre("a5", "b6"));
    other["b"].set(7.0);
    EXPECT_THAT(valuesOf(_from), ElementsAre("a5", "b7"));
}

using Items = KrData::Vector<int>;

class Vectors : public testing::Test {
protected:
    Container _outputs{"O", nullptr, Types::kOutput};
    Container _inputs{"I", nullptr, Types::kInput};
    Items _source{"Source", &_outputs, {0, 1, 2, 3, 4, 5, 6, 7}};
    Items _sink{"Sink", &_inputs};
};

TEST_F(Vectors, LookAtTheChangedRangesOnlyWhileTheyAreKept) {
    _source.enableIncrementalDataTransfer(true);
    KrConnection connection(&_source, &_sink);
    EXPECT_EQ(_sink.getItems(), _source.getItems());
    const auto whileDisabled = [&](const std::function<void()>& change) {
        connection.disable(false);
        change();
        connection.enable(true);
    };
    /// A transfer that looks at the changed items only does not mend what is spoilt elsewhere in the sink.
    const auto expect = [&](const char* what, bool isWhole, const std::function<void()>& change) {
        _sink.setItem(0, -1);
        change();
        auto expected = _source.getItems();
        if (!isWhole) expected[0] = -1;
        EXPECT_EQ(_sink.getItems(), expected) << what;
        EXPECT_TRUE(_source.getChanges().empty()) << what;
        _sink.setItem(0, 0);
    };
    expect("insert", false, [&] { _source.insert(4, 40); });
    expect("erase", false, [&] { _source.erase(5, 2); });
    expect("grow", false, [&] { _source.resize(9); });
    expect("set all", false, [&] { _source.setItems({0, 1, 2, 9, 9, 9, 9}); });
    expect("several while disabled", false, [&] {
        whileDisabled([&] {
            _source.setItem(2, 20);
            _source.append(70);
        });
    });
    expect("not tracked", true, [&] {
        _source._disableTracking();
        _source.setItem(2, 21);
    });
    expect("tracked again", false, [&] { _source.setItem(2, 22); });
    expect("switched off and on", true, [&] {
        _source.enableIncrementalDataTransfer(false);
        _source.enableIncrementalDataTransfer(true);
        _source.setItem(2, 23);
    });
    expect("cleared by somebody else", true, [&] {
        whileDisabled([&] {
            _source.setItem(2, 24);
            _source.clearChanges();
            _source.setItem(3, 34);
        });
    });
    expect("asked for without a change", true, [&] { connection.transferValue(_source); });
}

TEST_F(Vectors, ServeManySinksEachCompletely) {
    _source.enableIncrementalDataTransfer(true);
    Items second("Second", &_inputs), third("Third", &_inputs);
    KrConnection toFirst(&_source, &_sink), toSecond(&_source, &second), toThird(&_source, &third);
    KrConnection* const connections[] = {&toFirst, &toSecond, &toThird};
    const std::function<void(std::size_t, int)> changes[] = {
        [&](std::size_t at, int value) { _source.insert(at, value); },
        [&](std::size_t at, int) { _source.erase(at, _source.size() > 4 ? 1 : 0); },
        [&](std::size_t, int value) { _source.append(value); },
        [&](std::size_t, int) { _source._disableTracking(); },
        [&](std::size_t at, int value) { _source.setItem(at, value); },
    };
    std::minstd_rand random(7);
    for (int round = 0; round < 300; ++round) {
        changes[random() % 5](random() % (_source.size() + 1), round);
        auto& switched = *connections[random() % 3];
        switched.isEnabled() ? switched.disable(false) : switched.enable(true);
        for (const auto* connection : connections)
            ASSERT_TRUE(!connection->isEnabled() || connection->getSink()->isEqual(_source)) << round;
    }
}

TEST_F(Vectors, ForgetTheRangesAfterTheLastConnectionThatReadsThem) {
    const DispatcherScope dispatcher;
    _source.enableIncrementalDataTransfer(true);
    Items second("Second", &_inputs), third("Third", &_inputs), queuedSink("Queued", &_inputs);
    auto* proxy = new KrData::Proxy("Proxy", Types::kVector, &_inputs);
    KrConnection toFirst(&_source, &_sink), toSecond(&_source, &second), toThird(&_source, &third);
    const Kr::FieldBaseToProxyConnection toProxy(&_source, proxy);
    const Kr::KrSimQueuedConnection queued(&_source, &queuedSink);
    ASSERT_TRUE(toProxy.isValid());
    ASSERT_TRUE(queued.isValid());
    struct Row {
        const char* name;
        std::function<void()> prepare;
    };
    const Row rows[] = {
        {"a proxy and a queued one follow", [] {}},
        {"the last one is disabled", [&] { toThird.disable(false); }},
        {"all but the first are disabled", [&] { toSecond.disable(false); }},
        {"an earlier one is enabled again", [&] { toSecond.enable(false); }},
    };
    for (const auto& row : rows) {
        row.prepare();
        _source.setItem(1, _source.getItem(1) + 1);
        EXPECT_TRUE(_source.getChanges().empty()) << row.name;
        EXPECT_EQ(_sink.getItems(), _source.getItems()) << row.name;
        EXPECT_EQ(second.isEqual(_source), toSecond.isEnabled()) << row.name;
    }
    toThird.enable(true);
    EXPECT_EQ(third.getItems(), _source.getItems()) << "what was forgotten meanwhile is not missing";
}

TEST_F(Vectors, AreTransferredAsAWholeAlsoRoundALoop) {
    Items other("Other", &_outputs);
    for (const bool isTracked : {false, true}) {
        _source.enableIncrementalDataTransfer(true);
        other.enableIncrementalDataTransfer(isTracked);
        KrConnection there(&_source, &other), back(&other, &_source);
        std::vector<std::vector<int>> seen;
        const auto observer = other.addObserver([&](const FieldBase&) { seen.push_back(other.getItems()); });
        there.disable(false);
        _source.setItem(0, _source.getItem(0) + 100);
        _source.setItem(5, _source.getItem(5) + 100);
        const auto expected = _source.getItems();
        there.enable(true);
        EXPECT_EQ(_source.getItems(), expected) << "what is still to come is not overwritten";
        EXPECT_THAT(seen, ElementsAre(expected)) << "nobody sees half a transfer";
        other.erase(1);
        EXPECT_EQ(_source.getItems(), other.getItems());
    }
}

}  // namespace container_connection_test
