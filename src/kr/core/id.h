#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "kr/platform/crc32.h"
#include "kr/platform/export.h"

namespace Kr {

/// An interned name: a number for comparison, and the text shared by all identifiers with this number.
///
/// The number is the CRC-32 of the text. Identifiers are compared, ordered and hashed by number alone, so two texts
/// with one CRC are one identifier, whose text is the one interned first. Texts are never freed or moved. A text may
/// have any bytes, zero bytes included when its length is given.
///
/// Making an identifier from text looks the text up: about 30 ns for a known one. Define constants once, as
/// `"Speed"_id` (see Kr::literals) or as a static object.
///
/// Thread: any, also in static objects; known texts are found without a lock. Ownership: texts are never destroyed.
class KR_API KrID {
public:
    /// The number of the empty identifier; a rule, not a CRC.
    static constexpr std::int32_t kEmptyNumber = -1;

    constexpr KrID() noexcept = default;
    // Implicit, because fields are looked up by literal text. Null and empty texts give the empty identifier.
    KrID(const char* text) : KrID(text ? std::string_view(text) : std::string_view()) {}
    KrID(std::string_view text) { _init(text); }
    KrID(const std::string& text) { _init(text); }

    /// Becomes the identifier of `text`, as if newly made from it.
    void reset(std::string_view text) { _init(text); }
    void reset(const char* text = nullptr) { *this = KrID(text); }

    /// The shared text, never destroyed; an empty one for the empty identifier.
    [[nodiscard]] const std::string& str() const noexcept { return _text ? *_text : _getEmptyText(); }
    /// kEmptyNumber for the empty identifier.
    [[nodiscard]] std::int32_t getNumber() const noexcept { return _number; }
    [[nodiscard]] bool isEmpty() const noexcept { return !_text; }

    /// The number of an identifier of `text`, without interning the text; usable as a case label.
    [[nodiscard]] static constexpr std::int32_t numberFor(std::string_view text) noexcept {
        return text.empty() ? kEmptyNumber : calculateCRC32(text);
    }

    /// The text interned under this number, never destroyed, or null.
    [[nodiscard]] static const std::string* _get(std::int32_t number) noexcept;
    /// The identifier of a text whose number is known already. `number` must be `numberFor(text)`.
    [[nodiscard]] static KrID _fromConstant(std::int32_t number, std::string_view text);

    friend constexpr bool operator==(const KrID& left, const KrID& right) noexcept {
        return left._number == right._number;
    }
    friend constexpr std::strong_ordering operator<=>(const KrID& left, const KrID& right) noexcept {
        return left._number <=> right._number;
    }

private:
    void _init(std::string_view text);
    static const std::string& _getEmptyText() noexcept;

    std::int32_t _number{kEmptyNumber};
    const std::string* _text{nullptr};
};

namespace detail {

/// The characters of a string literal as a template argument.
template <std::size_t Size>
struct LiteralText {
    char characters[Size];

    consteval LiteralText(const char (&literal)[Size]) noexcept : characters{} {
        for (std::size_t i = 0; i < Size; ++i)
            characters[i] = literal[i];
    }
    [[nodiscard]] constexpr std::string_view view() const noexcept { return {characters, Size - 1}; }
};

}  // namespace detail

inline namespace literals {

/// `"Speed"_id`: the CRC is computed by the compiler and the text interned once, on first use.
template <detail::LiteralText Text>
[[nodiscard]] const KrID& operator""_id() {
    constexpr std::int32_t number = KrID::numberFor(Text.view());
    static const KrID id = KrID::_fromConstant(number, Text.view());
    return id;
}

}  // namespace literals

}  // namespace Kr

template <>
struct std::hash<Kr::KrID> {
    std::size_t operator()(const Kr::KrID& id) const noexcept { return static_cast<std::uint32_t>(id.getNumber()); }
};
