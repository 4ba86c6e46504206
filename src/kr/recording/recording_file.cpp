#include "kr/recording/recording_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <new>
#include <stdexcept>

#include "kr/recording/internal/mcap_reader.h"
#include "kr/recording/internal/mcap_writer.h"

namespace KrRecording {

using detail::McapMessage;
using detail::McapReader;
using detail::McapWriter;
using Kr::FileResult;

namespace {

constexpr double kNanoseconds = 1e9;  // in a second
constexpr std::string_view kFieldKey = "field:";

/// Reads it to its end, and counts.
RecordingSummary summarize(McapReader& reader, const std::function<void(const McapMessage&)>& onMessage) {
    RecordingSummary summary;
    std::map<std::uint16_t, std::uint64_t> counts;
    std::uint64_t first = ~std::uint64_t{0};
    std::uint64_t last = 0;
    summary.problem = reader.read([&](const McapMessage& message) {
        ++counts[message.channel];
        ++summary.messages;
        first = std::min(first, message.logNanoseconds);
        last = std::max(last, message.logNanoseconds);
        if (onMessage) onMessage(message);
    });
    summary.producer = reader.getLibrary();
    summary.metadata = reader.getMetadata();
    if (summary.messages != 0) {
        summary.firstSeconds = static_cast<double>(first) / kNanoseconds;
        summary.lastSeconds = static_cast<double>(last) / kNanoseconds;
    }
    for (const auto& [number, channel] : reader.getChannels()) {
        auto& described = summary.channels.emplace_back();
        described.topic = channel.topic;
        described.messages = counts[number];
        for (const auto& [key, value] : channel.metadata) {
            if (key.starts_with(kFieldKey)) described.fields.push_back(value);
        }
    }
    return summary;
}

FileResult failToRead(const std::string& filename, FileResult::eFailure failure, const std::string& reason) {
    return FileResult::failed(failure, filename, "recording '" + filename + "' cannot be read: ", reason);
}

FileResult open(const std::string& filename, std::ifstream& stream) {
    errno = 0;
    stream.open(filename, std::ios::binary);
    if (stream) return {};
    const bool isMissing = errno == ENOENT;
    return failToRead(filename, isMissing ? FileResult::eFailure::kMissing : FileResult::eFailure::kNotOpened,
                      std::strerror(errno));
}

}  // namespace

bool isRecording(std::string_view firstBytes) noexcept {
    return firstBytes.starts_with(detail::kMcapMagic);
}

Kr::FileResultOf<RecordingSummary> readRecordingSummary(const std::string& filename) try {
    std::ifstream stream;
    if (auto failure = open(filename, stream); !failure) return failure;
    McapReader reader(stream);
    auto summary = summarize(reader, {});
    if (reader.getLibrary().empty() && summary.messages == 0)
        return failToRead(filename, FileResult::eFailure::kRefused, summary.problem);
    return summary;
} catch (const std::bad_alloc&) {
    return FileResult::noMemory();
} catch (const std::length_error&) {
    return FileResult::noMemory();
}

Kr::FileResultOf<RecordingSummary> recoverRecording(const std::string& filename, const std::string& recovered) try {
    auto whole = readRecordingSummary(filename);  // its metadata, and whether it is a recording at all
    if (!whole) return whole;
    std::ifstream stream;
    if (auto failure = open(filename, stream); !failure) return failure;
    const auto failToWrite = [&](int error) {
        return FileResult::failed(FileResult::eFailure::kNotWritten, recovered,
                                  "recording '" + recovered + "' cannot be written: ", std::strerror(error));
    };
    auto* const file = std::fopen(recovered.c_str(), "wbe");
    if (file == nullptr) return failToWrite(errno);
    McapReader reader(stream);
    McapWriter writer(file, whole->producer, whole->metadata);
    std::map<std::uint16_t, std::uint16_t> channels;
    auto summary = summarize(reader, [&](const McapMessage& message) {
        const auto [found, isNew] = channels.try_emplace(message.channel);
        if (isNew) found->second = writer.addChannel(reader.getChannels().at(message.channel));
        writer.addMessage(found->second, message.logNanoseconds, message.publishNanoseconds, message.bytes);
    });
    writer.finish();
    if (writer.getError() != 0) return failToWrite(writer.getError());
    return summary;
} catch (const std::bad_alloc&) {
    return FileResult::noMemory();
} catch (const std::length_error&) {
    return FileResult::noMemory();
}

}  // namespace KrRecording
