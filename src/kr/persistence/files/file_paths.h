#pragma once

#include <string>

#include "kr/platform/export.h"

namespace KrPersistence {

/// The path as seen from the folder of a file, with '/' between its parts. Relative paths stay as they are, as do empty
/// ones and such as have nothing in common with the file's.
/// \param filename  of the file; a relative one is taken from the current folder.
[[nodiscard]] KR_API std::string absolutePathToRelative(const std::string& path, const std::string& filename);

/// The way back: a relative path, from the folder of the file. Absolute and empty ones stay as they are.
[[nodiscard]] KR_API std::string relativePathToAbsolute(const std::string& path, const std::string& filename);

/// The file part of the identity of content that is loaded from a file: the path as seen from the folder of the file
/// that refers to it, with '/' between its parts. Without a referring file, a relative path as it is, in its shortest
/// form, and the last part of an absolute one. Never absolute; empty for an empty path.
[[nodiscard]] KR_API std::string contentFileName(const std::string& path, const std::string& referringFile = {});

}  // namespace KrPersistence
