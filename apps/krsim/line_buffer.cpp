#include "apps/krsim/line_buffer.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

#include "kr/platform/assert.h"

namespace krsim {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;

}  // namespace

/// The lines that wait, for signal handlers; none while they move or are written.
struct LineBuffer::Waiting {
    std::atomic<const char*> text{nullptr};
    std::atomic<std::size_t> bytes{0};
    std::atomic<int> descriptor{kUnused};

    static constexpr int kUnused = -1;
};

constinit LineBuffer::Waiting LineBuffer::slots[2];

LineBuffer::LineBuffer(std::FILE* file)
    : _waiting(slots[0].descriptor == Waiting::kUnused ? slots[0] : slots[1]), _file(file) {
    KR_ASSERT(_waiting.descriptor == Waiting::kUnused, "two buffers of lines at most");
    _block.reserve(2 * kBlockBytes);
    _waiting.descriptor.store(::fileno(file));
}

LineBuffer::~LineBuffer() {
    _waiting.bytes.store(0);
    _waiting.descriptor.store(Waiting::kUnused);
}

int LineBuffer::append(std::string_view line) {
    if (line.size() > _block.capacity() - _block.size()) _waiting.bytes.store(0);  // the text moves
    _block += line;
    _publish();
    return _block.size() < kBlockBytes ? 0 : flush();
}

int LineBuffer::flush() {
    _waiting.bytes.store(0);
    const bool isWritten =
        std::fwrite(_block.data(), 1, _block.size(), _file) == _block.size() && std::fflush(_file) == 0;
    _block.clear();
    return isWritten ? 0 : errno;
}

void LineBuffer::_publish() noexcept {
    _waiting.text.store(_block.data());
    _waiting.bytes.store(_block.size());
}

void LineBuffer::writeWaiting() noexcept {
    for (auto& each : slots) {
        const char* text = each.text.load();
        std::size_t left = each.bytes.exchange(0);
        while (left > 0) {
            const ssize_t written = ::write(each.descriptor.load(), text, left);
            if (written <= 0) break;
            text += written;
            left -= static_cast<std::size_t>(written);
        }
    }
}

}  // namespace krsim
