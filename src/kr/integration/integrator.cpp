#include "kr/integration/integrator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "kr/integration/internal/dormand_prince.h"

namespace KrSim {

IntegrationError::IntegrationError(const std::string& reason, std::size_t state)
    : std::runtime_error(reason), _state(state) {}

IntegrationError::~IntegrationError() = default;

namespace detail {

namespace {

/// An explicit Runge-Kutta method: its Butcher tableau.
template <std::size_t stages>
struct Tableau {
    std::array<double, stages> times;
    std::array<std::array<double, stages>, stages> weights;  // of the earlier stages, for each stage
    std::array<double, stages> results;
};

constexpr Tableau<2> kHeunTableau{{0.0, 1.0}, {{{}, {1.0}}}, {0.5, 0.5}};
constexpr Tableau<4> kRungeKutta4Tableau{
    {0.0, 0.5, 0.5, 1.0}, {{{}, {0.5}, {0.0, 0.5}, {0.0, 0.0, 1.0}}}, {1.0 / 6.0, 1.0 / 3.0, 1.0 / 3.0, 1.0 / 6.0}};

void requireFinite(std::span<const double> states) {
    const auto found = std::find_if(states.begin(), states.end(), [](double each) { return !std::isfinite(each); });
    if (found != states.end())
        throw IntegrationError("its new value is not finite", static_cast<std::size_t>(found - states.begin()));
}

}  // namespace

struct StateIntegrator::Memory {
    std::array<std::vector<double>, 4> rates;  // of each stage
    std::vector<double> trial;
    std::optional<DormandPrince> adaptive;

    void prepare(std::size_t count) {
        if (trial.size() == count) return;
        for (auto& each : rates)
            each.resize(count);
        trial.resize(count);
        adaptive.reset();
    }
};

StateIntegrator::StateIntegrator() : _memory(std::make_unique<Memory>()) {}

StateIntegrator::~StateIntegrator() = default;

void StateIntegrator::_evaluate(const StateSystem& system, double time, const double* states, std::size_t stage) {
    ++_statistics.evaluations;
    system.derivatives(time, states, _memory->rates[stage].data());
}

void StateIntegrator::step(eIntegrator method, const StateSystem& system, std::span<double> states, double seconds,
                           const IntegrationTolerances& tolerances, double& innerSeconds) {
    if (!(seconds >= 0.0)) throw IntegrationError("a step cannot be negative or no number");
    if (seconds == 0.0) return;
    ++_statistics.steps;
    _memory->prepare(states.size());
    switch (method) {
        case eIntegrator::kSemiImplicitEuler:
            _stepSemiImplicit(system, states, seconds);
            break;
        case eIntegrator::kHeun:
            _stepExplicit<kHeunTableau>(system, states, seconds);
            break;
        case eIntegrator::kRungeKutta4:
            _stepExplicit<kRungeKutta4Tableau>(system, states, seconds);
            break;
        case eIntegrator::kDormandPrince:
            return _stepAdaptive(system, states, seconds, tolerances, innerSeconds);
    }
    ++_statistics.innerSteps;
    requireFinite(states);
}

/// The semi-implicit (symplectic) Euler method: integrals advance by the new value of their rate.
void StateIntegrator::_stepSemiImplicit(const StateSystem& system, std::span<double> states, double seconds) {
    const auto& rates = _memory->rates[0];
    _evaluate(system, 0.0, states.data(), 0);
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (system.rateOf[i] == StateSystem::kNone) states[i] += seconds * rates[i];
    }
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (system.rateOf[i] != StateSystem::kNone) states[i] += seconds * states[system.rateOf[i]];
    }
}

template <const auto& tableau>
void StateIntegrator::_stepExplicit(const StateSystem& system, std::span<double> states, double seconds) {
    constexpr std::size_t kStages = tableau.times.size();
    const auto& rates = _memory->rates;
    // Unrolled at compile time, without the weights that are 0.
    const auto combine = [&]<std::size_t row, std::size_t... stage>(std::index_sequence<row>,
                                                                    std::index_sequence<stage...>, double* results) {
        constexpr auto weight = [](std::size_t of) {
            return row < kStages ? tableau.weights[row % kStages][of] : tableau.results[of];
        };
        for (std::size_t i = 0; i < states.size(); ++i)
            results[i] = states[i] + seconds * (... + (weight(stage) != 0.0 ? weight(stage) * rates[stage][i] : 0.0));
    };
    constexpr auto kAll = std::make_index_sequence<kStages>();
    const auto makeStage = [&]<std::size_t row>(std::index_sequence<row> number) {
        const double* from = states.data();
        if constexpr (row > 0) {
            combine(number, kAll, _memory->trial.data());
            from = _memory->trial.data();
        }
        _evaluate(system, seconds * tableau.times[row], from, row);
    };
    [&]<std::size_t... row>(std::index_sequence<row...>) {
        (makeStage(std::index_sequence<row>()), ...);
    }
    (kAll);
    combine(std::index_sequence<kStages>(), kAll, states.data());
}

void StateIntegrator::_stepAdaptive(const StateSystem& system, std::span<double> states, double seconds,
                                    const IntegrationTolerances& tolerances, double& innerSeconds) {
    if (!(tolerances.relative >= 0.0) || !(tolerances.absolute > 0.0))
        throw IntegrationError("the tolerances must be numbers, the relative one at least 0, the absolute one above 0");
    if (!_memory->adaptive) _memory->adaptive.emplace(states.size());
    innerSeconds = _memory->adaptive->advance(system, states, seconds, tolerances, innerSeconds, _statistics);
}

}  // namespace detail

}  // namespace KrSim
