#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace KrPersistence::detail {

// What archives keep beside the members of an object: attributes in XML, names with an underscore in JSON.
inline constexpr std::string_view kClass = "class", kVersion = "version", kObjectId = "id", kReference = "ref",
                                  kNull = "null";

struct Bookkeeping {
    bool isAttribute{false};
    std::string_view name;
};

/// Whether the name has underscores in front of one of the above; members of such a name get one more.
inline bool looksLikeBookkeeping(std::string_view name) {
    const std::size_t begin = name.find_first_not_of('_');
    if (begin == 0 || begin == std::string_view::npos) return false;
    constexpr std::array kAll = {kClass, kVersion, kObjectId, kReference, kNull};
    return std::find(kAll.begin(), kAll.end(), name.substr(begin)) != kAll.end();
}

/// What a name in a JSON document stands for.
inline Bookkeeping parseBookkeeping(std::string_view name) {
    if (!looksLikeBookkeeping(name)) return {false, name};
    return {name[1] != '_', name.substr(1)};
}

}  // namespace KrPersistence::detail
