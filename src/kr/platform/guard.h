#pragma once

#include <string>

#include "kr/platform/export.h"
#include "kr/platform/fwd.h"
#include "kr/platform/log.h"

namespace Kr {

/// What is logged when a call into code of others throws; a row of a class's table, so that the texts stay as they are.
struct GuardTexts {
    eLogLevel level;
    const char* onException;           ///< two %s: the name of the object and the text of the exception
    const char* onUnknown;             ///< one %s: the name of the object
    const char* callback{"callback"};  ///< what is called, for reports of failures and crashes: "onUpdate"
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

/// Whose code a guard calls. Both are borrowed for the call.
struct GuardedSubject {
    GuardedSubject() = default;
    GuardedSubject(const KrSim::KrExtension* itsExtension) noexcept : extension(itsExtension) {}
    GuardedSubject(const char* itsName) noexcept : name(itsName) {}

    const KrSim::KrExtension* extension{nullptr};  ///< null for code that belongs to no extension
    const char* name{nullptr};                     ///< of what is called for, where there is no extension; may be null
};

class GuardedCall;

/// Receives each exception that a guard catches, on the thread of the call and before the exception is logged, also
/// where the log leaves its level out.
/// \param name  of the object, as the log line names it
/// \param what  text of a standard exception, or null
using FailureObserver = void (*)(const GuardedCall& call, const std::string& name, const char* what) noexcept;

/// Installs the one observer of the process and returns the previous one; null, as at first, is none. Any thread; an
/// exception that is being handled still reaches the old observer.
KR_API FailureObserver setFailureObserver(FailureObserver observer) noexcept;

/// A call into code of others that is under way on this thread; calls inside it form a list. Handlers of crashes may
/// read the list in a signal handler: nothing is allocated or locked for it.
class KR_API GuardedCall {
public:
    explicit GuardedCall(const GuardTexts& texts, GuardedSubject subject = {}) noexcept
        : _texts(texts), _subject(subject), _outer(_innermost) {
        _innermost = this;
    }
    GuardedCall(const GuardedCall&) = delete;
    GuardedCall& operator=(const GuardedCall&) = delete;
    ~GuardedCall() { _innermost = _outer; }

    /// Of the calling thread; null when none is under way.
    [[nodiscard]] static const GuardedCall* getInnermost() noexcept { return _innermost; }
    /// The call from which this one was made, or null.
    [[nodiscard]] const GuardedCall* getOuter() const noexcept { return _outer; }
    [[nodiscard]] const GuardTexts& getTexts() const noexcept { return _texts; }
    [[nodiscard]] const GuardedSubject& getSubject() const noexcept { return _subject; }

    /// Reports and logs the exception that is being handled. Only inside a catch block.
    void _logCaughtException(const std::string& name) const;
    void _logCaughtException(const GuardedNumber& named) const;
    void _logCaughtException(const GuardedPair& named) const;

private:
    // The model spares each guarded call the look-up of the variable by a function.
    __attribute__((tls_model("initial-exec"))) static constinit thread_local const GuardedCall* _innermost;

    const GuardTexts& _texts;
    const GuardedSubject _subject;
    const GuardedCall* const _outer;
};

/// As callGuarded, but reports of crashes do not know of the call: for one that goes through another guard before it
/// reaches code of others, as a rule. Costs nothing while nothing is thrown.
template <class NameOf, class Call>
bool callGuardedUnrecorded(const GuardTexts& texts, const NameOf& nameOf, Call&& call, GuardedSubject subject = {}) {
    try {
        call();
        return true;
    } catch (...) {
        try {
            GuardedCall(texts, subject)._logCaughtException(nameOf());
        } catch (...) {  // a log handler that throws, too: no log is left to tell
        }
        return false;
    }
}

/// The one way to run code of others: no exception leaves it.
///
/// \param nameOf   answers the name of the object for the log line, or a GuardedNumber or GuardedPair; called only
///                 after an exception.
/// \param subject  the extension whose code is called, or a name, for reports of failures and crashes
/// \return         whether the call came back normally.
/// Costs a few stores while nothing is thrown.
template <class NameOf, class Call>
bool callGuarded(const GuardTexts& texts, const NameOf& nameOf, Call&& call, GuardedSubject subject = {}) {
    const GuardedCall guarded(texts, subject);
    return callGuardedUnrecorded(texts, nameOf, call, subject);
}

}  // namespace Kr
