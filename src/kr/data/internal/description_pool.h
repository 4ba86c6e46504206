#pragma once

#include <string>

namespace KrData::detail {

/// The one copy of a description that all fields share; never destroyed. Any thread.
[[nodiscard]] const std::string* internDescription(const std::string& description);
[[nodiscard]] const std::string* emptyDescription() noexcept;

}  // namespace KrData::detail
