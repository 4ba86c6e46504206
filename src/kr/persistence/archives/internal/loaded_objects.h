#pragma once

#include <boost/archive/detail/basic_iserializer.hpp>
#include <boost/archive/detail/basic_pointer_iserializer.hpp>
#include <boost/serialization/extended_type_info.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kr/persistence/archives/internal/address_table.h"
#include "kr/persistence/archives/internal/saved_objects.h"

namespace KrPersistence::detail {

/// The classes and objects that an archive has read.
class LoadedObjects {
public:
    using Serializer = boost::archive::detail::basic_iserializer;
    using PointerSerializer = boost::archive::detail::basic_pointer_iserializer;
    using TypeInfo = boost::serialization::extended_type_info;

    struct Class {
        const Serializer* serializer{nullptr};
        const PointerSerializer* pointerSerializer{nullptr};
        const TypeInfo* family{nullptr};  // the last base class to whose pointers the class was found to fit
        std::uint32_t version{0};
        bool isDescribed{false};
        bool isTracked{false};
    };
    enum class eState : std::uint8_t {
        kValue,    // part of an object that the reader of the archive made
        kRaw,      // made for a pointer, memory without an object so far
        kFilling,  // made for a pointer, constructed
        kMade,     // made for a pointer and whole
        kGone,     // destroyed, or moved to an unknown address
    };
    struct Object {
        void* address{nullptr};
        std::uint32_t pointerLevel{0};
        std::int16_t number{0};  // of its class
        eState state{eState::kValue};
    };
    /// The object of a pointer that is being read: its own load reads only the data.
    struct Announced {
        void* address{nullptr};
        const Serializer* serializer{nullptr};
        std::uint32_t version{0};
        std::size_t object{0};  // its place among the objects, if tracked
        bool isConstructed{false};
    };

    std::int16_t classOf(const Serializer& serializer);
    /// An object that was read at `from` and filled `size` bytes is at `to` now.
    void move(const void* to, const void* from, std::size_t size);
    /// False for an object that was not made for a pointer, or has an owner.
    bool adopt(const void* object);
    void destroyUnowned();

    std::vector<Class> classes;
    std::vector<Object> objects;
    std::vector<std::uint32_t> unowned;  // whole objects that were not adopted, by their place among the objects
    std::size_t recent{0};               // the first object of the last value
    std::size_t depth{0};
    std::uint32_t pointerLevel{0};
    Announced announced;

private:
    std::map<const TypeInfo*, std::int16_t, LessTypeInfo> _classes;
    AddressTable _serializers;
};

}  // namespace KrPersistence::detail
