#pragma once

#include "kr/data/fwd.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence::detail {

// The parameters that every setup has, by their identifiers and without their types: as people write them.

/// Whether the field is what the standard has, with other values: number, text, file name, enumeration, list of texts,
/// or a container of such.
[[nodiscard]] bool isSetting(const KrData::FieldBase& field, const KrData::FieldBase& standard);

/// Writes the value, unless it is that of the standard; what is below a container likewise. File names are kept
/// relative to the file.
void writeSetting(ArchiveWriter& writer, const KrData::FieldBase& field, const KrData::FieldBase& standard);

/// Sets the field, if a value was written.
void readSetting(ArchiveReader& reader, KrData::FieldBase& field);

}  // namespace KrPersistence::detail
