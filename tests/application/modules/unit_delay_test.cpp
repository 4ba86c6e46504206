#include "kr/core/connections/unit_delay_connection.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/application/application.h"
#include "kr/application/modules/module_of.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/order/extension_sorter.h"
#include "kr/extension/typed_field.h"
#include "kr/testing/test_application.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace unit_delay_test {

using Kr::KrConnectionBase;
using Kr::KrConnectionFactory;
using KrData::FieldBase;
using KrData::Types;
using KrSim::KrExtension;
using KrSim::StepRate;
using testing::ElementsAre;

/// Keeps what it read in each step, and gives that plus one.
class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrExtension* proxy) : IExtension(proxy, 1) {}
    using IExtension::_getProxy;
    void step() {
        read.push_back(in);
        out = in + 1.0;
    }

    int group{0};
    std::vector<double> read;
    KrSim::Input<double> in{this, "In"};
    KrSim::Output<double> out{this, "Out"};
    KrSim::Parameter<double> parameter{this, "Parameter"};
};

class Units final : public KrSim::ModuleOf<Unit> {
public:
    explicit Units(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {
        addStepGroup("Fast", StepRate::perFrame(3));
    }
    using ModuleOf::regroupUnits;
    [[nodiscard]] std::size_t findStepGroup(const Unit& unit) const override {
        return static_cast<std::size_t>(unit.group);
    }
    void onStep(Unit& unit, double) override { unit.step(); }
};

class UnitDelay : public testing::Test {
protected:
    Unit& _add(const char* name, int group = 0) {
        auto& unit = _test.make<Unit>(name);
        unit.group = group;
        _module.regroupUnits();
        return unit;
    }
    static KrConnectionBase& _delay(const Unit& source, const Unit& sink) {
        auto* connection = KrConnectionFactory::connectUnitDelay(source.out.getField(), sink.in.getField());
        EXPECT_NE(connection, nullptr);
        return *connection;
    }
    void _setMode(KrSim::eApplicationMode mode) {
        _test.getApplication().setApplicationMode(mode);
        _test.step();
    }

