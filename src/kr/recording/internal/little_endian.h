#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

// Numbers in little-endian order, whatever that of the machine is.

namespace KrRecording::detail {

/// \tparam Number  an integer, a float or a double
template <class Number>
void appendLittleEndian(std::string& bytes, Number number) {
    static_assert(std::is_arithmetic_v<Number>);
    static_assert(std::endian::native == std::endian::little, "swap the bytes here");
    const std::size_t at = bytes.size();
    bytes.resize(at + sizeof number);
    std::memcpy(bytes.data() + at, &number, sizeof number);
}

/// \param bytes  as many as the number has, at least
template <class Number>
[[nodiscard]] Number readLittleEndian(std::string_view bytes) {
    static_assert(std::is_arithmetic_v<Number>);
    static_assert(std::endian::native == std::endian::little, "swap the bytes here");
    Number number{};
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

}  // namespace KrRecording::detail
