#pragma once

#include <boost/archive/binary_iarchive_impl.hpp>
#include <boost/archive/detail/register_archive.hpp>
#include <boost/serialization/array_wrapper.hpp>
#include <boost/serialization/collection_size_type.hpp>
#include <boost/serialization/item_version_type.hpp>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <type_traits>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/archives/binary_archive_reader.h"
#include "kr/persistence/archives/binary_values.h"
#include "kr/persistence/archives/in_archive_objects.h"
#include "kr/platform/export.h"

namespace KrPersistence {

/// Reads a binary archive; its bytes: docs/binary-archives.md.
///
/// No value in the file is trusted: sizes are compared with the remaining bytes, numbers of classes and objects with
/// those read before, and every failure is a boost::archive::archive_exception. After a failure only
/// delete_created_pointers may be called. Memory is proportional to the file as long as elements of collections take a
/// byte each.
/// Thread: one at a time. Ownership: the stream is borrowed; it must be binary and end where the archive's file ends.
class KR_API BinaryInArchive
    : public boost::archive::binary_iarchive_impl<BinaryInArchive, char, std::char_traits<char>>,
      public KrArchive,
      public InArchiveObjects {
    using Impl = boost::archive::binary_iarchive_impl<BinaryInArchive, char, std::char_traits<char>>;

public:
    enum class OptimizationMode : std::uint32_t { kNormal = 0, kCompact = 1 };
    /// The class that reads named values from it.
    using Reader = BinaryArchiveReader;

    /// Largest size accepted from a stream whose end is unknown, unless setSizeLimit allows more.
    static constexpr std::uint64_t kUnknownEndLimit = std::uint64_t{16} << 20U;

    /// Reads the header unless the flags contain kNoHeader. Flags and mode must be those of the writer. Different type
    /// sizes and byte orders are logged as errors, and reading continues.
    BinaryInArchive(std::istream& stream, std::uint32_t flags);
    BinaryInArchive(std::istream& stream, std::uint32_t flags, OptimizationMode mode);
    /// \param primitiveFlags  archive_flags of Boost; no_header is added.
    BinaryInArchive(std::istream& stream, std::uint32_t flags, OptimizationMode mode, std::uint32_t primitiveFlags);
    /// Destroys no object that was read.
    ~BinaryInArchive() override;

    /// The version in the header; 0 without a header.
    [[nodiscard]] unsigned int getVersion() const noexcept { return static_cast<unsigned int>(_headerValue); }
    /// Texts of more bytes and collections of more elements are refused, whatever the size of the stream.
    void setSizeLimit(std::uint64_t limit) noexcept { _sizeLimit = limit; }

    /// An upper limit of the archive's size in bytes.
    [[nodiscard]] std::uint64_t getMostBytes() const noexcept {
        return _end < 0 ? kUnknownEndLimit : static_cast<std::uint64_t>(_end);
    }

    // Instead of Boost's own
    using InArchiveObjects::delete_created_pointers;
    using InArchiveObjects::register_basic_serializer;
    using InArchiveObjects::reset_object_address;

    /// Reads the size of an array of values of so many bytes, for doubles in the form of compact archives, and compares
    /// it with the remaining bytes.
    [[nodiscard]] std::size_t loadBlockSize(std::size_t bytesEach);

    // The following functions are called by Boost.Serialization, which finds them by name. Values that Boost reads
    // depending on the library version in the header are read here with one width.

    using Impl::load_override;
    template <class T>
    void load_override(T& value) {
        Impl::load_override(value);
    }
    /// The pointer is null until its object is complete and of a fitting class.
    template <class T>
    void load_override(T*& pointer) {
        pointer = nullptr;
        T* loaded = nullptr;
        _aim<T>();
        Impl::load_override(loaded);
        pointer = loaded;
    }
    void load_override(boost::archive::version_type& version);
    void load_override(boost::archive::class_id_type& number);
    void load_override(boost::archive::class_id_reference_type& number);
    void load_override(boost::archive::tracking_type& isTracked);
    void load_override(boost::archive::class_name_type& name);
    void load_override(boost::serialization::item_version_type& version);
    void load_override(boost::serialization::collection_size_type& count) { load(count); }

    using Impl::load;
    template <class T>
    void load(T& value) {
        Impl::load(value);
    }
    void load(bool& value);
    void load(unsigned int& value);
    void load(long& value);
    void load(double& value) {
        if (_isCompact()) {
            float narrow = 0;
            load_binary(&narrow, sizeof narrow);
            value = static_cast<double>(narrow);
        } else {
            load_binary(&value, sizeof value);
        }
    }
    void load(std::string& text) { _loadText(text); }
    void load(std::wstring& text) { _loadText(text); }
    void load(char* text) = delete;  // nothing tells the room behind it
    void load(wchar_t* text) = delete;
    void load(boost::serialization::collection_size_type& count);
    void load(Kr::KrTransform& transform);

    struct use_array_optimization {
        template <class T>
        struct apply : IsBlockType<T> {};
    };
    template <class T>
    void load_array(boost::serialization::array_wrapper<T>& array, unsigned int /*version*/) {
        if constexpr (std::is_same_v<T, double>) {
            if (_isCompact()) return _loadFloats(array.address(), array.count());
        }
        load_binary(array.address(), array.count() * sizeof(T));
    }

    void load_object(void* object, const Serializer& serializer);
    const PointerSerializer* load_pointer(void*& slot, const PointerSerializer* expected, PointerFinder finder);

private:
    [[nodiscard]] bool _isCompact() const noexcept { return _optimizationMode != 0; }
    void _init();
    [[nodiscard]] std::string _describe(const std::string& text) const override;
    [[nodiscard]] Kr::FilePlace _getPlace() const override;
    void _checkSize(std::uint64_t count, std::size_t bytesEach, const char* what) const;
    template <class Text>
    void _loadText(Text& text);
    void _loadFloats(double* values, std::size_t count);
    void _loadPreamble(std::int16_t number);
    std::int16_t _loadPointerClass(const PointerSerializer* expected, PointerFinder finder);

    std::uint32_t _optimizationMode;
    std::uint32_t _sizeOfLong{4};
    std::uint64_t _headerValue{0};
    std::uint64_t _sizeLimit;
    std::int64_t _end{-1};  // of the stream; -1: unknown
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::BinaryInArchive)
BOOST_SERIALIZATION_USE_ARRAY_OPTIMIZATION(KrPersistence::BinaryInArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::BinaryInArchive>;
