#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <streambuf>
#include <string>
#include <vector>

namespace KrPersistence::detail {

class ChecksumInput;

/// The source of a file.
struct LoadSource {
    std::istream& stream;
    std::uint64_t start{0};  ///< where the file begins
    std::uint64_t size{0};   ///< from there to the end; 0 when the stream does not know it
    /// for a stream that cannot be read twice: the buffer through which the file is read
    const ChecksumInput* counted{nullptr};
    std::streambuf* behind{nullptr};  ///< with it: the buffer for the bytes after the file
    bool isWholeStream{false};        ///< nothing else is in the stream
};

/// Calls the action with the stream as a source, and returns its result.
/// \param doubts  unless null, a binary file with one flipped bit is repaired first, and a text is added.
[[nodiscard]] bool withSource(std::istream& stream, bool isWholeStream, std::vector<std::string>* doubts,
                              const std::function<bool(const LoadSource&)>& load);

}  // namespace KrPersistence::detail
