#pragma once

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "kr/platform/text.h"

namespace krsim {

/// A text for standard error that is made in a signal handler: no allocation, no lock, no formatting of the library.
/// What is longer than the place for it is cut.
class SignalText {
public:
    SignalText& operator<<(std::string_view text) noexcept {
        const std::size_t count = std::min(text.size(), _text.size() - _size);
        std::memcpy(_text.data() + _size, text.data(), count);
        _size += count;
        return *this;
    }
    SignalText& operator<<(std::uint64_t number) noexcept { return _appendDigits(number, 10, 1); }
    SignalText& appendHex(std::uint64_t number) noexcept { return (*this << "0x")._appendDigits(number, 16, 1); }
    /// With milliseconds.
    SignalText& appendSeconds(double seconds) noexcept {
        constexpr std::uint64_t kPerSecond = 1000;
        const auto milliseconds = static_cast<std::uint64_t>(std::llround(seconds * static_cast<double>(kPerSecond)));
        return (*this << milliseconds / kPerSecond << ".")._appendDigits(milliseconds % kPerSecond, 10, 3) << " s";
    }

    /// Writes it and begins anew.
    void write() noexcept {
        std::size_t done = 0;
        while (done < _size) {
            const ssize_t written = ::write(STDERR_FILENO, _text.data() + done, _size - done);
            if (written <= 0) break;
            done += static_cast<std::size_t>(written);
        }
        _size = 0;
    }

private:
    SignalText& _appendDigits(std::uint64_t number, unsigned base, std::size_t leastDigits) noexcept {
        std::array<char, 20> digits{};
        std::size_t begin = digits.size();
        do {
            digits[--begin] = Kr::getHexDigit(static_cast<unsigned int>(number % base));
            number /= base;
        } while (number != 0 || digits.size() - begin < leastDigits);
        return *this << std::string_view(digits.data() + begin, digits.size() - begin);
    }

    std::array<char, 2048> _text{};
    std::size_t _size{0};
};

}  // namespace krsim
