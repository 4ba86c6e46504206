#include "kr/persistence/files/internal/checksum.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <istream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "kr/platform/text.h"

namespace KrPersistence::detail {

namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10U;
constexpr std::string_view kMagic = "KrCheck1";
static_assert(kMagic.size() + sizeof(std::uint64_t) + sizeof(std::uint32_t) == kTrailerSize);

constexpr std::string_view kName = "KrChecksum";
constexpr std::string_view kXmlBegin = "<!--KrChecksum ";
constexpr std::string_view kXmlEnd = "-->\n";
constexpr std::string_view kJsonBegin = ",\n \"KrChecksum\": \"";
constexpr std::string_view kJsonEnd = "\"\n}\n";
constexpr std::string_view kEndOfJson = "\n}\n";  // of every document; the member stands in front of it
constexpr std::size_t kDigits = 8;
// Room for blanks and line ends that an editor may have added.
constexpr std::size_t kSearched = 256;

std::string toDigits(std::uint32_t value) {
    std::string digits;
    for (const unsigned int shift : {24U, 16U, 8U, 0U})
        Kr::appendHex(digits, static_cast<unsigned char>(value >> shift));
    return digits;
}

std::string makeTrailer(const StoredChecksum& checksum) {
    std::string trailer(kMagic);
    for (unsigned int i = 0; i < 8; ++i)
        trailer += static_cast<char>((checksum.length >> (8U * i)) & 0xFFU);
    for (unsigned int i = 0; i < 4; ++i)
        trailer += static_cast<char>((checksum.value >> (8U * i)) & 0xFFU);
    return trailer;
}

StoredChecksum parseTrailer(std::string_view trailer) {
    StoredChecksum checksum;
    const auto byteAt = [&](std::size_t at) { return std::uint64_t{static_cast<unsigned char>(trailer[at])}; };
    for (std::size_t i = 8; i-- > 0;)
        checksum.length = (checksum.length << 8U) | byteAt(kMagic.size() + i);
    for (std::size_t i = 4; i-- > 0;)
        checksum.value = (checksum.value << 8U) | static_cast<std::uint32_t>(byteAt(kMagic.size() + 8 + i));
    return checksum;
}

/// Restores the position of the stream at the end of the scope.
class PositionScope {
public:
    explicit PositionScope(std::istream& stream) : _stream(stream), _position(stream.tellg()) {}
    PositionScope(const PositionScope&) = delete;
    PositionScope& operator=(const PositionScope&) = delete;
    ~PositionScope() {
        _stream.clear();
        _stream.seekg(_position);
    }

private:
    std::istream& _stream;
    std::istream::pos_type _position;
};

/// The last bytes of the stream, at most so many and none before `start`.
std::string readTail(std::istream& stream, std::uint64_t start, std::size_t most) {
    const PositionScope scope(stream);
    stream.seekg(0, std::ios::end);
    const auto end = static_cast<std::uint64_t>(std::max<std::streamoff>(stream.tellg(), 0));
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(end - std::min(end, start), most));
    std::string tail(size, '\0');
    stream.seekg(static_cast<std::streamoff>(end - size));
    stream.read(tail.data(), static_cast<std::streamsize>(size));
    tail.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return tail;
}

/// The checksum between the last `begin` and `end`, if these are its digits and only blanks follow; with its place in
/// the tail.
std::optional<std::pair<std::size_t, std::uint32_t>> parseText(std::string_view tail, std::string_view begin,
                                                               std::string_view end) {
    const auto at = tail.rfind(begin);
    if (at == std::string_view::npos || tail.size() < at + begin.size() + kDigits) return std::nullopt;
    const std::string_view digits = tail.substr(at + begin.size(), kDigits);
    const auto value = Kr::parseNumber<std::uint32_t>(digits, 16);
    if (!value || !tail.substr(at + begin.size() + kDigits).starts_with(end)) return std::nullopt;
    return std::pair(at, *value);
}

}  // namespace

// --- Writing -------------------------------------------------------------------------------------------------------

ChecksumOutput::ChecksumOutput(std::streambuf& target) : _target(target), _buffer(kPiece) {
    setp(_buffer.data(), _buffer.data() + _buffer.size());
}

bool ChecksumOutput::finish(KrMagicTag::eFileFormat format) {
    const auto held = std::string_view(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    const bool isJson = format == KrMagicTag::eFileFormat::kJson;
    if (isJson && !held.ends_with(kEndOfJson)) throw std::logic_error("the JSON document has no end");
    if (isJson) pbump(-static_cast<int>(kEndOfJson.size()));
    if (!_handOn(0)) return false;
    const StoredChecksum checksum{.length = _length, .value = _checksum.get()};
    if (isJson) return _put(std::string(kJsonBegin) + toDigits(checksum.value) + std::string(kJsonEnd));
    if (format == KrMagicTag::eFileFormat::kXml)
        return _put(std::string(kXmlBegin) + toDigits(checksum.value) + std::string(kXmlEnd));
    return _put(makeTrailer(checksum));
}

ChecksumOutput::int_type ChecksumOutput::overflow(int_type byte) {
    // A possible end of a JSON document is kept, since the checksum precedes it.
    if (!_handOn(kEndOfJson.size())) return traits_type::eof();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) sputc(traits_type::to_char_type(byte));
    return traits_type::not_eof(byte);
}

