#include "kr/integration/internal/dormand_prince.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <boost/numeric/odeint/stepper/runge_kutta_dopri5.hpp>

namespace KrSim::detail {

namespace {

using Numbers = std::vector<double>;

constexpr double kSafety = 0.9;
constexpr double kLargestGrowth = 5.0;
constexpr double kLargestCut = 0.2;
constexpr double kCutAfterNotFinite = 0.1;
constexpr double kExponent = -0.2;       // the error of a step grows with the fifth power of its size
constexpr double kSmallestError = 1e-5;  // whose growth is beyond the largest
constexpr double kRounding = 1e-9;       // a rest of so much of a step is not worth a step of its own
constexpr double kFirstFraction = 1e-3;  // of the step, where values or derivatives are about 0

double toleranceFor(const IntegrationTolerances& tolerances, double magnitude) {
    return tolerances.absolute + tolerances.relative * magnitude;
}

/// By how much the next step may differ from one with this error.
double growthFor(double error) {
    if (!std::isfinite(error)) return kCutAfterNotFinite;
    return std::clamp(kSafety * std::pow(std::max(error, kSmallestError), kExponent), kLargestCut, kLargestGrowth);
}

}  // namespace

struct DormandPrince::Buffers {
    boost::numeric::odeint::runge_kutta_dopri5<Numbers> stepper;
    Numbers values;
    Numbers derivatives;  // at the beginning of the inner step
    Numbers newValues;
    Numbers newDerivatives;  // at its end, where the next one begins
    Numbers errors;
    std::size_t worst{0};  // the state with the largest error
};

DormandPrince::DormandPrince(std::size_t size) : _buffers(std::make_unique<Buffers>()) {
    auto& all = *_buffers;
    for (auto* each : {&all.values, &all.derivatives, &all.newValues, &all.newDerivatives, &all.errors})
        each->assign(size, 0.0);
    all.stepper.adjust_size(all.values);
}

DormandPrince::~DormandPrince() = default;

void DormandPrince::_begin(const StateSystem& system, std::span<const double> states,
                           IntegrationStatistics& statistics) {
    auto& all = *_buffers;
    std::copy(states.begin(), states.end(), all.values.begin());
    ++statistics.evaluations;
    system.derivatives(0.0, all.values.data(), all.derivatives.data());
    for (std::size_t i = 0; i < all.values.size(); ++i) {
        if (!std::isfinite(all.derivatives[i]))
            throw IntegrationError("its derivative at the beginning of the step is not finite", i);
    }
}

/// A hundredth of the time in which the values change by as much as they are: the first guess of the book.
double DormandPrince::_findFirstStep(double seconds, const IntegrationTolerances& tolerances) const {
    const auto& all = *_buffers;
    double values = 0.0;
    double derivatives = 0.0;
    for (std::size_t i = 0; i < all.values.size(); ++i) {
        const double tolerance = toleranceFor(tolerances, std::abs(all.values[i]));
        values = std::max(values, std::abs(all.values[i]) / tolerance);
        derivatives = std::max(derivatives, std::abs(all.derivatives[i]) / tolerance);
    }
    return values < 1e-5 || derivatives < 1e-5 ? kFirstFraction * seconds : 0.01 * values / derivatives;
}

void DormandPrince::_tryStep(const StateSystem& system, double time, double step, IntegrationStatistics& statistics) {
    auto& all = *_buffers;
    const auto evaluate = [&](const Numbers& values, Numbers& derivatives, double at) {
        ++statistics.evaluations;
        system.derivatives(at, values.data(), derivatives.data());
    };
    all.stepper.do_step(evaluate, all.values, all.derivatives, time, all.newValues, all.newDerivatives, step,
                        all.errors);
}

/// The largest error of the step that was tried, relative to its tolerance; infinite when it is not finite.
double DormandPrince::_estimateError(const IntegrationTolerances& tolerances) {
    auto& all = *_buffers;
    double largest = 0.0;
    for (std::size_t i = 0; i < all.errors.size(); ++i) {
        const double magnitude = std::max(std::abs(all.values[i]), std::abs(all.newValues[i]));
        const double error = std::abs(all.errors[i]) / toleranceFor(tolerances, magnitude);
        if (error <= largest) continue;  // not for a NaN
        all.worst = i;
        if (!std::isfinite(error) || !std::isfinite(all.newValues[i])) return std::numeric_limits<double>::infinity();
        largest = error;
    }
    return largest;
}

/// The inner step after one that was rejected.
double DormandPrince::_cut(double time, double tried, double error) const {
    const double next = tried * growthFor(error);
    // Too short to change the time.
    if (time + next > time && std::isnormal(next)) return next;
    throw IntegrationError("the inner step " + std::to_string(time) + " s after the beginning would be too short",
                           _buffers->worst);
}

double DormandPrince::advance(const StateSystem& system, std::span<double> states, double seconds,
                              const IntegrationTolerances& tolerances, double innerSeconds,
                              IntegrationStatistics& statistics) {
    auto& all = *_buffers;
    _begin(system, states, statistics);
    double step = innerSeconds > 0.0 ? innerSeconds : _findFirstStep(seconds, tolerances);
    double done = 0.0;
    double largestGrowth = kLargestGrowth;
    for (std::uint32_t count = 0; done < seconds; ++count) {
        if (count == tolerances.mostInnerSteps)
            throw IntegrationError("more than " + std::to_string(count) + " inner steps are needed", all.worst);
        const double rest = seconds - done;
        const bool isLast = step >= rest * (1.0 - kRounding);
        const double tried = isLast ? rest : step;
        _tryStep(system, done, tried, statistics);
        const double error = _estimateError(tolerances);
        if (error > 1.0) {
            step = _cut(done, tried, error);
            largestGrowth = 1.0;  // as the book advises: else the next one may be rejected, too
            ++statistics.rejected;
            continue;
        }
        all.values.swap(all.newValues);
        all.derivatives.swap(all.newDerivatives);
        ++statistics.innerSteps;
        const double next = tried * std::min(largestGrowth, growthFor(error));
        // The end of the step cut the last one short: that is no reason to continue with shorter ones.
        step = isLast && next >= tried ? std::max(step, next) : next;
        largestGrowth = kLargestGrowth;
        done = isLast ? seconds : done + tried;
    }
    std::copy(all.values.begin(), all.values.end(), states.begin());
    return step;
}

}  // namespace KrSim::detail
