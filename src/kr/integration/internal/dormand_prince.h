#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "kr/integration/integrator.h"

namespace KrSim::detail {

/// The adaptive method of Dormand and Prince, order 5(4), with step size control: Hairer, Norsett, Wanner, "Solving
/// Ordinary Differential Equations I", chapters II.4 and II.5. Nothing but the inner step is carried from call to call:
/// inputs may have changed, and a restored simulation must continue in the same way.
class DormandPrince {
public:
    explicit DormandPrince(std::size_t size);
    DormandPrince(const DormandPrince&) = delete;
    DormandPrince& operator=(const DormandPrince&) = delete;
    ~DormandPrince();

    /// See StateIntegrator::step. \return the inner step with which the next call should begin.
    double advance(const StateSystem& system, std::span<double> states, double seconds,
                   const IntegrationTolerances& tolerances, double innerSeconds, IntegrationStatistics& statistics);

private:
    struct Buffers;

    void _begin(const StateSystem& system, std::span<const double> states, IntegrationStatistics& statistics);
    [[nodiscard]] double _findFirstStep(double seconds, const IntegrationTolerances& tolerances) const;
    void _tryStep(const StateSystem& system, double time, double step, IntegrationStatistics& statistics);
    [[nodiscard]] double _estimateError(const IntegrationTolerances& tolerances);
    [[nodiscard]] double _cut(double time, double tried, double error) const;

    std::unique_ptr<Buffers> _buffers;
};

}  // namespace KrSim::detail
