#pragma once

#include <string>

#include "kr/platform/export.h"
#include "kr/platform/fwd.h"
#include "kr/platform/log.h"

namespace Kr {

/// The log lines for a throwing callback; a row of a class's table, so that each text is written once.
struct GuardTexts {
    eLogLevel level{};
    const char* onException{nullptr};  ///< two %s: the name of the object and the text of the exception
    const char* onUnknown{nullptr};    ///< one %s: the name of the object
    const char* callback{"callback"};  ///< what is called, for reports of failures and crashes: "onUpdate"
};

/// The second argument of a row's texts, after the name of the object: a number (%d) or another name (%s).
struct GuardedNumber {
    std::string name;
    int number;
};
struct GuardedPair {
    std::string name;
    std::string other;
};

/// The object whose code a guard calls. Both members are borrowed for the call.
struct GuardedSubject {
    GuardedSubject() = default;
    GuardedSubject(const KrSim::KrExtension* itsExtension) noexcept : extension(itsExtension) {}
    GuardedSubject(const char* itsName) noexcept : name(itsName) {}

    const KrSim::KrExtension* extension{nullptr};  ///< null for code that belongs to no extension
    const char* name{nullptr};                     ///< what is called, when it belongs to no extension; may be null
};

class GuardedCall;

/// Receives each exception that a guard catches, on the thread of the call and before the exception is logged, even
/// when its log level is switched off.
/// \param name  of the object, as the log line names it
/// \param what  text of a standard exception, or null
using FailureObserver = void (*)(const GuardedCall& call, const std::string& name, const char* what) noexcept;

/// Installs the one observer of the process and returns the previous one; null, as initially, is none. Any thread; an
/// exception that is being handled may still reach the old observer.
KR_API FailureObserver setFailureObserver(FailureObserver observer) noexcept;

/// As callGuarded, but not visible to reports of crashes: for calls that mostly reach another guard before foreign
/// code. Costs nothing unless something is thrown.
template <class NameOf, class Call>
bool callGuardedUnrecorded(const GuardTexts& texts, const NameOf& nameOf, Call&& call, GuardedSubject subject = {});

/// A call into foreign code that is in progress on this thread; nested calls form a list. A handler of crashes may read
/// the list in a signal handler: nothing is allocated or locked.
/// Thread: the constructing one. Ownership: texts and subject are borrowed.
class KR_API GuardedCall {
public:
    explicit GuardedCall(const GuardTexts& texts, GuardedSubject subject = {}) noexcept
        : _texts(texts), _subject(subject), _outer(_innermost) {
        _innermost = this;
    }
    GuardedCall(const GuardedCall&) = delete;
    GuardedCall& operator=(const GuardedCall&) = delete;
    ~GuardedCall() { _innermost = _outer; }

    /// The innermost call of the calling thread; null when none is in progress.
    [[nodiscard]] static const GuardedCall* getInnermost() noexcept { return _innermost; }
    /// The call that encloses this one, or null.
    [[nodiscard]] const GuardedCall* getOuter() const noexcept { return _outer; }
    [[nodiscard]] const GuardTexts& getTexts() const noexcept { return _texts; }  ///< Borrowed: valid during the call.
    [[nodiscard]] const GuardedSubject& getSubject() const noexcept { return _subject; }

private:
    template <class NameOf, class Call>
    friend bool callGuardedUnrecorded(const GuardTexts& texts, const NameOf& nameOf, Call&& call,
                                      GuardedSubject subject);

    /// Reports and logs the exception that is being handled. Only inside a catch block.
    void _logCaughtException(const std::string& name) const;
    void _logCaughtException(const GuardedNumber& named) const;
    void _logCaughtException(const GuardedPair& named) const;

    // The model spares each guarded call the look-up of the variable by a function.
    __attribute__((tls_model("initial-exec"))) static constinit thread_local const GuardedCall* _innermost;

    const GuardTexts& _texts;
    const GuardedSubject _subject;
    const GuardedCall* const _outer;
};

template <class NameOf, class Call>
bool callGuardedUnrecorded(const GuardTexts& texts, const NameOf& nameOf, Call&& call, GuardedSubject subject) {
    try {
        call();
        return true;
    } catch (...) {
        try {
            GuardedCall(texts, subject)._logCaughtException(nameOf());
        } catch (...) {  // a log handler that throws, too: nothing is left to log with
        }
        return false;
    }
}

/// The one way to run foreign code: no exception leaves it.
///
/// \param nameOf   returns the name of the object for the log line, or a GuardedNumber or GuardedPair; called only
///                 after an exception.
/// \param subject  the extension whose code is called, or a name, for reports of failures and crashes
/// \return         whether the call returned normally.
/// Costs a few stores while nothing is thrown.
template <class NameOf, class Call>
bool callGuarded(const GuardTexts& texts, const NameOf& nameOf, Call&& call, GuardedSubject subject = {}) {
    const GuardedCall guarded(texts, subject);
    return callGuardedUnrecorded(texts, nameOf, call, subject);
}

}  // namespace Kr
