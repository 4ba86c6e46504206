#pragma once

#include <string>

namespace KrPersistence::detail {

/// Why this release does not read files of that version; empty when it does.
[[nodiscard]] std::string checkFileVersion(unsigned int major, unsigned int minor, const std::string& fileName);

}  // namespace KrPersistence::detail
