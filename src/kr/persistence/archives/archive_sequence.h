#pragma once

#include <boost/serialization/collection_size_type.hpp>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace KrPersistence {

class NamedInput;
class NamedOutput;

// Lists in serialization functions of Boost, for archives of all kinds: a count and the items in binary archives, an
// array in JSON, elements inside one in XML. Each item is one named value.
//
//     saveSequence(archive, "Parts", parts.size(), [&](std::size_t i) { archive << make_nvp("Part", parts[i]); });
//     loadSequence(archive, "Parts", [&](std::size_t) { parts.push_back(loadPart(archive)); });

/// Calls `saveItem(index)` for each index below count; it saves one named value.
template <class Archive, class Action>
void saveSequence(Archive& archive, const char* name, std::size_t count, Action&& saveItem) {
    constexpr bool isNamed = std::is_base_of_v<NamedOutput, Archive>;
    if constexpr (isNamed) {
        archive._beginSequence(name);
    } else {
        archive << boost::serialization::collection_size_type(count);
    }
    for (std::size_t index = 0; index < count; ++index)
        saveItem(index);
    if constexpr (isNamed) archive._endSequence();
}

/// Calls `loadItem(index)` for each item. Lists must grow with their items, since the count in a file is not trusted.
/// Returns the number of items.
template <class Archive, class Action>
std::size_t loadSequence(Archive& archive, const char* name, Action&& loadItem) {
    constexpr bool isNamed = std::is_base_of_v<NamedInput, Archive>;
    std::size_t count = 0;
    if constexpr (isNamed) {
        count = archive._beginSequence(name);
    } else {
        boost::serialization::collection_size_type size;
        archive >> size;
        count = static_cast<std::size_t>(std::as_const(size));
    }
    for (std::size_t index = 0; index < count; ++index)
        loadItem(index);
    if constexpr (isNamed) archive._endSequence();
    return count;
}

}  // namespace KrPersistence
