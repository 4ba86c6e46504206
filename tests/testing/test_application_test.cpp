#include "kr/testing/test_application.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "kr/application/context/application_context.h"
#include "kr/extension/typed_field.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace test_application_test {

using KrTesting::TestApplication;
using testing::HasSubstr;

class Car final : public KrSim::IExtension {
public:
    explicit Car(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}
    KrSim::Input<double> force{this, "Force"};
};

TEST(TestApplication, AdvancesItsClockByOneTimeStepAFrame) {
    TestApplication application(50.0);
    const double start = application.getClock().getSeconds();
    EXPECT_TRUE(application.step(100));
    EXPECT_NEAR(application.getClock().getSeconds() - start, 2.0, 1e-9);
    EXPECT_NEAR(application.getApplication().getContext().getElapsedSeconds(), 99 * 0.02, 1e-9);
    EXPECT_EQ(application.getApplication().getContext().getFrame(), 99U);
}

TEST(TestApplication, StopsAtTheFrameThatIsTheLastOne) {
    TestApplication application;
    application.getApplication().sendExitApplicationRequest();
    EXPECT_FALSE(application.step(5));
    EXPECT_EQ(application.getApplication().getFrameStatistics().frames, 1U);
}

TEST(TestApplication, FindsFieldsByThePathThatPeopleRead) {
    TestApplication application;
    const auto& first = application.make<Car>("Car");
    const auto& second = application.make<Car>("Car");
    EXPECT_EQ(&application.getField("Car.Inputs.Force"), first.force.getField());
    EXPECT_EQ(&application.getField("Car 2.Inputs.Force"), second.force.getField());
}

struct RefusedCase {
    const char* name;
    std::function<void(TestApplication&)> ask;
    const char* answer;
};

class TestApplicationRefuses : public testing::TestWithParam<RefusedCase> {};

TEST_P(TestApplicationRefuses, SayingWhatThereIs) {
    const test_support::LogCapture log;
    TestApplication application;
    application.make<Car>("Car");
    std::string answer;
    try {
        GetParam().ask(application);
    } catch (const std::runtime_error& error) {
        answer = error.what();
    }
    EXPECT_THAT(answer, HasSubstr(GetParam().answer));
}

INSTANTIATE_TEST_SUITE_P(
    Questions, TestApplicationRefuses,
    testing::Values(
        RefusedCase{"Field", [](auto& each) { static_cast<void>(each.getField("Car.Inputs.Fource")); },
                    "there is no field 'Car.Inputs.Fource'; did you mean 'Car.Inputs.Force'?"},
        RefusedCase{"Type", [](auto& each) { each.add("Application.ConectionModule"); },
                    "no type 'Application.ConectionModule' is registered, usePlugin loads those of a plug-in; did you "
                    "mean 'Application.ConnectionModule'?"},
        RefusedCase{"Plugin", [](auto& each) { each.usePlugin(KR_PLUGIN_ZOO, "NoManifest"); },
                    "plug-in 'NoManifest' cannot be loaded from"}),
    test_support::caseName);

}  // namespace test_application_test
