#pragma once

#include <vector>

#include "kr/extension/fwd.h"
#include "kr/persistence/objects/file_identity.h"
#include "kr/persistence/objects/internal/content_records.h"
#include "kr/persistence/objects/internal/own_content.h"

namespace KrPersistence {
class ArchiveReader;
class ArchiveWriter;
}  // namespace KrPersistence

namespace KrPersistence::detail {

/// Writes the connections that end at these extensions, and those kept for them because an end is missing.
void writeConnections(ArchiveWriter& writer, const std::vector<KrSim::KrExtension*>& extensions,
                      const StoredIdentity& identity, const OwnContent& ownContent);
/// Adds the connections of the file, with the IDs of the file. When reading fails, those already read are kept.
/// \param version  of the section
void readConnections(ArchiveReader& reader, unsigned int version, ConnectionRecords& connections);

}  // namespace KrPersistence::detail
