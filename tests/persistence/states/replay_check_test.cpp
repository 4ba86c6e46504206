#include "kr/persistence/states/replay_check.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/field_array.h"
#include "tests/persistence/states/world.h"

namespace replay_check_test {

using states_test::Holder;
using states_test::Stepper;
using states_test::Unit;

struct Fault {
    const char* name;
    std::function<void(Unit& unit)> step;  // beside the unit's own
    std::string found;                     // a part of the answer; empty: none
};

int calls = 0;

class ReplayChecks : public testing::TestWithParam<Fault> {};

/// Two units that are connected back through a queued connection, in both ways of delivering events.
std::string check(const Fault& fault, bool externalControl) {
    const test_support::DispatcherScope dispatcher;
    KrPersistence::ReplayCheck check;
    auto& application = check.getApplication();
    KrSim::KrEventDispatcher::enableExternalControl(externalControl);
    application.setApplicationMode(KrSim::eApplicationMode::kSimulating);
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    auto* stepper = new Stepper(proxy.get());
    application.insertModule(Holder(stepper));
    Unit* units[2];
    for (auto& unit : units) {
        const auto extension = Kr::makeSmart<KrSim::KrExtension>();
        extension->setName(&unit == units ? "First" : "Second");
        unit = new Unit(extension.get());
        extension->addParameter("Count", KrData::Types::kInteger);
        application.add(extension.get());
    }
    units[0]->drag = 0.5;
    units[0]->speed = 1.0;
    Kr::KrConnectionFactory::connect(*units[0]->speed.getField(), *units[1]->force.getField());
    const Kr::KrSimQueuedConnection back(units[1]->speed.getField(), units[0]->force.getField());
    stepper->inUpdate = {};
    stepper->onEachUpdate = [&] { fault.step(*units[0]); };
    return check.explain(5, 20);
}

TEST_P(ReplayChecks, FindTheFirstDifference) {
    for (const bool externalControl : {false, true}) {
        calls = 0;
        const auto text = check(GetParam(), externalControl);
        if (GetParam().found.empty()) {
            EXPECT_EQ(text, "");
        } else {
            EXPECT_NE(text.find(GetParam().found), std::string::npos) << text;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Units, ReplayChecks,
    testing::Values(
        Fault{"Exact", [](Unit&) {}, ""},
        Fault{"ForgottenState",
              [](Unit& unit) { states_test::proxyOf(&unit).getParameter("Count")->set<int>(++calls); },
              "First: Parameters.Count differs after frame 6: 6 in the first run, 26 in the replay"},
        Fault{"RestoreThatLoses", [](Unit& unit) { unit.addsToState = ++calls; },
              "First differs after frame 5: 12 bytes, from 8: 05 00 00 00 in the first run, 12 bytes, from 8: 19"},
        Fault{"FieldThatComes",
              [](Unit& unit) {
                  if (++calls == 30) states_test::proxyOf(&unit).addParameter("New", KrData::Types::kDouble);
              },
              "First: Parameters.New differs after frame 10: no such field in the first run, 0 in the replay"}),
    [](const auto& each) { return std::string(each.param.name); });

}  // namespace replay_check_test
