#pragma once

#include <boost/archive/detail/common_iarchive.hpp>
#include <iosfwd>
#include <string>
#include <type_traits>
#include <utility>

#include "kr/persistence/archives/named_archive_reader.h"
#include "kr/persistence/archives/named_input.h"
#include "kr/persistence/archives/named_out_archive.h"

namespace KrPersistence {

/// The functions of XML and JSON input archives that Boost.Serialization calls.
template <class Archive>
class NamedInArchive : public boost::archive::detail::common_iarchive<Archive>, public NamedInput {
    using Base = boost::archive::detail::common_iarchive<Archive>;

public:
    /// The class that reads named values from it.
    using Reader = NamedArchiveReader;

    // Instead of Boost's own
    using NamedInput::delete_created_pointers;
    using NamedInput::load_object;
    using NamedInput::load_pointer;
    using NamedInput::register_basic_serializer;
    using NamedInput::reset_object_address;

    // The following functions are called by Boost.Serialization, which finds them by name.

    template <class T>
    void load_override(const boost::serialization::nvp<T>& pair) {
        const char* name = _uniqueName(pair.name());
        if (name != nullptr) _name = name;
        if (name == nullptr || kIsPlainValue<T>) {
            Base::load_override(pair.value());
        } else {
            _enter(name);
            if constexpr (std::is_pointer_v<T>) {
                _loadPointer(pair.value());
            } else {
                Base::load_override(pair.value());
            }
            _leave();
        }
    }
    template <class T>
    void load_override(T& value) {
        static_assert(boost::serialization::is_wrapper<std::remove_const_t<T>>::type::value,
                      "give the value a name: boost::serialization::make_nvp");
        Base::load_override(value);
    }
    // Bookkeeping is read where objects are loaded.
    void load_override(boost::archive::class_id_type& /*number*/) {}
    void load_override(boost::archive::class_id_optional_type& /*number*/) {}
    void load_override(boost::archive::class_id_reference_type& /*number*/) {}
    void load_override(boost::archive::object_id_type& /*number*/) {}
    void load_override(boost::archive::object_reference_type& /*number*/) {}
    void load_override(boost::archive::version_type& /*version*/) {}
    void load_override(boost::archive::tracking_type& /*isTracked*/) {}
    void load_override(boost::archive::class_name_type& /*name*/) {}

    template <class T>
    void load(T& value) {
        if constexpr (std::is_same_v<T, bool> || std::is_floating_point_v<T>) {
            _load(&value);
        } else if constexpr (std::is_integral_v<T>) {
            std::conditional_t<std::is_signed_v<T>, long long, unsigned long long> wide = 0;
            _load(&wide);
            value = static_cast<T>(wide);
            if (static_cast<decltype(wide)>(value) != wide) _refuseRange(std::to_string(wide));
        } else if constexpr (std::is_same_v<T, boost::serialization::collection_size_type>) {
            std::size_t count = 0;
            _loadCount(count);
            value = boost::serialization::collection_size_type(count);
        } else if constexpr (std::is_same_v<T, boost::serialization::item_version_type>) {
            unsigned int version = 0;
            if (_isThere()) load(version);
            value = boost::serialization::item_version_type(version);
        } else {
            static_assert(std::is_same_v<T, std::string> || std::is_same_v<T, Kr::KrTransform>,
                          "XML and JSON archives do not know this plain type");
            _load(&value);
        }
    }

protected:
    NamedInArchive(std::istream& stream, DocumentReader reader, KrArchive& state, const char* archiveKind)
        : NamedInput(stream, reader, state, *this, archiveKind) {}

private:
    /// The pointer is null until its object is complete and of a fitting class.
    template <class T>
    void _loadPointer(T*& pointer) {
        pointer = nullptr;
        T* loaded = nullptr;
        this->template _aim<T>();
        Base::load_override(loaded);
        pointer = loaded;
    }
};

}  // namespace KrPersistence
