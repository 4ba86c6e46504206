#include "kr/platform/guard.h"

#include <exception>

namespace Kr {

namespace {

template <class... Named>
void logCaught(const GuardTexts& texts, Named... named) {
    try {
        throw;
    } catch (const std::exception& exception) {
        logMessage(texts.level, texts.onException, named..., exception.what());
    } catch (...) {
        logMessage(texts.level, texts.onUnknown, named...);
    }
}

}  // namespace

void _logCaughtException(const GuardTexts& texts, const std::string& name) {
    logCaught(texts, name.c_str());
}
void _logCaughtException(const GuardTexts& texts, const GuardedNumber& named) {
    logCaught(texts, named.name.c_str(), named.number);
}
void _logCaughtException(const GuardTexts& texts, const GuardedPair& named) {
    logCaught(texts, named.name.c_str(), named.other.c_str());
}

}  // namespace Kr
