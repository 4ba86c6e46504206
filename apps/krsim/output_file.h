#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace krsim {

/// Standard output, in the place of a file name.
inline constexpr const char* kStandardOutput = "-";
/// Behind the message that a device or pipe is no file to write.
inline constexpr const char* kUseStandardOutput = "; '-' writes to standard output";

/// Closes the file, but not standard output.
struct CloseOutput {
    void operator()(std::FILE* file) const noexcept;
};
using OutputFile = std::unique_ptr<std::FILE, CloseOutput>;

/// Opens a text to be written while its parts are made; what is there already is emptied. A link to a regular file is
/// followed. Throws a Failure for what is no regular file, and for one that cannot be opened.
/// \param what      the sort of the text, "record"
/// \param filename  kStandardOutput is standard output
[[nodiscard]] OutputFile openOutput(const char* what, const std::string& filename);

/// Throws the Failure of an output that cannot be written.
/// \param error  errno of the reason
[[noreturn]] void failToWrite(const char* what, const std::string& filename, int error);

}  // namespace krsim
