#include "kr/persistence/files/internal/load_source.h"

#include <bit>
#include <istream>
#include <optional>
#include <sstream>

#include "kr/persistence/files/internal/checksum.h"

namespace KrPersistence::detail {

namespace {

std::uint64_t getEnd(std::istream& stream) {
    const auto here = stream.tellg();
    stream.seekg(0, std::ios::end);
    const std::streamoff end = stream.tellg();
    stream.clear();
    stream.seekg(here);
    return end > 0 ? static_cast<std::uint64_t>(end) : 0;
}

/// The bytes with the bit flipped back; nothing where not exactly one was flipped.
std::optional<std::string> repair(std::istream& stream, std::uint64_t start, std::uint64_t size,
                                  std::vector<std::string>& doubts) {
    const auto stored = findChecksum(stream, start, KrMagicTag::eFileFormat::kBinary);
    if (!stored || stored->length + kTrailerSize != size) return std::nullopt;
    const auto actual = calculateChecksum(stream, start, stored->length);
    if (actual == stored->value) return std::nullopt;
    const auto bit = findFlippedBit(stored->value, actual, stored->length);
    if (std::has_single_bit(actual ^ stored->value)) {
        doubts.emplace_back("only one bit of the checksum differs, so that the checksum itself may be what is damaged");
        return std::nullopt;
    }
    if (!bit) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(size), '\0');
    stream.seekg(static_cast<std::streamoff>(start));
    stream.read(bytes.data(), static_cast<std::streamsize>(size));
    char& damaged = bytes[static_cast<std::size_t>(bit->byte)];
    damaged = static_cast<char>(static_cast<unsigned char>(damaged) ^ (1U << bit->bit));
    doubts.push_back("bit " + std::to_string(bit->bit) + " of byte " + std::to_string(bit->byte) +
                     " was flipped: with it flipped back, the checksum fits");
    return bytes;
}

}  // namespace

bool withSource(std::istream& stream, bool isWholeStream, std::vector<std::string>* doubts,
                const std::function<bool(const LoadSource&)>& load) {
    const std::streamoff start = stream.tellg();
    if (start < 0) {
        stream.clear();
        ChecksumInput counted(*stream.rdbuf());
        std::istream through(&counted);
        return load({.stream = through, .counted = &counted, .behind = stream.rdbuf(), .isWholeStream = isWholeStream});
    }
    const auto first = static_cast<std::uint64_t>(start);
    const auto end = getEnd(stream);
    const auto size = end > first ? end - first : 0;
    if (doubts != nullptr) {
        if (auto bytes = repair(stream, first, size, *doubts)) {
            std::istringstream repaired(std::move(*bytes), std::ios::binary);
            return load({.stream = repaired, .size = size, .isWholeStream = isWholeStream});
        }
        stream.clear();
        stream.seekg(start);
    }
    return load({.stream = stream, .start = first, .size = size, .isWholeStream = isWholeStream});
}

}  // namespace KrPersistence::detail
