// What a step of Dynamics costs, beside Odeint's steppers on a plain array with the same equations.

#include <benchmark/benchmark.h>

#include <boost/numeric/odeint/stepper/runge_kutta4.hpp>
#include <boost/numeric/odeint/stepper/runge_kutta_dopri5.hpp>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/extension/extension.h"
#include "kr/extension/i_extension.h"
#include "kr/integration/dynamics.h"
#include "kr/platform/smart_ptr.h"

namespace {

namespace odeint = boost::numeric::odeint;

using KrSim::eIntegrator;
using Values = std::vector<double>;

constexpr double kSeconds = 0.01;
constexpr double kStiffness = 9.0;
constexpr double kDamping = 0.1;
constexpr int kMasses = 8;

/// Masses between springs, in a row.
double accelerate(double left, double here, double right, double speed) {
    return kStiffness * (left - 2.0 * here + right) - kDamping * speed;
}

class Chain final : public KrSim::IExtension {
public:
    Chain(KrSim::KrExtension* proxy, eIntegrator method) : IExtension(proxy, 1), dynamics(this, {.method = method}) {
        for (int i = 0; i < kMasses; ++i) {
            const auto number = std::to_string(i);
            speeds.push_back(std::make_unique<KrSim::State<double>>(dynamics, "Speed " + number));
            positions.push_back(std::make_unique<KrSim::State<double>>(*speeds.back(), "Position " + number));
        }
        *positions.front() = 1.0;
    }

    void step() {
        dynamics.step(kSeconds, [this](double) {
            double left = 0.0;
            for (std::size_t i = 0; i < kMasses; ++i) {
                const double here = *positions[i];
                const double right = i + 1 < kMasses ? static_cast<double>(*positions[i + 1]) : 0.0;
                speeds[i]->setDerivative(accelerate(left, here, right, *speeds[i]));
                left = here;
            }
        });
    }

    KrSim::Dynamics dynamics;
    std::vector<std::unique_ptr<KrSim::State<double>>> speeds;
    std::vector<std::unique_ptr<KrSim::State<double>>> positions;
};

/// Speeds first, then positions.
void differentiate(const Values& values, Values& derivatives, double) {
    double left = 0.0;
    for (std::size_t i = 0; i < kMasses; ++i) {
        const double here = values[kMasses + i];
        const double right = i + 1 < kMasses ? values[kMasses + i + 1] : 0.0;
        derivatives[i] = accelerate(left, here, right, values[i]);
        derivatives[kMasses + i] = values[i];
        left = here;
    }
}

Values startValues() {
    Values values(2 * kMasses, 0.0);
    values[kMasses] = 1.0;
    return values;
}

void requireSame(benchmark::State& state, double found, double expected) {
    if (std::abs(found - expected) > 1e-6) state.SkipWithError("the results differ");
}

void runDynamics(benchmark::State& state, eIntegrator method, double expectedAfterOneSecond) {
    const auto proxy = Kr::makeSmart<KrSim::KrExtension>();
    auto* chain = new Chain(proxy.get(), method);
    for (int i = 0; i < 100; ++i)
        chain->step();
    requireSame(state, *chain->positions.front(), expectedAfterOneSecond);
    const auto before = kr_benchmark::allocations();
    for (auto each : state)
        chain->step();
    if (kr_benchmark::allocations() != before) state.SkipWithError("a steady step allocates");
}

template <class Stepper>
Values runPlain(Stepper& stepper, int steps) {
    auto values = startValues();
    for (int i = 0; i < steps; ++i)
        stepper.do_step(differentiate, values, i * kSeconds, kSeconds);
    return values;
}

double solve() {
    odeint::runge_kutta_dopri5<Values> stepper;
    return runPlain(stepper, 100)[kMasses];
}

template <class Stepper>
void runOdeint(benchmark::State& state) {
    Stepper stepper;
    auto values = runPlain(stepper, 100);
    requireSame(state, values[kMasses], solve());
    for (auto each : state)
        stepper.do_step(differentiate, values, 0.0, kSeconds);
    benchmark::DoNotOptimize(values.data());
}

void BM_RungeKutta4(benchmark::State& state) {
    runDynamics(state, eIntegrator::kRungeKutta4, solve());
}
void BM_DormandPrince(benchmark::State& state) {
    runDynamics(state, eIntegrator::kDormandPrince, solve());
}
void BM_OdeintRungeKutta4(benchmark::State& state) {
    runOdeint<odeint::runge_kutta4<Values>>(state);
}
void BM_OdeintDormandPrince(benchmark::State& state) {
    runOdeint<odeint::runge_kutta_dopri5<Values>>(state);
}

BENCHMARK(BM_RungeKutta4);
BENCHMARK(BM_OdeintRungeKutta4);
BENCHMARK(BM_DormandPrince);
BENCHMARK(BM_OdeintDormandPrince);

}  // namespace
