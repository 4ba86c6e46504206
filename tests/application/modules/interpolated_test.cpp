#include "kr/core/connections/interpolated_connection.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/application/application.h"
#include "kr/application/modules/module_of.h"
#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "kr/testing/test_application.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace interpolated_test {

using Kr::KrConnectionFactory;
using KrData::FieldBase;
using KrData::Types;
using KrSim::KrExtension;
using KrSim::StepRate;
using testing::DoubleNear;
using testing::Each;
using testing::Pointwise;

/// Keeps what a field has in each step, and counts on.
class Unit final : public KrSim::IExtension {
public:
    explicit Unit(KrExtension* proxy) : IExtension(proxy, 1) {}
    using IExtension::_getProxy;
    void step() {
        read.push_back(in);
        if (watched != nullptr) texts.push_back(watched->toString());
        out = out + increment;
    }

    std::size_t group{0};
    double increment{0.0};
    std::vector<double> read;
    const FieldBase* watched{nullptr};
    std::vector<std::string> texts;
    KrSim::Input<double> in{this, "In"};
    KrSim::Output<double> out{this, "Out"};
};

enum Group : std::size_t { kFrame, kFourTimes, kEveryThird, kThirdInHertz, kLateFrame };

/// At 60 frames a second.
class Units final : public KrSim::ModuleOf<Unit> {
public:
    explicit Units(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {
        addStepGroup("Four Times", StepRate::perFrame(4));
        addStepGroup("Every Third", StepRate::everyFrames(3));
        addStepGroup("Third in Hertz", StepRate::hertz(20.0));
        addStepGroup("Late Frame", StepRate::perFrame(1));
    }
    using ModuleOf::regroupUnits;
    [[nodiscard]] std::size_t findStepGroup(const Unit& unit) const override { return unit.group; }
    void onStep(Unit& unit, double) override { unit.step(); }
};

class Interpolated : public testing::Test {
protected:
    Unit& _add(const char* name, Group group, double increment = 0.0) {
        auto& unit = _test.make<Unit>(name);
        unit.group = group;
        unit.increment = increment;
        _module.regroupUnits();
        return unit;
    }
    static Kr::KrConnectionBase& _connect(const Unit& source, const Unit& sink) {
        auto* connection = KrConnectionFactory::connectInterpolated(source.out.getField(), sink.in.getField());
        EXPECT_NE(connection, nullptr);
        return *connection;
    }
    static auto _areNear(std::vector<double> expected) { return Pointwise(DoubleNear(1e-9), std::move(expected)); }
    /// What the unit read in the next frames.
    std::vector<double> _readDuring(Unit& unit, unsigned frames) {
        unit.read.clear();
        _test.step(frames);
        return unit.read;
    }

