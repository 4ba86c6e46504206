#pragma once

#include <string>
#include <typeinfo>

#include "kr/platform/export.h"

namespace Kr {

/// The C++ name of a type, "Demo::Vehicle", for messages; the mangled one where the compiler's runtime cannot say.
[[nodiscard]] KR_API std::string getTypeName(const std::type_info& type);

}  // namespace Kr
