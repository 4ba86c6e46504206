#include <functional>
#include <span>

#include "kr/data/field_base.h"
#include "kr/data/internal/components.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/guard.h"

namespace KrData {

namespace {
constexpr Kr::GuardTexts kFunctionTexts{Kr::eLogLevel::kWarn,
                                        "ApplyTransferFunction: fatal error in '%s' transfer function [%s]\n",
                                        "ApplyTransferFunction: unhandled exception in '%s' transfer function\n"};
}  // namespace

bool CanApplyTransferFunction(const FieldBase& source, const FieldBase& sink) {
    const auto count = detail::componentCountOf(source.getDataType());
    return count != 0 && count == detail::componentCountOf(sink.getDataType()) &&
           source.getDataType() != Types::kTransform;
}

bool ApplyTransferFunction(const FieldBase& source, FieldBase& sink, const std::function<double(double)>& function) {
    if (!function || !CanApplyTransferFunction(source, sink)) return false;
    auto values = detail::componentsOf(source);
    const auto count = detail::componentCountOf(source.getDataType());
    const detail::NotificationFrame frame(sink, source);
    const auto nameOf = [&] { return frame.fieldDied() ? std::string("(dead field)") : sink.getPath(); };
    const bool isDone = Kr::callGuarded(kFunctionTexts, nameOf, [&] {
        for (auto& value : std::span(values).first(count))
            value = function(value);
    });
    return isDone && !frame.fieldDied() && detail::setComponents(sink, values);
}

}  // namespace KrData
