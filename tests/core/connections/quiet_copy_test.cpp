// Connections that are mere copies, and what turns them into more than that and back while they exist.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "kr/core/connections/connection.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/not_finite.h"
#include "kr/data/proxy.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "tests/support/field_doubles.h"

namespace quiet_copy_test {

using namespace test_support;
using Kr::KrConnection;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

/// A source with one connection, or with one in the middle of three.
struct Wires {
    explicit Wires(bool isOneOfSeveral) {
        source->setValue(1.0);
        if (isOneOfSeveral) before.emplace(source, first);
        connection.emplace(source, sink);
        if (isOneOfSeveral) after.emplace(source, last);
    }
    void hear(const FieldBase& changed) { heard.push_back(changed.toReal()); }
    KrData::DelegateConnection watch(FieldBase& field) {
        return field.addObserver([this](const FieldBase& changed) { hear(changed); });
    }

    Kr::KrSmartPtr<KrSim::KrExtension> from = Kr::makeSmart<KrSim::KrExtension>();
    Kr::KrSmartPtr<KrSim::KrExtension> to = Kr::makeSmart<KrSim::KrExtension>();
    Field<double>* source = from->getOutputContainer().add<double>("Source");
    Field<double>* first = to->getInputContainer().add<double>("First");
    Field<double>* sink = to->getInputContainer().add<double>("Sink");
    Field<double>* last = to->getInputContainer().add<double>("Last");
    Field<double>* next = to->getInputContainer().add<double>("Next");
    std::vector<double> heard;
    double variable{0.0};
    std::optional<KrConnection> before;
    std::optional<KrConnection> connection;
    std::optional<KrConnection> after;
    std::optional<KrConnection> further;
    KrData::DelegateConnection watching;
    std::optional<KrData::Proxy> proxy;
};

struct ThingCase {
    const char* name;
    void (*begin)(Wires& wires);
    void (*end)(Wires& wires);
    double sunk;                // in the sink, when the source is set to 2 meanwhile
    std::vector<double> heard;  // meanwhile
};

class QuietCopies : public testing::TestWithParam<std::tuple<bool, ThingCase>> {};

TEST_P(QuietCopies, BecomeMoreThanCopiesForAsLongAsSomethingAsks) {
    const auto& [isOneOfSeveral, thing] = GetParam();
    Wires wires(isOneOfSeveral);
    ASSERT_EQ(wires.sink->getValue(), 1.0);
    thing.begin(wires);
    wires.heard.clear();
    wires.source->setValue(2.0);
    EXPECT_EQ(wires.sink->getValue(), thing.sunk);
    EXPECT_THAT(wires.heard, ElementsAreArray(thing.heard));
    thing.end(wires);
    wires.heard.clear();
    wires.source->setValue(3.0);
    EXPECT_EQ(wires.sink->getValue(), 3.0);
    EXPECT_THAT(wires.heard, IsEmpty());
    EXPECT_EQ(wires.first->getValue() + wires.last->getValue(), isOneOfSeveral ? 6.0 : 0.0);
}

const ThingCase kThings[] = {
    {"ObserverOfTheSink",
     [](Wires& wires) { wires.watching = wires.watch(*wires.sink); },
     [](Wires& wires) { wires.watching.disconnect(); },
     2.0,
     {2.0}},
    {"ObserverOfAContainerOfTheSink",
     [](Wires& wires) {
         wires.watching = wires.to->addObserver([&wires](const FieldBase& changed) {
             if (&changed == wires.sink) wires.hear(changed);
         });
     },
     [](Wires& wires) { wires.watching.disconnect(); },
     2.0,
     {2.0}},
    {"ObserverOfPropertiesOfTheSink",
     [](Wires& wires) {
         wires.watching = wires.sink->addPropertyObserver([&wires](const FieldBase& changed) { wires.hear(changed); });
     },
     [](Wires& wires) {
         wires.sink->setDescription("Renamed");
         EXPECT_THAT(wires.heard, ElementsAre(2.0));
         wires.watching.disconnect();
     },
     2.0,
     {}},
    {"RangeOfTheSource",
     [](Wires& wires) { wires.source->setRange(0.0, 1.5); },
     [](Wires& wires) { wires.source->clearRange(); },
     1.5,
     {}},
    {"RangeOfTheSink",
     [](Wires& wires) { wires.sink->setRange(0.0, 1.5); },
     [](Wires& wires) { wires.sink->clearRange(); },
     2.0,
     {}},
    {"GetterOfTheSource",
     [](Wires& wires) {
         wires.source->bindValue({[] { return 7.0; }, [](double) {}});
     },
     [](Wires& wires) { wires.source->unbindValue(); },
     7.0,
     {}},
    {"SetterOfTheSink",
     [](Wires& wires) {
         wires.sink->bindValue({{}, [&wires](double value) { wires.heard.push_back(value); }});
     },
     [](Wires& wires) { wires.sink->unbindValue(); },
     2.0,
     {2.0}},
    {"VariableOfTheSink",
     [](Wires& wires) { wires.sink->bindVariable(&wires.variable); },
     [](Wires& wires) {
         EXPECT_EQ(wires.variable, 2.0);
         wires.sink->bindVariable(nullptr);
     },
     2.0,
     {}},
    {"TransferFunction",
     [](Wires& wires) { wires.connection->setTransferFunction([](double value) { return 10.0 * value; }); },
     [](Wires& wires) { wires.connection->setTransferFunction({}); },
     20.0,
     {}},
    {"Disabled",
     [](Wires& wires) { wires.connection->disable(false); },
     [](Wires& wires) { wires.connection->enable(false); },
     1.0,
     {}},
    {"Suspended",
     [](Wires& wires) { KrSim::detail::ExtensionAccess::setSuspended(*wires.to, true); },
     [](Wires& wires) {
         EXPECT_EQ(wires.last->getValue() + wires.first->getValue(), wires.before ? 2.0 : 0.0);
         KrSim::detail::ExtensionAccess::setSuspended(*wires.to, false);
     },
     1.0,
     {}},
    {"ConnectionFromTheSink",
     [](Wires& wires) {
         wires.further.emplace(wires.sink, wires.next);
         wires.watching = wires.watch(*wires.next);
     },
     [](Wires& wires) {
         EXPECT_EQ(wires.next->getValue(), 2.0);
         wires.further.reset();
     },
     2.0,
     {2.0}},
    {"ProxyOfTheSink",
     [](Wires& wires) {
         wires.proxy.emplace("Proxy", Types::kUnknown, &wires.to->getInputContainer());
         EXPECT_TRUE(wires.proxy->addLink(wires.sink));
         wires.watching = wires.proxy->addObserver([&wires](const FieldBase&) { wires.hear(*wires.sink); });
     },
     [](Wires& wires) { wires.proxy.reset(); },
     2.0,
     {2.0}},
    {"OtherSource",
     [](Wires& wires) {
         wires.connection.reset();
         wires.connection.emplace(wires.next, wires.sink);
     },
     [](Wires& wires) { wires.connection->init(wires.source, wires.sink); },
     0.0,
     {}},
};
INSTANTIATE_TEST_SUITE_P(Connections, QuietCopies, testing::Combine(testing::Bool(), testing::ValuesIn(kThings)),
                         [](const auto& each) {
                             return std::string(std::get<1>(each.param).name) +
                                    (std::get<0>(each.param) ? "OfOneOfSeveral" : "OfTheOnlyOne");
                         });

/// The fields whose values became worse, in order.
std::vector<std::string> reportedNames;

TEST(QuietCopiesNotFinite, AreReportedAsOtherTransfersReportThem) {
    for (const bool isObserved : {false, true}) {
        Wires wires(true);
        if (isObserved) wires.watching = wires.watch(*wires.sink);
        reportedNames.clear();
        KrData::setNotFiniteObserver(
            [](const FieldBase& field, KrData::eRealRank) noexcept { reportedNames.push_back(field.getID().str()); });
        for (const double value : {std::nan(""), 2.0, std::numeric_limits<double>::infinity()})
            wires.source->setValue(value);
        KrData::setNotFiniteObserver(nullptr);
        EXPECT_THAT(reportedNames, ElementsAre("Source", "First", "Sink", "Last", "Source", "First", "Sink", "Last"))
            << isObserved;
    }
}

}  // namespace quiet_copy_test
