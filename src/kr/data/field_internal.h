#pragma once

#include <memory>

#include "kr/data/types.h"

namespace KrData {

/// The hidden fields attached to one field: metadata bits, the unit to show it in, what tools add.
///
/// Ownership: belongs to its field (FieldBase::getInternal makes it). The container is made on first need.
class KR_API FieldInternal {
public:
    FieldInternal() noexcept;
    FieldInternal(const FieldInternal& source);  ///< deep copy
    FieldInternal& operator=(const FieldInternal& source);
    ~FieldInternal();

    /// The new hidden field, or the one that has this identifier and type already. Null when the identifier stands
    /// for a field of another type, or the type cannot be produced.
    FieldBase* addField(const Kr::KrID& id, Types::DataTypeEnum dataType);
    bool removeField(const Kr::KrID& id);
    /// The invalid field when absent.
    [[nodiscard]] FieldBase& getField(const Kr::KrID& id) const;
    /// The container of the hidden fields, null while there are none.
    [[nodiscard]] Container* get() const noexcept { return _fields.get(); }

    /// Copies hidden fields from one field to another.
    /// \param replace  true: the destination then has exactly those of the source; false: those that the destination
    ///                 lacks are added, the values of the others are copied, and further ones stay.
    static void copyFieldInternals(const FieldBase& source, FieldBase& destination, bool replace);

    /// Takes the hidden fields of content, in place of those that are here. Null takes them away.
    void _adopt(std::unique_ptr<Container> fields);
    /// Takes no field any more: the store of the invalid field.
    void _refuseFields() noexcept { _refuses = true; }

private:
    std::unique_ptr<Container> _fields;
    bool _refuses{false};
};

}  // namespace KrData
