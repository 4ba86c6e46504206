#include "apps/krsim/failure.h"

#include <ctime>

#include "kr/platform/log.h"
#include "kr/platform/log_line.h"

namespace krsim {

Failure logFailure(eExitCode code, const std::string& text) {
    const std::string level(Kr::getLogLevelPrefix(Kr::eLogLevel::kError));
    Kr::printToLogFile(Kr::formatLogLine(std::time(nullptr), level + "krsim: " + text + "\n"));
    return {code, text};
}

}  // namespace krsim
