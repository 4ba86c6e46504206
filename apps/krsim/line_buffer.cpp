#include "apps/krsim/line_buffer.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace krsim {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;

// The lines that wait, for signal handlers; none while they move or are written.
constinit std::atomic<const char*> waitingText{nullptr};
constinit std::atomic<std::size_t> waitingBytes{0};
constinit std::atomic<int> waitingDescriptor{-1};

void publish(const std::string& block) noexcept {
    waitingText.store(block.data());
    waitingBytes.store(block.size());
}

}  // namespace

LineBuffer::LineBuffer(std::FILE* file) : _file(file) {
    _block.reserve(2 * kBlockBytes);
    waitingDescriptor.store(::fileno(file));
}

LineBuffer::~LineBuffer() {
    waitingBytes.store(0);
    waitingDescriptor.store(-1);
}

int LineBuffer::append(std::string_view line) {
    if (line.size() > _block.capacity() - _block.size()) waitingBytes.store(0);  // the text moves
    _block += line;
    publish(_block);
    return _block.size() < kBlockBytes ? 0 : flush();
}

int LineBuffer::flush() {
    waitingBytes.store(0);
    const bool isWritten =
        std::fwrite(_block.data(), 1, _block.size(), _file) == _block.size() && std::fflush(_file) == 0;
    _block.clear();
    return isWritten ? 0 : errno;
}

void LineBuffer::writeWaiting() noexcept {
    const char* text = waitingText.load();
    std::size_t left = waitingBytes.exchange(0);
    while (left > 0) {
        const ssize_t written = ::write(waitingDescriptor.load(), text, left);
        if (written <= 0) return;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

}  // namespace krsim
