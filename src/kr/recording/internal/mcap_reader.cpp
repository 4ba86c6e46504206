#include "kr/recording/internal/mcap_reader.h"

#include <algorithm>
#include <istream>
#include <optional>
#include <utility>

#include "kr/platform/crc32.h"
#include "kr/recording/internal/little_endian.h"

namespace KrRecording::detail {
namespace {

constexpr std::size_t kOpeningBytes = 1 + 8;

/// Takes values from the front of bytes. After the end was passed all are empty.
class Cursor {
public:
    explicit Cursor(std::string_view bytes) : _bytes(bytes) {}

    template <class Number>
    Number take() {
        const auto taken = takeBytes(sizeof(Number));
        return taken.size() == sizeof(Number) ? readLittleEndian<Number>(taken) : Number{};
    }
    std::string_view takeText() { return takeBytes(take<std::uint32_t>()); }
    std::string_view takeBytes(std::uint64_t count) {
        if (count > _bytes.size()) {
            _isBad = true;
            _bytes = {};
            return {};
        }
        const auto taken = _bytes.substr(0, count);
        _bytes.remove_prefix(count);
        return taken;
    }
    McapTexts takeTexts() {
        McapTexts texts;
        Cursor map(takeText());
        while (!map._bytes.empty()) {
            const auto key = map.takeText();
            texts.emplace_back(key, map.takeText());
        }
        _isBad = _isBad || map._isBad;
        return texts;
    }
    [[nodiscard]] std::string_view rest() const { return _bytes; }
    [[nodiscard]] bool isBad() const { return _isBad; }

private:
    std::string_view _bytes;
    bool _isBad{false};
};

constexpr const char* kDamaged = "a record is damaged";

}  // namespace

std::string McapReader::read(const std::function<void(const McapMessage&)>& onMessage) {
    _onMessage = onMessage;
    std::string bytes(kMcapMagic.size(), '\0');
    std::uint64_t at = 0;
    const auto size = static_cast<std::uint64_t>(std::max<std::streamoff>(_stream.seekg(0, std::ios::end).tellg(), 0));
    _stream.seekg(0);
    const auto fail = [&](std::string_view reason) {
        return std::string(reason).append(", at byte ").append(std::to_string(at));
    };
    if (!_stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) || bytes != kMcapMagic)
        return "it is no MCAP file of version 0";
    at = bytes.size();
    std::string problem;
    while (true) {
        char opening[kOpeningBytes];
        if (!_stream.read(opening, kOpeningBytes)) return problem.empty() ? fail("its end is missing") : problem;
        const auto kind = static_cast<std::uint8_t>(opening[0]);
        const auto length = readLittleEndian<std::uint64_t>({opening + 1, sizeof(std::uint64_t)});
        if (size < at + kOpeningBytes || length > size - at - kOpeningBytes) return fail("its end is missing");
        bytes.resize(length);
        if (!_stream.read(bytes.data(), static_cast<std::streamsize>(length))) return fail("its end is missing");
        if (const auto reason = _readRecord(kind, bytes); !reason.empty()) {
            if (problem.empty()) problem = fail(reason);
            if (kind != static_cast<std::uint8_t>(eMcapRecord::kChunk)) return problem;
        }
        if (kind == static_cast<std::uint8_t>(eMcapRecord::kFooter)) {
            bytes.resize(kMcapMagic.size());
            const bool isWhole =
                _stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) && bytes == kMcapMagic;
            return isWhole || !problem.empty() ? problem : fail("its end is missing");
        }
        at += kOpeningBytes + length;
    }
}

std::string McapReader::_readRecord(std::uint8_t kind, std::string_view content) {
    Cursor cursor(content);
    switch (static_cast<eMcapRecord>(kind)) {
        case eMcapRecord::kHeader:
            cursor.takeText();
            _library = cursor.takeText();
            break;
        case eMcapRecord::kSchema: {
            const auto number = cursor.take<std::uint16_t>();
            auto schema = std::make_shared<McapSchema>();
            schema->name = cursor.takeText();
            schema->encoding = cursor.takeText();
            schema->data = cursor.takeText();
            if (!cursor.isBad()) _schemas[number] = std::move(schema);
            break;
        }
        case eMcapRecord::kChannel: {
            const auto number = cursor.take<std::uint16_t>();
            const auto schema = cursor.take<std::uint16_t>();
            McapChannel channel;
            channel.topic = cursor.takeText();
            channel.encoding = cursor.takeText();
            channel.metadata = cursor.takeTexts();
            const auto found = _schemas.find(schema);
            if (cursor.isBad() || (found == _schemas.end() && schema != 0)) return kDamaged;
            if (schema != 0) channel.schema = found->second;
            _channels[number] = std::move(channel);
            break;
        }
        case eMcapRecord::kMessage: {
            McapMessage message;
            message.channel = cursor.take<std::uint16_t>();
            cursor.take<std::uint32_t>();
            message.logNanoseconds = cursor.take<std::uint64_t>();
            message.publishNanoseconds = cursor.take<std::uint64_t>();
            message.bytes = cursor.rest();
            if (cursor.isBad() || _channels.find(message.channel) == _channels.end()) return kDamaged;
            if (_onMessage) _onMessage(message);
            break;
        }
        case eMcapRecord::kMetadata:
            cursor.takeText();
            _metadata = cursor.takeTexts();
            break;
        case eMcapRecord::kChunk:
            return _readChunk(content);
        default:
            break;  // indexes, and records of later versions
    }
    return cursor.isBad() ? kDamaged : "";
}

std::string McapReader::_readChunk(std::string_view content) {
    Cursor cursor(content);
    cursor.take<std::uint64_t>();
    cursor.take<std::uint64_t>();
    cursor.take<std::uint64_t>();
    const auto checksum = cursor.take<std::uint32_t>();
    const auto compression = cursor.takeText();
    if (!compression.empty()) return "a chunk is compressed, which is not read";
    const auto records = cursor.takeBytes(cursor.take<std::uint64_t>());
    if (cursor.isBad()) return kDamaged;
    if (checksum != 0 && checksum != static_cast<std::uint32_t>(Kr::calculateCRC32(records)))
        return "the checksum of a chunk is wrong";
    Cursor all(records);
    while (!all.rest().empty()) {
        const auto kind = all.take<std::uint8_t>();
        const auto record = all.takeBytes(all.take<std::uint64_t>());
        const bool isNested = kind == static_cast<std::uint8_t>(eMcapRecord::kChunk);
        if (all.isBad() || isNested) return kDamaged;
        if (auto reason = _readRecord(kind, record); !reason.empty()) return reason;
    }
    return {};
}

}  // namespace KrRecording::detail
