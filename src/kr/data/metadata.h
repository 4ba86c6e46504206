#pragma once

#include <cstdint>

namespace KrData {

/// Bits of the hidden "MetaData" field; combine them with `|`.
enum class eMetadata : std::int32_t {
    kNone = 0,
    kHidden = 64,         ///< not shown; setVisible(false)
    kReadOnlyHint = 128,  ///< editors should not allow changes; setReadOnlyHint(true)
};

[[nodiscard]] constexpr eMetadata operator|(eMetadata a, eMetadata b) noexcept {
    return static_cast<eMetadata>(static_cast<std::int32_t>(a) | static_cast<std::int32_t>(b));
}

}  // namespace KrData
