#include "kr/core/connections/connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/core/connection_access.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/core/enum.h"
#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/support/context_host.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/log_capture.h"

namespace connection_test {

using Kr::detail::ConnectionAccess;
using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using namespace test_support;
using Kr::KrConnection;
using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::Types;
using testing::ElementsAre;
using testing::IsEmpty;

enum class eGear { kPark, kDrive };
enum class eLight { kOff, kOn };
KR_REGISTER_ENUM(connection_test::eGear, {connection_test::eGear::kPark, "Park"},
                 {connection_test::eGear::kDrive, "Drive"});
KR_REGISTER_ENUM(connection_test::eLight, {connection_test::eLight::kOff, "Off"}, {connection_test::eLight::kOn, "On"});

constexpr const char* kNoParent = "2 KrConnectionBase: can only use fields that are in a parent container\n";

TEST(ConnectionRoles, LetThroughSixOf25PairsAndNameTheOthers) {
    const std::set<std::pair<int, int>> allowed{{1, 1}, {2, 1}, {2, 2}, {2, 3}, {3, 1}, {3, 3}};
    const char* names[] = {"Field", "Input", "Output", "Parameter", "Undefined"};
    for (int from = 0; from < 5; ++from) {
        for (int to = 0; to < 5; ++to) {
            SCOPED_TRACE(std::string(names[from]) + " -> " + names[to]);
            Container sources("Sources", nullptr, static_cast<Types::FieldTypeEnum>(from));
            Container sinks("Sinks", nullptr, static_cast<Types::FieldTypeEnum>(to));
            auto* source = sources.add<double>("A", 2.5);
            auto* sink = sinks.add<double>("B");
            const LogCapture log;
            const KrConnection connection(source, sink);
            const bool isAllowed = allowed.contains({from, to});
            EXPECT_EQ(connection.isValid(), isAllowed);
            EXPECT_EQ(ConnectionAccess::isRegisteredInSorter(connection), isAllowed);
            EXPECT_EQ(sink->getValue(), isAllowed ? 2.5 : 0.0);
            EXPECT_EQ(connection.isOutputToParameter(), from == 2 && to == 3);
            if (isAllowed) {
                EXPECT_THAT(log.lines(), IsEmpty());
            } else {
                EXPECT_EQ(log.lines().at(0), std::string("2 KrConnection: invalid source/sink pair: A (") +
                                                 names[from] + ") -> B (" + names[to] + ")\n");
            }
        }
    }
}

TEST(ConnectionRefusal, TellsAllReasonsInOrder) {
    const auto car = Kr::makeSmart<KrSim::KrExtension>(), road = Kr::makeSmart<KrSim::KrExtension>();
    car->setName("Car");
    road->setName("Road");
    auto* out = car->addOutput("Out", Types::kColor);
    auto* in = road->addInput("In", Types::kDouble);
    Field<double> loose("Loose");
    Container looseOutputs("Group", nullptr, Types::kOutput);
    const std::string noPair = "2 KrConnection: invalid source/sink pair: ";
    const std::string none = "5 KrConnection: could not create connection from ";
    struct Case {
        FieldBase* source;
        FieldBase* sink;
        std::vector<std::string> lines;
    };
    const std::vector<Case> cases{
        {&loose, in, {kNoParent, noPair + "Loose (Field) -> In (Input)\n", none + ".Loose -> RoadInputs.In. "}},
        {&looseOutputs, &road->getInputContainer(), {kNoParent, none + ".Group -> RoadInputs. "}},
        {in, &loose, {kNoParent, noPair + "In (Input) -> Loose (Field)\n", none + "Road.Inputs.In -> Loose. "}},
        {in, out, {noPair + "In (Input) -> Out (Output)\n", none + "Road.Inputs.In -> CarOutputs.Out. "}},
        {out, in, {none + "Car.Outputs.Out -> RoadInputs.In. "}},
    };
    for (const auto& each : cases) {
        const LogCapture log;
        KrConnection connection;
        EXPECT_FALSE(connection.init(each.source, each.sink));
        auto lines = each.lines;
        lines.back() += "Check that types match. \n";
        EXPECT_EQ(log.lines(), lines);
        connection.enable(true);
        connection.disable(true);
        connection.transferValue(*each.source);
        EXPECT_FALSE(connection.isEnabled());
        EXPECT_FALSE(ConnectionAccess::isRegisteredInSorter(connection));
    }
    EXPECT_FALSE(FieldAccess::hasOutgoingConnections(*out));
#ifdef NDEBUG
    EXPECT_FALSE(KrConnection().init(nullptr, in));
#else
    EXPECT_DEATH(KrConnection().init(nullptr, in), "KrConnection");
#endif
}

TEST(ConnectionKinds, DecideWhetherFieldsFit) {
    Container outputs("O", nullptr, Types::kOutput), inputs("I", nullptr, Types::kInput);
    Container group("G", &outputs, Types::kOutput), sinkGroup("G", &inputs, Types::kInput);
    KrData::Vector<double> reals("R", &outputs), sinkReals("R", &inputs);
    KrData::Vector<int> numbers("N", &inputs);
    auto* gear = outputs.add<Kr::KrEnum>("Gear", Kr::KrEnum(eGear::kDrive));
    auto* sinkGear = inputs.add<Kr::KrEnum>("Gear", Kr::KrEnum(eGear::kPark));
    auto* light = inputs.add<Kr::KrEnum>("Light", Kr::KrEnum(eLight::kOff));
    auto* untyped = outputs.add<Kr::KrEnum>("Untyped");
    auto* sinkUntyped = inputs.add<Kr::KrEnum>("Untyped");
    auto* real = outputs.add<double>("Real", 2.5);
    auto* whole = inputs.add<int>("Whole");
    auto* color = inputs.add<Kr::KrColor>("Color");
    auto* position = inputs.add<KrMath::Vector3T<double>>("Position");
    KrData::FieldArray<Field<double>> array("Array", &outputs, Types::kOutput);
    for (const double value : {1.0, 2.0, 3.0})
        array.append()->setValue(value);

    struct Case {
        FieldBase* source;
        FieldBase* sink;
        bool fits;
    };
    const std::vector<Case> cases{
        {&group, &sinkGroup, true}, {&group, whole, false}, {&reals, &sinkReals, true},    {&reals, &numbers, false},
        {gear, sinkGear, true},     {gear, light, false},   {untyped, sinkUntyped, false}, {untyped, sinkGear, false},
        {gear, whole, true},        {real, whole, true},    {real, color, false},          {real, position, false},
        {&array, position, true},   {&reals, whole, false},
    };
    for (const auto& each : cases) {
        const auto what = each.source->getID().str() + " " + each.sink->getID().str();
        EXPECT_EQ(KrConnection::areFieldsCompatible(each.source, each.sink), each.fits) << what;
        EXPECT_EQ(KrConnection(each.source, each.sink).isValid(), each.fits) << what;
    }
    EXPECT_TRUE(KrConnection::areFieldsCompatible(whole, real)) << "whatever the roles";
    EXPECT_FALSE(KrConnection::areFieldsCompatible(nullptr, real));
    EXPECT_FALSE(KrConnection::areFieldsCompatible(real, nullptr));
    EXPECT_EQ(sinkGear->getValue().toString() + " " + std::to_string(whole->getValue()), "Drive 2");
    EXPECT_EQ(position->getValue(), KrMath::Vector3T<double>(1.0, 2.0, 3.0));

    const LogCapture log;
    EXPECT_FALSE(KrConnection(&reals, &numbers).isValid());
    EXPECT_THAT(
        log.lines(),
        ElementsAre("5 KrConnection: KrData::Vector source [O.R] and sink [I.N] must have the same data type.\n",
                    "5 KrConnection: could not create connection from .O.R -> I.N. Check that types match. \n"));
}

TEST(ConnectionDimensions, ThatDifferAreAWarningButNoRefusal) {
    using ePhysicalDimension = Kr::KrPhysicalDimension::ePhysicalDimension;
    const auto car = Kr::makeSmart<KrSim::KrExtension>(), road = Kr::makeSmart<KrSim::KrExtension>();
    car->setName("Car");
    road->setName("Road");
    auto *source = car->addOutput("A", Types::kDouble), *sink = road->addInput("A", Types::kDouble);
    source->setPhysicalDimension(ePhysicalDimension::kLength);
    const auto warningsOf = [](const auto& connect) {
        const LogCapture log;
        connect();
        return log.lines();
    };
    for (const auto fitting : {ePhysicalDimension::kNone, ePhysicalDimension::kLength}) {
        sink->setPhysicalDimension(fitting);
        EXPECT_THAT(warningsOf([&] { EXPECT_TRUE(KrConnection(source, sink).isValid()); }), IsEmpty());
    }
    sink->setPhysicalDimension(ePhysicalDimension::kMass);
    const std::string warning =
        "3 KrConnection: 'Car.Outputs.A' measures Length, 'Road.Inputs.A' measures Mass; check "
        "that these two are to be connected.\n";
    EXPECT_THAT(warningsOf([&] { EXPECT_TRUE(KrConnection(source, sink).isValid()); }), ElementsAre(warning));
    EXPECT_THAT(warningsOf([&] { EXPECT_TRUE(Kr::KrSimQueuedConnection(source, sink).isValid()); }),
                ElementsAre(warning));
    // Fields of connected groups, which have a pair each.
    EXPECT_THAT(warningsOf([&] {
                    EXPECT_TRUE(KrConnection(&car->getOutputContainer(), &road->getInputContainer()).isValid());
                }),
                ElementsAre(warning));
    // What was reported of an original is not reported of its copies.
    const KrConnection original(source, sink);
    EXPECT_THAT(warningsOf([&] { delete ConnectionAccess::createBetween(original, *source, *sink); }), IsEmpty());
}

class Connecting : public testing::Test {
protected:
    Kr::KrSmartPtr<KrSim::KrExtension> _from = Kr::makeSmart<KrSim::KrExtension>();
    Kr::KrSmartPtr<KrSim::KrExtension> _to = Kr::makeSmart<KrSim::KrExtension>();
    Field<double>* _source = _from->addOutput("Out", Types::kDouble)->as<double>();
    Field<double>* _input = _to->addInput("In", Types::kDouble)->as<double>();
    Field<double>* _parameter = _to->addParameter("Par", Types::kDouble)->as<double>();
};

TEST_F(Connecting, FromOutputToParameterWaitsForEditing) {
    using KrSim::eApplicationMode;
    auto* whole = _to->addParameter("Whole", Types::kInteger);
    auto* ownParameter = _from->addParameter("Par", Types::kDouble)->as<double>();
    auto* other = _to->addParameter("Other", Types::kDouble);
    Container ownerless("Parameters", nullptr, Types::kParameter);
    auto* free = ownerless.add<double>("Free");
    double value = 0.0;
    for (const auto mode : {eApplicationMode::kSimulating, eApplicationMode::kPlayback, eApplicationMode::kEditing}) {
        const ContextHost host;
        host.state->mode = mode;
        ExtensionAccess::setApplicationContext(*_to, host.context());
        const KrConnection gated(_source, _parameter), converting(_source, whole), input(_source, _input);
        const KrConnection parameters(ownParameter, other), toNobody(_source, free);
        EXPECT_TRUE(gated.isEnabled()) << "closed is not disabled";
        _source->setValue(++value);
        ownParameter->setValue(value);
        const double expected = mode == eApplicationMode::kEditing ? value : 0.0;
        EXPECT_EQ(_parameter->getValue(), expected);
        EXPECT_EQ(whole->toReal(), expected);
        EXPECT_EQ(_input->getValue() + other->toReal() + free->getValue(), 3 * value);
    }
}

TEST_F(Connecting, ToASuspendedExtensionWaitsForPendingWork) {
    const DispatcherScope dispatcher;
    auto* whole = _to->addInput("Whole", Types::kInteger);
    auto* outGroup = _from->getOutputContainer().addContainer("Group");
    auto* inGroup = _to->getInputContainer().addContainer("Group");
    auto* inChild = inGroup->add<double>("X");
    auto* outChild = outGroup->add<double>("X");
    KrData::Vector<double> outItems("Items", &_from->getOutputContainer(), {0.0});
    KrData::Vector<double> inItems("Items", &_to->getInputContainer());
    outItems.enableIncrementalDataTransfer(true);
    auto* queuedSink = _to->addInput("Queued", Types::kDouble);
    const KrConnection plain(_source, _input), converting(_source, whole), groups(outGroup, inGroup),
        items(&outItems, &inItems);
    const Kr::KrSimQueuedConnection queued(_source, queuedSink);
    const auto setAll = [&](double value) {
        _source->setValue(value);
        outChild->setValue(value);
        outItems.setItem(0, value);
    };
    const auto all = [&] {
        return std::vector<double>{_input->getValue(), whole->toReal(), inChild->getValue(), inItems.getItem(0)};
    };
    ExtensionAccess::setSuspended(*_to, true);
    setAll(1.0);
    EXPECT_THAT(all(), testing::Each(0.0));
    EXPECT_EQ(queuedSink->toReal(), 1.0) << "a delivered event is not held back";
    ExtensionAccess::addPending(*_to, 1);
    setAll(2.0);
    EXPECT_THAT(all(), testing::Each(2.0));
    ExtensionAccess::addPending(*_to, -1);
    setAll(3.0);
    EXPECT_THAT(all(), testing::Each(2.0));
    new KrSim::IExtension(_to.get(), 1);
    ExtensionAccess::addPending(*_to, 1);
    new KrSim::IExtension(_to.get(), 1);
    setAll(4.0);
    EXPECT_THAT(all(), testing::Each(2.0)) << "what the implementation before had to do is not pending any more";
    ExtensionAccess::setSuspended(*_to, false);
    outItems.append(9.0);
    EXPECT_THAT(inItems.getItems(), ElementsAre(4.0, 9.0)) << "changes from before are not forgotten";
}

TEST_F(Connecting, EnablesAndDisablesWithAndWithoutSorterAndTransfer) {
    struct Step {
        std::function<void(KrConnection&)> act;
        bool isEnabled, isInSorter, hasTransferred;
    };
    const std::vector<Step> steps{
        {[](auto& c) { c.disable(false); }, false, true, false},
        {[](auto& c) { c.enable(false); }, true, true, false},
        {[](auto& c) { c.disable(true); }, false, false, false},
        {[](auto& c) { c.disable(false); }, false, false, false},
        {[](auto& c) { c.enable(true); }, true, true, true},
        {[](auto& c) { c.enable(true); }, true, true, true},
    };
    KrConnection connection(_source, _input);
    double value = 0.0;
    for (const auto& step : steps) {
        connection.disable(false);
        _source->setValue(++value);
        EXPECT_NE(_input->getValue(), value);
        step.act(connection);
        EXPECT_EQ(connection.isEnabled(), step.isEnabled);
        EXPECT_EQ(ConnectionAccess::isRegisteredInSorter(connection), step.isInSorter);
        EXPECT_EQ(_input->getValue() == value, step.hasTransferred);
        EXPECT_TRUE(connection.isValid());
    }
    auto& sorter = KrSim::KrExtensionSorter::instance();
    EXPECT_TRUE(sorter.isFieldConnectedAsSink(_input));
    EXPECT_TRUE(_input->isReadOnlyHint());
    EXPECT_TRUE(connection.init(_source, _parameter, false)) << "a second beginning ends the first";
    EXPECT_FALSE(sorter.isFieldConnectedAsSink(_input));
    EXPECT_FALSE(_input->isReadOnlyHint());
    EXPECT_EQ(FieldAccess::getOutgoingConnections(*_source).size(), 1U);
    EXPECT_EQ(_parameter->getValue(), 0.0) << "without a first transfer";
}

TEST_F(Connecting, AppliesAFunctionOnTheWay) {
    KrConnection connection(_source, _input);
    _source->setValue(4.0);
    EXPECT_TRUE(connection.setTransferFunction([](double x) { return 10 * x; }));
    EXPECT_EQ(_input->getValue(), 40.0) << "the value that is there goes through it at once";
    _source->setValue(5.0);
    EXPECT_EQ(_input->getValue(), 50.0);

    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(connection.setTransferFunction([&](double) { return nan; }));
    EXPECT_TRUE(std::isnan(_input->getValue()));
    auto* whole = _to->addInput("Whole", Types::kInteger);
    KrConnection toWhole(_source, whole);
    EXPECT_TRUE(toWhole.setTransferFunction([&](double) { return nan; }));
    EXPECT_EQ(whole->toInteger(), 0);

    connection.setTransferFunction([](double x) { return x > 7 ? throw std::runtime_error("too fast") : x; });
    const LogCapture log;
    _source->setValue(8.0);
    EXPECT_EQ(_input->getValue(), 5.0) << "what cannot be computed changes nothing";
    EXPECT_THAT(log.lines(), ElementsAre(testing::StartsWith("3 ")));
    _source->setValue(6.0);
    EXPECT_EQ(_input->getValue(), 6.0) << "and the next value passes";
    EXPECT_TRUE(connection.setTransferFunction({}));
    _source->setValue(9.0);
    EXPECT_EQ(_input->getValue(), 9.0);

    const auto same = [](double x) { return x; };
    auto* text = _to->addInput("Text", Types::kString);
    KrConnection toText(_source, text), groups(&_from->getOutputContainer(), &_to->getInputContainer()), none;
    EXPECT_FALSE(toText.setTransferFunction(same));
    EXPECT_FALSE(groups.setTransferFunction(same));
    EXPECT_FALSE(none.setTransferFunction(same));
}

TEST_F(Connecting, ReplacesAFunctionWhileItRuns) {
    KrConnection connection(_source, _input);
    const auto text = std::make_shared<std::string>("kept while it runs");
    std::string seen;
    connection.setTransferFunction([&, text](double x) {
        connection.setTransferFunction([](double y) { return -y; });
        seen = *text;
        return x;
    });
    _source->setValue(3.0);
    EXPECT_EQ(seen, *text);
    EXPECT_EQ(_input->getValue(), -3.0);
}

}  // namespace connection_test
