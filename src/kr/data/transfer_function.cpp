#include "kr/data/transfer_function.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace KrData {

struct TransferFunction::Data {
    Steps steps;
    std::string fault;
};

namespace {

using Step = TransferFunction::Step;
using Point = TransferFunction::Point;
using Points = TransferFunction::Points;
using eKind = TransferFunction::eKind;
using eExtrapolation = TransferFunction::eExtrapolation;
using eInterpolation = TransferFunction::eInterpolation;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// --- Checking ------------------------------------------------------------------------------------------------------

std::string faultOfPoint(const Points& points, std::size_t index, bool isCurve) {
    const auto& point = points[index];
    const auto name = "point " + std::to_string(index + 1);
    if (!std::isfinite(point.x) || !std::isfinite(point.y)) return name + " is not finite";
    if (isCurve && !std::isfinite(point.slope)) return "the slope of " + name + " is not finite";
    if (index > 0 && !(points[index - 1].x < point.x))
        return "the x of " + name + " is not above that of the one before";
    return {};
}

std::string faultOf(const Step& step) {
    if (step.kind == eKind::kGain) {
        return std::isfinite(step.gain) && std::isfinite(step.offset) ? "" : "gain or offset is not finite";
    }
    const auto [below, above] = step.ends;
    if ((below == eExtrapolation::kRepeat) != (above == eExtrapolation::kRepeat)) {
        return "one end repeats and the other does not";
    }
    const bool isClamped = below == eExtrapolation::kClamp && above == eExtrapolation::kClamp;
    const std::size_t fewest = isClamped ? 1 : 2;
    if (step.points.size() < fewest) {
        return "there are " + std::to_string(step.points.size()) + " points, where at least " + std::to_string(fewest) +
               " are needed";
    }
    for (std::size_t i = 0; i < step.points.size(); ++i) {
        if (auto fault = faultOfPoint(step.points, i, step.kind == eKind::kCurve); !fault.empty()) return fault;
    }
    if (!std::isfinite(step.points.back().x - step.points.front().x)) return "the points are too far apart";
    return {};
}

std::string faultOf(const TransferFunction::Steps& steps) {
    static constexpr const char* kNames[] = {"gain", "table", "curve"};
    if (steps.size() > TransferFunction::kMaxSteps) {
        return "there are " + std::to_string(steps.size()) + " steps, and " +
               std::to_string(TransferFunction::kMaxSteps) + " are the most";
    }
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const auto fault = faultOf(steps[i]);
        if (fault.empty()) continue;
        return "step " + std::to_string(i + 1) + " (" + kNames[static_cast<std::size_t>(steps[i].kind)] + "): " + fault;
    }
    return {};
}

// --- Evaluation ----------------------------------------------------------------------------------------------------

/// A line of slope 0 is flat at infinity, too.
double onLine(const Point& point, double slope, double x) noexcept {
    return slope == 0.0 ? point.y : point.y + slope * (x - point.x);
}

double slopeOfEnd(const Step& step, bool isAbove) noexcept {
    const auto& points = step.points;
    if (step.kind == eKind::kCurve) return isAbove ? points.back().slope : points.front().slope;
    const auto& right = isAbove ? points.back() : points[1];
    const auto& left = isAbove ? points[points.size() - 2] : points.front();
    return (right.y - left.y) / (right.x - left.x);
}

/// A cubic Hermite piece.
double onCurve(const Point& left, const Point& right, double x) noexcept {
    const double width = right.x - left.x;
    const double t = (x - left.x) / width;
    const double rest = 1.0 - t;
    const double bend = t * rest * width * (rest * left.slope - t * right.slope);
    return std::lerp(left.y, right.y, t * t * (3.0 - 2.0 * t)) + bend;
}

double between(const Step& step, const Point& left, const Point& right, double x) noexcept {
    if (step.kind == eKind::kCurve) return onCurve(left, right, x);
    if (step.interpolation == eInterpolation::kStep) return left.y;
    return std::lerp(left.y, right.y, (x - left.x) / (right.x - left.x));
}

double beyond(const Step& step, bool isAbove, double x) noexcept {
    const auto& end = isAbove ? step.points.back() : step.points.front();
    const auto how = isAbove ? step.ends.above : step.ends.below;
    return how == eExtrapolation::kClamp ? end.y : onLine(end, slopeOfEnd(step, isAbove), x);
}

/// The place of x in the period; the last point is the first one of the next period.
double wrapped(const Points& points, double x) noexcept {
    const double first = points.front().x;
    const double period = points.back().x - first;
    const double rest = std::fmod(x - first, period);
    const double place = first + (rest < 0.0 ? rest + period : rest);
    return place >= points.back().x ? first : place;
}

