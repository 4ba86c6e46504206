#pragma once

#include <string>

#include "kr/persistence/objects/internal/content_records.h"

namespace KrPersistence {
class ArchiveReader;
}  // namespace KrPersistence

namespace KrPersistence::detail {

/// Reads the output of ContentWriter as records, without making content. An exception leaves complete records.
/// \param version  of the section.
/// \param file     the file part of the content; empty without one.
void readContent(ArchiveReader& reader, unsigned int version, const std::string& file, ContentRecords& content);

}  // namespace KrPersistence::detail
