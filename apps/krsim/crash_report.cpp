#include "apps/krsim/crash_report.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <sys/resource.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "apps/krsim/failure.h"
#include "apps/krsim/line_buffer.h"
#include "apps/krsim/run_watch.h"
#include "apps/krsim/signal_text.h"
#include "apps/krsim/status_output.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/platform/guard.h"

namespace krsim {
namespace {

constexpr std::array kCrashSignals{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGSYS, SIGABRT};
constexpr std::size_t kStackBytes = std::size_t{256} * 1024;
constexpr int kMostFrames = 64;
constexpr int kMostLevels = 16;
constexpr int kMostCalls = 4;

alignas(16) constinit std::array<char, kStackBytes> signalStack{};
constinit std::array<struct sigaction, kCrashSignals.size()> previousActions{};
constinit std::atomic<bool> isReporting{false};  // whether ends are reported
constinit std::atomic<pid_t> crashingThread{0};
constinit std::atomic<int> nextStep{0};

// --- What was under way --------------------------------------------------------------------------------------------

void appendPath(SignalText& text, const KrSim::KrExtension& extension, int level = 0) noexcept {
    const auto* const owner = extension.getOwner();
    if (owner != nullptr && !owner->isApplicationRoot() && level < kMostLevels) {
        appendPath(text, *owner, level + 1);
        text << "/";
    }
    text << extension.getName();
}

void appendCall(SignalText& text, const Kr::GuardedCall& call) noexcept {
    text << call.getTexts().callback;
    const auto& subject = call.getSubject();
    if (subject.extension != nullptr) {
        text << " of '";
        appendPath(text, *subject.extension);
        const auto& key = subject.extension->getCreationKey();
        text << "' (" << key.category << "." << key.name;
        if (!key.plugin.empty()) text << " of plug-in '" << key.plugin << "'";
        text << ")";
    } else if (subject.name != nullptr) {
        text << " of '" << subject.name << "'";
    }
}

/// "in onUpdate of 'Traffic' (...)", the innermost callback first.
void appendCalls(SignalText& text) noexcept {
    const auto* call = Kr::GuardedCall::getInnermost();
    if (call == nullptr) text << "outside of callbacks";
    const KrSim::KrExtension* inner = nullptr;
    for (int i = 0; call != nullptr && i < kMostCalls; ++i, call = call->getOuter()) {
        const auto* const extension = call->getSubject().extension;
        if (extension != nullptr && extension == inner) continue;  // a guard around a guard
        inner = extension;
        text << (i == 0 ? "in " : ", called in ");
        appendCall(text, *call);
    }
}

void appendMoment(SignalText& text) noexcept {
    const Moment moment = RunWatch::getMoment();
    if (moment.frame == 0) {
        text << "before the first frame";
    } else {
        text << "frame " << moment.frame << " (";
        text.appendSeconds(moment.seconds) << ")";
    }
}

// --- Crashes -------------------------------------------------------------------------------------------------------

struct Crash {
    int signal;
    const siginfo_t* info;
    const ucontext_t* context;
};

void reportSignal(const Crash& crash) noexcept {
    const char* const name = sigabbrev_np(crash.signal);
    const char* const description = sigdescr_np(crash.signal);
    SignalText text;
    text << "krsim: crash: SIG" << (name != nullptr ? name : "?") << " ("
         << (description != nullptr ? description : "unknown") << ")";
    // Only a memory fault has an address; a negative code marks a signal that was sent.
    if (crash.signal != SIGABRT && crash.info->si_code > 0) {
        text << " at address ";
        text.appendHex(reinterpret_cast<std::uintptr_t>(crash.info->si_addr));
    }
    text << ", ";
    appendMoment(text);
    text << "\n";
    text.write();
}

void reportCalls(const Crash&) noexcept {
    SignalText text;
    text << "krsim: ";
    appendCalls(text);
    text << "\n";
    text.write();
}

void reportFile(const Crash& crash) noexcept {
#if defined(__x86_64__)
    const auto place = static_cast<std::uintptr_t>(crash.context->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    const auto place = static_cast<std::uintptr_t>(crash.context->uc_mcontext.pc);
#else
    const std::uintptr_t place = 0;
#endif
    Dl_info found{};
    SignalText text;
    if (place == 0 || ::dladdr(reinterpret_cast<const void*>(place), &found) == 0 || found.dli_fname == nullptr) return;
    text << "krsim: in the code of " << found.dli_fname;
    if (found.dli_sname != nullptr) text << ", " << found.dli_sname;
    text << "\n";
    text.write();
}

void reportStack(const Crash&) noexcept {
    std::array<void*, kMostFrames> frames{};
    const int count = ::backtrace(frames.data(), kMostFrames);
    ::backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}

void endStatus(const Crash&) noexcept {
    StatusOutput::keepStatus();
}

void writeRecord(const Crash&) noexcept {
    LineBuffer::writeWaiting();
}

[[noreturn]] void endProcess(int signal) noexcept {
    struct rlimit core {};
    if (::getrlimit(RLIMIT_CORE, &core) == 0 && core.rlim_cur > 0) {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        ::sigaction(signal, &action, nullptr);
        ::raise(signal);
    }
    constexpr int kSignalBase = 128;
    ::_exit(kSignalBase + signal);
}

// The parts least likely to crash again, on damaged memory, are written first.
constexpr std::array kSteps{&endStatus, &writeRecord, &reportSignal, &reportCalls, &reportFile, &reportStack};

void onCrash(int signal, siginfo_t* info, void* context) {
    const Crash crash{signal, info, static_cast<const ucontext_t*>(context)};
    pid_t other = 0;
    const pid_t self = ::gettid();
    if (!crashingThread.compare_exchange_strong(other, self) && other != self) {
        for (;;)
            ::pause();  // until the first one has ended the process
    }
    // A crash in here begins with the step after the one that failed.
    for (int step = nextStep.fetch_add(1); step < static_cast<int>(kSteps.size()); step = nextStep.fetch_add(1))
        kSteps[static_cast<std::size_t>(step)](crash);
    endProcess(signal);
}

// --- exit() and quick_exit() ----------------------------------------------------------------------------------------

void reportExit(const char* function) {
    if (!isReporting.load()) return;
    StatusOutput::keepStatus();
    LineBuffer::writeWaiting();
    std::fflush(nullptr);
    SignalText text;
    text << "krsim: " << function << " was called ";
    appendCalls(text);
    text << ", ";
    appendMoment(text);
    text << ", before the end of the run: it has written neither summary nor state\n";
    text.write();
    ::_exit(static_cast<int>(eExitCode::kFailed));
}

}  // namespace

CrashReport::CrashReport() {
    static const bool areRegistered =
        std::atexit([] { reportExit("exit()"); }) == 0 && std::at_quick_exit([] { reportExit("quick_exit()"); }) == 0;
    if (!areRegistered) std::fputs("krsim: calls of exit() in plug-ins cannot be reported\n", stderr);
    isReporting.store(true);
    // Loads what the function needs, which the handler must not do.
    std::array<void*, 1> frame{};
    static_cast<void>(::backtrace(frame.data(), 1));
    stack_t stack{};
    stack.ss_sp = signalStack.data();
    stack.ss_size = signalStack.size();
    ::sigaltstack(&stack, nullptr);
    struct sigaction action {};
    action.sa_sigaction = &onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    for (std::size_t i = 0; i < kCrashSignals.size(); ++i)
        ::sigaction(kCrashSignals[i], &action, &previousActions[i]);
}

CrashReport::~CrashReport() {
    isReporting.store(false);
    for (std::size_t i = 0; i < kCrashSignals.size(); ++i)
        ::sigaction(kCrashSignals[i], &previousActions[i], nullptr);
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    ::sigaltstack(&none, nullptr);
}

void CrashReport::leaveOut() noexcept {
    isReporting.store(false);
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (const int signal : kCrashSignals)
        ::sigaction(signal, &action, nullptr);
}

}  // namespace krsim
