#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "kr/recording/internal/mcap_writer.h"

namespace KrRecording::detail {

/// A message of a recording. Texts are borrowed for the time of the call.
struct McapMessage {
    std::uint16_t channel{0};
    std::uint64_t logNanoseconds{0};
    std::uint64_t publishNanoseconds{0};
    std::string_view bytes{};
};

/// Reads a recording from its first record to its last, without its index.
/// Thread: one at a time. Ownership: borrows the stream, which can be
/// positioned.
class McapReader {
public:
    explicit McapReader(std::istream& stream) : _stream(stream) {}

    /// \param onMessage  of a channel that getChannels() has
    /// \return what cannot be read, with its byte: the rest, since the file was cut, or the first damaged chunk, which
    /// is passed over. Empty for a complete recording.
    [[nodiscard]] std::string read(const std::function<void(const McapMessage&)>& onMessage);

    /// By their numbers, as far as the recording was read.
    [[nodiscard]] const std::map<std::uint16_t, McapChannel>& getChannels() const noexcept { return _channels; }
    [[nodiscard]] const McapTexts& getMetadata() const noexcept { return _metadata; }
    [[nodiscard]] const std::string& getLibrary() const noexcept { return _library; }

private:
    [[nodiscard]] std::string _readRecord(std::uint8_t kind, std::string_view content);
    [[nodiscard]] std::string _readChunk(std::string_view content);

    std::istream& _stream;
    std::function<void(const McapMessage&)> _onMessage;
    std::map<std::uint16_t, std::shared_ptr<const McapSchema>> _schemas;
    std::map<std::uint16_t, McapChannel> _channels;
    McapTexts _metadata;
    std::string _library;
};

}  // namespace KrRecording::detail
