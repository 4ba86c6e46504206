#pragma once

#include "kr/data/field_array.h"
#include "kr/platform/export.h"

namespace KrPersistence::detail {

/// A field array as content has it: the class of its items is known to an implementation only, which is not asked.
/// It takes items of any class; those that it makes itself are of the data type of its first.
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
