#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "kr/platform/export.h"

namespace KrSim {

/// A universally unique identifier of 128 bits. The stored form has one more byte, which belongs to the code that
/// stored it: the byte is preserved, and takes no part in comparison or text.
/// Thread: value. Ownership: value.
class KR_API KrUuid {
public:
    static constexpr std::size_t kStoredBytes = 17;
    using Bytes = std::array<std::uint8_t, kStoredBytes>;

    /// The null identifier.
    constexpr KrUuid() noexcept = default;
    /// Text as for parse(); text that cannot be parsed gives the null identifier.
    explicit constexpr KrUuid(std::string_view text) noexcept;
    explicit constexpr KrUuid(const Bytes& bytes) noexcept : _bytes(bytes) {}

    /// The version 5 identifier (SHA-1) of the name in the null namespace: the same name always gives the same one.
    [[nodiscard]] static KrUuid createFromName(const std::string& name);
    /// A random version 4 identifier. Any thread.
    [[nodiscard]] static KrUuid createRandom();
    /// Reads "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", upper or lower case, with or without a pair of braces.
    /// Returns false for any other text and leaves the result unchanged.
    [[nodiscard]] static constexpr bool parse(std::string_view text, KrUuid& result) noexcept;

    /// Whether all bytes are zero, the stored byte aside.
    [[nodiscard]] bool isNull() const noexcept { return *this == KrUuid(); }
    /// The 16 bytes in the order of the text, then the stored byte (0 unless the identifier was made from bytes).
    [[nodiscard]] constexpr const Bytes& getBytes() const noexcept { return _bytes; }
    /// Lower case, without braces.
    [[nodiscard]] std::string toString() const;

    friend bool operator==(const KrUuid& left, const KrUuid& right) noexcept { return (left <=> right) == 0; }
    /// The order of the identifiers' texts.
    friend KR_API std::strong_ordering operator<=>(const KrUuid& left, const KrUuid& right) noexcept;

private:
    static constexpr std::size_t kTextLength = 36;

    /// Whether the text has a "-" before this byte.
    [[nodiscard]] static constexpr bool _isDashBefore(std::size_t byteIndex) noexcept {
        return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
    }
    /// -1 when the character is no hexadecimal digit.
    [[nodiscard]] static constexpr int _toDigitValue(char digit) noexcept {
        if (digit >= '0' && digit <= '9') return digit - '0';
        if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
        if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
        return -1;
    }

    Bytes _bytes{};
};

constexpr KrUuid::KrUuid(std::string_view text) noexcept {
    if (!parse(text, *this)) _bytes = {};
}

constexpr bool KrUuid::parse(std::string_view text, KrUuid& result) noexcept {
    if (text.size() == kTextLength + 2 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, kTextLength);
    }
    if (text.size() != kTextLength) return false;

    Bytes bytes{};
    std::size_t position = 0;
    for (std::size_t index = 0; index < kStoredBytes - 1; ++index) {
        if (_isDashBefore(index) && text[position++] != '-') return false;
        const int high = _toDigitValue(text[position++]);
        const int low = _toDigitValue(text[position++]);
        if (high < 0 || low < 0) return false;
        bytes[index] = static_cast<std::uint8_t>(high * 16 + low);
    }
    result._bytes = bytes;
    return true;
}

}  // namespace KrSim

template <>
struct KR_API std::hash<KrSim::KrUuid> {
    std::size_t operator()(const KrSim::KrUuid& uuid) const noexcept;
};
