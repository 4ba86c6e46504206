#pragma once

#include <string>
#include <utility>

#include "kr/platform/export.h"

namespace Kr {

/// Logs the exception that is being handled as a warning: "<class>: fatal error in '<object>' <callback>() [<text>]",
/// or "<class>: unhandled exception in '<object>' <callback>()" for one that is no standard exception. Only inside a
/// catch block.
KR_API void _logCaughtException(const char* className, const std::string& objectName, const char* callbackName);

/// Runs foreign code: an exception is logged as a warning and goes no further. False when there was one.
/// `objectName` must outlive the call, also when the call destroys the object.
template <class Function>
bool callGuarded(const char* className, const std::string& objectName, const char* callbackName, Function&& function) {
    try {
        std::forward<Function>(function)();
        return true;
    } catch (...) {
        _logCaughtException(className, objectName, callbackName);
        return false;
    }
}

}  // namespace Kr
