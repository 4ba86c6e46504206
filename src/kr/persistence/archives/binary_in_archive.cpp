#include "kr/persistence/archives/binary_in_archive.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <istream>
#include <limits>
#include <utility>

#include "kr/persistence/archives/internal/binary_format.h"
#include "kr/platform/log.h"

namespace ba = boost::archive;

namespace KrPersistence {

BinaryInArchive::BinaryInArchive(std::istream& stream, std::uint32_t flags)
    : BinaryInArchive(stream, flags, OptimizationMode::kNormal) {}

BinaryInArchive::BinaryInArchive(std::istream& stream, std::uint32_t flags, OptimizationMode mode)
    : BinaryInArchive(stream, flags, mode, ba::no_codecvt) {}

void BinaryInArchive::_init() {
    char identifier[sizeof detail::kArchiveIdentifier];
    load_binary(identifier, sizeof identifier);
    if (std::memcmp(identifier, detail::kArchiveIdentifier, sizeof identifier) != 0 &&
        std::memcmp(identifier, detail::kNoTrackingIdentifier, sizeof identifier) != 0)
        throw ba::archive_exception(ba::archive_exception::invalid_signature);
    load_binary(&_headerValue, sizeof _headerValue);
    std::string signature;
    load(signature);
    if (signature != ba::BOOST_ARCHIVE_SIGNATURE())
        throw ba::archive_exception(ba::archive_exception::invalid_signature);
    std::uint16_t libraryVersion = 0;
    load_binary(&libraryVersion, sizeof libraryVersion);
    if (libraryVersion > detail::toNumber(ba::BOOST_ARCHIVE_VERSION()))
        throw ba::archive_exception(ba::archive_exception::unsupported_version);
    set_library_version(boost::serialization::library_version_type(libraryVersion));
    struct {
        std::uint8_t ofInt, ofLong, ofFloat, ofDouble;
    } sizes{};
    load_binary(&sizes, sizeof sizes);
    std::int32_t byteOrder = 0;
    load_binary(&byteOrder, sizeof byteOrder);
    _sizeOfLong = sizes.ofLong;

    if (sizes.ofInt != sizeof(int)) {
        Kr::logErrorNoThrow("BinaryInArchive::_init, invalid size of int %d, system: %ld\n", int{sizes.ofInt},
                            long{sizeof(int)});
    }
    if (sizes.ofLong != 4 && sizes.ofLong != 8)
        Kr::logErrorNoThrow("BinaryInArchive::_init, invalid size of long %d, expected 4 or 8\n", int{sizes.ofLong});
    if (sizes.ofFloat != sizeof(float)) {
        Kr::logErrorNoThrow("BinaryInArchive::_init, invalid size of float %d, system: %ld\n", int{sizes.ofFloat},
                            long{sizeof(float)});
    }
    if (sizes.ofDouble != sizeof(double)) {
        Kr::logErrorNoThrow("BinaryInArchive::_init, invalid size of double %d, system: %ld\n", int{sizes.ofDouble},
                            long{sizeof(double)});
    }
    if (byteOrder != detail::kByteOrderTest) Kr::logErrorNoThrow("BinaryInArchive::_init, bad endianess\n");
}

Kr::FilePlace BinaryInArchive::_getPlace() const {
    Kr::FilePlace place;
    const std::streamoff position = m_sb.pubseekoff(0, std::ios::cur, std::ios::in);
    if (position >= 0) place.byte = static_cast<std::uint64_t>(position);
    return place;
}

std::string BinaryInArchive::_describe(const std::string& text) const {
    const auto place = _getPlace();
    std::string message = "BinaryInArchive: " + text;
    if (place.byte) message += ", before byte " + std::to_string(*place.byte);
    if (!getArchiveName().empty()) message += " of '" + getArchiveName() + "'";
    return message + "; the file is damaged or was written by something else";
}

// The position of a stream is read only when a size exceeds the bytes in its buffer: it costs a system call.
void BinaryInArchive::_checkSize(std::uint64_t count, std::size_t bytesEach, const char* what) const {
    if (count > _sizeLimit) {
        _refuse(ba::archive_exception::input_stream_error, std::string(what) + " of " + std::to_string(count) +
                                                               ", more than the limit of " +
                                                               std::to_string(_sizeLimit));
    }
    if (count <= 64 || _end < 0) return;
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() / bytesEach;
    const auto buffered = static_cast<std::uint64_t>(std::max<std::streamsize>(m_sb.in_avail(), 0));
    if (count <= most && count * bytesEach <= buffered) return;
    const std::int64_t position = m_sb.pubseekoff(0, std::ios::cur, std::ios::in);
    const auto left = static_cast<std::uint64_t>(position < 0 ? 0 : std::max<std::int64_t>(_end - position, 0));
    if (count > most || count * bytesEach > left) {
        _refuse(ba::archive_exception::input_stream_error, std::string(what) + " of " + std::to_string(count) +
                                                               " where " + std::to_string(left) + " bytes are left");
    }
}

void BinaryInArchive::load_override(ba::version_type& version) {
    // Without a header there is nothing that would say how old the writer is.
    const bool isOld = _headerValue == 0 && (getArchiveFlags() & kNoHeader) == 0;
    std::uint64_t value = 0;
    const std::size_t bytes = (getArchiveFlags() & kByteVersions) != 0 ? 1 : isOld ? 4 : 8;
    load_binary(&value, bytes);
    if (value > std::numeric_limits<std::uint32_t>::max())
        _refuse(ba::archive_exception::unsupported_class_version, "class version " + std::to_string(value));
    version = ba::version_type(static_cast<unsigned int>(value));
}

void BinaryInArchive::load_override(ba::class_id_type& number) {
    std::int16_t value = 0;
    load_binary(&value, sizeof value);
    number = ba::class_id_type(int{value});
}

void BinaryInArchive::load_override(ba::class_id_reference_type& number) {
    load_override(static_cast<ba::class_id_type&>(number));
}

void BinaryInArchive::load_override(ba::tracking_type& isTracked) {
    bool value = false;
    load(value);
    isTracked = value;
}

void BinaryInArchive::load_override(ba::class_name_type& name) {
    std::string text;
    load(text);
    if (text.size() >= BOOST_SERIALIZATION_MAX_KEY_SIZE)
        _refuse(ba::archive_exception::invalid_class_name, "a class name of " + std::to_string(text.size()) + " bytes");
    std::memcpy(static_cast<char*>(name), text.c_str(), text.size() + 1);
}

void BinaryInArchive::load_override(boost::serialization::item_version_type& version) {
    std::uint32_t value = 0;
    load_binary(&value, sizeof value);
    version = boost::serialization::item_version_type(value);
}

void BinaryInArchive::load(bool& value) {
    std::uint8_t byte = 0;
    load_binary(&byte, sizeof byte);
    if (byte > 1) _refuse(ba::archive_exception::input_stream_error, "a bool of " + std::to_string(byte));
    value = byte != 0;
}

void BinaryInArchive::load(unsigned int& value) {
    std::uint64_t wide = 0;
    load_binary(&wide, sizeof wide);
    if (wide > std::numeric_limits<unsigned int>::max())
        _refuse(ba::archive_exception::input_stream_error, "an unsigned int of " + std::to_string(wide));
    value = static_cast<unsigned int>(wide);
}

void BinaryInArchive::load(long& value) {
    if (_sizeOfLong == 8) {
        std::int64_t wide = 0;
        load_binary(&wide, sizeof wide);
        value = wide;
        return;
    }
    std::int32_t narrow = 0;
    load_binary(&narrow, sizeof narrow);
    value = narrow;
    if (_sizeOfLong != 4) {
        Kr::logErrorNoThrow("BinaryInArchive::load(long & t), invalid size of long %ld, expected 4 or 8\n",
                            long{_sizeOfLong});
    }
}

template <class Text>
void BinaryInArchive::_loadText(Text& text) {
    std::uint64_t length = 0;
    load_binary(&length, sizeof length);
    _checkSize(length, sizeof text[0], "a text");
    text.resize(static_cast<std::size_t>(length));
    load_binary(text.data(), text.size() * sizeof text[0]);
}
template void BinaryInArchive::_loadText(std::string& text);
template void BinaryInArchive::_loadText(std::wstring& text);

void BinaryInArchive::load(boost::serialization::collection_size_type& count) {
    std::uint64_t value = 0;
    load_binary(&value, sizeof value);
    _checkSize(value, 1, "a collection");
    count = boost::serialization::collection_size_type(static_cast<std::size_t>(value));
}

std::size_t BinaryInArchive::loadBlockSize(std::size_t bytesEach) {
    std::uint64_t count = 0;
    load_binary(&count, sizeof count);
    // A compact archive has floats where there are doubles.
    _checkSize(count, _isCompact() && bytesEach == sizeof(double) ? sizeof(float) : bytesEach, "a block");
    return static_cast<std::size_t>(count);
}

void BinaryInArchive::load(Kr::KrTransform& transform) {
    if (!_isCompact()) return load_binary(transform.m, sizeof transform.m);
    const auto checkVersion = [this] {
        std::uint32_t version = 0;
        load_binary(&version, sizeof version);
        if (version != 0) {
            _refuse(ba::archive_exception::unsupported_class_version,
                    "a transform of class version " + std::to_string(version));
        }
    };
    checkVersion();
    bool isRigid = false;
    load(isRigid);
    Kr::KrTransform result;
    if (isRigid) {
        std::array<double, 3> translation{};
        checkVersion();
        _loadFloats(translation.data(), translation.size());
        std::array<double, 4> rotation{};
        checkVersion();
        _loadFloats(rotation.data(), rotation.size());
        result.setRotation({rotation[0], rotation[1], rotation[2], rotation[3]});
        result.setTranslation({translation[0], translation[1], translation[2]});
    } else {
        _loadFloats(result.m, std::size(result.m));
    }
    transform = result;
}

void BinaryInArchive::_loadFloats(double* values, std::size_t count) {
    std::array<float, 256> block{};
    while (count > 0) {
        const std::size_t part = std::min(count, block.size());
        load_binary(block.data(), part * sizeof(float));
        std::transform(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(part), values,
                       [](float value) { return static_cast<double>(value); });
        values += part;
        count -= part;
    }
}

}  // namespace KrPersistence
