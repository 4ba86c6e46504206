#pragma once

#include <string>

#include "kr/persistence/objects/internal/content_records.h"

namespace KrPersistence {
class ArchiveReader;
}  // namespace KrPersistence

namespace KrPersistence::detail {

/// Reads what ContentWriter wrote. Nothing is made of it yet. After an exception the records are those that were whole.
/// \param version  of the section.
/// \param file     the file part of the content; empty for none.
void readContent(ArchiveReader& reader, unsigned int version, const std::string& file, ContentRecords& content);

}  // namespace KrPersistence::detail
