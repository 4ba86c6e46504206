#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/math/matrix44.h"
#include "kr/platform/log.h"
#include "kr/platform/uuid.h"

namespace {

// What the texts of one input may claim together without having the bytes; the rest is passed over. Clearing much
// memory takes the time of many inputs, so only those with a single operation may do it.
constexpr std::uint64_t kMostClaimed = 64U << 10U;
constexpr std::uint64_t kMostClaimedAlone = 64U << 20U;
// NUL characters looked at in such a text, at its start.
constexpr std::size_t kMostLookedAt = 4096;

void require(bool holds) {
    if (!holds) std::abort();
}

/// Reads values from the payload under test and holds each against the plain bytes; what was read is written again.
class Session {
public:
    Session(std::vector<std::uint8_t> payload, std::uint64_t mostClaimed)
        : _payload(payload), _data(std::move(payload)), _mostClaimed(mostClaimed) {}

    template <class T>
    void readScalar() {
        T value;
        std::memset(&value, 1, sizeof value);
        const T before = value;
        _data >> value;
        if (_left() < sizeof value) {
            require(std::memcmp(&value, &before, sizeof value) == 0);
        } else {
            T expected;
            if constexpr (std::same_as<T, bool>) {
                expected = _payload[_at] != 0;
            } else {
                std::memcpy(&expected, _payload.data() + _at, sizeof expected);
            }
            require(std::memcmp(&value, &expected, sizeof value) == 0);
            _at += sizeof value;
        }
        _writeAndCompare(value);
    }

    void readUuid() {
        KrSim::KrUuid value;
        _data >> value;
        if (_left() < KrSim::KrUuid::kStoredBytes) {
            require(value.getBytes() == KrSim::KrUuid().getBytes());
        } else {
            require(std::equal(value.getBytes().begin(), value.getBytes().end(), _payload.data() + _at));
            _at += KrSim::KrUuid::kStoredBytes;
        }
        _written << value;
        require(_written.data().size() == (_size += KrSim::KrUuid::kStoredBytes));
    }

    void readMatrix() {
        KrMath::Matrix44T<double> value;
        _data >> value;
        const std::size_t count = std::min<std::size_t>(_left() / sizeof(double), 16);
        require(count == 0 || std::memcmp(value.m, _payload.data() + _at, count * sizeof(double)) == 0);
        _at += count * sizeof(double);
        _writeAndCompare(value);
    }

    void readText() {
        std::string text = "before";
        if (_left() < 4) {
            _data >> text;
            require(text.empty());
            return;
        }
        std::uint32_t length = 0;
        std::memcpy(&length, _payload.data() + _at, sizeof length);
        const bool isCut = _left() - sizeof length < length;
        const bool isTooLong = isCut && length > KrSim::EventData::kLargestPayloadBytes;
        if (isCut && !isTooLong && (_claimed += length) > _mostClaimed) return;
        _data >> text;
        _at += sizeof length;
        if (isTooLong) return require(text.empty());
        require(text.size() == length);
        if (isCut) {
            const std::string start = text.substr(0, kMostLookedAt);
            require(text.back() == '\0' && start.find_first_not_of('\0') == std::string::npos);
            return;
        }
        require(length == 0 || std::memcmp(text.data(), _payload.data() + _at, length) == 0);
        _at += length;
        _written << text;
        _size += sizeof length + length;
        require(_written.data().size() == _size);
        require(length == 0 || std::memcmp(_written.data().data() + _size - length, text.data(), length) == 0);
    }

    void copy() { _data.setData(KrSim::EventData(_data).data()), _at = 0; }
    void append() {
        _data << std::uint16_t{0x0102};
        _payload.push_back(2);
        _payload.push_back(1);
    }
    void clear() {
        _written.clear();
        _size = 0;
    }
    void check() const {
        require(KrSim::detail::EventDataAccess::unread(_data) == _left() && _data.data() == _payload);
    }

private:
    [[nodiscard]] std::size_t _left() const { return _payload.size() - _at; }

    template <class T>
    void _writeAndCompare(const T& value) {
        _written << value;
        _size += sizeof value;
        // Asked for only now and then: the vector is cut by it, and must grow correctly both ways.
        if (_size % 3 != 0) return;
        require(_written.data().size() == _size);
        require(std::memcmp(_written.data().data() + _size - sizeof value, &value, sizeof value) == 0);
    }

    std::vector<std::uint8_t> _payload;
    KrSim::EventData _data;
    std::size_t _at{0};
    std::uint64_t _mostClaimed;
    std::uint64_t _claimed{0};
    KrSim::EventData _written;
    std::size_t _size{0};
};

using Operation = void (Session::*)();
const Operation operations[] = {
    &Session::readScalar<bool>,
    &Session::readScalar<signed char>,
    &Session::readScalar<unsigned char>,
    &Session::readScalar<short>,
    &Session::readScalar<unsigned short>,
    &Session::readScalar<int>,
    &Session::readScalar<unsigned int>,
    &Session::readScalar<long>,
    &Session::readScalar<unsigned long>,
    &Session::readScalar<long long>,
    &Session::readScalar<unsigned long long>,
    &Session::readScalar<float>,
    &Session::readScalar<double>,
    &Session::readUuid,
    &Session::readMatrix,
    &Session::readText,
    &Session::copy,
    &Session::append,
    &Session::clear,
};

}  // namespace

// The first byte says how many operations follow, a byte each; what remains is the payload that they work on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Kr::LogSetLevel(Kr::eLogLevel::kOff);  // every cut payload reports itself
    const std::size_t count = std::min<std::size_t>(data[0], size - 1);
    Session session(std::vector<std::uint8_t>(data + 1 + count, data + size),
                    count == 1 ? kMostClaimedAlone : kMostClaimed);
    for (std::size_t i = 1; i <= count; ++i)
        (session.*operations[data[i] % std::size(operations)])();
    session.check();
    return 0;
}
