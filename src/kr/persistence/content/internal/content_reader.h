#pragma once

#include "kr/persistence/content/internal/content_records.h"

namespace KrPersistence {
class ArchiveReader;
}  // namespace KrPersistence

namespace KrPersistence::detail {

/// Reads what ContentWriter wrote. Nothing is made of it yet.
[[nodiscard]] ContentRecords readContent(ArchiveReader& reader);

}  // namespace KrPersistence::detail
