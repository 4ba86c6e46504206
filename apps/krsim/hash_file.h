#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace krsim {

/// A file with the hash of each frame of a run. Lines of text: a header, then a line for the beginning of the run and
/// one for each frame, each with the number of frames that have ended and the hash, then a line for the end:
///
///     frame hashes 1
///     version 2020.3.0
///     seed 0
///     step 0.016666666666666666
///     file 1a2b3c4d car.xml
///     frames
///     0 4e87166e6dfce04a
///     1 0123456789abcdef
///     end 1
///
/// A file without the last line was cut off; its complete lines count.
struct HashFile {
    static constexpr const char* kFirstLine = "frame hashes 1";
    static constexpr const char* kFrames = "frames";
    static constexpr const char* kEnd = "end ";

    struct Frame {
        std::uint64_t number{0};
        std::uint64_t hash{0};
    };

    /// Name and value of each line of the header.
    std::vector<std::pair<std::string, std::string>> header{};
    std::vector<Frame> frames{};
    bool isComplete{false};  ///< not cut off

    /// Whether a text with these first bytes is one, of this or a later release.
    [[nodiscard]] static bool isOne(std::string_view begin) noexcept { return begin.starts_with("frame hashes "); }
    /// Throws a Failure that names the file and the line which is wrong.
    [[nodiscard]] static HashFile parse(const std::string& filename, std::string_view text);

    [[nodiscard]] std::string formatHeader() const;
    static void appendFrame(std::string& text, const Frame& frame);
};

/// What differs between two files.
struct HashDifference {
    std::string text{};      ///< a line for each fact; empty when all frames are equal
    std::uint64_t frame{0};  ///< the first that differs
    bool isInFrame{false};   ///< both have that frame, with different hashes
};

/// Frames are compared from the first number on that both have. Differences of the headers are told only where frames
/// differ: equal hashes of two versions are equal.
[[nodiscard]] HashDifference compareHashes(const HashFile& first, const HashFile& second);

}  // namespace krsim
