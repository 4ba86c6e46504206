#include "apps/krsim/failure.h"

#include <ctime>

#include "kr/platform/log.h"
#include "kr/platform/log_line.h"

namespace krsim {

void failInLog(eExitCode code, const std::string& text) {
    const std::string level(Kr::getLogLevelPrefix(Kr::eLogLevel::kError));
    Kr::printToLogFile(Kr::formatLogLine(std::time(nullptr), level + "krsim: " + text + "\n"));
    throw Failure(code, text);
}

}  // namespace krsim
