#pragma once

#include <string>

#include "kr/platform/file_result.h"

namespace KrPersistence::detail {

/// Whether this release reads files of that version. The text of a refusal names the file.
[[nodiscard]] Kr::FileResult checkFileVersion(unsigned int major, unsigned int minor, const std::string& fileName);

}  // namespace KrPersistence::detail
