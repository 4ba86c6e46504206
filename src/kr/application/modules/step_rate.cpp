#include "kr/application/modules/step_rate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace KrSim {

namespace {

/// Of a step. Simulated time is a product that is rounded, so a multiple of the step may be found a little later.
constexpr double kRounding = 1e-6;

bool isWhole(double ratio) noexcept {
    return ratio >= 1.0 - kRounding && std::abs(ratio - std::round(ratio)) <= kRounding * ratio;
}

/// Number of steps that begin before this moment.
double countBegun(double seconds, double hz) noexcept {
    return std::max(0.0, std::ceil(seconds * hz - kRounding));
}

}  // namespace

StepRate StepRate::perFrame(std::uint32_t steps) noexcept {
    StepRate rate;
    rate._count = std::max(steps, 1U);
    return rate;
}

StepRate StepRate::everyFrames(std::uint32_t frames, std::uint32_t offset) noexcept {
    StepRate rate;
    rate._kind = Kind::kEveryFrames;
    rate._count = std::max(frames, 1U);
    rate._offset = offset % rate._count;
    return rate;
}

StepRate StepRate::hertz(double hz, eRest rest) noexcept {
    StepRate rate;
    rate._kind = Kind::kHertz;
    rate._rest = rest;
    rate._hz = hz;
    return rate;
}

bool StepRate::isValid() const noexcept {
    return _kind != Kind::kHertz || (std::isfinite(_hz) && _hz > 0.0);
}

bool StepRate::divides(double frameRateHz) const noexcept {
    return _kind != Kind::kHertz || isWhole(_hz / frameRateHz) || isWhole(frameRateHz / _hz);
}

std::string StepRate::explain(double frameRateHz) const {
    // Above the frame rate its multiples, below it what it is a multiple of.
    const bool isFast = _hz > frameRateHz;
    const double ratio = isFast ? _hz / frameRateHz : frameRateHz / _hz;
    const double low = isFast ? frameRateHz * std::floor(ratio) : frameRateHz / std::ceil(ratio);
    const double high = isFast ? frameRateHz * std::ceil(ratio) : frameRateHz / std::floor(ratio);
    std::array<char, 200> text{};
    std::snprintf(text.data(), text.size(),
                  "%g Hz does not divide the frame rate of %g Hz; the nearest rates that do are %g Hz and %g Hz", _hz,
                  frameRateHz, low, high);
    return text.data();
}

std::string StepRate::explainRefusal(double frameRateHz) const {
    if (!isValid()) return "a rate must be a number above 0 Hz";
    const bool isAccepted = frameRateHz <= 0.0 || _rest == eRest::kCarried || divides(frameRateHz);
    return isAccepted ? "" : explain(frameRateHz);
}

StepRate::Steps StepRate::plan(std::uint32_t frame, double simulatedSeconds, double frameSeconds) const noexcept {
    switch (_kind) {
        case Kind::kPerFrame:
            return {_count, simulatedSeconds, frameSeconds / _count};
        case Kind::kEveryFrames:
            return {frame % _count == _offset ? 1U : 0U, simulatedSeconds, frameSeconds * _count};
        case Kind::kHertz:
            break;
    }
    // A function of simulated time alone: a change of the frame rate and a rewind lose and repeat nothing.
    const double begun = countBegun(simulatedSeconds, _hz);
    const double count = countBegun(simulatedSeconds + frameSeconds, _hz) - begun;
    return {static_cast<std::uint64_t>(std::max(count, 0.0)), begun / _hz, 1.0 / _hz};
}

double StepRate::getSecondsAhead(double simulatedSeconds, double frameSeconds) const noexcept {
    if (_kind != Kind::kHertz || 1.0 / _hz <= frameSeconds) return 0.0;
    return std::max(0.0, countBegun(simulatedSeconds, _hz) / _hz - simulatedSeconds);
}

}  // namespace KrSim
