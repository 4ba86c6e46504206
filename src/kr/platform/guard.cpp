#include "kr/platform/guard.h"

#include <exception>

namespace Kr {

void _logCaughtException(const GuardTexts& texts, const std::string& name) {
    try {
        throw;
    } catch (const std::exception& exception) {
        logMessage(texts.level, texts.onException, name.c_str(), exception.what());
    } catch (...) {
        logMessage(texts.level, texts.onUnknown, name.c_str());
    }
}

}  // namespace Kr
