#include "kr/integration/dynamics.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/application/modules/module_of.h"
#include "kr/testing/test_application.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace dynamics_test {

using Vector3 = KrMath::Vector3T<double>;
using KrSim::Dynamics;
using KrSim::eIntegrator;
using KrSim::IntegrationError;
using KrSim::IntegrationOptions;
using KrSim::State;
using testing::ElementsAre;
using testing::HasSubstr;

/// x'' = -w^2 x - 2 d x', from x = 1, x' = 0.
class Oscillator final : public KrSim::IExtension {
public:
    static inline IntegrationOptions options;  // of the next one

    explicit Oscillator(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}

    void step(double seconds) {
        dynamics.step(seconds, [this](double) {
            if (isPushedOnlyOutside && std::abs(position) < 0.1) return;  // a derivative that is not set
            speed.setDerivative(push - frequency * frequency * position - 2.0 * damping * speed);
        });
    }
    /// The speed becomes infinite after about 1.57 s.
    void explode(double seconds) {
        dynamics.step(seconds, [this](double) { speed.setDerivative(1.0 + speed * speed); });
    }
    [[nodiscard]] double solve(double time) const {
        const double w = std::sqrt(frequency * frequency - damping * damping);
        return std::exp(-damping * time) * (std::cos(w * time) + damping / w * std::sin(w * time));
    }
    [[nodiscard]] double getEnergy() const {
        return 0.5 * (speed * speed + frequency * frequency * position * position);
    }

    KrSim::Input<double> push{this, "Push"};
    double frequency = 3.0;
    double damping = 0.4;
    bool isPushedOnlyOutside = false;
    Dynamics dynamics{this, options};
    State<double> speed{dynamics, "Speed"};
    State<double> position{speed, "Position", {.value = 1.0}};
};

class Oscillators final : public KrSim::ModuleOf<Oscillator> {
public:
    explicit Oscillators(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {}
    void onStep(Oscillator& oscillator, double seconds) override { oscillator.step(seconds); }
};

Oscillator& makeOscillator(KrTesting::TestApplication& application, const IntegrationOptions& options) {
    Oscillator::options = options;
    return application.make<Oscillator>("Oscillator");
}

/// The largest error of the position in two seconds.
double errorWith(const IntegrationOptions& options, int steps) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, options);
    double largest = 0.0;
    for (int i = 1; i <= steps; ++i) {
        oscillator.step(2.0 / steps);
        largest = std::max(largest, std::abs(oscillator.position - oscillator.solve(2.0 * i / steps)));
    }
    return largest;
}

struct OrderCase {
    const char* name;
    IntegrationOptions options;
    int steps;
    double order;
};

class OrderOfConvergence : public testing::TestWithParam<OrderCase> {};

TEST_P(OrderOfConvergence, IsThatOfTheMethod) {
    const auto& [name, options, steps, order] = GetParam();
    const double ratio = errorWith(options, steps) / errorWith(options, 2 * steps);
    EXPECT_NEAR(std::log2(ratio), order, 0.25);
}

constexpr KrSim::IntegrationTolerances kAnyError{1e9, 1e9};  // one inner step for each step

INSTANTIATE_TEST_SUITE_P(
    Dynamics, OrderOfConvergence,
    testing::Values(OrderCase{"SemiImplicitEuler", {.method = eIntegrator::kSemiImplicitEuler}, 800, 1.0},
                    OrderCase{"Heun", {.method = eIntegrator::kHeun}, 100, 2.0},
                    OrderCase{"RungeKutta4", {.method = eIntegrator::kRungeKutta4}, 40, 4.0},
                    OrderCase{
                        "DormandPrince", {.method = eIntegrator::kDormandPrince, .tolerances = kAnyError}, 20, 5.0}),
    test_support::caseName);

TEST(Dynamics, KeepsTheEnergyOfAnOscillatorBoundedWithSemiImplicitEuler) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, {.method = eIntegrator::kSemiImplicitEuler});
    oscillator.damping = 0.0;
    const double energy = oscillator.getEnergy();
    for (int i = 0; i < 20000; ++i)
        oscillator.step(0.01);
    EXPECT_NEAR(oscillator.getEnergy() / energy, 1.0, 0.03);
}

struct ToleranceCase {
    const char* name;
    double tolerance;
};

class AdaptiveTolerance : public testing::TestWithParam<ToleranceCase> {};

TEST_P(AdaptiveTolerance, IsKeptWithOneLargeStep) {
    const double tolerance = GetParam().tolerance;
    EXPECT_LT(errorWith({.method = eIntegrator::kDormandPrince, .tolerances = {tolerance, tolerance}}, 1),
              20.0 * tolerance);
}

