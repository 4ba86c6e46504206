#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "kr/core/connections/connection.h"
#include "kr/data/container.h"
#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace container_connection_test {

using namespace test_support;
using Kr::KrConnection;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(Containers, HandOverOnlyTheChildThatChanged) {
    auto* a = _from.add<double>("a", 1.0);
    _from.add<int>("b", 2);
    _from.add<double>("only here", 3.0);
    auto* sinkB = _to.add<double>("b");
    _to.add<double>("only there", 4.0);
    auto* sinkA = _to.add<double>("a");
    const KrConnection connection(&_from, &_to);
    EXPECT_THAT(valuesOf(_to), ElementsAre("b2", "only there4", "a1"));
    sinkB->setValue(-1.0);
    Events heard;
    const auto observer = _to.addObserver([&](const FieldBase& changed) { heard.push_back(changed.getID().str()); });
    a->setValue(10.0);
    EXPECT_THAT(valuesOf(_to), ElementsAre("b-1", "only there4", "a10")) << "nobody asked b";
    EXPECT_THAT(heard, ElementsAre("a"));
    _from["only here"].set(30.0);
    EXPECT_THAT(heard, ElementsAre("a"));
    EXPECT_EQ(sinkA->_getIncomingConnections().size(), 0U);
}

TEST_F(Containers, ReachDownThroughNestedOnes) {
    auto* deep = _from.addContainer("g")->addContainer("h")->add<double>("x", 1.0);
    auto* beside = static_cast<Container&>(_from["g"]).add<double>("y", 1.0);
    auto* sinkGroup = _to.addContainer("g");
    auto* sink = sinkGroup->addContainer("h")->add<double>("x");
    auto* sinkBeside = sinkGroup->add<double>("y");
    const KrConnection connection(&_from, &_to);
    EXPECT_EQ(sink->getValue() + sinkBeside->getValue(), 2.0);
    sinkBeside->setValue(5.0);
    deep->setValue(2.0);
    EXPECT_EQ(sink->getValue(), 2.0);
    EXPECT_EQ(sinkBeside->getValue(), 5.0);
    beside->setValue(3.0);
    EXPECT_EQ(sinkBeside->getValue(), 3.0);
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
    new KrData::Vector<double>("v", &_from, {1.0});
    _to.add<double>("a", 1.0);
    auto* sink = _to.add<double>("b");
    new KrData::Vector<int>("v", &_to, {7});
    const LogCapture log;
    const KrConnection connection(&_from, &_to);
    EXPECT_TRUE(connection.isValid());
    EXPECT_THAT(log.lines(),
                testing::Each(testing::StartsWith("5 KrConnection: KrData::Vector source [Outputs.From.v]")));
    const auto count = log.lines().size();
    EXPECT_GE(count, 1U);
    b->setValue(3.0);
    _from["a"].set(Kr::KrColor());
    static_cast<KrData::Vector<double>&>(_from["v"]).append(1.0);
    EXPECT_EQ(sink->getValue(), 3.0);
    EXPECT_EQ(_to["a"].toReal(), 1.0);
    EXPECT_EQ(log.lines().size(), count) << "told once";
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

TEST_F(Containers, MakeArraysAlikeInSize) {
    using Array = KrData::FieldArray<Field<double>>;
    Array from("A", &_outputs, Types::kOutput), to("A", &_inputs, Types::kInput), loop("L", &_outputs, Types::kOutput);
    const auto reals = [](const Array& array) {
        std::vector<double> values;
        for (const auto* item : array)
            values.push_back(item->toReal());
        return values;
    };
    to.resize(4);
    from.append()->setValue(1.0);
    const KrConnection connection(&from, &to), there(&from, &loop), back(&loop, &from);
    EXPECT_THAT(reals(to), ElementsAre(1.0)) << "not as Container::copyValue, which leaves the size";
    auto* first = to.item(0);
    from.append();
    from.item(1)->setValue(2.0);
    EXPECT_THAT(reals(to), ElementsAre(1.0, 2.0));
    EXPECT_THAT(reals(loop), ElementsAre(1.0, 2.0));
    EXPECT_EQ(to.item(0), first);
    const auto gone = from.remove(0);
    from.item(0)->setValue(3.0);
    EXPECT_THAT(reals(from), ElementsAre(3.0));
    EXPECT_THAT(reals(to), ElementsAre(3.0)) << "by place, not by identifier";
    EXPECT_THAT(reals(loop), ElementsAre(3.0));

    ASSERT_TRUE(to.setSizeRange(0, 2));
    from.resize(3);
    from.item(2)->setValue(9.0);
    EXPECT_EQ(reals(to).size(), 1U) << "the sink keeps its bounds";
    from.resize(2);
    from.item(1)->setValue(8.0);
    EXPECT_THAT(reals(to), ElementsAre(3.0, 8.0));
}

}  // namespace container_connection_test
