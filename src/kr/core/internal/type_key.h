#pragma once

#include <cstdint>
#include <string>
#include <typeinfo>

namespace Kr::detail {

/// A text that identifies a type in every module of the process and outlives the module that defines the type.
///
/// It is the mangled name. Types of unnamed namespaces share names between files, so the address of the type
/// information is added for these.
inline std::string typeKey(const std::type_info& type) {
    std::string key = type.name();
    if (key.find("_GLOBAL__N_") != std::string::npos) {
        key += '@' + std::to_string(reinterpret_cast<std::uintptr_t>(&type));
    }
    return key;
}

}  // namespace Kr::detail
