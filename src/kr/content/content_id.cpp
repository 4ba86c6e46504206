#include "kr/content/content_id.h"

#include <array>
#include <bit>
#include <istream>
#include <mutex>
#include <ostream>
#include <random>
#include <span>

#include "kr/content/content_id_access.h"
#include "kr/platform/murmur_hash3.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/text.h"

namespace KrSim {

// Parts of an ID that most IDs do not have.
struct KrContentID::Origin final : Kr::KrRefCount {
    Origin(std::string fileName, Chain placements);

    std::string file;
    Identifier fileHash;  // null without a file
    Chain chain;
};

namespace {

using Identifier = KrContentID::Identifier;

constexpr std::size_t kWordDigits = 16;
static_assert(Identifier::kTextLength == 2 * kWordDigits + 1);
static_assert(std::endian::native == std::endian::little, "identifiers are hashed as little-endian words");

Identifier hashOf(std::span<const std::byte> bytes) {
    const auto [first, second] = Kr::calculateMurmurHash3(bytes);
    return {first, second};
}

Identifier hashOf(std::span<const Identifier> identifiers) {
    return hashOf(std::as_bytes(identifiers));
}

/// The hash of one identifier of each entry, in the order of the chain.
Identifier hashOf(const KrContentID::Chain& chain, const Identifier& (KrContentID::*part)() const noexcept) {
    std::vector<Identifier> parts;
    parts.reserve(chain.size());
    for (const KrContentID& entry : chain)
        parts.push_back((entry.*part)());
    return hashOf(parts);
}

/// The item of an ID, without the containers around it.
const KrContentID& innermost(const KrContentID& id) noexcept {
    return id.getParentInstances().empty() ? id : id.getParentInstances().back();
}

KrContentID::Chain joinChain(const KrContentID& parent, const KrContentID& item) {
    const KrContentID::Chain& outer = parent.getParentInstances();
    KrContentID::Chain chain;
    chain.reserve(outer.size() + 2);
    if (outer.empty()) {
        chain.push_back(parent);
    } else {
        chain = outer;
    }
    chain.push_back(item);
    return chain;
}

void writeWord(char* digits, std::uint64_t word) noexcept {
    for (std::size_t i = kWordDigits; i-- > 0; word >>= 4U)
        digits[i] = Kr::getHexDigit(word & 0xFU, 'A');
}

std::array<char, Identifier::kTextLength> textOf(const Identifier& identifier) noexcept {
    std::array<char, Identifier::kTextLength> text{};
    writeWord(text.data(), identifier.first);
    text[kWordDigits] = '-';
    writeWord(text.data() + kWordDigits + 1, identifier.second);
    return text;
}

/// -1 when the character is no hexadecimal digit.
int hexDigitValue(char digit) noexcept {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

/// Reads the text form one character at a time.
class IdentifierReader {
public:
    /// False when the character is not allowed here.
    bool take(char next) noexcept {
        const std::size_t at = _count++;
        if (at == kWordDigits) return next == '-';
        const int value = hexDigitValue(next);
        std::uint64_t& word = at < kWordDigits ? _result.first : _result.second;
        word = word << 4U | static_cast<std::uint64_t>(value & 0xF);
        return value >= 0;
    }
    [[nodiscard]] const Identifier& result() const noexcept { return _result; }

private:
    Identifier _result;
    std::size_t _count{0};
};

struct RandomSource {
    std::mutex mutex;  // guards the engine
    std::mt19937_64 engine{std::random_device{}()};

    // Never destroyed: static objects make content up to the very end.
    static RandomSource& instance() {
        static auto& source = *new RandomSource;
        return source;
    }
};

}  // namespace

KrContentID::Origin::Origin(std::string fileName, Chain placements)
    : file(std::move(fileName)), chain(std::move(placements)) {
    if (!file.empty()) fileHash = hashOf(std::as_bytes(std::span(file)));
}

// Identifier

std::string KrContentID::Identifier::toString() const {
    const auto text = textOf(*this);
    return std::string(text.data(), text.size());
}

bool KrContentID::Identifier::parse(std::string_view text, Identifier& result) noexcept {
    if (text.size() != kTextLength) return false;
    IdentifierReader reader;
    for (const char each : text) {
        if (!reader.take(each)) return false;
    }
    result = reader.result();
    return true;
}

std::ostream& operator<<(std::ostream& stream, const KrContentID::Identifier& identifier) {
    const auto text = textOf(identifier);
    return stream << std::string_view(text.data(), text.size());
}

std::istream& operator>>(std::istream& stream, KrContentID::Identifier& identifier) {
    const std::istream::sentry isReady(stream);
    if (!isReady) return stream;
    IdentifierReader reader;
    for (std::size_t i = 0; i < KrContentID::Identifier::kTextLength; ++i) {
        const auto next = stream.peek();
        if (next == std::istream::traits_type::eof() || !reader.take(std::istream::traits_type::to_char_type(next))) {
            stream.setstate(std::ios_base::failbit);
            return stream;
        }
        stream.get();
    }
    identifier = reader.result();
    return stream;
}

// Life

KrContentID::KrContentID() noexcept = default;
KrContentID::KrContentID(const KrContentID& other) noexcept = default;
KrContentID& KrContentID::operator=(const KrContentID& other) noexcept = default;
KrContentID::~KrContentID() = default;

// The source becomes the empty ID: words without their file and chain would be inconsistent.
KrContentID::KrContentID(KrContentID&& other) noexcept {
    *this = std::move(other);
}

KrContentID& KrContentID::operator=(KrContentID&& other) noexcept {
    if (this == &other) return *this;
    _runtime = std::exchange(other._runtime, {});
    _raw = std::exchange(other._raw, {});
    _own = std::exchange(other._own, {});
    _origin = std::move(other._origin);
    return *this;
}

KrContentID KrContentID::createUnique() {
    RandomSource& source = RandomSource::instance();
    const std::lock_guard lock(source.mutex);
    const std::uint64_t first = source.engine();
    return createFromWords(first, source.engine());
}

KrContentID KrContentID::createFromUuid(const KrUuid& uuid) {
    if (uuid.isNull()) return {};
    const Identifier hash = hashOf(std::as_bytes(std::span(uuid.getBytes())).first<16>());
    return createFromWords(hash.first, hash.second);
}

KrContentID KrContentID::createFromWords(std::uint64_t first, std::uint64_t second) noexcept {
    KrContentID id;
    id._own = id._raw = id._runtime = {first, second};
    return id;
}

KrContentID KrContentID::createFromParentInstance(const KrContentID& parent, const KrContentID& instance) {
    KrContentID id;
    id._setOrigin({}, joinChain(parent, innermost(instance)));
    id._recompute();
    return id;
}

// Change

void KrContentID::setParentID(const KrContentID& parent) {
    if (getParentInstances().empty()) return;
    _setOrigin(getFile(), joinChain(parent, innermost(*this)));
    _recompute();
}

void KrContentID::setFile(const std::string& file) {
    _setOrigin(file, getParentInstances());
    _recompute();
}

void KrContentID::_setOrigin(std::string file, Chain chain) {
    if (file.empty() && chain.empty()) {
        _origin.reset();
    } else {
        _origin.reset(new Origin(std::move(file), std::move(chain)));
    }
}

void KrContentID::_recompute() {
    const Chain& chain = getParentInstances();
    if (!chain.empty()) {
        _runtime = hashOf(chain, &KrContentID::getRuntimeID);
        _raw = hashOf(chain, &KrContentID::getRawID);
        return;
    }
    _raw = _own;
    if (getFile().empty() || _own.isNull()) {
        _runtime = _own;
    } else {
        const Identifier parts[] = {_origin->fileHash, _own};
        _runtime = hashOf(parts);
    }
}

// Queries

const std::string& KrContentID::getFile() const noexcept {
    static const auto& none = *new std::string;
    return _origin ? _origin->file : none;
}

const KrContentID::Chain& KrContentID::getParentInstances() const noexcept {
    static const auto& none = *new Chain;
    return _origin ? _origin->chain : none;
}

bool KrContentID::isEmpty() const noexcept {
    return _runtime.isNull() && _raw.isNull() && _own.isNull();
}

std::string KrContentID::toString() const {
    return _runtime.toString();
}

// Readers of stored IDs

namespace detail {

KrContentID ContentIDAccess::fromParts(const Identifier& own, const Identifier& runtime, const Identifier& raw,
                                       std::string file, Chain chain) {
    KrContentID id;
    id._own = own;
    id._runtime = runtime;
    id._raw = raw;
    id._setOrigin(std::move(file), std::move(chain));
    return id;
}

KrContentID ContentIDAccess::fromChain(Chain chain) {
    KrContentID id;
    if (chain.empty()) return id;
    id._setOrigin({}, std::move(chain));
    id._recompute();
    return id;
}

void ContentIDAccess::setFileOf(KrContentID& id, const KrContentID& other) {
    if (!id.getParentInstances().empty()) return id.setFile(other.getFile());
    id._origin = other._origin;
    id._recompute();
}

}  // namespace detail

}  // namespace KrSim
