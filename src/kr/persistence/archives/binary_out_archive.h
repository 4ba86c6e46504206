#pragma once

#include <boost/archive/binary_oarchive_impl.hpp>
#include <boost/archive/detail/register_archive.hpp>
#include <boost/serialization/array_wrapper.hpp>
#include <boost/serialization/collection_size_type.hpp>
#include <boost/serialization/singleton.hpp>
#include <boost/serialization/type_info_implementation.hpp>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/binary_archive_writer.h"
#include "kr/persistence/archives/binary_values.h"
#include "kr/platform/export.h"

namespace KrPersistence {

namespace detail {
class SavedObjects;
}  // namespace detail

/// Writes a binary archive; its bytes: docs/binary-archives.md.
///
/// Use it with the serialization functions of Boost.Serialization: `archive << value`. Every failure is a
/// boost::archive::archive_exception; the bytes in the stream are no archive then.
/// Thread: one at a time. Ownership: the stream is borrowed; it must be binary. Close it to find out whether all bytes
/// were written.
class KR_API BinaryOutArchive
    : public boost::archive::binary_oarchive_impl<BinaryOutArchive, char, std::char_traits<char>>,
      public KrArchive {
    using Impl = boost::archive::binary_oarchive_impl<BinaryOutArchive, char, std::char_traits<char>>;

public:
    enum class OptimizationMode : std::uint32_t {
        kNormal = 0,
        kCompact = 1,  ///< doubles become floats, objects lose all but their version, pointers become null
    };

    /// The class that writes named values into it.
    using Writer = BinaryArchiveWriter;

    /// Writes the header unless the flags contain kNoHeader.
    BinaryOutArchive(std::ostream& stream, std::uint32_t flags);
    BinaryOutArchive(std::ostream& stream, std::uint32_t flags, OptimizationMode mode);
    /// \param primitiveFlags  archive_flags of Boost; no_header is added.
    BinaryOutArchive(std::ostream& stream, std::uint32_t flags, OptimizationMode mode, std::uint32_t primitiveFlags);
    ~BinaryOutArchive() override;

    // The following functions are called by Boost.Serialization, which finds them by name.

    using Impl::save_override;
    template <class T>
    void save_override(T& value) {
        if constexpr (std::is_pointer_v<T>) {
            if constexpr (std::is_polymorphic_v<std::remove_pointer_t<T>>) return _saveObject(value);
        }
        Impl::save_override(value);
    }
    /// Throws when the version does not fit into its bytes.
    void save_override(const boost::archive::version_type& version);

    using Impl::save;
    template <class T>
    void save(const T& value) {
        Impl::save(value);
    }
    void save(bool value) { Impl::save(value); }
    void save(const std::string& text) { Impl::save(text); }
    void save(unsigned int value);
    /// Written as 4 bytes; throws for a value that needs more. Use `long long` for such values.
    void save(long value);
    void save(const boost::serialization::collection_size_type& count);
    void save(double value) {
        if (_isCompact()) {
            const auto narrow = static_cast<float>(value);
            save_binary(&narrow, sizeof narrow);
        } else {
            save_binary(&value, sizeof value);
        }
    }
    void save(const Kr::KrTransform& transform);

    struct use_array_optimization {
        template <class T>
        struct apply : IsBlockType<T> {};
    };
    template <class T>
    void save_array(const boost::serialization::array_wrapper<T>& array, unsigned int /*version*/) {
        if constexpr (std::is_same_v<std::remove_const_t<T>, double>) {
            if (_isCompact()) return _saveFloats(array.address(), array.count());
        }
        save_binary(array.address(), array.count() * sizeof(T));
    }

    void register_basic_serializer(const boost::archive::detail::basic_oserializer& serializer);
    void save_object(const void* object, const boost::archive::detail::basic_oserializer& serializer);
    void save_pointer(const void* object, const boost::archive::detail::basic_pointer_oserializer* serializer);

private:
    [[nodiscard]] bool _isCompact() const noexcept { return _optimizationMode != 0; }
    /// Boost looks for the class by its name at every pointer; here it does so once for each class of objects.
    template <class T>
    void _saveObject(T* const& pointer) {
        namespace bs = boost::serialization;
        using Serializers = boost::archive::detail::archive_serializer_map<BinaryOutArchive>;
        if (pointer != nullptr && _saveKnown(dynamic_cast<const void*>(pointer), typeid(*pointer), typeid(T))) return;
        Impl::save_override(pointer);
        if (pointer == nullptr) return;
        const auto* type = bs::singleton<typename bs::type_info_implementation<T>::type>::get_const_instance()
                               .get_derived_extended_type_info(*pointer);
        if (type != nullptr) _note(typeid(*pointer), typeid(T), Serializers::find(*type));
    }
    /// False unless such an object was saved behind such a pointer before.
    bool _saveKnown(const void* object, const std::type_info& type, const std::type_info& pointedTo);
    void _note(const std::type_info& type, const std::type_info& pointedTo,
               const boost::archive::detail::basic_serializer* serializer);
    void _writeHeader();
    void _saveFloats(const double* values, std::size_t count);

    std::uint32_t _optimizationMode;
    std::unique_ptr<detail::SavedObjects> _saved;
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::BinaryOutArchive)
BOOST_SERIALIZATION_USE_ARRAY_OPTIMIZATION(KrPersistence::BinaryOutArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::BinaryOutArchive>;
