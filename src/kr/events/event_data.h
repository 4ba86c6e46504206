#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "kr/events/fwd.h"
#include "kr/math/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/uuid.h"

namespace KrSim {

static_assert(std::endian::native == std::endian::little, "payloads travel between machines without conversion");

/// The plain values of a payload, each copied with its own width: 1 byte for bool, 8 for long and long long alike.
/// Not char: use signed char or unsigned char. Write enumerations as a number of known width.
template <class T>
concept EventScalar =
    std::same_as<T, bool> || std::same_as<T, signed char> || std::same_as<T, unsigned char> || std::same_as<T, short> ||
    std::same_as<T, unsigned short> || std::same_as<T, int> || std::same_as<T, unsigned int> || std::same_as<T, long> ||
    std::same_as<T, unsigned long> || std::same_as<T, long long> || std::same_as<T, unsigned long long> ||
    std::same_as<T, float> || std::same_as<T, double>;

/// Payload of an event: bytes without tags or padding, written at the end and read from the start. Reader and writer
/// must agree on the sequence of types; docs/events.md has the width of each.
///
/// A read past the end is logged at error level as "EventData::operator>>, reading pass end of data\n" and never
/// throws; target and position are unchanged then, except where an operator says otherwise (strings, matrices). Writing
/// throws std::bad_alloc and changes nothing when memory runs out.
/// Thread: one at a time, const operations included: they move the read position and trim the bytes. Ownership: value.
class KR_API EventData {
public:
    /// Largest payload between applications. A text that claims more bytes than the payload has is refused.
    static constexpr std::size_t kLargestPayloadBytes = std::size_t{64} << 20U;

    EventData() noexcept = default;
    /// Writes append to these bytes, reads begin at the first; the same holds for every copy, move and setData.
    explicit EventData(const std::vector<std::uint8_t>& data);
    explicit EventData(std::vector<std::uint8_t>&& data) noexcept;
    EventData(const EventData& other);
    /// The other one is empty afterwards.
    EventData(EventData&& other) noexcept;
    EventData& operator=(const EventData& other);
    EventData& operator=(EventData&& other) noexcept;
    virtual ~EventData();

    /// The bytes written so far. The reference and its contents are valid until the next write or change.
    [[nodiscard]] const std::vector<std::uint8_t>& data() const;
    /// Replaces the payload; reads begin at the first byte, writes append.
    void setData(const std::vector<std::uint8_t>& data);
    void setData(std::vector<std::uint8_t>&& data) noexcept;
    /// Removes the payload and keeps the memory.
    void clear() noexcept;

    /// As setData, from a block of memory.
private:
    friend struct detail::EventDataAccess;
    template <EventScalar T>
    friend EventData& operator<<(EventData& data, T value);
    template <EventScalar T>
    friend const EventData& operator>>(const EventData& data, T& value);
    friend EventData& operator<<(EventData& data, const std::string& text);
    friend EventData& operator<<(EventData& data, const char* text);
    friend const EventData& operator>>(const EventData& data, std::string& text);

