#pragma once

#include <string>

namespace Kr::detail {

/// The text, never destroyed: type name or display text for values of enumerations that are not registered.
const std::string& keepEnumText(std::string text);

}  // namespace Kr::detail
