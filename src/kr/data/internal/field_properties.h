#pragma once

#include "kr/data/container.h"
#include "kr/data/metadata.h"

// Properties of two fields, one by one, for merges.

namespace KrData::detail {

/// The child of hidden metadata that merges ignore: the own data in the form of content.
[[nodiscard]] const Kr::KrID& ownDataId();

[[nodiscard]] bool hasMark(const FieldBase& field, eMetadata mark);
/// NaN equals NaN.
[[nodiscard]] bool isValueSame(const FieldBase& field, const FieldBase& other);
/// Of one data type. For arrays the size range.
[[nodiscard]] bool isRangeSame(const FieldBase& field, const FieldBase& other);
void takeRange(FieldBase& field, const FieldBase& source);
/// Ignores the marks of merges.
[[nodiscard]] bool isMetadataSame(const FieldBase& field, const FieldBase& other);
void takeMetadata(FieldBase& field, const FieldBase& source);
/// Takes over the marks of a source. \param isInner  whether they are those of an inner holder.
void inheritMarks(FieldBase& field, const FieldBase& source, bool isInner);

}  // namespace KrData::detail
