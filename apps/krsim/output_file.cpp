#include "apps/krsim/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "apps/krsim/failure.h"

namespace krsim {
namespace {

[[noreturn]] void fail(const char* what, const std::string& filename, const std::string& reason) {
    throw Failure(eExitCode::kFailed, what + (" '" + filename + "' cannot be written: ") + reason);
}

}  // namespace

void CloseOutput::operator()(std::FILE* file) const noexcept {
    if (file != stdout) std::fclose(file);
}

void failToWrite(const char* what, const std::string& filename, int error) {
    fail(what, filename, std::strerror(error));
}

OutputFile openOutput(const char* what, const std::string& filename) {
    if (filename == kStandardOutput) return OutputFile(stdout);
    // Without waiting for a reader, and emptied only once it is known to be a file.
    const int number = ::open(filename.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    const int error = errno;
    struct stat status {};
    const bool isThere = (number >= 0 ? ::fstat(number, &status) : ::stat(filename.c_str(), &status)) == 0;
    if (isThere && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        if (number >= 0) ::close(number);
        fail(what, filename, std::string("it is a device, pipe or socket") + kUseStandardOutput);
    }
    if (number < 0) failToWrite(what, filename, error);
    OutputFile file(::ftruncate(number, 0) == 0 ? ::fdopen(number, "wb") : nullptr);
    if (file) return file;
    const int reason = errno;
    ::close(number);
    failToWrite(what, filename, reason);
}

}  // namespace krsim
