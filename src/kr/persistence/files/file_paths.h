#pragma once

#include <string>

#include "kr/platform/export.h"

namespace KrPersistence {

/// The path relative to the folder of a file, with '/' between its parts. Relative and empty paths are unchanged, and
/// paths that have nothing in common with the file's.
/// \param filename  the file; a relative one is relative to the current folder.
[[nodiscard]] KR_API std::string absolutePathToRelative(const std::string& path, const std::string& filename);

/// The inverse: a relative path becomes absolute, from the folder of the file. Absolute and empty paths are unchanged.
[[nodiscard]] KR_API std::string relativePathToAbsolute(const std::string& path, const std::string& filename);

/// The file part of the identity of content that is loaded from a file: the path relative to the folder of the file
/// that refers to it, with '/' between its parts. Without a referring file, a relative path in its shortest form, and
/// the last part of an absolute path. Never absolute; empty for an empty path.
[[nodiscard]] KR_API std::string contentFileName(const std::string& path, const std::string& referringFile = {});

}  // namespace KrPersistence
