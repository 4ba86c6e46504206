#pragma once

namespace krsim {

/// During its lifetime, an end of the process that is not caused by krsim is reported on standard error:
///
/// - A signal of a crash (SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGSYS, SIGABRT): its name, the callback and extension, or
///   the plug-in, that was under way, the frame, the file whose code it was in, and a stack. Lines of a record that
///   wait are written. The process then ends with exit code 128 + signal; where core dumps are on (ulimit -c), by the
///   signal itself, so that there is one.
/// - A call of exit() or quick_exit() by other code: what was under way, then exit code 1. _exit() cannot be noticed.
///
/// The report of a crash allocates nothing and takes no lock of ours. On the thread that creates this object it is
/// complete also after a stack overflow. One at a time.
class CrashReport {
public:
    CrashReport();
    CrashReport(const CrashReport&) = delete;
    CrashReport& operator=(const CrashReport&) = delete;
    ~CrashReport();

    /// For a child process: gives the signals their default effects back, and exit() its own.
    static void leaveOut() noexcept;
};

}  // namespace krsim
