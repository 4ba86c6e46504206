#include "kr/persistence/fields/field_archive.h"

#include "kr/persistence/fields/internal/field_reader.h"
#include "kr/persistence/fields/internal/field_value_reader.h"
#include "kr/persistence/fields/internal/field_writer.h"

namespace KrPersistence {

void writeField(ArchiveWriter& writer, std::string_view name, const KrData::FieldBase& field,
                const FieldWriteContext& context) {
    detail::FieldWriter(writer, field, context).writeField(name);
}

std::unique_ptr<KrData::FieldBase> readField(ArchiveReader& reader, std::string_view name, FieldReadContext& context) {
    return detail::FieldReader(reader, context).readField(name);
}

std::unique_ptr<KrData::Container> readContainer(ArchiveReader& reader, std::string_view name,
                                                 FieldReadContext& context) {
    auto field = readField(reader, name, context);
    if (field->getDataType() != KrData::Types::kContainer || field->isFieldArray()) {
        reader.fail("'" + std::string(name) + "' is no container, but a field of type " +
                    KrData::Types::nameFor(field->getDataType()));
    }
    return std::unique_ptr<KrData::Container>(static_cast<KrData::Container*>(field.release()));
}

void writeFields(ArchiveWriter& writer, std::string_view name, const KrData::Container& container,
                 const FieldWriteContext& context) {
    detail::FieldWriter(writer, container, context).writeChildren(name);
}

void readFields(ArchiveReader& reader, std::string_view name, KrData::Container& container, FieldReadContext& context) {
    detail::FieldReader(reader, context).readChildren(name, container);
}

void writeValue(ArchiveWriter& writer, std::string_view name, const KrData::FieldBase& field,
                const FieldWriteContext& context) {
    detail::FieldWriter(writer, field, context).writeValue(name);
}

bool readValue(ArchiveReader& reader, std::string_view name, KrData::FieldBase& field, FieldReadContext& context) {
    return detail::FieldValueReader(reader, context).read(name, field);
}

bool readValue(ArchiveReader& reader, std::string_view name, KrData::FieldBase& field) {
    FieldReadContext context;
    return readValue(reader, name, field, context);
}

}  // namespace KrPersistence
