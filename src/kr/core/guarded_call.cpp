#include "kr/core/guarded_call.h"

#include <exception>

#include "kr/platform/log.h"

namespace Kr {

void _logCaughtException(const char* className, const std::string& objectName, const char* callbackName) {
    try {
        throw;
    } catch (const std::exception& error) {
        logMessage(eLogLevel::kWarn, "%s: fatal error in '%s' %s() [%s]\n", className, objectName.c_str(), callbackName,
                   error.what());
    } catch (...) {
        logMessage(eLogLevel::kWarn, "%s: unhandled exception in '%s' %s()\n", className, objectName.c_str(),
                   callbackName);
    }
}

}  // namespace Kr
