#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KrPersistence::detail {

// Data that archives store beside the members of an object: attributes in XML, names with an underscore in JSON.
enum class eBookkeeping : std::uint8_t { kClass, kVersion, kId, kReference, kNull };
inline constexpr std::array<std::string_view, 5> kBookkeepingNames = {"class", "version", "id", "ref", "null"};

constexpr std::string_view nameOf(eBookkeeping which) {
    return kBookkeepingNames[static_cast<std::size_t>(which)];
}

inline bool isBookkeeping(std::string_view name) {
    return std::find(kBookkeepingNames.begin(), kBookkeepingNames.end(), name) != kBookkeepingNames.end();
}

struct Bookkeeping {
    bool isAttribute{false};
    std::string_view name;
};

/// Whether the name is underscores followed by one of the above; members of such a name get one more underscore.
inline bool looksLikeBookkeeping(std::string_view name) {
    if (name.empty() || name[0] != '_') return false;
    const std::size_t begin = name.find_first_not_of('_');
    return begin != std::string_view::npos && isBookkeeping(name.substr(begin));
}

/// The meaning of a name in a JSON document.
inline Bookkeeping parseBookkeeping(std::string_view name) {
    if (!looksLikeBookkeeping(name)) return {false, name};
    return {name[1] != '_', name.substr(1)};
}

}  // namespace KrPersistence::detail
