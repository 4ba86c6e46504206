#pragma once

#include <string_view>

#include "kr/content/content_id.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/platform/export.h"
#include "kr/platform/uuid.h"

namespace KrPersistence {

/// Writes the ID as the text of its runtime ID. What else belongs to it (own identifier, raw ID, file, chain) follows
/// as the group `name` and "Origin" where it does not follow from that text. Throws for chains that nest deeper than
/// KrContentID::kMaxNesting.
KR_API void writeContentID(ArchiveWriter& writer, std::string_view name, const KrSim::KrContentID& id);
/// All parts as they were written; nothing is recomputed.
[[nodiscard]] KR_API KrSim::KrContentID readContentID(ArchiveReader& reader, std::string_view name);

/// Writes the text of the UUID, with a "/" and the stored byte behind it where that is not 0.
KR_API void writeUuid(ArchiveWriter& writer, std::string_view name, const KrSim::KrUuid& uuid);
[[nodiscard]] KR_API KrSim::KrUuid readUuid(ArchiveReader& reader, std::string_view name);

}  // namespace KrPersistence
