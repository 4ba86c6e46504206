#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "kr/data/proxy.h"
#include "kr/data/vector.h"
#include "kr/persistence/fields/field_archive.h"

namespace KrPersistence::detail {

/// Writes a field and all fields below it.
class FieldWriter {
public:
    FieldWriter(ArchiveWriter& writer, const KrData::FieldBase& root, const FieldWriteContext& context);

    void writeField(std::string_view name);
    void writeChildren(std::string_view listName);
    void writeValue(std::string_view name);

private:
    using FieldBase = KrData::FieldBase;
    using Types = KrData::Types;

    void _writeField(std::string_view name, const FieldBase& field, Types::FieldTypeEnum usualRole,
                     std::uint32_t usualNumber);
    void _writeKind(const FieldBase& field, Types::FieldTypeEnum usualRole);
    void _writeProperties(const FieldBase& field, std::uint32_t usualNumber);
    void _writeChildren(std::string_view listName, std::string_view itemName, const FieldBase& field);
    void _writeChosen(std::string_view listName, std::string_view itemName, const FieldBase& field);
    void _writeSizeRange(const FieldBase& field);
    void _writeContent(const FieldBase& field);
    void _writeValueMembers(const FieldBase& field);
    /// A field that is neither a container nor of a value type has no value.
    void _writeLeaf(const FieldBase& field);
    template <class T>
    void _writeRange(const KrData::Field<T>& field);
    void _writeItems(const FieldBase& field);
    template <class T>
    void _writeItemsOf(const KrData::Vector<T>& vector, const FieldBase& field);
    void _writeLinks(const FieldBase& field);
    void _writeID(const KrSim::KrContentID& id);
    void _writeReference(KrSim::KrExtension* extension, const FieldBase& field, std::size_t item);
    [[nodiscard]] KrSim::KrContentID _idOf(KrSim::KrExtension* extension, const FieldBase& field,
                                           std::size_t item) const;

    ArchiveWriter& _writer;
    const FieldBase& _root;
    const ContentIDMapping* _toStored;
    const std::unordered_set<const FieldBase*>* _chosen;
    int _hiddenDepth{0};  // levels of metadata around the field being written
    std::unordered_map<std::string, const KrSim::KrContentID*> _unresolved;  // by path and item
};

/// The kind of item that a vector of this field holds; kUnknown for other fields.
[[nodiscard]] inline KrData::Types::DataTypeEnum itemTypeOf(const KrData::FieldBase& field) noexcept {
    return field.getDataType() == KrData::Types::kVector
               ? static_cast<const KrData::VectorBase&>(field).getItemDataType()
               : KrData::Types::kUnknown;
}

}  // namespace KrPersistence::detail
