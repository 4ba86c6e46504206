#include "kr/platform/process.h"

#include <unistd.h>

#include <array>

namespace Kr {
namespace {

std::string readHostName() {
    std::array<char, 256> buffer{};
    // The last byte stays zero: a name that was cut need not be terminated.
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0 || buffer[0] == '\0') return "localhost";
    return buffer.data();
}

}  // namespace

std::int64_t Process::getProcessID() noexcept {
    return ::getpid();
}

const std::string& Process::getHostNameProcessID() {
    static const auto& name = *new std::string(readHostName() + ":" + std::to_string(getProcessID()));
    return name;
}

}  // namespace Kr
