#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace krsim {

/// Standard output or standard input, in the place of a file name.
inline constexpr const char* kStandardStream = "-";
/// Behind the message that a device or pipe is no file to write.
inline constexpr const char* kUseStandardOutput = "; '-' writes to standard output";

/// The kinds of output.
enum class eOutputKind : std::uint8_t { kTable, kRecording, kHashes, kGraph, kState, kObjects, kSetup };

/// The rule of all writers. A table, a file of frame hashes, a graph or a state replaces a file of the same kind.
/// Content and setups replace no file, and no output replaces a file of another kind, unless it is forced. Empty files
/// may always be replaced. Throws a Failure, kUsage, that names the file. Standard output and files that are not
/// regular are accepted here; the writers themselves refuse devices and folders. \param filename  "-" is standard
/// output; empty is no file
void requireReplaceable(eOutputKind kind, const std::string& filename, bool isForced);

/// Closes the file, but not standard output.
struct CloseOutput {
    void operator()(std::FILE* file) const noexcept;
};
using OutputFile = std::unique_ptr<std::FILE, CloseOutput>;

/// Throws the Failure of openOutput as far as it is known before: for a file that may not be replaced, is no regular
/// file or may not be written, and for a folder that does not exist. Changes nothing.
void requireWritable(eOutputKind kind, const std::string& filename, bool isForced);

/// Opens a text file to be written in parts; an existing file is emptied. A link to a regular file is followed. Throws
/// a Failure for a file that may not be replaced, is no regular file, or cannot be opened.
/// \param filename  "-" is standard output
[[nodiscard]] OutputFile openOutput(eOutputKind kind, const std::string& filename, bool isForced);

/// Throws the Failure of an output that cannot be written.
/// \param error  errno of the reason
[[noreturn]] void failToWrite(eOutputKind kind, const std::string& filename, int error);

}  // namespace krsim