    KrTesting::TestApplication _test;
    Units& _module{_test.make<Units>("Units")};
};

// --- Steps ---------------------------------------------------------------------------------------------------------

TEST_F(UnitDelay, SinksHaveTheValueOfTheLastStepInWhateverOrderTheUnitsRun) {
    auto& first = _add("First");
    auto& second = _add("Second");
    _delay(first, second);
    _delay(second, first);
    _test.step(4);
    // The first runs before the second, and yet reads what the second had a step ago, as the other way round.
    EXPECT_THAT(first.read, ElementsAre(0.0, 1.0, 2.0, 3.0));
    EXPECT_THAT(second.read, ElementsAre(0.0, 1.0, 2.0, 3.0));
    EXPECT_THAT(KrSim::KrExtensionSorter::instance().getCycles(), testing::IsEmpty());
}

TEST_F(UnitDelay, ChainTakesAStepForEachLinkInWhateverOrderTheLinksWereMade) {
    for (const bool isForward : {true, false}) {
        auto& source = _add(isForward ? "Source" : "Source 2");
        auto& middle = _add(isForward ? "Middle" : "Middle 2");
        auto& sink = _add(isForward ? "Sink" : "Sink 2");
        auto* through = middle.in.getField();
        const auto connect = [](FieldBase* from, FieldBase* to) { KrConnectionFactory::connectUnitDelay(from, to); };
        if (isForward) {
            connect(source.out.getField(), through);
            connect(through, sink.in.getField());
        } else {
            connect(through, sink.in.getField());
            connect(source.out.getField(), through);
        }
        source.in.getField()->setValue(10.0);
        _test.step(3);
        EXPECT_THAT(middle.read, ElementsAre(0.0, 11.0, 11.0)) << isForward;
        EXPECT_THAT(sink.read, ElementsAre(0.0, 0.0, 11.0)) << isForward;
    }
}

TEST_F(UnitDelay, StepIsThatOfTheGroupOfBothEndsElseTheFrame) {
    auto& slow = _add("Slow");
    auto& fast = _add("Fast", 1);
    auto& other = _add("Other", 1);
    _delay(fast, fast);
    _delay(fast, other);
    _delay(fast, slow);
    _test.step(2);
    EXPECT_THAT(fast.read, ElementsAre(0.0, 1.0, 2.0, 3.0, 4.0, 5.0));
    EXPECT_THAT(other.read, ElementsAre(0.0, 1.0, 2.0, 3.0, 4.0, 5.0));
    EXPECT_THAT(slow.read, ElementsAre(0.0, 3.0));
    other.group = 0;
    _module.regroupUnits();
    other.read.clear();
    _test.step(2);
    EXPECT_THAT(other.read, ElementsAre(6.0, 9.0)) << "from now on a frame is its step";
}

TEST_F(UnitDelay, FramesAreStepsOfAllGroupsWhileEditing) {
    auto& source = _add("Source", 1);
    auto& sink = _add("Sink", 1);
    _delay(source, sink);
    _setMode(KrSim::eApplicationMode::kEditing);
    source.out = 5.0;
    EXPECT_EQ(sink.in, 0.0);
    _test.step();
    EXPECT_EQ(sink.in, 5.0);
}

TEST_F(UnitDelay, SteadyFrameAllocatesNothing) {
    auto& first = _add("First", 1);
    auto& second = _add("Second");
    _delay(first, first);
    _delay(first, second);
    const auto observer = second.in.getField()->addObserver([](const FieldBase&) {});
    first.read.reserve(1000);
    second.read.reserve(1000);
    _test.step(10);
    const auto before = kr_benchmark::allocations();
    _test.step(10);
    EXPECT_EQ(kr_benchmark::allocations() - before, 0U);
}

// --- What may be at the ends ---------------------------------------------------------------------------------------

struct EndsCase {
    const char* name;
    FieldBase* (*makeSource)(KrExtension& extension);
    FieldBase* (*makeSink)(KrExtension& extension);
    void (*change)(FieldBase& source);
    std::string expected;  // in the sink after the change
};

template <Types::DataTypeEnum type>
FieldBase* addOutput(KrExtension& extension) {
    return extension.addOutput("Source", type);
}
template <Types::DataTypeEnum type>
FieldBase* addInput(KrExtension& extension) {
    return extension.addInput("Sink", type);
}
KrData::Container* addGroup(KrData::Container& parent) {
    auto* group = parent.addContainer("Group");
    group->add<double>("A");
    group->add<std::string>("B");
    return group;
}
std::string textOf(const FieldBase& field) {
    auto text = field.toString();
    for (const auto* child : field.getChildren())
        text += "[" + textOf(*child) + "]";
    return text;
}

class UnitDelayEnds : public UnitDelay, public testing::WithParamInterface<EndsCase> {};

TEST_P(UnitDelayEnds, GetTheValueAtTheEndOfTheStep) {
    const auto& param = GetParam();
    auto* source = param.makeSource(*_add("Source")._getProxy());
    auto* sink = param.makeSink(*_add("Sink")._getProxy());
    ASSERT_NE(KrConnectionFactory::connectUnitDelay(source, sink), nullptr);
    const auto before = textOf(*sink);
    param.change(*source);
    EXPECT_EQ(textOf(*sink), before);
    _test.step();
    EXPECT_EQ(textOf(*sink), param.expected);
}

const EndsCase kEnds[] = {
    {"Real", addOutput<Types::kDouble>, addInput<Types::kDouble>, [](FieldBase& source) { source.set(2.5); }, "2.5"},
    {"Converted", addOutput<Types::kDouble>, addInput<Types::kInteger>, [](FieldBase& source) { source.set(2.6); },
     "3"},
    {"Text", addOutput<Types::kString>, addInput<Types::kString>,
     [](FieldBase& source) { source.set(std::string("in a text that is long enough for the heap")); },
     "in a text that is long enough for the heap"},
    {"OfOneTypeWithARange", addOutput<Types::kDouble>,
     [](KrExtension& extension) {
         auto* sink = extension.addInput("Sink", Types::kDouble);
         sink->as<double>()->setRange(0.0, 1.0);
         return sink;
     },
     [](FieldBase& source) { source.set(7.0); }, "7"},
    {"BoundSource",
     [](KrExtension& extension) {
         auto* input = extension.getInput("In")->as<double>();
         auto* source = extension.addOutput("Source", Types::kDouble);
         source->as<double>()->bindValue({[input] { return input->getValue() * 2.0; }, {}});
         return source;
     },
     addInput<Types::kDouble>, [](FieldBase& source) { source.getOwnerExtension()->getInput("In")->set(4.0); }, "8"},
    {"BoundSink", addOutput<Types::kDouble>,
     [](KrExtension& extension) {
         static double variable = 0.0;
         auto* sink = extension.addInput("Sink", Types::kDouble);
         sink->as<double>()->bindVariable(&variable);
         return sink;
     },
     [](FieldBase& source) { source.set(3.0); }, "3"},
    {"Group", [](KrExtension& extension) -> FieldBase* { return addGroup(extension.getOutputContainer()); },
     [](KrExtension& extension) -> FieldBase* { return addGroup(extension.getInputContainer()); },
     [](FieldBase& source) {
         source["A"].set(1.5);
         source["B"].set(std::string("b"));
     },
     "[1.5][b]"},
};
INSTANTIATE_TEST_SUITE_P(Ends, UnitDelayEnds, testing::ValuesIn(kEnds), test_support::caseName);

// --- What may happen between two steps -----------------------------------------------------------------------------

struct EventCase {
    const char* name;
    void (*happen)(KrSim::KrApplication& application, Unit& source, Unit& sink, KrConnectionBase& connection);
    double expected;  // in the sink, which had 1, when the source is 2
};

class UnitDelayEvents : public UnitDelay, public testing::WithParamInterface<EventCase> {};

TEST_P(UnitDelayEvents, BetweenTwoSteps) {
    auto& source = _test.make<Unit>("Source");
    auto& sink = _test.make<Unit>("Sink");
    const Kr::KrSmartPtr<KrExtension> keep(sink._getProxy());
    _setMode(KrSim::eApplicationMode::kEditing);
    auto& connection = _delay(source, sink);
    source.out = 1.0;
    _test.step(2);
    ASSERT_EQ(sink.in, 1.0);
    GetParam().happen(_test.getApplication(), source, sink, connection);
    source.out = 2.0;
    _test.step();
    EXPECT_EQ(sink.in, GetParam().expected);
}

const EventCase kEvents[] = {
    {"Nothing", [](KrSim::KrApplication&, Unit&, Unit&, KrConnectionBase&) {}, 2.0},
    {"Disabled", [](KrSim::KrApplication&, Unit&, Unit&, KrConnectionBase& connection) { connection.disable(false); },
     1.0},
    {"DisabledAndEnabled",
     [](KrSim::KrApplication&, Unit&, Unit&, KrConnectionBase& connection) {
         connection.disable(true);
         connection.enable(false);
     },
     2.0},
    {"SinkObserved",
     [](KrSim::KrApplication&, Unit&, Unit& sink, KrConnectionBase&) {
         static KrData::DelegateConnection observer;
         observer = sink.in.getField()->addObserver([](const FieldBase& field) {
             EXPECT_EQ(field.toReal(), 2.0);
             observer.disconnect();
         });
     },
     2.0},
    {"SinkBound",
     [](KrSim::KrApplication&, Unit&, Unit& sink, KrConnectionBase&) {
         static double variable = 0.0;
         sink.in.getField()->bindVariable(&variable);
     },
     2.0},
    {"SourceBound",
     [](KrSim::KrApplication&, Unit& source, Unit&, KrConnectionBase&) {
         source.out.getField()->bindValue({[] { return 5.0; }, {}});
     },
     5.0},
    {"SinkSuspended",
     [](KrSim::KrApplication&, Unit&, Unit& sink, KrConnectionBase&) {
         KrSim::detail::ExtensionAccess::setSuspended(*sink._getProxy(), true);
     },
     1.0},
    {"SinkLeavesAndReturns",
     [](KrSim::KrApplication& application, Unit&, Unit& sink, KrConnectionBase&) {
         application.remove(sink._getProxy());
         application.add(sink._getProxy());
     },
     2.0},
    {"OtherFieldRemoved",
     [](KrSim::KrApplication&, Unit& source, Unit&, KrConnectionBase&) { source._getProxy()->removeInput("In"); }, 2.0},
    {"ConnectionEnds",
     [](KrSim::KrApplication&, Unit& source, Unit& sink, KrConnectionBase&) {
         EXPECT_TRUE(KrConnectionFactory::disconnect(source.out.getField(), sink.in.getField()));
     },
     1.0},
};
INSTANTIATE_TEST_SUITE_P(Events, UnitDelayEvents, testing::ValuesIn(kEvents), test_support::caseName);

TEST_F(UnitDelay, ObserverOfASinkMayEndEveryConnection) {
    auto& source = _add("Source");
    auto& sink = _add("Sink");
    auto& other = _add("Other");
    _delay(source, sink);
    _delay(source, other);
    const auto end = [&](const FieldBase&) {
        KrConnectionFactory::disconnect(source.out.getField(), sink.in.getField());
        KrConnectionFactory::disconnect(source.out.getField(), other.in.getField());
    };
    const auto first = sink.in.getField()->addObserver(end);
    const auto second = other.in.getField()->addObserver(end);
    _test.step();
    EXPECT_EQ(sink.in + other.in, 1.0) << "one of the two had its value before";
    _test.step();
    EXPECT_EQ(sink.in + other.in, 1.0);
}

/// A getter of a source that looks at a sink: all sources are read first.
TEST_F(UnitDelay, ReadsBoundSourcesBeforeAnySinkIsSet) {
    auto& first = _add("First");
    auto& second = _add("Second");
    auto* source = first._getProxy()->addOutput("Bound", Types::kDouble)->as<double>();
    _delay(second, first);
    KrConnectionFactory::connectUnitDelay(source, second.in.getField());
    source->bindValue({[&] { return first.in + 100.0; }, {}});
    _test.step(3);
    EXPECT_THAT(second.read, ElementsAre(0.0, 100.0, 101.0));
}

TEST_F(UnitDelay, IsNoContentOfAnApplicationThatEnds) {
    auto& source = _add("Source");
    auto& sink = _add("Sink");
    const Kr::KrSmartPtr<KrExtension> keep(source._getProxy());
    const Kr::KrSmartPtr<KrExtension> keepSink(sink._getProxy());
    auto application = KrSim::KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    _test.getApplication().remove(source._getProxy());
    _test.getApplication().remove(sink._getProxy());
    application->add(source._getProxy());
    application->add(sink._getProxy());
    _delay(source, sink);
    source.out = 3.0;
    application->update();
    EXPECT_EQ(sink.in, 3.0);
    application.reset();
    source.out = 4.0;
    _test.step();
    EXPECT_EQ(sink.in, 3.0) << "neither end is in an application";
    _test.getApplication().add(sink._getProxy());
    _test.step();
    EXPECT_EQ(sink.in, 4.0) << "in that of the sink";
}

TEST_F(UnitDelay, RefusesWhatADirectConnectionRefuses) {
    const test_support::LogCapture log;
    auto& unit = _add("Unit");
    EXPECT_EQ(KrConnectionFactory::connectUnitDelay(unit.in.getField(), unit.parameter.getField()), nullptr);
    auto* text = unit._getProxy()->addInput("Vector", Types::kVector3);
    EXPECT_EQ(KrConnectionFactory::connectUnitDelay(unit.out.getField(), text), nullptr);
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn), ElementsAre(testing::HasSubstr("invalid source/sink pair"),
                                                             testing::HasSubstr("do not drive those of the role"),
                                                             testing::HasSubstr("do not convert")));
}

