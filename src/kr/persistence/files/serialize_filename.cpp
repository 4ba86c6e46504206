#include "kr/persistence/files/serialize_filename.h"

#include <cctype>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kr/persistence/archives/archive_reader.h"
#include "kr/persistence/archives/archive_writer.h"

namespace KrPersistence {

namespace {

/// On any system: "/a", "\a", "C:\a".
bool isAbsolute(std::string_view path) {
    const auto isSlash = [&](std::size_t at) { return at < path.size() && (path[at] == '/' || path[at] == '\\'); };
    if (isSlash(0)) return true;
    return path.size() > 2 && std::isalpha(static_cast<unsigned char>(path[0])) != 0 && path[1] == ':' && isSlash(2);
}

bool exists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

}  // namespace

void serializeFilename(ArchiveWriter& writer, const std::string& filename, const char* name) {
    writer.write(name,
                 filename == kCurrentFileMarker ? filename : absolutePathToRelative(filename, writer.getArchiveName()));
}

void serializeFilename(ArchiveReader& reader, std::string& filename, const char* name) {
    std::string stored;
    reader.read(name, stored);
    if (stored == kCurrentFileMarker) {
        filename = std::move(stored);
        return;
    }
    std::string resolved = relativePathToAbsolute(stored, reader.getArchiveName());
    const bool keepsStored = !resolved.empty() && isAbsolute(stored) && !exists(resolved);
    filename = keepsStored ? std::move(stored) : std::move(resolved);
}

}  // namespace KrPersistence