    KrTesting::TestApplication _test;
    Units& _module{_test.make<Units>("Units")};
};

// --- Rates ---------------------------------------------------------------------------------------------------------

struct RatesCase {
    const char* name;
    Group source;
    double increment;  // of the source in a step
    Group sink;
    std::vector<double> read;  // in five frames
};

class InterpolatedRates : public Interpolated, public testing::WithParamInterface<RatesCase> {};

TEST_P(InterpolatedRates, GiveTheSinkTheLineOfOneFrameAgo) {
    const auto& param = GetParam();
    const auto& source = _add("Source", param.source, param.increment);
    auto& sink = _add("Sink", param.sink);
    _connect(source, sink);
    EXPECT_THAT(_readDuring(sink, 5), _areNear(param.read));
}

const RatesCase kRates[] = {
    {"FourToOne", kFrame, 4.0, kFourTimes, {0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    {"SourceAfterSink", kLateFrame, 4.0, kFourTimes, {0, 0, 0, 0, 0,  1,  2,  3,  4,  5,
                                                      6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    {"OverThreeFrames", kEveryThird, 12., kFourTimes, {0, 0, 0, 0, 0,  1,  2,  3,  4,  5,
                                                       6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    {"OverThreeFramesInHertz", kThirdInHertz, 12., kFourTimes, {0, 0, 0, 0, 0,  1,  2,  3,  4,  5,
                                                                6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    {"FrameFromThreeFrames", kEveryThird, 3.0, kLateFrame, {0, 0, 1, 2, 3}},
    {"SameRate", kFrame, 1.0, kLateFrame, {0, 0, 1, 2, 3}},
    {"FasterSource", kFourTimes, 1.0, kFrame, {0, 0, 4, 8, 12}},
    {"SlowerSink", kFrame, 1.0, kEveryThird, {0, 2}},
};
INSTANTIATE_TEST_SUITE_P(Rates, InterpolatedRates, testing::ValuesIn(kRates), test_support::caseName);

TEST_F(Interpolated, ValuesDoNotJumpWhenTheFrameRateChanges) {
    const auto& source = _add("Source", kEveryThird, 12.0);
    auto& sink = _add("Sink", kFourTimes);
    _connect(source, sink);
    std::vector<double> steps;
    double last = 0.0;
    for (const double rateHz : {60.0, 35.0, 90.0, 60.0}) {
        _test.getApplication().setSimulationFrameRate(rateHz);
        for (const double read : _readDuring(sink, 7)) {
            steps.push_back(read - last);
            last = read;
        }
    }
    EXPECT_THAT(steps, Each(testing::AllOf(testing::Ge(-1e-9), testing::Le(3.0))));
    EXPECT_GT(last, 80.0);
}

TEST_F(Interpolated, SinkThatIsSetOtherwiseBeginsALineThere) {
    const auto& source = _add("Source", kFrame, 4.0);
    auto& sink = _add("Sink", kFourTimes);
    _connect(source, sink);
    _test.step(2);
    sink.in.getField()->setValue(0.0);
    EXPECT_THAT(_readDuring(sink, 2), _areNear({0, 2, 4, 6, 8, 9, 10, 11}));
}

TEST_F(Interpolated, ConnectionsInARowTakeAFrameEach) {
    const auto& source = _add("Source", kFrame, 4.0);
    auto& sink = _add("Sink", kFourTimes);
    auto& last = _add("Last", kFourTimes);
    KrConnectionFactory::connectInterpolated(sink.in.getField(), last.in.getField());
    _connect(source, sink);
    EXPECT_THAT(_readDuring(last, 3), _areNear({0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}));
}

TEST_F(Interpolated, DisabledConnectionLeavesTheSinkAndGoesOnFromThere) {
    const auto& source = _add("Source", kFrame, 4.0);
    auto& sink = _add("Sink", kFourTimes);
    auto& connection = _connect(source, sink);
    _test.step(2);
    connection.disable(true);
    EXPECT_THAT(_readDuring(sink, 2), Each(4.0));
    connection.enable(false);
    EXPECT_THAT(_readDuring(sink, 1), _areNear({4, 7, 10, 13}));
}

TEST_F(Interpolated, SinkHasTheNewestValueWhileEditing) {
    auto& source = _add("Source", kFrame);
    const auto& sink = _add("Sink", kFourTimes);
    _connect(source, sink);
    _test.getApplication().setApplicationMode(KrSim::eApplicationMode::kEditing);
    source.out = 5.0;
    _test.step();
    EXPECT_EQ(sink.in, 5.0);
}

TEST_F(Interpolated, ObserverOfTheSinkMayEndTheConnection) {
    const auto& source = _add("Source", kFrame, 4.0);
    auto& sink = _add("Sink", kFourTimes);
    auto* from = source.out.getField();
    auto* to = sink.in.getField();
    _connect(source, sink);
    const auto observer = to->addObserver([&](const FieldBase& field) {
        if (field.toReal() > 1.5) KrConnectionFactory::disconnect(from, to);
    });
    _test.step();
    EXPECT_THAT(_readDuring(sink, 2), _areNear({0, 1, 2, 2, 2, 2, 2, 2}));
}

TEST_F(Interpolated, IsCopiedWithItsExtensions) {
    const auto object = Kr::makeSmart<KrSim::KrObject>();
    const auto source = Kr::makeSmart<KrExtension>();
    const auto sink = Kr::makeSmart<KrExtension>();
    object->add(source.get());
    object->add(sink.get());
    KrConnectionFactory::connectInterpolated(source->addOutput("Out", Types::kDouble),
                                             sink->addInput("In", Types::kDouble));
    const auto copy = object->clone();
    const auto* copied = static_cast<const KrSim::KrObject&>(*copy).getExtension(1)->getInput("In");
    const auto connections = KrData::detail::FieldAccess::getIncomingConnections(*copied);
    ASSERT_EQ(connections.size(), 1U);
    EXPECT_EQ(KrConnectionFactory::findKind(*connections[0]), Kr::eConnectionKind::kInterpolated);
}

TEST_F(Interpolated, SteadyFrameAllocatesNothing) {
    auto& source = _add("Source", kFrame, 4.0);
    auto& sink = _add("Sink", kFourTimes);
    _connect(source, sink);
    source.read.reserve(1000);
    sink.read.reserve(1000);
    _test.step(10);
    const auto before = kr_benchmark::allocations();
    _test.step(10);
    EXPECT_EQ(kr_benchmark::allocations() - before, 0U);
}

// --- Types ---------------------------------------------------------------------------------------------------------

struct TypeCase {
    const char* name;
    Types::DataTypeEnum source;
    Types::DataTypeEnum sink;
    void (*change)(FieldBase& source);
    std::vector<std::string> read;  // in the four steps of a frame, and after it
    const char* warning{""};
};

class InterpolatedTypes : public Interpolated, public testing::WithParamInterface<TypeCase> {};

TEST_P(InterpolatedTypes, HaveALineOrHoldTheNewestValue) {
    const auto& param = GetParam();
    auto& unit = _add("Sink", kFourTimes);
    auto* source = _add("Source", kFrame)._getProxy()->addOutput("Source", param.source);
    auto* sink = unit._getProxy()->addInput("Sink", param.sink);
    const test_support::LogCapture log;
    ASSERT_NE(KrConnectionFactory::connectInterpolated(source, sink), nullptr);
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn),
                Pointwise(testing::Truly([](const auto& pair) {
                              return std::get<0>(pair).find(std::get<1>(pair)) != std::string::npos;
                          }),
                          std::vector<std::string>(*param.warning != '\0' ? 1 : 0, param.warning)));
    param.change(*source);
    unit.watched = sink;
    _test.step();
    unit.texts.push_back(sink->toString());
    EXPECT_EQ(unit.texts, param.read);
}

const TypeCase kTypes[] = {
    {"Real", Types::kDouble, Types::kDouble, [](FieldBase& source) { source.set(4.0); }, {"0", "1", "2", "3", "4"}},
    {"Float", Types::kFloat, Types::kFloat, [](FieldBase& source) { source.set(2.0F); }, {"0", "0.5", "1", "1.5", "2"}},
    {"WholeNumberToReal",
     Types::kInteger,
     Types::kDouble,
     [](FieldBase& source) { source.set(2); },
     {"0", "0.5", "1", "1.5", "2"}},
    {"Vector3",
     Types::kVector3,
     Types::kVector3,
     [](FieldBase& source) {
         source.set(KrMath::Vector3T<double>{4.0, -4.0, 0.0});
     },
     {"0 0 0", "1 -1 0", "2 -2 0", "3 -3 0", "4 -4 0"}},
    {"RealToWholeNumber",
     Types::kDouble,
     Types::kInteger,
     [](FieldBase& source) { source.set(4.0); },
     {"0", "0", "0", "0", "4"},
     "'Sink.Inputs.Sink' has no values between two others (Integer): it gets the newest value of"},
    {"Bool",
     Types::kBoolean,
     Types::kBoolean,
     [](FieldBase& source) { source.set(true); },
     {"false", "false", "false", "false", "true"},
     "no values between two others (Boolean)"},
    {"Text",
     Types::kString,
     Types::kString,
     [](FieldBase& source) { source.set(std::string("x")); },
     {"", "", "", "", "x"},
     "no values between two others (String)"},
};
INSTANTIATE_TEST_SUITE_P(Types, InterpolatedTypes, testing::ValuesIn(kTypes), test_support::caseName);

}  // namespace interpolated_test
