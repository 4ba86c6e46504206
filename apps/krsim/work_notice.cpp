#include "apps/krsim/work_notice.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <system_error>
#include <utility>

namespace krsim {
namespace {

/// Work that takes less is not told.
constexpr std::chrono::seconds kPatience{2};

}  // namespace

WorkNotice::WorkNotice(std::string what) : _what(std::move(what)) {
    if (::isatty(STDERR_FILENO) != 1) return;
    try {
        _thread = std::thread([this] { _run(); });
    } catch (const std::system_error&) {  // the work goes on without it
    }
}

WorkNotice::~WorkNotice() {
    if (!_thread.joinable()) return;
    {
        const std::lock_guard lock(_mutex);
        _isDone = true;
    }
    _isEnding.notify_one();
    _thread.join();
}

void WorkNotice::_run() {
    const auto begin = std::chrono::steady_clock::now();
    std::unique_lock lock(_mutex);
    for (auto patience = kPatience; !_isEnding.wait_until(lock, begin + patience, [this] { return _isDone; });
         patience *= 2)
        std::fprintf(stderr, "krsim: %s, %lld s so far\n", _what.c_str(), static_cast<long long>(patience.count()));
}

}  // namespace krsim
