#pragma once

#include <string>
#include <string_view>

#include "kr/persistence/files/file_paths.h"
#include "kr/persistence/files/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Stands for the file itself where a path is expected; kept as it is.
inline constexpr std::string_view kCurrentFileMarker = "*Current File*";

/// Writes a path relative to the file that is being written, so that both can move together.
KR_API void serializeFilename(ArchiveWriter& writer, const std::string& filename, const char* name);

/// Reads what was written by it: an absolute path, from where the file lies now. Absolute paths in the file stay.
KR_API void serializeFilename(ArchiveReader& reader, std::string& filename, const char* name);

/// The same for archives.
template <class Archive>
requires requires {
    typename Archive::is_loading;
}
void serializeFilename(Archive& archive, std::string& filename, const char* name) {
    if constexpr (Archive::is_loading::value) {
        typename Archive::Reader reader(archive);
        serializeFilename(reader, filename, name);
    } else {
        typename Archive::Writer writer(archive);
        serializeFilename(writer, filename, name);
    }
}

}  // namespace KrPersistence
