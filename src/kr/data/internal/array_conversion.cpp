#include "kr/data/internal/array_conversion.h"

#include <algorithm>
#include <cstddef>

#include "kr/data/field_array.h"
#include "kr/data/internal/components.h"
#include "kr/data/internal/conversion_table.h"
#include "kr/data/internal/notification_frame.h"

namespace KrData::detail {

namespace {

bool isNumberItem(const FieldBase* item) {
    const auto dataType = item->getDataType();
    return dataType == Types::kDouble || dataType == Types::kInteger || dataType == Types::kUnsignedInteger;
}

bool hasItemsFor(const FieldBase& array, const FieldBase& value) {
    const auto& items = array.getChildren();
    return items.size() == componentCountOf(value.getDataType()) &&
           std::all_of(items.begin(), items.end(), isNumberItem);
}

}  // namespace

bool isArrayPartner(Types::DataTypeEnum dataType) noexcept {
    return dataType == Types::kVector2 || dataType == Types::kVector3 || dataType == Types::kVector4 ||
           dataType == Types::kTransform;
}

bool setFromArray(FieldBase& sink, const FieldBase& array) {
    if (!hasItemsFor(array, sink)) return false;
    Components values;
    const auto& items = array.getChildren();
    std::transform(items.begin(), items.end(), values.begin(), [](const FieldBase* item) { return item->toReal(); });
    return setComponents(sink, values);
}

bool setArrayFrom(FieldBase& array, const FieldBase& source) {
    if (!hasItemsFor(array, source)) return false;
    const auto values = componentsOf(source);
    // Observers of an item may remove others, and destroy the array.
    const NotificationFrame frame(array, array);
    const auto count = array.getChildren().size();
    for (std::size_t i = 0; !frame.fieldDied() && i < std::min(count, array.getChildren().size()); ++i)
        setNumber(*array.getChildren()[i], values[i]);
    return !frame.fieldDied();
}

bool areSameKind(const FieldBase& first, const FieldBase& second) {
    if (first.getDataType() != second.getDataType() || first.isFieldArray() != second.isFieldArray()) return false;
    return !first.isFieldArray() || static_cast<const FieldArrayBase&>(first).getItemType() ==
                                        static_cast<const FieldArrayBase&>(second).getItemType();
}

}  // namespace KrData::detail
