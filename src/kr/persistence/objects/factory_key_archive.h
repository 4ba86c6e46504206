#pragma once

#include <string_view>

#include "kr/extension/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

class ArchiveReader;
class ArchiveWriter;

/// Writes the key of a type as a group of its texts. An empty key is left out.
KR_API void writeFactoryKey(ArchiveWriter& writer, std::string_view name, const KrSim::KrFactoryKey& key);

/// The empty key when none was written. Throws an archive exception for a uuid that is none.
[[nodiscard]] KR_API KrSim::KrFactoryKey readFactoryKey(ArchiveReader& reader, std::string_view name);

}  // namespace KrPersistence
