#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <streambuf>
#include <string>
#include <vector>

namespace KrPersistence::detail {

class ChecksumInput;

/// What a file is read from.
struct LoadSource {
    std::istream& stream;
    std::uint64_t start{0};                 ///< where the file begins
    std::uint64_t size{0};                  ///< from there to the end; 0 where the stream cannot tell
    const ChecksumInput* counted{nullptr};  ///< where the stream cannot be read twice: what the file is read through
    std::streambuf* behind{nullptr};        ///< with it: where what stands behind the file is read
    bool isWholeStream{false};              ///< nothing else is in the stream
};

/// Calls the action with the stream as a source, and answers what it answers.
/// \param doubts  where not null, a binary file in which one bit was flipped is repaired first, and this says so.
[[nodiscard]] bool withSource(std::istream& stream, bool isWholeStream, std::vector<std::string>* doubts,
                              const std::function<bool(const LoadSource&)>& load);

}  // namespace KrPersistence::detail
