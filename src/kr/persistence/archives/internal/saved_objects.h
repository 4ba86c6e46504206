#pragma once

#include <boost/archive/detail/basic_oserializer.hpp>
#include <boost/serialization/extended_type_info.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "kr/persistence/archives/internal/address_table.h"

namespace KrPersistence::detail {

struct LessTypeInfo {
    using Type = boost::serialization::extended_type_info;
    bool operator()(const Type* left, const Type* right) const { return *left < *right; }
};

/// The classes and objects that an archive has written.
class SavedObjects {
public:
    using Serializer = boost::archive::detail::basic_oserializer;

    /// The number of the class, and whether it is new. Modules have serializers of their own for one class.
    std::pair<std::int16_t, bool> classOf(const Serializer& serializer) {
        if (const AddressTable::Entry* known = _serializers.find(&serializer, 0))
            return {static_cast<std::int16_t>(known->number), false};
        const auto next = static_cast<std::int16_t>(isDescribed.size());
        const auto [position, isNew] = _classes.emplace(&serializer.get_eti(), next);
        if (isNew) isDescribed.push_back(false);
        _serializers.add(&serializer, 0, static_cast<std::uint32_t>(position->second));
        return {position->second, isNew};
    }

    std::vector<bool> isDescribed;  // by class: its information stands in the archive
    AddressTable objects;
    std::size_t depth{0};
    // The object that a pointer has announced: its own save writes the data only.
    const void* announced{nullptr};
    const Serializer* announcedSerializer{nullptr};

private:
    std::map<const boost::serialization::extended_type_info*, std::int16_t, LessTypeInfo> _classes;
    AddressTable _serializers;
};

}  // namespace KrPersistence::detail
