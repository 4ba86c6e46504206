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

/// A universally unique identifier of 128 bits. The stored form carries one byte more, which belongs to whoever stored
/// it: it is kept and handed on, and takes no part in comparison or text.
class KR_API KrUuid {
public:
    static constexpr std::size_t kStoredBytes = 17;
    using Bytes = std::array<std::uint8_t, kStoredBytes>;

    /// The null identifier.
    constexpr KrUuid() noexcept = default;
    /// Text as parse() takes it; bad text gives the null identifier.
    explicit KrUuid(std::string_view text) noexcept;
    explicit constexpr KrUuid(const Bytes& bytes) noexcept : _bytes(bytes) {}

    /// The version 5 identifier (SHA-1) of the name in the null namespace: the same name always gives the same one.
    [[nodiscard]] static KrUuid createFromName(const std::string& name);
    /// A random version 4 identifier. Any thread.
    [[nodiscard]] static KrUuid createRandom();
    /// Reads "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", upper or lower case, with or without a pair of braces.
    /// Anything else answers false and leaves the result as it was.
    [[nodiscard]] static bool parse(std::string_view text, KrUuid& result) noexcept;

    [[nodiscard]] bool isNull() const noexcept { return *this == KrUuid(); }
    /// The 16 bytes in the order of the text, then the stored byte (0 unless the identifier was made from bytes).
    [[nodiscard]] constexpr const Bytes& getBytes() const noexcept { return _bytes; }
    /// Lower case, without braces.
    [[nodiscard]] std::string toString() const;

    friend bool operator==(const KrUuid& left, const KrUuid& right) noexcept { return (left <=> right) == 0; }
    /// The order of the texts.
    friend KR_API std::strong_ordering operator<=>(const KrUuid& left, const KrUuid& right) noexcept;

private:
    Bytes _bytes{};
};

}  // namespace KrSim

template <>
struct KR_API std::hash<KrSim::KrUuid> {
    std::size_t operator()(const KrSim::KrUuid& uuid) const noexcept;
};