INSTANTIATE_TEST_SUITE_P(Dynamics, AdaptiveTolerance,
                         testing::Values(ToleranceCase{"Coarse", 1e-3}, ToleranceCase{"Fine", 1e-6},
                                         ToleranceCase{"Finest", 1e-10}),
                         test_support::caseName);

TEST(Dynamics, BeginsWithTheInnerStepOfTheLastTime) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, {.method = eIntegrator::kDormandPrince});
    oscillator.step(2.0);
    const auto first = oscillator.dynamics.getStatistics();
    oscillator.step(2.0);
    const auto second = oscillator.dynamics.getStatistics();
    EXPECT_LT(second.innerSteps - first.innerSteps, first.innerSteps);
    EXPECT_EQ(second.rejected, first.rejected);
}

// --- Fields ----------------------------------------------------------------------------------------------------------

TEST(Dynamics, SetsEachOutputOnceAStep) {
    KrTesting::TestApplication application(2.0);
    application.make<Oscillators>("Module");
    auto& oscillator = makeOscillator(application, {});
    std::vector<double> seen;
    const auto watching = oscillator.position.getField()->addObserver(
        [&](const KrData::FieldBase&) { seen.push_back(oscillator.position); });
    application.step(2);
    EXPECT_THAT(seen, ElementsAre(testing::DoubleNear(oscillator.solve(0.5), 0.1),
                                  testing::DoubleNear(oscillator.solve(1.0), 0.1)));
}

TEST(Dynamics, ContinuesFromAValueThatWasSetBetweenTwoSteps) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, {});
    oscillator.step(0.1);
    oscillator.position = 0.0;
    oscillator.speed = 0.0;
    oscillator.step(0.1);
    EXPECT_EQ(oscillator.position.get(), 0.0);
}

class Ball final : public KrSim::IExtension {
public:
    explicit Ball(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}

    Dynamics dynamics{this, {.parameter = "Integrator"}};
    State<Vector3> velocity{dynamics, "Velocity", {.value = Vector3(3.0, 0.0, 4.0)}};
    State<Vector3> position{velocity, "Position"};
};

TEST(Dynamics, IntegratesVectors) {
    KrTesting::TestApplication application;
    auto& ball = application.make<Ball>("Ball");
    ball.dynamics.step(0.5, [&](double) { ball.velocity.setDerivative(Vector3(0.0, 0.0, -10.0)); });
    EXPECT_NEAR(ball.position.get().x, 1.5, 1e-12);
    EXPECT_NEAR(ball.position.get().z, 0.75, 1e-12);
    EXPECT_NEAR(ball.velocity.get().z, -1.0, 1e-12);
}

TEST(Dynamics, UsesTheMethodThatContentChooses) {
    KrTesting::TestApplication application;
    auto& ball = application.make<Ball>("Ball");
    application.getField("Ball.Parameters.Integrator").set(Kr::KrEnum(eIntegrator::kHeun));
    int evaluations = 0;
    ball.dynamics.step(0.5, [&](double) { ++evaluations; });
    EXPECT_EQ(evaluations, 2);
}

TEST(Dynamics, AllocatesNothingInASteadyStep) {
    KrTesting::TestApplication application;
    for (const auto method : {eIntegrator::kSemiImplicitEuler, eIntegrator::kHeun, eIntegrator::kRungeKutta4,
                              eIntegrator::kDormandPrince}) {
        auto& oscillator = makeOscillator(application, {.method = method});
        oscillator.step(0.1);
        const auto before = kr_benchmark::allocations();
        for (int i = 0; i < 100; ++i)
            oscillator.step(0.1);
        EXPECT_EQ(kr_benchmark::allocations(), before) << static_cast<int>(method);
    }
}

// --- Failures --------------------------------------------------------------------------------------------------------

struct FailureCase {
    const char* name;
    eIntegrator method;
    double push;
    double seconds;
    const char* message;
};

class FailedStep : public testing::TestWithParam<FailureCase> {};

