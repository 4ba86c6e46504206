#pragma once

#include <string>

namespace test_support {

/// The bytes of hexadecimal digits in pairs; blanks between the pairs are for the eye.
inline std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t at = 0; at < hex.size(); ++at) {
        if (hex[at] == ' ') continue;
        bytes += static_cast<char>(std::stoi(hex.substr(at++, 2), nullptr, 16));
    }
    return bytes;
}

template <class Bytes>
std::string toHex(const Bytes& bytes) {
    std::string hex;
    for (const auto each : bytes) {
        hex += "0123456789abcdef"[static_cast<unsigned char>(each) >> 4U];
        hex += "0123456789abcdef"[static_cast<unsigned char>(each) & 15U];
    }
    return hex;
}

}  // namespace test_support
