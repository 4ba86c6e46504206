#pragma once

#include <string>
#include <string_view>

#include "kr/persistence/files/file_paths.h"
#include "kr/persistence/files/fwd.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Means the file itself where a path is expected; written unchanged.
inline constexpr std::string_view kCurrentFileMarker = "*Current File*";

/// Writes a path relative to the file that is being written, so that both can be moved together.
KR_API void serializeFilename(ArchiveWriter& writer, const std::string& filename, const char* name);

/// Reads a path as absolute, from the current folder of the file. Absolute paths in the file are unchanged.
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
