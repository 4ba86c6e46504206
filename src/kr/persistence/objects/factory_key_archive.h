#pragma once

#include <string_view>

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class ArchiveReader;
class ArchiveWriter;

/// Writes the key of a type as a group of its texts. An empty key is not written.
KR_API void writeFactoryKey(ArchiveWriter& writer, std::string_view name, const KrSim::KrFactoryKey& key);

/// The empty key when no key was written. Throws an archive exception for an invalid uuid.
[[nodiscard]] KR_API KrSim::KrFactoryKey readFactoryKey(ArchiveReader& reader, std::string_view name);

}  // namespace KrPersistence
