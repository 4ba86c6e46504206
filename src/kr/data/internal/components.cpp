#include "kr/data/internal/components.h"

#include <algorithm>
#include <bit>
#include <type_traits>

#include "kr/data/field.h"
#include "kr/data/internal/conversion_table.h"
#include "kr/data/internal/number_conversion.h"
#include "kr/data/internal/set_converted.h"

namespace KrData::detail {

namespace {

template <class T>
constexpr bool kIsNumber = std::is_arithmetic_v<T> || std::is_same_v<T, Kr::KrEnum>;

}  // namespace

std::size_t componentCountOf(Types::DataTypeEnum dataType) noexcept {
    return withValueType(dataType, []<class T>(std::type_identity<T>) {
        return kIsNumber<T> || ValueTraits<T>::kIsConvertedByParts ? std::size_t{ValueTraits<T>::kComponentCount} : 0;
    });
}

Components componentsOf(const FieldBase& source) {
    Components values;
    const bool isTaken = withValueType(source.getDataType(), [&]<class T>(std::type_identity<T>) {
        if constexpr (ValueTraits<T>::kIsConvertedByParts) {
            const auto components = getComponents(static_cast<const Field<T>&>(source).getValue());
            std::copy(components.begin(), components.end(), values.begin());
        }
        return ValueTraits<T>::kIsConvertedByParts;
    });
    if (!isTaken) values[0] = source.toReal();
    return values;
}

bool setComponents(FieldBase& sink, const Components& values) {
    return withValueType(sink.getDataType(), [&]<class T>(std::type_identity<T>) {
        if constexpr (ValueTraits<T>::kIsConvertedByParts) {
            using Component = typename ValueTraits<T>::Component;
            std::array<Component, std::size_t{ValueTraits<T>::kComponentCount}> components;
            std::transform(values.begin(), values.begin() + components.size(), components.begin(),
                           [](double value) { return convertNumber<Component>(value); });
            return setConverted(static_cast<Field<T>&>(sink), std::bit_cast<T>(components));
        } else {
            return setNumber(sink, values[0]);
        }
    });
}

}  // namespace KrData::detail
