#include "kr/platform/file_result.h"

#include <utility>

namespace Kr {

FileResult FileResult::noMemory() noexcept {
    FileResult result;
    result.failure = eFailure::kNoMemory;
    result.text = "out of memory";  // short enough to need none
    return result;
}

FileResult FileResult::failed(eFailure failure, std::string file, std::string text, std::string reason,
                              std::string remedy) {
    return {failure, std::move(file), std::move(text), std::move(reason), std::move(remedy), {}};
}

std::string toOneLine(std::string_view text) {
    std::string line;
    for (const char each : text) {
        if (each != '\n' && each != ' ') {
            line += each;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    if (line.ends_with(' ')) line.pop_back();
    return line;
}

}  // namespace Kr
