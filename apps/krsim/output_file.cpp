#include "apps/krsim/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>

#include "apps/krsim/failure.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/recording/recording_file.h"

namespace krsim {
namespace {

const char* nameFor(eOutputKind kind) {
    switch (kind) {
        case eOutputKind::kTable:
            return "record";
        case eOutputKind::kRecording:
            return "recording";
        case eOutputKind::kHashes:
            return "hashes";
        case eOutputKind::kGraph:
            return "graph";
        case eOutputKind::kState:
            return "state";
        case eOutputKind::kObjects:
        case eOutputKind::kSetup:
            break;
    }
    return "file";
}

[[noreturn]] void fail(eOutputKind kind, const std::string& filename, const std::string& reason) {
    failInLog(eExitCode::kFailed, nameFor(kind) + (" '" + filename + "' cannot be written: ") + reason);
}

/// What a file holds, from its first bytes.
struct Held {
    std::optional<eOutputKind> kind;  // nothing for what krsim does not write
    const char* text{nullptr};
};

Held inspect(const std::string& filename) {
    using eFileType = KrPersistence::KrFile::eFileType;
    std::ifstream stream(filename, std::ios::binary);
    if (!stream) return {std::nullopt, "what you may not read"};
    KrPersistence::KrMagicTag tag;
    tag.load(stream);
    switch (tag.getFileType()) {
        case eFileType::kInvalid:
            break;
        case eFileType::kSimulationState:
            return {eOutputKind::kState, "a simulation state"};
        case eFileType::kObject:
            return {eOutputKind::kObjects, "objects"};
        default:
            return {eOutputKind::kSetup, "a setup or content"};
    }
    char bytes[8];
    stream.read(bytes, sizeof bytes);
    const std::string_view begin(bytes, static_cast<std::size_t>(stream.gcount()));
    if (KrRecording::isRecording(begin)) return {eOutputKind::kRecording, "a recording"};
    if (begin.starts_with("Time,") || begin.starts_with("Time\r")) return {eOutputKind::kTable, "a recorded table"};
    if (begin.starts_with("Run,Seed")) return {eOutputKind::kTable, "a table of a sweep"};
    if (begin == "frame ha") return {eOutputKind::kHashes, "frame hashes"};
    if (begin.starts_with("digraph ")) return {eOutputKind::kGraph, "a graph"};
    return {std::nullopt, "what krsim has not written"};
}

bool isResult(eOutputKind kind) {
    return kind != eOutputKind::kObjects && kind != eOutputKind::kSetup;
}

[[noreturn]] void failForDevice(eOutputKind kind, const std::string& filename) {
    fail(kind, filename, std::string("it is a device, pipe or socket") + kUseStandardOutput);
}

}  // namespace

void requireReplaceable(eOutputKind kind, const std::string& filename, bool isForced) {
    if (isForced || filename == kStandardStream) return;
    struct stat status {};
    const bool isThere = ::stat(filename.c_str(), &status) == 0;
    if (!isThere || !S_ISREG(status.st_mode) || status.st_size == 0) return;
    const Held held = inspect(filename);
    if (held.kind == kind && isResult(kind)) return;
    throw Failure(eExitCode::kUsage, nameFor(kind) +
                                         (" '" + filename + "' is not written: the file exists and holds ") +
                                         held.text + "; --force replaces it");
}

void requireWritable(eOutputKind kind, const std::string& filename, bool isForced) {
    if (filename == kStandardStream) return;
    requireReplaceable(kind, filename, isForced);
    struct stat status {};
    if (::stat(filename.c_str(), &status) != 0) {
        if (errno != ENOENT) failToWrite(kind, filename, errno);
        const auto folder = std::filesystem::path(filename).parent_path();
        if (::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0) failToWrite(kind, filename, errno);
        return;
    }
    if (S_ISDIR(status.st_mode)) failToWrite(kind, filename, EISDIR);
    if (!S_ISREG(status.st_mode)) failForDevice(kind, filename);
    if (::access(filename.c_str(), W_OK) != 0) failToWrite(kind, filename, errno);
}

void CloseOutput::operator()(std::FILE* file) const noexcept {
    if (file != stdout) std::fclose(file);
}

void failToWrite(eOutputKind kind, const std::string& filename, int error) {
    fail(kind, filename, std::strerror(error));
}

OutputFile openOutput(eOutputKind kind, const std::string& filename, bool isForced) {
    if (filename == kStandardStream) return OutputFile(stdout);
    requireReplaceable(kind, filename, isForced);
    // Without waiting for a reader, and emptied only once it is known to be a file.
    const int number = ::open(filename.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    const int error = errno;
    struct stat status {};
    const bool isThere = (number >= 0 ? ::fstat(number, &status) : ::stat(filename.c_str(), &status)) == 0;
    if (isThere && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        if (number >= 0) ::close(number);
        failForDevice(kind, filename);
    }
    if (number < 0) failToWrite(kind, filename, error);
    OutputFile file(::ftruncate(number, 0) == 0 ? ::fdopen(number, "wb") : nullptr);
    if (file) return file;
    const int reason = errno;
    ::close(number);
    failToWrite(kind, filename, reason);
}

}  // namespace krsim
