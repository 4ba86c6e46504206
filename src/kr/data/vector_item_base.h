#pragma once

#include <cstddef>

#include "kr/data/field_base.h"
#include "kr/data/field_reference.h"

namespace KrData {

/// A view of one item of a vector as a field: for code that only knows fields.
///
/// Its identifier is the index as text, its path that of the vector, a period and the index. Owner extension, field
/// type and read-only hint are those of the vector.
/// Thread: application. Ownership: owned by its creator, never by the vector. When the vector dies or becomes too
/// short, the view reads as a default and refuses values, until the vector is long enough again.
/// Observe the vector, not the view: a view notifies of no change.
class KR_API VectorItemBase : public FieldBase {
public:
    ~VectorItemBase() override;

    /// Null after the vector died.
    [[nodiscard]] VectorBase* getVector() const noexcept;
    [[nodiscard]] std::size_t getIndex() const noexcept { return _index; }
    /// Whether the vector has such an item now.
    [[nodiscard]] bool hasItem() const noexcept;

    [[nodiscard]] FieldBase* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] FieldBase* clone(Container* parent) const override;
    /// False, and nothing changes; typed items take values of their type.
    bool copyValue(const FieldBase& source) override;
    [[nodiscard]] KrSim::KrExtension* getOwnerExtension() const override;
    [[nodiscard]] Types::FieldTypeEnum getFieldType() const override;

protected:
    VectorItemBase(VectorBase& vector, std::size_t index);

    [[nodiscard]] IFieldOwner* _getFieldOwner() const override;
    [[nodiscard]] const FieldBase* _getHolder() const noexcept override;
    /// Null: an item is copied with its vector.
    [[nodiscard]] FieldBase* _duplicate() const override;

private:
    FieldReference _vector;
    std::size_t _index;
};

}  // namespace KrData
