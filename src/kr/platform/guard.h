#pragma once

#include <string>

#include "kr/platform/export.h"
#include "kr/platform/log.h"

namespace Kr {

/// What is logged when a call into code of others throws; a row of a class's table, so that the texts stay as they are.
struct GuardTexts {
    eLogLevel level;
    const char* onException;  ///< two %s: the name of the object and the text of the exception
    const char* onUnknown;    ///< one %s: the name of the object
};

/// What a row names beside the object, for texts with a place for it after the name: a number (%d) or another name
/// (%s).
struct GuardedNumber {
    std::string name;
    int number;
};
struct GuardedPair {
    std::string name;
    std::string other;
};

/// Logs the exception that is being handled. Only inside a catch block.
KR_API void _logCaughtException(const GuardTexts& texts, const std::string& name);
KR_API void _logCaughtException(const GuardTexts& texts, const GuardedNumber& named);
KR_API void _logCaughtException(const GuardTexts& texts, const GuardedPair& named);

/// The one way to run code of others: no exception leaves it.
///
/// \param nameOf  answers the name of the object for the log line, or a GuardedNumber or GuardedPair; called only after
///                an exception.
/// \return        whether the call came back normally.
/// Costs nothing while nothing is thrown.
template <class NameOf, class Call>
bool callGuarded(const GuardTexts& texts, const NameOf& nameOf, Call&& call) {
    try {
        call();
        return true;
    } catch (...) {
        try {
            _logCaughtException(texts, nameOf());
        } catch (...) {  // a log handler that throws, too: no log is left to tell
        }
        return false;
    }
}

}  // namespace Kr
