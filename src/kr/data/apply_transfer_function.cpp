#include <functional>
#include <span>

#include "kr/data/field_base.h"
#include "kr/data/internal/components.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/value_conversion.h"
#include "kr/platform/guard.h"

namespace KrData {

namespace {
constexpr Kr::GuardTexts kFunctionTexts{
    Kr::eLogLevel::kWarn, "ApplyTransferFunction: fatal error in '%s' transfer function [%s]\n",
    "ApplyTransferFunction: unhandled exception in '%s' transfer function\n", "transfer function"};
}  // namespace

bool CanApplyTransferFunction(const FieldBase& source, const FieldBase& sink) {
    const auto from = detail::ProxyAccess::getValueDataType(source);
    const auto count = detail::componentCountOf(from);
    return count != 0 && count == detail::componentCountOf(detail::ProxyAccess::getValueDataType(sink)) &&
           from != Types::kTransform;
}

bool ApplyTransferFunction(const FieldBase& source, FieldBase& sink, const std::function<double(double)>& function) {
    if (!function) return false;
    if (source.getDataType() == Types::kProxy) {
        const detail::NotificationFrame frame(sink, source);
        const auto* linked = static_cast<const Proxy&>(source).getLinkedField();
        return linked != nullptr && !frame.fieldDied() && ApplyTransferFunction(*linked, sink, function);
    }
    if (sink.getDataType() == Types::kProxy) {
        return detail::ProxyAccess::writeLinked(static_cast<Proxy&>(sink), source, [&](FieldBase& linked) {
            return ApplyTransferFunction(source, linked, function);
        });
    }
    if (!CanApplyTransferFunction(source, sink)) return false;
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