double lookUp(const Step& step, double x) noexcept {
    const auto& points = step.points;
    if (step.ends.below == eExtrapolation::kRepeat) x = wrapped(points, x);
    if (std::isnan(x)) return kNan;
    if (x < points.front().x) return beyond(step, false, x);
    if (x > points.back().x) return beyond(step, true, x);
    const auto right = std::upper_bound(points.begin(), points.end(), x,
                                        [](double value, const Point& point) { return value < point.x; });
    if (right == points.end()) return points.back().y;
    return between(step, *(right - 1), *right, x);
}

// --- Slopes --------------------------------------------------------------------------------------------------------

double secant(const Points& points, std::size_t index) noexcept {
    return (points[index + 1].y - points[index].y) / (points[index + 1].x - points[index].x);
}

/// A weighted harmonic mean of the slopes at both sides; 0 where the points turn.
double innerSlope(const Points& points, std::size_t index) noexcept {
    const double left = secant(points, index - 1);
    const double right = secant(points, index);
    if (!(left * right > 0.0)) return 0.0;
    const double leftWidth = points[index].x - points[index - 1].x;
    const double rightWidth = points[index + 1].x - points[index].x;
    const double leftWeight = (leftWidth + 2.0 * rightWidth) / (3.0 * (leftWidth + rightWidth));
    return left * right / (leftWeight * right + (1.0 - leftWeight) * left);
}

void findSlopes(Points& points) {
    if (points.size() < 2) return;
    points.front().slope = secant(points, 0);
    points.back().slope = secant(points, points.size() - 2);
    for (std::size_t i = 1; i + 1 < points.size(); ++i)
        points[i].slope = innerSlope(points, i);
}

}  // namespace

// --- Making one ----------------------------------------------------------------------------------------------------

TransferFunction::TransferFunction() noexcept = default;
TransferFunction::TransferFunction(const TransferFunction& other) noexcept = default;
TransferFunction& TransferFunction::operator=(const TransferFunction& other) noexcept = default;
TransferFunction::~TransferFunction() = default;

TransferFunction::TransferFunction(Steps steps) {
    if (steps.empty()) return;
    auto data = std::make_shared<Data>();
    data->fault = faultOf(steps);
    if (data->fault.empty()) data->steps = std::move(steps);
    _data = std::move(data);
}

TransferFunction TransferFunction::gain(double gain, double offset) {
    Step step;
    step.gain = gain;
    step.offset = offset;
    return TransferFunction(Steps{std::move(step)});
}

TransferFunction TransferFunction::table(Points points, eInterpolation interpolation, Ends ends) {
    Step step;
    step.kind = eKind::kTable;
    step.points = std::move(points);
    for (auto& point : step.points)
        point.slope = 0.0;
    step.interpolation = interpolation;
    step.ends = ends;
    return TransferFunction(Steps{std::move(step)});
}

TransferFunction TransferFunction::curve(Points points, Ends ends) {
    Step step;
    step.kind = eKind::kCurve;
    step.points = std::move(points);
    step.ends = ends;
    return TransferFunction(Steps{std::move(step)});
}

TransferFunction TransferFunction::curveThrough(Points points, Ends ends) {
    findSlopes(points);
    return curve(std::move(points), ends);
}

TransferFunction TransferFunction::then(const TransferFunction& next) const {
    if (!isValid() || next._data == nullptr) return *this;
    if (!next.isValid() || _data == nullptr) return next;
    auto steps = getSteps();
    steps.insert(steps.end(), next.getSteps().begin(), next.getSteps().end());
    return TransferFunction(std::move(steps));
}

// --- Asking it -----------------------------------------------------------------------------------------------------

double TransferFunction::operator()(double x) const noexcept {
    if (_data == nullptr) return x;
    if (!_data->fault.empty()) return kNan;
    for (const auto& step : _data->steps)
        x = step.kind == eKind::kGain ? step.gain * x + step.offset : lookUp(step, x);
    return x;
}

const TransferFunction::Steps& TransferFunction::getSteps() const {
    static const auto& none = *new Steps;
    return _data != nullptr ? _data->steps : none;
}

const std::string& TransferFunction::getFault() const {
    static const auto& none = *new std::string;
    return _data != nullptr ? _data->fault : none;
}

bool TransferFunction::operator==(const TransferFunction& other) const {
    return _data == other._data || (getSteps() == other.getSteps() && getFault() == other.getFault());
}

}  // namespace KrData
