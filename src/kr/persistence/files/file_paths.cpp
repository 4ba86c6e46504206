#include "kr/persistence/files/file_paths.h"

#include <filesystem>
#include <system_error>

namespace KrPersistence {

namespace {

namespace fs = std::filesystem;

/// Empty when there is no telling.
fs::path getFolder(const std::string& filename) {
    if (filename.empty()) return {};
    std::error_code failure;
    const fs::path absolute = fs::absolute(filename, failure);
    return failure ? fs::path() : absolute.lexically_normal().parent_path();
}

}  // namespace

std::string absolutePathToRelative(const std::string& path, const std::string& filename) {
    const fs::path absolute(path);
    const fs::path folder = getFolder(filename);
    if (!absolute.is_absolute() || folder.empty()) return path;
    const fs::path relative = absolute.lexically_normal().lexically_relative(folder);
    return relative.empty() ? path : relative.generic_string();
}

std::string relativePathToAbsolute(const std::string& path, const std::string& filename) {
    const fs::path relative(path);
    const fs::path folder = getFolder(filename);
    if (path.empty() || relative.is_absolute() || folder.empty()) return path;
    return (folder / relative).lexically_normal().string();
}

std::string contentFileName(const std::string& path, const std::string& referringFile) {
    if (path.empty()) return {};
    const fs::path file(path);
    if (const fs::path folder = getFolder(referringFile); !folder.empty()) {
        std::error_code failure;
        const fs::path absolute = fs::absolute(file, failure);
        const fs::path relative = failure ? fs::path() : absolute.lexically_normal().lexically_relative(folder);
        if (!relative.empty()) return relative.generic_string();
    }
    return (file.is_absolute() ? file.filename() : file.lexically_normal()).generic_string();
}

}  // namespace KrPersistence
