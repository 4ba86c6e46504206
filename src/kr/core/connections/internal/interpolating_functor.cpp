#include "kr/core/connections/internal/interpolating_functor.h"

#include <algorithm>
#include <utility>

#include "kr/core/connections/internal/value_copies.h"
#include "kr/core/connections/stepped_connection.h"
#include "kr/data/field_base.h"

namespace Kr::detail {

using KrData::FieldBase;
using KrSim::KrExtension;

InterpolatingFunctor::InterpolatingFunctor(const FieldBase& source, FieldBase& sink,
                                           const KrSteppedConnection& connection)
    : UnitDelayFunctor(source, sink, connection), _line(ValueLine::make(sink)) {}

InterpolatingFunctor::~InterpolatingFunctor() = default;

void InterpolatingFunctor::setSinkOwner(KrExtension* owner) {
    _followOwners(owner);
    if (!isEnabled()) _isOnLine = false;
    auto* boundary = isEnabled() ? _findApplicationBoundary(owner) : nullptr;
    _join(boundary, {});
    _frameStart.join(hasLine() ? boundary : nullptr);
    _stepStart.join(hasLine() && isEnabled() ? getGroupBoundary(owner) : nullptr);
}

void InterpolatingFunctor::_beginFrame(const StepTime& frame) {
    _isOnLine = false;
    if (!(frame.seconds > 0.0) || !_mayTransferNow()) return;
    const auto* value = valueOf(_getSource());
    if (value == nullptr || !_line->begin(_getSink(), *value)) return;
    const auto* group = getGroupBoundary(_getSourceOwner());
    _frameSeconds = frame.seconds;
    _lineSeconds = frame.seconds + (group != nullptr ? group->getSecondsAhead(frame) : 0.0);
    _isOnLine = true;
}

double InterpolatingFunctor::_fractionAfter(double seconds) const noexcept {
    return std::clamp(seconds / _lineSeconds, 0.0, 1.0);
}

void InterpolatingFunctor::_beginStep(const StepTime& step) {
    const double fraction = _isOnLine ? _fractionAfter(step.sinceFrame) : 0.0;
    if (fraction <= 0.0 || !_mayTransferNow()) return;  // at 0 the sink has the value
    _keep(_line->at(fraction));
    setSink();
}

void InterpolatingFunctor::readSource() {
    if (!std::exchange(_isOnLine, false)) return UnitDelayFunctor::readSource();
    if (_mayTransferNow()) _keep(_line->at(_fractionAfter(_frameSeconds)));
}

}  // namespace Kr::detail
