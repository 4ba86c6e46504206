#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

#include "kr/platform/export.h"

namespace KrSim {

/// The method that advances states by one step. The numbers are stored in content; a registered enumeration
/// (Kr::KrEnum).
///
/// | method             | order | evaluations a step | for                                                           |
/// |--------------------|-------|--------------------|---------------------------------------------------------------|
/// | kSemiImplicitEuler | 1     | 1                  | oscillators with small steps: their energy stays bounded      |
/// | kHeun              | 2     | 2                  | smooth systems, also noisy inputs                             |
/// | kRungeKutta4       | 4     | 4                  | the usual choice                                              |
/// | kDormandPrince     | 5     | 6 + 1 for each step of the application | steps of its own within a tolerance       |
///
/// kDormandPrince is the embedded pair 5(4) of Dormand and Prince, "A family of embedded Runge-Kutta formulae", J.
/// Comp. Appl. Math. 6 (1980); kHeun and kRungeKutta4: Hairer, Norsett, Wanner, "Solving Ordinary Differential
/// Equations I".
enum class eIntegrator : std::int32_t { kSemiImplicitEuler, kHeun, kRungeKutta4, kDormandPrince };

/// A step that could not be made.
/// Thread: value. Ownership: value.
class KR_API IntegrationError : public std::runtime_error {
public:
    static constexpr std::size_t kNoState = static_cast<std::size_t>(-1);

    /// \param state  the number of the state that is the reason, or kNoState.
    explicit IntegrationError(const std::string& reason, std::size_t state = kNoState);
    IntegrationError(const IntegrationError&) = default;
    IntegrationError& operator=(const IntegrationError&) = default;
    ~IntegrationError() override;

    [[nodiscard]] std::size_t getState() const noexcept { return _state; }

private:
    std::size_t _state;
};

/// What the adaptive method must keep.
struct IntegrationTolerances {
    double relative{1e-6};  ///< of the value of a state; at least 0
    double absolute{1e-6};  ///< in the unit of the state; above 0
    /// Inner steps of one step, with rejected ones; more are an error.
    std::uint32_t mostInnerSteps{10000};
};

/// How much work the steps took, since the creation.
struct IntegrationStatistics {
    std::uint64_t steps{0};        ///< asked for
    std::uint64_t innerSteps{0};   ///< made: as many as steps, or more with kDormandPrince
    std::uint64_t rejected{0};     ///< of kDormandPrince: tried again with a shorter step
    std::uint64_t evaluations{0};  ///< of the derivatives
};

namespace detail {

/// A function that computes the derivatives, borrowed for the time of a call.
struct DerivativesOf {
    void (*call)(void* context, double time, const double* states, double* derivatives);
    void* context;

    void operator()(double time, const double* states, double* derivatives) const {
        call(context, time, states, derivatives);
    }
};

/// A system of ordinary differential equations of first order.
struct StateSystem {
    DerivativesOf derivatives;
    /// For each state the state whose value is its derivative, or kNone. kSemiImplicitEuler advances these last, by the
    /// new value of the other.
    static constexpr std::size_t kNone = IntegrationError::kNoState;
    std::span<const std::size_t> rateOf;
};

/// Advances an array of states by one of the methods, and counts its work.
/// Thread: one at a time. A step with as many states as the one before allocates nothing. Ownership: value.
class KR_API StateIntegrator {
public:
    StateIntegrator();
    StateIntegrator(const StateIntegrator&) = delete;
    StateIntegrator& operator=(const StateIntegrator&) = delete;
    ~StateIntegrator();

    /// Advances `states` by `seconds`, at least 0. Times are seconds from the beginning of the step.
    /// \param innerSeconds  of kDormandPrince: the inner step to begin with, 0 if none is known; becomes that of the
    ///                      next call. A caller that restores it with the states gets the same results again.
    /// Throws IntegrationError when a state is not finite afterwards, when kDormandPrince cannot keep its tolerances,
    /// and for bad tolerances and seconds; exceptions of the derivatives pass. The states are unspecified then.
    void step(eIntegrator method, const StateSystem& system, std::span<double> states, double seconds,
              const IntegrationTolerances& tolerances, double& innerSeconds);

    [[nodiscard]] const IntegrationStatistics& getStatistics() const noexcept { return _statistics; }

private:
    struct Memory;

    void _evaluate(const StateSystem& system, double time, const double* states, std::size_t stage);
    void _stepSemiImplicit(const StateSystem& system, std::span<double> states, double seconds);
    template <const auto& tableau>
    void _stepExplicit(const StateSystem& system, std::span<double> states, double seconds);
    void _stepAdaptive(const StateSystem& system, std::span<double> states, double seconds,
                       const IntegrationTolerances& tolerances, double& innerSeconds);

    std::unique_ptr<Memory> _memory;
    IntegrationStatistics _statistics;
};

}  // namespace detail

}  // namespace KrSim