    void _setBytes(const std::uint8_t* bytes, std::size_t count);
    /// For operators of further types: appends the bytes of a value.
    template <class T>
    void _write(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        const std::uint64_t position = _writePosition;
        if (_bytes.size() - position < sizeof(T)) _grow(sizeof(T));
        std::memcpy(_bytes.data() + position, &value, sizeof(T));
        _writePosition = position + sizeof(T);
    }
    /// For operators of further types: false, and an error logged, when the remaining bytes do not make a value.
    template <class T>
    bool _read(T& value) const {
        static_assert(std::is_trivially_copyable_v<T>);
        const std::uint64_t position = _readPosition;
        if (_writePosition - position < sizeof(T)) {
            _reportPastEnd();
            return false;
        }
        std::memcpy(&value, _bytes.data() + position, sizeof(T));
        _readPosition = position + sizeof(T);
        return true;
    }
    /// A text too long for its 4-byte length is written as an empty one, so that later values stay readable, and
    /// reported at error level.
    void _writeText(const char* text, std::size_t length) {
        if (length > std::numeric_limits<std::uint32_t>::max()) return _refuseText(length);
        const auto written = static_cast<std::uint32_t>(length);
        const std::uint64_t position = _writePosition;
        if (_bytes.size() - position < sizeof written + length) _grow(sizeof written + length);
        std::memcpy(_bytes.data() + position, &written, sizeof written);
        std::memcpy(_bytes.data() + position + sizeof written, text, length);
        _writePosition = position + sizeof written + length;
    }
    void _readText(std::string& text) const {
        const std::uint64_t position = _readPosition;
        std::uint32_t length = 0;
        if (_writePosition - position < sizeof length) return _readRareText(text);
        std::memcpy(&length, _bytes.data() + position, sizeof length);
        if (_writePosition - position - sizeof length < length || text.capacity() < length) return _readRareText(text);
        text.assign(reinterpret_cast<const char*>(_bytes.data() + position + sizeof length), length);
        _readPosition = position + sizeof length + length;
    }
    /// For receivers of payloads from outside: false when the length or one of its bytes is missing; nothing is logged,
    /// allocated or changed then.
    [[nodiscard]] bool _readWholeText(std::string& text) const;
    void _readMatrix(KrMath::Matrix44T<double>& matrix) const;

    /// Number of bytes between the read position and the end.
    [[nodiscard]] std::size_t _unread() const noexcept { return _writePosition - _readPosition; }
    /// Moves the read position to the first byte.
    void _rewind() const noexcept { _readPosition = 0; }

    // The templates above store the position after the bytes: bytes may alias anything, and a position stored before
    // them would have to be loaded again for the next value.
    static void _reportPastEnd();
    void _refuseText(std::size_t length);
    void _readRareText(std::string& text) const;
    /// Makes the vector long enough for so many bytes behind the write position.
    void _grow(std::size_t count);

    // The payload ends at the write position; the vector is kept longer, because lengthening it with every value
    // would cost more than the copy, and data() trims it.
    mutable std::vector<std::uint8_t> _bytes;
    std::uint64_t _writePosition{0};
    mutable std::uint64_t _readPosition{0};
};

template <EventScalar T>
EventData& operator<<(EventData& data, T value) {
    data._write(value);
    return data;
}

/// Any byte but 0 reads as true.
template <EventScalar T>
const EventData& operator>>(const EventData& data, T& value) {
    if constexpr (std::same_as<T, bool>) {
        std::uint8_t byte = 0;
        if (data._read(byte)) value = byte != 0;
    } else {
        data._read(value);
    }
    return data;
}

/// A 4-byte length and the text without terminator. A null pointer is written as an empty text.
inline EventData& operator<<(EventData& data, const std::string& text) {
    data._writeText(text.data(), text.size());
    return data;
}
/// As a std::string; null is an empty text.
inline EventData& operator<<(EventData& data, const char* text) {
    data._writeText(text ? text : "", text ? std::strlen(text) : 0);
    return data;
}
/// When the length cannot be read, the text is empty. When fewer bytes are left than the length says, the text becomes
/// that many NUL characters and the read position stays behind the length. A length above kLargestPayloadBytes that the
/// bytes do not bear out makes the text empty and allocates nothing, and so does a lack of memory.
inline const EventData& operator>>(const EventData& data, std::string& text) {
    data._readText(text);
    return data;
}

/// 16 numbers, row by row. When not all can be read, the matrix takes those that can; the others are unspecified, and
/// each of them is reported.
KR_API EventData& operator<<(EventData& data, const KrMath::Matrix44T<double>& matrix);
KR_API const EventData& operator>>(const EventData& data, KrMath::Matrix44T<double>& matrix);

/// The 17 bytes of KrUuid::getBytes().
KR_API EventData& operator<<(EventData& data, const KrUuid& uuid);
KR_API const EventData& operator>>(const EventData& data, KrUuid& uuid);

}  // namespace KrSim