TEST_P(FailedStep, NamesTheExtensionAndKeepsTheStates) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, {.method = GetParam().method});
    oscillator.push.set(GetParam().push);
    EXPECT_THAT([&] { oscillator.step(GetParam().seconds); },
                testing::ThrowsMessage<IntegrationError>(
                    testing::AllOf(HasSubstr("Dynamics of 'Oscillator'"), HasSubstr(GetParam().message))));
    EXPECT_EQ(oscillator.position.get(), 1.0);
    EXPECT_EQ(oscillator.speed.get(), 0.0);
    oscillator.push.set(0.0);
    EXPECT_NO_THROW(oscillator.step(0.01));
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Dynamics, FailedStep,
    testing::Values(FailureCase{"EulerWithNaN", eIntegrator::kSemiImplicitEuler, kNaN, 0.1, "'Speed': its new value"},
                    FailureCase{"HeunWithInfinity", eIntegrator::kHeun, kInfinity, 0.1, "state 'Speed'"},
                    FailureCase{"RungeKuttaWithInfinity", eIntegrator::kRungeKutta4, kInfinity, 0.1, "is not finite"},
                    FailureCase{"DormandPrinceWithNaN", eIntegrator::kDormandPrince, kNaN, 0.1,
                                "'Speed': its derivative at the beginning"},
                    FailureCase{"NegativeStep", eIntegrator::kRungeKutta4, 0.0, -0.1, "negative"},
                    FailureCase{"StepThatIsNoNumber", eIntegrator::kDormandPrince, 0.0, kNaN, "no number"}),
    test_support::caseName);

TEST(Dynamics, NamesTheStateThatCannotKeepTheTolerances) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, {.method = eIntegrator::kDormandPrince});
    EXPECT_THAT([&] { oscillator.explode(2.0); }, testing::ThrowsMessage<IntegrationError>(HasSubstr("state 'Speed'")));
    EXPECT_EQ(oscillator.speed.get(), 0.0);
}

struct MisuseCase {
    const char* name;
    void (*use)(Oscillator& oscillator);
    const char* message;
};

class MisusedDynamics : public testing::TestWithParam<MisuseCase> {};

TEST_P(MisusedDynamics, SayWhatIsWrong) {
    KrTesting::TestApplication application;
    auto& oscillator = makeOscillator(application, {});
    EXPECT_THAT([&] { GetParam().use(oscillator); },
                testing::ThrowsMessage<std::logic_error>(HasSubstr(GetParam().message)));
    EXPECT_NO_THROW(oscillator.step(0.01));
}

INSTANTIATE_TEST_SUITE_P(
    Dynamics, MisusedDynamics,
    testing::Values(
        MisuseCase{"DerivativeOutsideAnEvaluation", [](Oscillator& each) { each.speed.setDerivative(1.0); },
                   "'Speed': its derivative was set outside"},
        MisuseCase{"DerivativeOfAnIntegral",
                   [](Oscillator& each) { each.dynamics.step(0.1, [&](double) { each.position.setDerivative(1.0); }); },
                   "'Position' is the integral"},
        MisuseCase{"StepInAStep", [](Oscillator& each) { each.dynamics.step(0.1, [&](double) { each.step(0.1); }); },
                   "a step in the derivatives"}),
    test_support::caseName);

TEST(Dynamics, LetsExceptionsOfTheDerivativesPassAndStartsAgain) {
    KrTesting::TestApplication application;
    auto& ball = application.make<Ball>("Ball");
    EXPECT_THROW(ball.dynamics.step(0.5, [](double) { throw std::runtime_error("no table"); }), std::runtime_error);
    EXPECT_EQ(ball.velocity.get(), Vector3(3.0, 0.0, 4.0));
    EXPECT_TRUE(ball.velocity.set(Vector3(1.0, 0.0, 0.0)));  // not taken for a call during an evaluation
}

// --- In an application -----------------------------------------------------------------------------------------------

class ReplayedDynamics : public testing::TestWithParam<OrderCase> {};

TEST_P(ReplayedDynamics, ContinueFromASnapshotWithTheSameBits) {
    KrTesting::TestApplication application(5.0);
    application.make<Oscillators>("Module");
    makeOscillator(application, GetParam().options).isPushedOnlyOutside = true;
    EXPECT_EQ(application.explainReplay(7, 20), "");
}

INSTANTIATE_TEST_SUITE_P(
    Dynamics, ReplayedDynamics,
    testing::Values(OrderCase{"RungeKutta4", {}, 0, 0.0},
                    OrderCase{
                        "DormandPrince", {.method = eIntegrator::kDormandPrince, .tolerances = {1e-9, 1e-9}}, 0, 0.0}),
    test_support::caseName);

TEST(Dynamics, WarnsInTheModuleWhereAStepFails) {
    const test_support::LogCapture log;
    KrTesting::TestApplication application;
    application.make<Oscillators>("Module");
    makeOscillator(application, {}).push.set(kNaN);
    application.step();
    EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn),
                testing::Contains(HasSubstr("state 'Speed': its new value is not finite")));
}

}  // namespace dynamics_test
