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

/// Reads a binary archive; docs/binary-archives.md has its bytes.
///
/// Bytes are not believed: sizes are held against the bytes that are left, numbers of classes and objects against what
/// was read before, and every failure is a boost::archive::archive_exception. After one the archive can do nothing but
/// delete_created_pointers. Memory stays in proportion to the file as long as elements of collections take a byte each.
/// The stream is borrowed, must be a binary one and end where the archive's file ends.
/// Thread: one thread at a time.
class KR_API BinaryInArchive
    : public boost::archive::binary_iarchive_impl<BinaryInArchive, char, std::char_traits<char>>,
      public KrArchive,
      public InArchiveObjects {
    using Impl = boost::archive::binary_iarchive_impl<BinaryInArchive, char, std::char_traits<char>>;

public:
    enum class OptimizationMode : std::uint32_t { kNormal = 0, kCompact = 1 };
    /// What reads named values from it.
    using Reader = BinaryArchiveReader;

    /// What a stream that cannot tell its end may announce, unless setSizeLimit says more.
    static constexpr std::uint64_t kUnknownEndLimit = std::uint64_t{16} << 20U;

    /// Reads the header unless the flags say kNoHeader. Flags and mode must be those of the writer. Type sizes and a
    /// byte order that differ are logged as errors, and reading goes on.
    BinaryInArchive(std::istream& stream, std::uint32_t flags);
    BinaryInArchive(std::istream& stream, std::uint32_t flags, OptimizationMode mode);
    /// \param primitiveFlags  of Boost's archive_flags; no_header is added.
    BinaryInArchive(std::istream& stream, std::uint32_t flags, OptimizationMode mode, std::uint32_t primitiveFlags);
    /// Destroys nothing that was read.
    ~BinaryInArchive() override;

    /// The value in the header; 0 without one.
    [[nodiscard]] unsigned int getVersion() const noexcept { return static_cast<unsigned int>(_headerValue); }
    /// Texts of more bytes and collections of more elements are refused, whatever the stream holds.
    void setSizeLimit(std::uint64_t limit) noexcept { _sizeLimit = limit; }

    /// No fewer than the archive has.
    [[nodiscard]] std::uint64_t getMostBytes() const noexcept {
        return _end < 0 ? kUnknownEndLimit : static_cast<std::uint64_t>(_end);
    }

    // In place of Boost's own
    using InArchiveObjects::delete_created_pointers;
    using InArchiveObjects::register_basic_serializer;
    using InArchiveObjects::reset_object_address;

    /// Reads the size of an array of values of so many bytes, of doubles as compact archives have them, and holds it
    /// against the bytes that are left.
    [[nodiscard]] std::size_t loadBlockSize(std::size_t bytesEach);

    // What follows is called by Boost.Serialization; it finds the functions by their names. All that Boost reads by the
    // library version in the header is read here by one width.

    using Impl::load_override;
    template <class T>
    void load_override(T& value) {
        Impl::load_override(value);
    }
    /// The pointer is null until its object is whole and fits it.
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
    std::int64_t _end{-1};  // of the stream; -1: the stream cannot tell
};

}  // namespace KrPersistence

BOOST_SERIALIZATION_REGISTER_ARCHIVE(KrPersistence::BinaryInArchive)
BOOST_SERIALIZATION_USE_ARRAY_OPTIMIZATION(KrPersistence::BinaryInArchive)

extern template class boost::archive::detail::archive_serializer_map<KrPersistence::BinaryInArchive>;
