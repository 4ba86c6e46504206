#pragma once

#include <string>
#include <typeinfo>

#include "kr/platform/export.h"

namespace Kr {

/// The C++ name of a type, "Demo::Vehicle", for messages; the mangled name when it cannot be demangled.
[[nodiscard]] KR_API std::string getTypeName(const std::type_info& type);

}  // namespace Kr
