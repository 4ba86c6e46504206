#pragma once

#include <memory>

#include "kr/data/types.h"

namespace KrData {

namespace detail {
struct ContainerAccess;
}  // namespace detail

/// The hidden fields of one field: metadata bits, its display unit, fields that tools add.
///
/// Thread: application. Ownership: owned by its field (FieldBase::getInternal creates it). Makes its container late.
class KR_API FieldInternal {
public:
    FieldInternal() noexcept;
    FieldInternal(const FieldInternal& source);  ///< deep copy
    FieldInternal& operator=(const FieldInternal& source);
    ~FieldInternal();

    /// The new hidden field, or the existing one with this identifier and type. Null when the identifier belongs to a
    /// field of another type, or the type cannot be produced.
    FieldBase* addField(const Kr::KrID& id, Types::DataTypeEnum dataType);
    bool removeField(const Kr::KrID& id);
    /// The invalid field without such a field.
    [[nodiscard]] FieldBase& getField(const Kr::KrID& id) const;
    /// The container of the hidden fields, null without hidden fields.
    [[nodiscard]] Container* get() const noexcept { return _fields.get(); }

    /// Copies hidden fields from one field to another.
    /// \param replace  true: the destination has exactly those of the source afterwards; false: missing ones are added,
    ///                 values of the others are copied, and further ones are kept.
    static void copyFieldInternals(const FieldBase& source, FieldBase& destination, bool replace);

private:
    friend struct detail::ContainerAccess;

    /// Replaces the hidden fields by those of content. Null removes them.
    void _adopt(std::unique_ptr<Container> fields);
    /// Takes no field any more: the store of the invalid field.
    void _refuseFields() noexcept { _refuses = true; }

    std::unique_ptr<Container> _fields;
    bool _refuses{false};
};

}  // namespace KrData
