#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

#include "kr/persistence/files/magic_tag.h"
#include "kr/platform/running_crc32.h"

// The CRC-32 of a file, which follows its archive; the bytes: docs/files.md. It covers all bytes before it.

namespace KrPersistence::detail {

/// Passes bytes on to another buffer and keeps their checksum.
class ChecksumOutput final : public std::streambuf {
public:
    explicit ChecksumOutput(std::streambuf& target);

    /// Call it after the last byte of the archive: writes the checksum in the form of the format. False when the target
    /// accepts no more bytes.
    bool finish(KrMagicTag::eFileFormat format);

protected:
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int sync() override;

private:
    bool _handOn(std::size_t keptBytes);
    bool _put(const std::string& text);

    std::streambuf& _target;
    std::vector<char> _buffer;
    Kr::RunningCrc32 _checksum;
    std::uint64_t _length{0};
};

/// Reads through another buffer that cannot be read twice, and keeps the checksum of the bytes read.
class ChecksumInput final : public std::streambuf {
public:
    explicit ChecksumInput(std::streambuf& source) : _source(source) {}

    [[nodiscard]] std::uint32_t getChecksum() const noexcept { return _checksum.get(); }
    [[nodiscard]] std::uint64_t getLength() const noexcept { return _length; }

protected:
    int_type underflow() override { return _source.sgetc(); }
    int_type uflow() override;
    std::streamsize xsgetn(char* bytes, std::streamsize count) override;

private:
    std::streambuf& _source;
    Kr::RunningCrc32 _checksum;
    std::uint64_t _length{0};
};

/// The checksum in a file.
struct StoredChecksum {
    std::uint64_t length{0};  ///< of the bytes covered
    std::uint32_t value{0};
    bool isReadable{true};  ///< false for the checksum of a text that was rewritten in another form since
};

/// The trailer of a binary file.
inline constexpr std::size_t kTrailerSize = 20;

/// From the current position: the trailer, if there is one, which is skipped then; else the position is unchanged.
/// Throws when a stream cannot restore its position.
[[nodiscard]] std::optional<StoredChecksum> takeTrailer(std::streambuf& stream);

/// The checksum at the end of a stream, whose file begins at `start`; the position is unchanged.
[[nodiscard]] std::optional<StoredChecksum> findChecksum(std::istream& stream, std::uint64_t start,
                                                         KrMagicTag::eFileFormat format);

/// Of so many bytes from `start` on; the position is unchanged.
[[nodiscard]] std::uint32_t calculateChecksum(std::istream& stream, std::uint64_t start, std::uint64_t length);

/// The only bit whose flip turns a checksum into the other one, as its place in `length` bytes; empty when more than
/// one bit differs.
struct FlippedBit {
    std::uint64_t byte{0};
    unsigned int bit{0};  ///< 0 is the lowest
};
[[nodiscard]] std::optional<FlippedBit> findFlippedBit(std::uint32_t expected, std::uint32_t actual,
                                                       std::uint64_t length);

}  // namespace KrPersistence::detail