TEST_F(UnitDelay, OutputDrivesParameterOnlyWhileEditing) {
    auto& unit = _add("Unit");
    auto& other = _add("Other");
    _setMode(KrSim::eApplicationMode::kEditing);
    ASSERT_NE(KrConnectionFactory::connectUnitDelay(unit.out.getField(), other.parameter.getField()), nullptr);
    unit.out = 1.0;
    _test.step();
    EXPECT_EQ(other.parameter, 1.0);
    _setMode(KrSim::eApplicationMode::kSimulating);
    unit.in.getField()->setValue(6.0);
    _test.step();
    EXPECT_EQ(other.parameter, 1.0);
}

TEST_F(UnitDelay, IsCopiedWithItsExtensions) {
    auto object = Kr::makeSmart<KrSim::KrObject>();
    auto source = Kr::makeSmart<KrExtension>();
    auto sink = Kr::makeSmart<KrExtension>();
    object->add(source.get());
    object->add(sink.get());
    auto* from = source->addOutput("Out", Types::kDouble);
    KrConnectionFactory::connectUnitDelay(from, sink->addInput("In", Types::kDouble));
    from->set(2.0);
    const auto copy = object->clone();
    std::vector<KrExtension*> copies;
    for (const auto& each : static_cast<const KrSim::KrObject&>(*copy).getExtensions())
        copies.push_back(each.get());
    ASSERT_EQ(copies.size(), 2U);
    auto* copiedSink = copies[1]->getInput("In");
    copies[0]->getOutput("Out")->set(7.0);
    EXPECT_EQ(copiedSink->toReal(), 0.0) << "no step has ended yet";
    _test.getApplication().add(copy.get());
    _test.step();
    EXPECT_EQ(copiedSink->toReal(), 7.0);
}

}  // namespace unit_delay_test
