#include "kr/recording/internal/mcap_writer.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "kr/platform/crc32.h"
#include "kr/recording/internal/little_endian.h"

namespace KrRecording::detail {
namespace {

template <class Number>
void put(std::string& bytes, Number number) {
    appendLittleEndian(bytes, number);
}

void putText(std::string& bytes, std::string_view text) {
    put(bytes, static_cast<std::uint32_t>(text.size()));
    bytes.append(text);
}

void putTexts(std::string& bytes, const McapTexts& texts) {
    std::string map;
    for (const auto& [key, value] : texts) {
        putText(map, key);
        putText(map, value);
    }
    putText(bytes, map);
}

std::string makeRecord(eMcapRecord kind, std::string_view content) {
    std::string record(1, static_cast<char>(kind));
    put(record, std::uint64_t{content.size()});
    return record.append(content);
}

std::uint32_t crcOf(std::string_view bytes) {
    return static_cast<std::uint32_t>(Kr::calculateCRC32(bytes));
}

}  // namespace

void McapWriter::Span::add(std::uint64_t time) {
    begin = std::min(begin, time);
    end = std::max(end, time);
}

McapWriter::McapWriter(std::FILE* file, const std::string& library, const McapTexts& metadata)
    : _file(file, &std::fclose) {
    std::setvbuf(file, nullptr, _IONBF, 0);
    _write(kMcapMagic);
    std::string header;
    putText(header, "");
    putText(header, library);
    _write(makeRecord(eMcapRecord::kHeader, header));
    if (metadata.empty()) return;
    constexpr std::string_view kName = "krfoundation";
    std::string content;
    putText(content, kName);
    putTexts(content, metadata);
    const auto record = makeRecord(eMcapRecord::kMetadata, content);
    std::string index;
    put(index, _size);
    put(index, std::uint64_t{record.size()});
    putText(index, kName);
    _metadataIndex = makeRecord(eMcapRecord::kMetadataIndex, index);
    _write(record);
}

McapWriter::~McapWriter() = default;

std::uint16_t McapWriter::_addSchema(const McapSchema& schema) {
    std::string record;
    putText(record, schema.name);
    putText(record, schema.encoding);
    putText(record, schema.data);
    const auto [found, isNew] = _schemas.try_emplace(record, static_cast<std::uint16_t>(_schemas.size() + 1));
    if (isNew) {
        std::string content;
        put(content, found->second);
        _schemaRecords.push_back(makeRecord(eMcapRecord::kSchema, content.append(record)));
        _chunk.append(_schemaRecords.back());
    }
    return found->second;
}

std::uint16_t McapWriter::addChannel(const McapChannel& channel) {
    if (_channels.size() >= std::numeric_limits<std::uint16_t>::max()) {
        if (_error == 0) _error = EOVERFLOW;
        return 0;
    }
    const auto number = static_cast<std::uint16_t>(_channels.size());
    std::string content;
    put(content, number);
    put(content, channel.schema ? _addSchema(*channel.schema) : std::uint16_t{0});
    putText(content, channel.topic);
    putText(content, channel.encoding);
    putTexts(content, channel.metadata);
    _channels.push_back({makeRecord(eMcapRecord::kChannel, content)});
    _chunk.append(_channels.back().record);
    return number;
}

void McapWriter::addMessage(std::uint16_t channel, std::uint64_t logNanoseconds, std::uint64_t publishNanoseconds,
                            std::string_view message) {
    auto& own = _channels[channel];
    own.index.emplace_back(logNanoseconds, _chunk.size());
    ++own.count;
    ++_messageCount;
    _chunkTimes.add(logNanoseconds);
    constexpr std::size_t kFixedBytes = 2 + 4 + 8 + 8;
    _chunk += static_cast<char>(eMcapRecord::kMessage);
    put(_chunk, std::uint64_t{kFixedBytes + message.size()});
    put(_chunk, channel);
    put(_chunk, own.sequence++);
    put(_chunk, logNanoseconds);
    put(_chunk, publishNanoseconds);
    _chunk.append(message);
    if (_chunk.size() >= kChunkBytes) flush();
}

void McapWriter::flush() {
    if (_chunk.empty()) return;
    const bool hasMessages = _chunkTimes.begin <= _chunkTimes.end;
    const std::uint64_t begin = hasMessages ? _chunkTimes.begin : 0;
    std::string head;
    put(head, begin);
    put(head, _chunkTimes.end);
    put(head, std::uint64_t{_chunk.size()});
    put(head, crcOf(_chunk));
    putText(head, "");  // not compressed
    put(head, std::uint64_t{_chunk.size()});
    std::string opening(1, static_cast<char>(eMcapRecord::kChunk));
    put(opening, std::uint64_t{head.size() + _chunk.size()});
    const std::uint64_t chunkStart = _size;
    const std::uint64_t chunkLength = opening.size() + head.size() + _chunk.size();
    std::string bytes = std::move(opening.append(head));
    bytes.append(_chunk);

    std::string offsets;
    std::uint64_t indexLength = 0;
    for (std::size_t i = 0; i < _channels.size(); ++i) {
        auto& index = _channels[i].index;
        if (index.empty()) continue;
        put(offsets, static_cast<std::uint16_t>(i));
        put(offsets, chunkStart + bytes.size());
        std::string content;
        put(content, static_cast<std::uint16_t>(i));
        put(content, static_cast<std::uint32_t>(index.size() * 2 * sizeof(std::uint64_t)));
        for (const auto& [time, offset] : index) {
            put(content, time);
            put(content, offset);
        }
        index.clear();
        const auto record = makeRecord(eMcapRecord::kMessageIndex, content);
        indexLength += record.size();
        bytes.append(record);
    }
    std::string chunkIndex;
    put(chunkIndex, begin);
    put(chunkIndex, _chunkTimes.end);
    put(chunkIndex, chunkStart);
    put(chunkIndex, chunkLength);
    putText(chunkIndex, offsets);
    put(chunkIndex, indexLength);
    putText(chunkIndex, "");
    put(chunkIndex, std::uint64_t{_chunk.size()});
    put(chunkIndex, std::uint64_t{_chunk.size()});
    _write(bytes);
    _chunkIndexes.push_back(makeRecord(eMcapRecord::kChunkIndex, chunkIndex));
    if (hasMessages) {
        _times.add(begin);
        _times.add(_chunkTimes.end);
    }
    _chunk.clear();
    _chunkTimes = {};
}

void McapWriter::finish() {
    flush();
    std::string end;
    put(end, std::uint32_t{0});  // the chunks have checksums of their own
    _write(makeRecord(eMcapRecord::kDataEnd, end));
    _writeSummary();
    if (_file && std::fclose(_file.release()) != 0 && _error == 0) _error = errno;
}

void McapWriter::_writeSummary() {
    const std::uint64_t start = _size;
    std::string summary;
    std::string groups;
    const auto addGroup = [&](eMcapRecord kind, const auto& addAll) {
        const std::size_t before = summary.size();
        addAll();
        if (summary.size() == before) return;
        std::string offset(1, static_cast<char>(kind));
        put(offset, start + before);
        put(offset, std::uint64_t{summary.size() - before});
        groups.append(makeRecord(eMcapRecord::kSummaryOffset, offset));
    };
    addGroup(eMcapRecord::kSchema, [&] {
        for (const auto& each : _schemaRecords)
            summary.append(each);
    });
    addGroup(eMcapRecord::kChannel, [&] {
        for (const auto& each : _channels)
            summary.append(each.record);
    });
    addGroup(eMcapRecord::kStatistics, [&] {
        std::string content;
        put(content, _messageCount);
        put(content, static_cast<std::uint16_t>(_schemaRecords.size()));
        put(content, static_cast<std::uint32_t>(_channels.size()));
        put(content, std::uint32_t{0});  // attachments
        put(content, std::uint32_t{_metadataIndex.empty() ? 0U : 1U});
        put(content, static_cast<std::uint32_t>(_chunkIndexes.size()));
        put(content, _messageCount != 0 ? _times.begin : 0);
        put(content, _times.end);
        std::string counts;
        for (std::size_t i = 0; i < _channels.size(); ++i) {
            put(counts, static_cast<std::uint16_t>(i));
            put(counts, _channels[i].count);
        }
        putText(content, counts);
        summary.append(makeRecord(eMcapRecord::kStatistics, content));
    });
    addGroup(eMcapRecord::kMetadataIndex, [&] { summary.append(_metadataIndex); });
    addGroup(eMcapRecord::kChunkIndex, [&] {
        for (const auto& each : _chunkIndexes)
            summary.append(each);
    });
    const std::uint64_t offsetStart = start + summary.size();
    summary.append(groups);
    // The checksum covers the footer up to itself.
    summary += static_cast<char>(eMcapRecord::kFooter);
    put(summary, std::uint64_t{8 + 8 + 4});
    put(summary, start);
    put(summary, offsetStart);
    put(summary, crcOf(summary));
    _write(summary.append(kMcapMagic));
}

void McapWriter::_write(std::string_view bytes) {
    if (_error != 0) return;
    errno = 0;
    if (std::fwrite(bytes.data(), 1, bytes.size(), _file.get()) == bytes.size()) {
        _size += bytes.size();
    } else {
        _error = errno != 0 ? errno : EIO;
    }
}

}  // namespace KrRecording::detail
