#include "kr/data/value_conversion.h"

#include "kr/data/field_base.h"
#include "kr/data/internal/array_conversion.h"
#include "kr/data/internal/conversion_table.h"
#include "kr/data/vector_base.h"

namespace KrData {

namespace {

bool isConvertible(Types::DataTypeEnum dataType) {
    return dataType != Types::kInvalid && dataType != Types::kVectorItem;
}

}  // namespace

bool CanConvert(const FieldBase& source, const FieldBase& sink) {
    const auto from = source.getDataType();
    const auto to = sink.getDataType();
    if (!isConvertible(from) || !isConvertible(to)) return false;
    if (source.isFieldArray() && detail::isArrayPartner(to)) return true;
    if (sink.isFieldArray() && detail::isArrayPartner(from)) return true;
    if (from == Types::kVector && to == Types::kVector) {
        return static_cast<const VectorBase&>(source).getItemDataType() ==
               static_cast<const VectorBase&>(sink).getItemDataType();
    }
    if (from == to) return true;
    const auto* conversion = detail::findConversion(from, to);
    return conversion != nullptr && conversion->test(source, sink);
}

bool CanConvert(const FieldBase& source, Types::DataTypeEnum sinkType) {
    const auto from = source.getDataType();
    if (!isConvertible(from) || !isConvertible(sinkType)) return false;
    return from == sinkType || (source.isFieldArray() && detail::isArrayPartner(sinkType)) ||
           detail::findConversion(from, sinkType) != nullptr;
}

bool TransferValueConverter(const FieldBase& source, FieldBase& sink) {
    const auto from = source.getDataType();
    const auto to = sink.getDataType();
    if (const auto* conversion = detail::findConversion(from, to)) {
        return conversion->test(source, sink) && conversion->convert(source, sink);
    }
    if (!CanConvert(source, sink)) return false;
    if (from == to) return sink.copyValue(source);
    return source.isFieldArray() ? detail::setFromArray(sink, source) : detail::setArrayFrom(sink, source);
}

}  // namespace KrData
