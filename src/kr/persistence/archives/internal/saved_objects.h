#pragma once

#include <boost/archive/detail/basic_oserializer.hpp>
#include <boost/archive/detail/basic_pointer_oserializer.hpp>
#include <boost/serialization/extended_type_info.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <typeinfo>
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
    using PointerSerializer = boost::archive::detail::basic_pointer_oserializer;

    /// The number of the class, and whether it is new. Modules have their own serializers for one class.
    std::pair<std::int16_t, bool> classOf(const Serializer& serializer) {
        if (const AddressTable::Entry* known = _serializers.find(&serializer, 0))
            return {static_cast<std::int16_t>(known->number), false};
        const auto next = static_cast<std::int16_t>(isDescribed.size());
        const auto [position, isNew] = _classes.emplace(&serializer.get_eti(), next);
        if (isNew) isDescribed.push_back(false);
        _serializers.add(&serializer, 0, static_cast<std::uint32_t>(position->second));
        return {position->second, isNew};
    }

    /// The serializer for objects of the type behind pointers to the other; null unless it was recorded.
    const PointerSerializer* serializerOf(const std::type_info& type, const std::type_info& pointedTo) {
        const AddressTable::Entry* known = _pointers.find(&type, 0);
        if (known == nullptr || _noted[known->number].pointedTo != &pointedTo) return nullptr;
        return _noted[known->number].serializer;
    }
    void noteSerializer(const std::type_info& type, const std::type_info& pointedTo,
                        const PointerSerializer* serializer) {
        const auto [entry, isNew] = _pointers.add(&type, 0, static_cast<std::uint32_t>(_noted.size()));
        if (isNew) _noted.emplace_back();
        _noted[entry->number] = {&pointedTo, serializer};
    }

    std::vector<bool> isDescribed;  // by class: the archive contains its information
    AddressTable objects;
    std::size_t depth{0};
    // The object of a pointer that is being written: its own save writes only the data.
    const void* announced{nullptr};
    const Serializer* announcedSerializer{nullptr};

private:
    struct Noted {
        const std::type_info* pointedTo{nullptr};
        const PointerSerializer* serializer{nullptr};
    };

    std::map<const boost::serialization::extended_type_info*, std::int16_t, LessTypeInfo> _classes;
    AddressTable _serializers;
    AddressTable _pointers;  // by the types of the objects behind them: places in the following
    std::vector<Noted> _noted;
};

/// Announces the object behind a pointer during its lifetime.
class Announcement {
public:
    Announcement(SavedObjects& saved, const void* object, const SavedObjects::Serializer* serializer)
        : _saved(saved), _object(saved.announced), _serializer(saved.announcedSerializer) {
        saved.announced = object;
        saved.announcedSerializer = serializer;
    }
    Announcement(const Announcement&) = delete;
    Announcement& operator=(const Announcement&) = delete;
    ~Announcement() {
        _saved.announced = _object;
        _saved.announcedSerializer = _serializer;
    }

private:
    SavedObjects& _saved;
    const void* _object;
    const SavedObjects::Serializer* _serializer;
};

/// The name under which the class is exported; throws for a class that is not.
const char* keyOf(const SavedObjects::Serializer& serializer, const char* archive);
/// Throws for an object that was archived behind a pointer and later as a value.
[[noreturn]] void refuseLateValue(const SavedObjects::Serializer& serializer, const char* archive);

}  // namespace KrPersistence::detail
