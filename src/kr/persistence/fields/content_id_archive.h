#pragma once

#include <string_view>

#include "kr/content/content_id.h"
#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"
#include "kr/platform/export.h"
#include "kr/platform/uuid.h"

namespace KrPersistence {

/// Writes the ID as the text of its runtime ID. Its other parts (own identifier, raw ID, file, chain), unless they
/// follow from that text, are written as the group `name` and "Origin". Throws for chains that nest deeper than
/// KrContentID::kMaxNesting.
KR_API void writeContentID(ArchiveWriter& writer, std::string_view name, const KrSim::KrContentID& id);
/// Reads all parts as written; nothing is recomputed.
[[nodiscard]] KR_API KrSim::KrContentID readContentID(ArchiveReader& reader, std::string_view name);

/// Writes the text of the UUID, followed by "/" and the stored byte when that is not 0.
KR_API void writeUuid(ArchiveWriter& writer, std::string_view name, const KrSim::KrUuid& uuid);
/// Throws an archive exception for a text that is no UUID.
[[nodiscard]] KR_API KrSim::KrUuid readUuid(ArchiveReader& reader, std::string_view name);

}  // namespace KrPersistence
