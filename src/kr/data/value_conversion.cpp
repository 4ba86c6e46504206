#include "kr/data/value_conversion.h"

#include "kr/data/field_base.h"
#include "kr/data/internal/array_conversion.h"
#include "kr/data/internal/conversion_table.h"
#include "kr/data/internal/notification_frame.h"
#include "kr/data/proxy.h"
#include "kr/data/proxy_access.h"
#include "kr/data/vector_base.h"

namespace KrData {

namespace {

bool isConvertible(Types::DataTypeEnum dataType) {
    return dataType != Types::kInvalid && dataType != Types::kVectorItem && dataType != Types::kUnknown;
}

bool isProxy(const FieldBase& field) {
    return field.getDataType() == Types::kProxy;
}

/// The field whose value a proxy of that type has; the proxy itself, where all that can be said is its type.
const FieldBase& representedBy(const FieldBase& field) {
    if (!isProxy(field)) return field;
    const auto& proxy = static_cast<const Proxy&>(field);
    const auto* linked = detail::ProxyAccess::findLinkedField(proxy);
    return linked != nullptr && linked->getDataType() == proxy.getProxyDataType() ? *linked : field;
}

bool haveEqualItems(const FieldBase& source, const FieldBase& sink) {
    return static_cast<const VectorBase&>(source).getItemDataType() ==
           static_cast<const VectorBase&>(sink).getItemDataType();
}

}  // namespace

bool CanConvert(const FieldBase& source, const FieldBase& sink) {
    const auto from = detail::ProxyAccess::getValueDataType(source);
    const auto to = detail::ProxyAccess::getValueDataType(sink);
    if (!isConvertible(from) || !isConvertible(to)) return false;
    const auto& given = representedBy(source);
    const auto& taking = representedBy(sink);
    if (given.isFieldArray() && detail::isArrayPartner(to)) return true;
    if (taking.isFieldArray() && detail::isArrayPartner(from)) return true;
    const bool isKnown = !isProxy(given) && !isProxy(taking);
    if (from == to) return from != Types::kVector || !isKnown || haveEqualItems(given, taking);
    const auto* conversion = detail::findConversion(from, to);
    return conversion != nullptr && (!isKnown || conversion->test(given, taking));
}

bool CanConvert(const FieldBase& source, Types::DataTypeEnum sinkType) {
    const auto from = detail::ProxyAccess::getValueDataType(source);
    if (!isConvertible(from) || !isConvertible(sinkType)) return false;
    return from == sinkType || (representedBy(source).isFieldArray() && detail::isArrayPartner(sinkType)) ||
           detail::findConversion(from, sinkType) != nullptr;
}

bool TransferValueConverter(const FieldBase& source, FieldBase& sink) {
    const auto from = source.getDataType();
    const auto to = sink.getDataType();
    if (const auto* conversion = detail::findConversion(from, to)) {
        return conversion->test(source, sink) && conversion->convert(source, sink);
    }
    if (to == Types::kProxy) return sink.copyValue(source);
    if (from == Types::kProxy) {
        const detail::NotificationFrame frame(sink, source);
        const auto* linked = static_cast<const Proxy&>(source).getLinkedField();
        return linked != nullptr && !frame.fieldDied() && sink.copyValue(*linked);
    }
    if (!CanConvert(source, sink)) return false;
    if (from == to) return sink.copyValue(source);
    return source.isFieldArray() ? detail::setFromArray(sink, source) : detail::setArrayFrom(sink, source);
}

}  // namespace KrData
