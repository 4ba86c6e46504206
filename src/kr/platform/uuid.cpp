#include "kr/platform/uuid.h"

#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <cstring>

#include "kr/platform/text.h"

namespace KrSim {
namespace {

constexpr std::size_t kUuidBytes = 16;
static_assert(sizeof(boost::uuids::uuid) == kUuidBytes);

KrUuid fromBoost(const boost::uuids::uuid& uuid) {
    KrUuid::Bytes bytes{};
    std::copy(uuid.begin(), uuid.end(), bytes.begin());
    return KrUuid(bytes);
}

}  // namespace

KrUuid KrUuid::createFromName(const std::string& name) {
    const boost::uuids::uuid nullNamespace{};
    return fromBoost(boost::uuids::name_generator_sha1(nullNamespace)(name));
}

KrUuid KrUuid::createRandom() {
    return fromBoost(boost::uuids::random_generator()());
}

std::string KrUuid::toString() const {
    std::string text;
    text.reserve(kTextLength);
    for (std::size_t index = 0; index < kUuidBytes; ++index) {
        if (_isDashBefore(index)) text += '-';
        Kr::appendHex(text, _bytes[index]);
    }
    return text;
}

std::strong_ordering operator<=>(const KrUuid& left, const KrUuid& right) noexcept {
    return std::memcmp(left._bytes.data(), right._bytes.data(), kUuidBytes) <=> 0;
}

}  // namespace KrSim

std::size_t std::hash<KrSim::KrUuid>::operator()(const KrSim::KrUuid& uuid) const noexcept {
    // The halves are random or a digest in nearly every identifier; the multiplier keeps hand-written ones apart.
    std::uint64_t halves[2];
    std::memcpy(halves, uuid.getBytes().data(), sizeof halves);
    return static_cast<std::size_t>(halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15U));
}
