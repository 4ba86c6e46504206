#pragma once

#include <boost/archive/basic_archive.hpp>
#include <cstdint>

namespace KrPersistence::detail {

// Both with their terminating zero; the second comes from earlier writers and is only read.
inline constexpr char kArchiveIdentifier[] = "OrreryStudioFileArchiveID";
inline constexpr char kNoTrackingIdentifier[] = "BinaryNoTrackingArchiveID";
static_assert(sizeof kArchiveIdentifier == 26 && sizeof kNoTrackingIdentifier == 26);

inline constexpr std::uint64_t kHeaderValue = 620131212;
inline constexpr std::uint8_t kSizeOfInt = 4, kSizeOfLong = 4, kSizeOfFloat = 4, kSizeOfDouble = 8;
inline constexpr std::int32_t kByteOrderTest = 1;

static_assert(sizeof(int) == kSizeOfInt && sizeof(float) == kSizeOfFloat && sizeof(double) == kSizeOfDouble);

/// Boost's numbers convert to references as well, which makes plain conversions ambiguous to read.
inline std::uint32_t toNumber(const boost::archive::version_type& version) {
    return version;
}
inline std::uint16_t toNumber(const boost::serialization::library_version_type& version) {
    return version;
}

}  // namespace KrPersistence::detail
