#include "kr/persistence/files/internal/quiet_log.h"

namespace KrPersistence::detail {

void logQuietly(Kr::eLogLevel level, const std::string& text) noexcept {
    try {
        Kr::logMessage(level, "%s", text.c_str());
    } catch (...) {  // there is no other place for the message
    }
}

}  // namespace KrPersistence::detail
