#pragma once

#include <string>
#include <typeinfo>

namespace Kr::detail {

/// The C++ name of a type as a text that lives for ever, for values of enumerations that are not registered.
const std::string& keepEnumTypeName(const std::type_info& type);

}  // namespace Kr::detail
