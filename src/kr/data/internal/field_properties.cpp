#include "kr/data/internal/field_properties.h"

#include <vector>

#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/field_internal.h"
#include "kr/data/field_merge.h"
#include "kr/data/value_traits.h"
#include "kr/data/vector_base.h"

namespace KrData::detail {

namespace {

constexpr int kMarks =
    static_cast<int>(kMarkedAsOwn) | static_cast<int>(kMarkedInSource) | static_cast<int>(kMarkedAsLost);

const Kr::KrID& metaDataId() {
    static const Kr::KrID id("MetaData");
    return id;
}

const Container* hiddenOf(const FieldBase& field) {
    const auto* internal = FieldAccess::getInternalIfAny(field);
    return internal != nullptr ? internal->get() : nullptr;
}

int bitsOf(const FieldBase& field) {
    const auto* hidden = hiddenOf(field);
    return hidden != nullptr ? (*hidden)[metaDataId()].toInteger() : 0;
}

/// The hidden fields that count, the bits aside.
std::vector<const FieldBase*> othersOf(const FieldBase& field) {
    std::vector<const FieldBase*> others;
    const auto* hidden = hiddenOf(field);
    if (hidden == nullptr) return others;
    for (const auto* each : *hidden) {
        if (each->getID() != metaDataId() && each->getID() != ownDataId()) others.push_back(each);
    }
    return others;
}

}  // namespace

const Kr::KrID& ownDataId() {
    static const Kr::KrID id("InstanceData");
    return id;
}

bool hasMark(const FieldBase& field, eMetadata mark) {
    return (bitsOf(field) & static_cast<int>(mark)) != 0;
}

bool isValueSame(const FieldBase& field, const FieldBase& other) {
    if (field.isEqual(other)) return true;
    const bool isPlain = field.getDataType() == other.getDataType() && field.getDataType() != Types::kContainer &&
                         field.getDataType() != Types::kVector && !isReferenceField(field);
    return isPlain && !field.isEqual(field) && !other.isEqual(other) && field.toString() == other.toString();
}

bool isRangeSame(const FieldBase& field, const FieldBase& other) {
    if (field.getDataType() != other.getDataType() || field.isFieldArray() != other.isFieldArray()) return true;
    if (field.isFieldArray()) {
        const auto& array = static_cast<const FieldArrayBase&>(field);
        const auto& otherArray = static_cast<const FieldArrayBase&>(other);
        return array.hasSizeRange() == otherArray.hasSizeRange() &&
               array.getMinimumSize() == otherArray.getMinimumSize() &&
               array.getMaximumSize() == otherArray.getMaximumSize();
    }
    bool isSame = true;
    withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        const auto& own = static_cast<const Field<T>&>(field);
        const auto& base = static_cast<const Field<T>&>(other);
        isSame = own.hasRange() == base.hasRange() && own.getMinimum() == base.getMinimum() &&
                 own.getMaximum() == base.getMaximum();
    });
    return isSame;
}

void takeRange(FieldBase& field, const FieldBase& source) {
    if (field.getDataType() != source.getDataType() || field.isFieldArray() != source.isFieldArray()) return;
    if (field.isFieldArray()) {
        auto& array = static_cast<FieldArrayBase&>(field);
        const auto& other = static_cast<const FieldArrayBase&>(source);
        array.setSizeRange(other.getMinimumSize(), other.getMaximumSize());
        if (!other.hasSizeRange()) array.clearSizeRange();
        return;
    }
    withValueType(field.getDataType(), [&]<class T>(std::type_identity<T>) {
        FieldAccess::copyRange(static_cast<Field<T>&>(field), static_cast<const Field<T>&>(source));
    });
}

bool isMetadataSame(const FieldBase& field, const FieldBase& other) {
    if (hiddenOf(field) == nullptr && hiddenOf(other) == nullptr) return true;
    if ((bitsOf(field) & ~kMarks) != (bitsOf(other) & ~kMarks)) return false;
    const auto own = othersOf(field);
    const auto others = othersOf(other);
    if (own.size() != others.size()) return false;
    for (std::size_t i = 0; i < own.size(); ++i) {
        if (own[i]->getID() != others[i]->getID() || !isValueSame(*own[i], *others[i])) return false;
    }
    return true;
}

void takeMetadata(FieldBase& field, const FieldBase& source) {
    const auto marks = bitsOf(field) & kMarks;
    const auto* kept = hiddenOf(field);
    const std::unique_ptr<FieldBase> ownData(
        kept != nullptr && (*kept)[ownDataId()].isValid() ? FieldAccess::duplicate((*kept)[ownDataId()]) : nullptr);
    FieldAccess::replaceInternal(field, FieldAccess::getInternalIfAny(source));
    if (hiddenOf(field) != nullptr) field.getInternal().removeField(ownDataId());
    if (ownData) {
        auto* made = field.getInternal().addField(ownDataId(), ownData->getDataType());
        if (made != nullptr) made->_cloneFrom(*ownData);
    }
    field.setMetadata(static_cast<eMetadata>(kMarks & ~marks), false);
    field.setMetadata(static_cast<eMetadata>(marks), true);
    field._notifyPropertyChangedToParents(field);
}

void inheritMarks(FieldBase& field, const FieldBase& source, bool isInner) {
    const auto marks = bitsOf(source) & (static_cast<int>(kMarkedAsOwn) | static_cast<int>(kMarkedInSource));
    if (isInner) {
        if (hasMark(field, kMarkedInSource) != (marks != 0)) field.setMetadata(kMarkedInSource, marks != 0);
    } else if ((marks & static_cast<int>(kMarkedAsOwn)) != 0) {
        field.setMetadata(kMarkedAsOwn, true);  // made for each instance to set
    }
}

}  // namespace KrData::detail
