#include "kr/persistence/states/run_record.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "kr/application/modules/module_of.h"
#include "kr/extension/typed_field.h"
#include "kr/testing/test_application.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace run_record_test {

using KrPersistence::RunRecord;
using KrTesting::TestApplication;

class Car final : public KrSim::IExtension {
public:
    explicit Car(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}
    void step(double seconds) { speed = speed + force * seconds; }
    void onStateSave(std::ostream& state) override { state << hidden; }

    KrSim::Input<double> force{this, "Force", {.value = 1.0}};
    KrSim::Output<double> speed{this, "Speed"};
    char hidden{'a'};
};

class Road final : public KrSim::ModuleOf<Car> {
public:
    explicit Road(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {}
    void onStep(Car& car, double seconds) override { car.step(seconds); }
};

/// What a run does otherwise than the plain one: ten frames of two cars at 100 Hz.
struct RunCase {
    const char* name;
    std::function<void(TestApplication&)> begin;
    std::uint32_t frames;
    std::string difference;  // to the plain run
};

RunRecord run(const std::function<void(TestApplication&)>& begin, std::uint32_t frames) {
    TestApplication application(100.0);
    application.make<Road>("Road");
    application.make<Car>("Car");
    application.make<Car>("Truck");
    begin(application);
    return application.record(frames);
}

Car& carOf(TestApplication& application, std::size_t index) {
    return *application.getApplication().getExtension(index)->getImplementationAs<Car>();
}

class TwoRuns : public testing::TestWithParam<RunCase> {};

TEST_P(TwoRuns, DifferInTheFirstValueThatDiffers) {
    const auto plain = run([](auto&) {}, 10);
    const auto other = run(GetParam().begin, GetParam().frames);
    EXPECT_EQ(plain.explainDifference(other), GetParam().difference);
}

INSTANTIATE_TEST_SUITE_P(
    Cars, TwoRuns,
    testing::Values(
        RunCase{"Alike", [](auto&) {}, 10, ""},
        RunCase{"Field", [](auto& application) { carOf(application, 0).force.set(2.0); }, 10,
                "Car: Inputs.Force differs after frame 1: 1 in the first run, 2 in the second run"},
        RunCase{"Bytes", [](auto& application) { carOf(application, 1).hidden = 'b'; }, 10,
                "Truck differs after frame 1: 1 bytes, from 0: 61 in the first run, 1 bytes, from 0: 62 in the second "
                "run"},
        RunCase{"MissingExtension",
                [](auto& application) {
                    application.getApplication().remove(application.getApplication().getExtension(1));
                },
                10, "Truck differs after frame 1: present in the first run, missing in the second run"},
        RunCase{"NewExtension", [](auto& application) { application.template make<Car>("Van"); }, 10,
                "Van differs after frame 1: missing in the first run, present in the second run"},
        RunCase{"EarlierEnd", [](auto&) {}, 9,
                "the length of the record differs after frame 10: 10 moments in the first run, 9 moments in the second "
                "run"}),
    test_support::caseName);

TEST(RunRecord, TakesNothingDuringAFrame) {
    const test_support::LogCapture log;
    TestApplication application;
    RunRecord record;
    application.getApplication().getContext().executeLater(
        [&] { EXPECT_FALSE(record.take(application.getApplication())); });
    application.step();
    EXPECT_EQ(record.size(), 0U);
    EXPECT_TRUE(record.take(application.getApplication()));
}

}  // namespace run_record_test
