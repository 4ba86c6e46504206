#include "apps/krsim/stop_signals.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <thread>

#include "kr/application/application.h"

namespace krsim {
namespace {

struct Signal {
    int number;
    const char* name;
    eExitCode exitCode;
};
constexpr std::array kStopSignals{Signal{SIGINT, "SIGINT", eExitCode::kInterrupted},
                                  Signal{SIGTERM, "SIGTERM", eExitCode::kTerminated},
                                  Signal{SIGHUP, "SIGHUP", eExitCode::kHangup}};

// All that the handler touches; it may run on any thread, at any moment.
constinit std::atomic<KrSim::KrApplication*> target{nullptr};
constinit std::atomic<int> received{0};
constinit std::atomic<int> handling{0};
static_assert(std::atomic<KrSim::KrApplication*>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void onSignal(int number) {
    const int savedError = errno;
    handling.fetch_add(1);
    int none = 0;
    received.compare_exchange_strong(none, number);
    if (auto* application = target.load()) application->requestExitFromSignal();
    handling.fetch_sub(1);
    for (const auto& each : kStopSignals) {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        sigaction(each.number, &action, nullptr);
    }
    errno = savedError;
}

constinit std::array<struct sigaction, kStopSignals.size()> previous{};
constinit struct sigaction previousPipe {};

}  // namespace

StopSignals::StopSignals() {
    received.store(0);
    struct sigaction action {};
    action.sa_handler = &onSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const auto& each : kStopSignals)
        sigaddset(&action.sa_mask, each.number);
    for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
        const int number = kStopSignals[i].number;
        sigaction(number, nullptr, &previous[i]);
        const bool isIgnored = previous[i].sa_handler == SIG_IGN;
        if (number != SIGHUP || !isIgnored) sigaction(number, &action, nullptr);
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &previousPipe);
}

StopSignals::~StopSignals() {
    for (std::size_t i = 0; i < kStopSignals.size(); ++i)
        sigaction(kStopSignals[i].number, &previous[i], nullptr);
    sigaction(SIGPIPE, &previousPipe, nullptr);
}

namespace {

/// Null while none has come.
const Signal* findReceived() noexcept {
    const int number = received.load();
    const auto* const place = std::find_if(kStopSignals.begin(), kStopSignals.end(),
                                           [&](const Signal& each) { return each.number == number; });
    return place != kStopSignals.end() ? place : nullptr;
}

}  // namespace

const char* StopSignals::getReceived() const noexcept {
    const auto* const signal = findReceived();
    return signal != nullptr ? signal->name : nullptr;
}

eExitCode StopSignals::getExitCode() const noexcept {
    const auto* const signal = findReceived();
    return signal != nullptr ? signal->exitCode : eExitCode::kOk;
}

StopSignals::Target::Target(StopSignals&, KrSim::KrApplication& application) noexcept {
    target.store(&application);
    if (received.load() != 0) application.requestExitFromSignal();
}

StopSignals::Target::~Target() {
    target.store(nullptr);
    // A handler on another thread may still be using it.
    while (handling.load() != 0)
        std::this_thread::yield();
}

}  // namespace krsim