std::streamsize ChecksumOutput::xsputn(const char* bytes, std::streamsize count) {
    for (std::streamsize left = count; left > 0;) {
        if (pptr() == epptr() && !_handOn(kEndOfJson.size())) return count - left;
        const auto part = std::min<std::streamsize>(left, epptr() - pptr());
        traits_type::copy(pptr(), bytes, static_cast<std::size_t>(part));
        pbump(static_cast<int>(part));
        bytes += part;
        left -= part;
    }
    return count;
}

// Flushing waits for the end of the file.
int ChecksumOutput::sync() {
    return 0;
}

bool ChecksumOutput::_handOn(std::size_t keptBytes) {
    const auto held = static_cast<std::size_t>(pptr() - pbase());
    const std::size_t size = held - std::min(held, keptBytes);
    _checksum.add({pbase(), size});
    _length += size;
    const bool isTaken =
        _target.sputn(pbase(), static_cast<std::streamsize>(size)) == static_cast<std::streamsize>(size);
    std::memmove(_buffer.data(), _buffer.data() + size, held - size);
    setp(_buffer.data(), _buffer.data() + _buffer.size());
    pbump(static_cast<int>(held - size));
    return isTaken;
}

bool ChecksumOutput::_put(const std::string& text) {
    const auto size = static_cast<std::streamsize>(text.size());
    return _target.sputn(text.data(), size) == size;
}

// --- Reading -------------------------------------------------------------------------------------------------------

ChecksumInput::int_type ChecksumInput::uflow() {
    const int_type byte = _source.sbumpc();
    if (traits_type::eq_int_type(byte, traits_type::eof())) return byte;
    const char read = traits_type::to_char_type(byte);
    _checksum.add({&read, 1});
    ++_length;
    return byte;
}

std::streamsize ChecksumInput::xsgetn(char* bytes, std::streamsize count) {
    const std::streamsize read = _source.sgetn(bytes, count);
    _checksum.add({bytes, static_cast<std::size_t>(std::max<std::streamsize>(read, 0))});
    _length += static_cast<std::uint64_t>(std::max<std::streamsize>(read, 0));
    return read;
}

std::optional<StoredChecksum> takeTrailer(std::streambuf& stream) {
    using Traits = std::streambuf::traits_type;
    std::array<char, kTrailerSize> trailer{};
    std::size_t count = 0;
    for (; count < trailer.size(); ++count) {
        const auto byte = stream.sgetc();
        if (Traits::eq_int_type(byte, Traits::eof())) break;
        trailer[count] = Traits::to_char_type(byte);
        if (count < kMagic.size() && trailer[count] != kMagic[count]) break;
        stream.sbumpc();
    }
    if (count == trailer.size()) return parseTrailer({trailer.data(), trailer.size()});
    if (stream.pubseekoff(-static_cast<std::streamoff>(count), std::ios::cur, std::ios::in) >= 0) return std::nullopt;
    while (count > 0) {
        if (Traits::eq_int_type(stream.sputbackc(trailer[--count]), Traits::eof()))
            throw std::runtime_error("the bytes after the file cannot be put back into the stream");
    }
    return std::nullopt;
}

std::optional<StoredChecksum> findChecksum(std::istream& stream, std::uint64_t start, KrMagicTag::eFileFormat format) {
    if (format == KrMagicTag::eFileFormat::kBinary) {
        const std::string tail = readTail(stream, start, kTrailerSize);
        if (tail.size() != kTrailerSize || !tail.starts_with(kMagic)) return std::nullopt;
        return parseTrailer(tail);
    }
    const bool isXml = format == KrMagicTag::eFileFormat::kXml;
    const std::string tail = readTail(stream, start, kSearched);
    const auto found = isXml ? parseText(tail, kXmlBegin, kXmlEnd.substr(0, 3)) : parseText(tail, kJsonBegin, "\"");
    if (!found && tail.find(kName) == std::string::npos) return std::nullopt;
    if (!found) return StoredChecksum{.isReadable = false};
    const PositionScope scope(stream);
    stream.seekg(0, std::ios::end);
    const auto end = static_cast<std::uint64_t>(stream.tellg());
    return StoredChecksum{.length = end - tail.size() + found->first - start, .value = found->second};
}

std::uint32_t calculateChecksum(std::istream& stream, std::uint64_t start, std::uint64_t length) {
    const PositionScope scope(stream);
    stream.seekg(static_cast<std::streamoff>(start));
    std::vector<char> piece(kPiece);
    Kr::RunningCrc32 checksum;
    while (length > 0 && stream) {
        stream.read(piece.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(length, piece.size())));
        const auto count = static_cast<std::size_t>(stream.gcount());
        checksum.add({piece.data(), count});
        length -= count;
    }
    return checksum.get();
}

// The checksum is linear: what a flipped bit changes depends on its distance from the end alone, and grows by one step
// of the division with each bit. The order of the polynomial is above the number of bits of any file, so no two of them
// change the same.
std::optional<FlippedBit> findFlippedBit(std::uint32_t expected, std::uint32_t actual, std::uint64_t length) {
    constexpr std::uint32_t kPolynomial = 0xEDB88320U;
    const std::uint32_t difference = expected ^ actual;
    std::uint32_t change = kPolynomial;
    for (std::uint64_t byte = length; byte-- > 0;) {
        for (unsigned int bit = 8; bit-- > 0;) {
            if (change == difference) return FlippedBit{byte, bit};
            change = (change >> 1U) ^ ((change & 1U) * kPolynomial);
        }
    }
    return std::nullopt;
}

}  // namespace KrPersistence::detail
