#pragma once

#include <string_view>

#include "kr/persistence/fields/internal/field_reader.h"

namespace KrPersistence::detail {

/// Reads values into existing fields.
class FieldValueReader {
public:
    FieldValueReader(ArchiveReader& reader, FieldReadContext& context);

    /// False when a value found no field that accepts it.
    [[nodiscard]] bool read(std::string_view name, KrData::FieldBase& field);

private:
    using FieldBase = KrData::FieldBase;
    using Types = KrData::Types;

    /// Null passes the value over.
    [[nodiscard]] bool _readMembers(const Kr::KrID& id, FieldBase* field);
    [[nodiscard]] bool _readChildren(FieldBase* field);
    [[nodiscard]] bool _readLeaf(Types::DataTypeEnum type, const Kr::KrID& id, FieldBase* field);
    void _resolveReferences(FieldBase& made, std::size_t first);

    ArchiveReader& _reader;
    FieldReadContext& _context;
    FieldReader _parts;
};

}  // namespace KrPersistence::detail
