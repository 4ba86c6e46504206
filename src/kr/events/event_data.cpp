#include "kr/events/event_data.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "kr/events/event_access.h"
#include "kr/math/matrix44.h"
#include "kr/platform/log.h"

namespace KrSim {

using detail::EventDataAccess;
namespace {

// Bytes kept beyond the payload. The upper bound is what one write may have to clear after the vector was cut.
constexpr std::size_t kLeastSpare = 64;
constexpr std::size_t kMostSpare = 4096;

static_assert(sizeof(long) == 8 && sizeof(long long) == 8 && sizeof(bool) == 1);
static_assert(std::is_trivially_copyable_v<KrMath::Matrix44T<double>> &&
              sizeof(KrMath::Matrix44T<double>) == 16 * sizeof(double));
static_assert(std::is_trivially_copyable_v<KrUuid::Bytes> && sizeof(KrUuid::Bytes) == 17);

}  // namespace

EventData::EventData(const std::vector<std::uint8_t>& data) : _bytes(data), _writePosition(_bytes.size()) {}

EventData::EventData(std::vector<std::uint8_t>&& data) noexcept
    : _bytes(std::move(data)), _writePosition(_bytes.size()) {}

EventData::EventData(const EventData& other)
    : _bytes(other._bytes.data(), other._bytes.data() + other._writePosition), _writePosition(other._writePosition) {}

EventData::EventData(EventData&& other) noexcept
    : _bytes(std::move(other._bytes)), _writePosition(std::exchange(other._writePosition, 0)) {
    other._bytes.clear();
    other._readPosition = 0;
}

EventData& EventData::operator=(const EventData& other) {
    if (this == &other) return *this;
    _bytes.assign(other._bytes.data(), other._bytes.data() + other._writePosition);
    _writePosition = other._writePosition;
    _readPosition = 0;
    return *this;
}

EventData& EventData::operator=(EventData&& other) noexcept {
    if (this == &other) return *this;
    _bytes = std::move(other._bytes);
    _writePosition = std::exchange(other._writePosition, 0);
    _readPosition = 0;
    other._bytes.clear();
    other._readPosition = 0;
    return *this;
}

EventData::~EventData() = default;

const std::vector<std::uint8_t>& EventData::data() const {
    if (_bytes.size() != _writePosition) _bytes.resize(_writePosition);
    return _bytes;
}

void EventData::setData(const std::vector<std::uint8_t>& data) {
    _bytes = data;
    _writePosition = _bytes.size();
    _readPosition = 0;
}

void EventData::setData(std::vector<std::uint8_t>&& data) noexcept {
    _bytes = std::move(data);
    _writePosition = _bytes.size();
    _readPosition = 0;
}

void EventData::clear() noexcept {
    _writePosition = 0;
    _readPosition = 0;
}

void EventData::_setBytes(const std::uint8_t* bytes, std::size_t count) {
    _bytes.assign(bytes, bytes + count);
    _writePosition = count;
    _readPosition = 0;
}

void EventData::_refuseText(std::size_t length) {
    _writeText("", 0);
    Kr::logErrorNoThrow("EventData::operator<<, a text of %zu bytes is too long\n", length);
}

bool EventData::_readWholeText(std::string& text) const {
    std::uint32_t length = 0;
    if (_unread() < sizeof length) return false;
    std::memcpy(&length, _bytes.data() + _readPosition, sizeof length);
    if (_unread() - sizeof length < length) return false;
    text.assign(reinterpret_cast<const char*>(_bytes.data() + _readPosition + sizeof length), length);
    _readPosition += sizeof length + length;
    return true;
}

// Steps that may fail: the text is cut, or memory is allocated.
void EventData::_readRareText(std::string& text) const {
    text.clear();
    std::uint32_t length = 0;
    if (!_read(length) || length == 0) return;
    const bool isComplete = length <= _unread();
    try {
        if (isComplete) {
            text.assign(reinterpret_cast<const char*>(_bytes.data() + _readPosition), length);
            _readPosition += length;
            return;
        }
        if (length <= kLargestPayloadBytes) text.resize(length);
    } catch (const std::exception&) {  // no memory: the text stays empty, and the report below covers all cases
    }
    _reportPastEnd();
}

void EventData::_readMatrix(KrMath::Matrix44T<double>& matrix) const {
    KrMath::Matrix44T<double> result;
    const std::size_t count = std::min<std::size_t>(_unread() / sizeof(double), 16);
    if (count != 0) std::memcpy(result.m, _bytes.data() + _readPosition, count * sizeof(double));
    _readPosition += count * sizeof(double);
    matrix = result;
    for (std::size_t missing = count; missing < 16; ++missing)
        _reportPastEnd();
}

void EventData::_reportPastEnd() {
    Kr::logErrorNoThrow("EventData::operator>>, reading pass end of data\n");
}

void EventData::_grow(std::size_t count) {
    _bytes.resize(_writePosition + count + std::clamp<std::size_t>(_writePosition, kLeastSpare, kMostSpare));
}

EventData& operator<<(EventData& data, const KrMath::Matrix44T<double>& matrix) {
    EventDataAccess::write(data, matrix);
    return data;
}

const EventData& operator>>(const EventData& data, KrMath::Matrix44T<double>& matrix) {
    EventDataAccess::readMatrix(data, matrix);
    return data;
}

EventData& operator<<(EventData& data, const KrUuid& uuid) {
    EventDataAccess::write(data, uuid.getBytes());
    return data;
}

const EventData& operator>>(const EventData& data, KrUuid& uuid) {
    KrUuid::Bytes bytes;
    if (EventDataAccess::read(data, bytes)) uuid = KrUuid(bytes);
    return data;
}

}  // namespace KrSim
