#pragma once

#include <boost/archive/detail/common_oarchive.hpp>
#include <boost/serialization/collection_size_type.hpp>
#include <boost/serialization/item_version_type.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/wrapper.hpp>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "kr/persistence/archives/binary_values.h"
#include "kr/persistence/archives/named_archive_writer.h"
#include "kr/persistence/archives/named_output.h"

namespace KrPersistence {

/// Whether a value is a text in an XML or JSON archive; other values are groups.
template <class T>
inline constexpr bool kIsPlainValue = std::is_enum_v<T> ||
                                      (!std::is_pointer_v<T> && boost::serialization::implementation_level<T>::value ==
                                                                    boost::serialization::primitive_type);

/// The functions of XML and JSON output archives that Boost.Serialization calls.
template <class Archive>
class NamedOutArchive : public boost::archive::detail::common_oarchive<Archive>, public NamedOutput {
    using Base = boost::archive::detail::common_oarchive<Archive>;

public:
    /// The class that writes named values into it.
    using Writer = NamedArchiveWriter;

    // Instead of Boost's own
    using NamedOutput::register_basic_serializer;
    using NamedOutput::save_object;
    using NamedOutput::save_pointer;

    // The following functions are called by Boost.Serialization, which finds them by name.

    template <class T>
    void save_override(const boost::serialization::nvp<T>& pair) {
        // Boost passes null as the name of an object behind a pointer, and of the number of an enumeration.
        const char* name = _uniqueName(pair.name());
        if (name != nullptr) _name = name;
        if (name == nullptr || kIsPlainValue<std::remove_cv_t<T>>) {
            Base::save_override(pair.const_value());
        } else {
            _begin(name);
            Base::save_override(pair.const_value());
            _end();
        }
    }
    template <class T>
    void save_override(T& value) {
        static_assert(boost::serialization::is_wrapper<std::remove_const_t<T>>::type::value,
                      "give the value a name: boost::serialization::make_nvp");
        Base::save_override(value);
    }
    /// Only called for null pointers; all other bookkeeping is written where objects are saved.
    void save_override(const boost::archive::class_id_type& /*number*/) { _saveNull(); }
    void save_override(const boost::archive::class_id_optional_type& /*number*/) {}
    void save_override(const boost::archive::class_id_reference_type& /*number*/) {}
    void save_override(const boost::archive::object_id_type& /*number*/) {}
    void save_override(const boost::archive::object_reference_type& /*number*/) {}
    void save_override(const boost::archive::version_type& /*version*/) {}
    void save_override(const boost::archive::tracking_type& /*isTracked*/) {}
    void save_override(const boost::archive::class_name_type& /*name*/) {}

    template <class T>
    void save(const T& value) {
        if constexpr (std::is_same_v<T, bool> || std::is_floating_point_v<T> || std::is_same_v<T, std::string>) {
            _save(value);
        } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
            _save(static_cast<long long>(value));
        } else if constexpr (std::is_integral_v<T>) {
            _save(static_cast<unsigned long long>(value));
        } else if constexpr (std::is_same_v<T, boost::serialization::collection_size_type>) {
            _save(static_cast<unsigned long long>(static_cast<std::size_t>(value)));
        } else if constexpr (std::is_same_v<T, boost::serialization::item_version_type>) {
            const unsigned int version = value;
            if (version != 0) _save(static_cast<unsigned long long>(version));
        } else {
            static_assert(std::is_same_v<T, Kr::KrTransform>, "XML and JSON archives do not know this plain type");
            _save(&value);
        }
    }

protected:
    NamedOutArchive(std::unique_ptr<detail::DocumentWriter> writer, KrArchive& state, const char* archiveKind)
        : NamedOutput(std::move(writer), state, *this, archiveKind) {}
};

}  // namespace KrPersistence
