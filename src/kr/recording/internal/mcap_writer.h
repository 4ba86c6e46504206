#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KrRecording::detail {

/// The records of the file format MCAP, version 0 (mcap.dev/spec).
enum class eMcapRecord : std::uint8_t {
    kHeader = 0x01,
    kFooter = 0x02,
    kSchema = 0x03,
    kChannel = 0x04,
    kMessage = 0x05,
    kChunk = 0x06,
    kMessageIndex = 0x07,
    kChunkIndex = 0x08,
    kStatistics = 0x0B,
    kMetadata = 0x0C,
    kMetadataIndex = 0x0D,
    kSummaryOffset = 0x0E,
    kDataEnd = 0x0F,
};

inline constexpr std::string_view kMcapMagic{"\x89MCAP0\r\n", 8};

using McapTexts = std::vector<std::pair<std::string, std::string>>;

/// The form of messages.
struct McapSchema {
    std::string name{};
    std::string encoding{"protobuf"};
    std::string data{};  ///< of protobuf: a FileDescriptorSet
};

/// What the messages of a channel are.
struct McapChannel {
    std::string topic{};
    std::string encoding{"protobuf"};
    std::shared_ptr<const McapSchema> schema{};  ///< null for messages without one
    McapTexts metadata{};
};

/// Writes a recording in chunks with checksums and indexes. What was written before the last chunk can be read without
/// the end of the file.
/// Thread: one at a time. Ownership: owns the file.
class McapWriter {
public:
    /// Messages are gathered until they are so many bytes.
    static constexpr std::size_t kChunkBytes = std::size_t{1} << 20U;

    /// \param file  empty and open for writing
    /// \param metadata  of the recording as a whole
    McapWriter(std::FILE* file, const std::string& library, const McapTexts& metadata);
    McapWriter(const McapWriter&) = delete;
    McapWriter& operator=(const McapWriter&) = delete;
    ~McapWriter();

    /// \return its number. Channels of one schema share it. With more than 65,535 channels the recording fails.
    std::uint16_t addChannel(const McapChannel& channel);
    /// \param logNanoseconds  of simulated time
    /// \param publishNanoseconds  of the wall clock, since 1970
    void addMessage(std::uint16_t channel, std::uint64_t logNanoseconds, std::uint64_t publishNanoseconds,
                    std::string_view message);
    /// Writes the messages that were gathered.
    void flush();
    /// Writes indexes and statistics and closes the file.
    void finish();

    /// errno of the first failure, after which nothing is written any more; 0 for none.
    [[nodiscard]] int getError() const noexcept { return _error; }
    [[nodiscard]] std::uint64_t getSize() const noexcept { return _size; }

private:
    using Index = std::vector<std::pair<std::uint64_t, std::uint64_t>>;  // times and offsets in the chunk

    struct Channel {
        std::string record;  // for the summary
        std::uint32_t sequence{0};
        std::uint64_t count{0};
        Index index{};  // of the chunk in progress
    };
    struct Span {
        std::uint64_t begin{~std::uint64_t{0}};
        std::uint64_t end{0};

        void add(std::uint64_t time);
    };

    [[nodiscard]] std::uint16_t _addSchema(const McapSchema& schema);
    void _write(std::string_view bytes);
    void _writeSummary();

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> _file;
    std::uint64_t _size{0};
    int _error{0};
    std::string _chunk;  // the records of it
    Span _chunkTimes;
    std::map<std::string, std::uint16_t> _schemas;  // numbers by record, which begins behind the number
    std::vector<std::string> _schemaRecords;
    std::vector<Channel> _channels;
    std::vector<std::string> _chunkIndexes;
    std::string _metadataIndex;
    Span _times;
    std::uint64_t _messageCount{0};
};

}  // namespace KrRecording::detail
