#include "apps/krsim/status_output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <optional>

#include "kr/events/errors/error_handler.h"
#include "kr/platform/log.h"

namespace krsim {
namespace {

constexpr std::string_view kClearLine = "\r\x1b[K";

/// The terminal whose last line shows a status, or -1. For the log handler, which may run on any thread.
constinit std::atomic<int> terminalWithStatus{-1};
/// The handler behind ours.
constinit std::atomic<Kr::LogHandler> nextHandler{nullptr};

/// errno of a failure, or 0.
int writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd place{.fd = descriptor, .events = POLLOUT, .revents = 0};
            ::poll(&place, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

/// Of a terminal; none where that is not known.
std::optional<std::size_t> getColumns(int terminal) {
    winsize size{};
    if (::ioctl(terminal, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
    return size.ws_col;
}

bool isReady(int descriptor) {
    pollfd place{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return ::poll(&place, 1, 0) == 1 && (place.revents & POLLOUT) != 0;
}

void clearStatus() {
    const int terminal = terminalWithStatus.exchange(-1);
    if (terminal >= 0) writeAll(terminal, kClearLine);
}

void handleLog(Kr::eLogLevel level, const char* format, std::va_list arguments) {
    if (KrSim::KrErrorHandler::isConsoleLogEnabled()) clearStatus();
    nextHandler.load()(level, format, arguments);
}

}  // namespace

StatusOutput::StatusOutput(int descriptor) : _descriptor(descriptor), _isTerminal(::isatty(descriptor) == 1) {
    if (!_isTerminal) return;
    nextHandler.store(&KrSim::KrErrorHandler::LogHandler);  // until the next line, for other threads
    nextHandler.store(Kr::LogSetHandler(&handleLog));
}

StatusOutput::~StatusOutput() {
    if (!_isTerminal) return;
    clearStatus();
    Kr::LogSetHandler(nextHandler.load());
}

void StatusOutput::showStatus(const std::string& text) {
    if (!isReady(_descriptor)) return;
    if (!_isTerminal) return _write(text + "\n");
    // The last column stays free: some terminals begin a new line with it.
    const auto columns = getColumns(_descriptor);
    _write(std::string(kClearLine) + text.substr(0, columns ? *columns - 1 : text.size()));
    terminalWithStatus.store(_descriptor);
}

void StatusOutput::keepStatus() noexcept {
    const int terminal = terminalWithStatus.exchange(-1);
    if (terminal >= 0) writeAll(terminal, "\n");
}

void StatusOutput::print(std::string_view text) {
    clearStatus();
    _write(text);
}

void StatusOutput::_write(std::string_view text) {
    const int error = writeAll(_descriptor, text);
    if (_error == 0) _error = error;
}

}  // namespace krsim
