#pragma once

#include "kr/data/field_array.h"
#include "kr/platform/export.h"

namespace KrPersistence::detail {

/// A field array in content: only an implementation, which is not involved here, knows the class of its items. It
/// accepts items of any class; items that it makes itself have the data type of its first item.
/// Thread: that of its owner. Ownership: owns its items.
class KR_API UntypedFieldArray final : public KrData::FieldArrayBase {
public:
    UntypedFieldArray(const Kr::KrID& id, KrData::Types::FieldTypeEnum fieldType);
    UntypedFieldArray(const UntypedFieldArray& source);
    UntypedFieldArray& operator=(const UntypedFieldArray&) = delete;
    ~UntypedFieldArray() override;

    [[nodiscard]] const std::type_info& getItemType() const noexcept override { return typeid(KrData::FieldBase); }
    [[nodiscard]] UntypedFieldArray* _duplicate() const override;
    [[nodiscard]] UntypedFieldArray* clone(const Kr::KrID& id, KrData::Container* parent) const override;
    [[nodiscard]] UntypedFieldArray* clone(KrData::Container* parent) const override;

protected:
    [[nodiscard]] KrData::FieldBase* _makeItem(const Kr::KrID& id) const override;
    [[nodiscard]] bool _isItem(const KrData::FieldBase&) const override { return true; }
};

}  // namespace KrPersistence::detail
