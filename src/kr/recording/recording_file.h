#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrRecording {

/// What a recording holds.
struct RecordingSummary {
    struct Channel {
        std::string topic{};  ///< "Car/Vehicle.Outputs"
        std::vector<std::string> fields{};
        std::uint64_t messages{0};
    };

    std::string producer{};
    std::vector<std::pair<std::string, std::string>> metadata{};  ///< of the recording, as RecordingOptions gave it
    std::vector<Channel> channels{};
    std::uint64_t messages{0};
    double firstSeconds{0.0};  ///< simulated time
    double lastSeconds{0.0};
    std::string problem{};  ///< what of it cannot be read, with the byte; empty for a complete recording
};

/// Whether these first bytes of a file, 8 or more, are those of a recording.
[[nodiscard]] KR_API bool isRecording(std::string_view firstBytes) noexcept;

/// Reads the whole recording. One that is cut is read up to there, and damaged chunks are passed over.
[[nodiscard]] KR_API Kr::FileResultOf<RecordingSummary> readRecordingSummary(const std::string& filename);

/// Writes what can be read of a recording into another file, with a new index. Both are different files.
/// Attachments, which our recordings do not have, are left out.
/// \return what was written, with the problem of the first file.
[[nodiscard]] KR_API Kr::FileResultOf<RecordingSummary> recoverRecording(const std::string& filename,
                                                                         const std::string& recovered);

}  // namespace KrRecording
