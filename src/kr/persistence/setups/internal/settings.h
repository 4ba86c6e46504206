#pragma once

#include "kr/data/fwd.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence::detail {

// The parameters of every setup, by their identifiers and without their types, in a form for people.

/// Whether the field has the form of the standard one, with any value: number, text, file name, enumeration, list of
/// texts, or a container of such.
[[nodiscard]] bool isSetting(const KrData::FieldBase& field, const KrData::FieldBase& standard);

/// Writes the value, unless it equals that of the standard field; the same for fields below a container. File names are
/// written relative to the file.
void writeSetting(ArchiveWriter& writer, const KrData::FieldBase& field, const KrData::FieldBase& standard);

/// Sets the field, if a value was written.
void readSetting(ArchiveReader& reader, KrData::FieldBase& field);

}  // namespace KrPersistence::detail
