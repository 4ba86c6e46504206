#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "kr/persistence/files/internal/file_calls.h"
#include "kr/platform/log.h"
#include "tests/persistence/files/notes.h"

namespace {

/// Nothing here depends on what a loss of power leaves.
class WithoutFlushing final : public KrPersistence::detail::FileCalls {
public:
    int fsync(int) override { return 0; }
    ssize_t write(int file, const char* bytes, std::size_t count) override {
        std::this_thread::yield();
        return FileCalls::write(file, bytes, count);
    }
};

bool isRefusal(const std::string& error) {
    return error.find("cannot create a temporary file") != std::string::npos &&
           error.find("another process is saving this file") != std::string::npos;
}

/// Saves so many times; a save that is refused while the other process is saving does not count. Answers false after
/// any other failure.
bool saveAgainAndAgain(KrPersistence::KrFile& file, const char* path, int times) {
    WithoutFlushing calls;
    calls.replace(&calls);
    bool isGood = true;
    for (int saved = 0; isGood && saved < times;) {
        if (file.save(path)) {
            ++saved;
            continue;
        }
        isGood = isRefusal(file.getLastResult().toString());
        if (!isGood) std::fprintf(stderr, "not saved: %s\n", file.getLastResult().toString().c_str());
        std::this_thread::yield();
    }
    calls.replace(nullptr);
    return isGood;
}

}  // namespace

// saver PATH TEXT: saves the text a hundred thousand times, in one section. Ends with 1 if that fails.
// saver PATH TEXT TIMES: the same so many times, beside other processes. Ends with 1 after another failure than that of
// a second saver.
int main(int argumentCount, char** arguments) {
    if (argumentCount < 3) return 2;
    std::string text;
    for (int i = 0; i < 100'000; ++i)
        text += arguments[2];
    KrPersistence::KrFile file;
    file.addSection(new notes::Notes(text));
    if (argumentCount == 3) return file.save(arguments[1]) ? 0 : 1;
    Kr::LogSetLevel(Kr::eLogLevel::kError);
    return saveAgainAndAgain(file, arguments[1], std::atoi(arguments[3])) ? 0 : 1;
}
