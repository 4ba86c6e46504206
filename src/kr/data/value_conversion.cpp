#include "kr/data/value_conversion.h"

#include <map>
#include <string>
#include <utility>

#include "kr/data/field.h"
#include "kr/data/vector_base.h"

namespace KrData {

namespace {

struct Conversion {
    bool (*test)(const FieldBase& source, const FieldBase& sink);
    bool (*convert)(const FieldBase& source, FieldBase& sink);
};

using TypePair = std::pair<Types::DataTypeEnum, Types::DataTypeEnum>;
using ConversionTable = std::map<TypePair, Conversion>;

bool always(const FieldBase&, const FieldBase&) {
    return true;
}

bool textToFilename(const FieldBase& source, FieldBase& sink) {
    return sink.set(Kr::KrString<512>(source.get<std::string>()));
}

bool filenameToText(const FieldBase& source, FieldBase& sink) {
    return sink.set(std::string(source.get<Kr::KrString<512>>().view()));
}

const ConversionTable& conversions() {
    static const auto& table = *new ConversionTable{
        {{Types::kString, Types::kFilename}, {always, textToFilename}},
        {{Types::kFilename, Types::kString}, {always, filenameToText}},
    };
    return table;
}

const Conversion* findConversion(Types::DataTypeEnum source, Types::DataTypeEnum sink) {
    const auto found = conversions().find({source, sink});
    return found != conversions().end() ? &found->second : nullptr;
}

bool isConvertible(Types::DataTypeEnum dataType) {
    return dataType != Types::kInvalid && dataType != Types::kVectorItem;
}

}  // namespace

bool CanConvert(const FieldBase& source, const FieldBase& sink) {
    const auto from = source.getDataType();
    const auto to = sink.getDataType();
    if (!isConvertible(from) || !isConvertible(to)) return false;
    if (from == Types::kVector && to == Types::kVector) {
        return static_cast<const VectorBase&>(source).getItemDataType() ==
               static_cast<const VectorBase&>(sink).getItemDataType();
    }
    if (from == to) return true;
    const auto* conversion = findConversion(from, to);
    return conversion != nullptr && conversion->test(source, sink);
}

bool CanConvert(const FieldBase& source, Types::DataTypeEnum sinkType) {
    const auto from = source.getDataType();
    if (!isConvertible(from) || !isConvertible(sinkType)) return false;
    return from == sinkType || findConversion(from, sinkType) != nullptr;
}

bool TransferValueConverter(const FieldBase& source, FieldBase& sink) {
    if (!CanConvert(source, sink)) return false;
    if (source.getDataType() == sink.getDataType()) return sink.copyValue(source);
    return findConversion(source.getDataType(), sink.getDataType())->convert(source, sink);
}

}  // namespace KrData
