#pragma once

#include <ios>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

namespace KrSim::detail {

/// A string stream in binary mode for one callback. Making one costs more than most callbacks, so a thread keeps one
/// and lends it, with everything reset; a callback inside another one gets a stream of its own.
template <class Stream>
class LentStream {
public:
    explicit LentStream(const std::string& text = {}) : _kept(_ofThread()) {
        if (_kept.isLent) {
            _own.emplace(text, std::ios::in | std::ios::out | std::ios::binary);
            return;
        }
        _kept.isLent = true;
        auto& stream = _kept.stream;
        stream.exceptions(std::ios::goodbit);
        stream.clear();
        stream.str(text);
        stream.flags(std::ios::dec | std::ios::skipws);
        stream.precision(6);
        stream.width(0);
        stream.fill(' ');
    }
    LentStream(const LentStream&) = delete;
    LentStream& operator=(const LentStream&) = delete;
    ~LentStream() {
        if (!_own) _kept.isLent = false;
    }

    [[nodiscard]] Stream& get() noexcept { return _own ? *_own : _kept.stream; }

private:
    struct Kept {
        Stream stream{std::string(), std::ios::in | std::ios::out | std::ios::binary};
        bool isLent{false};
    };
    static Kept& _ofThread() {
        thread_local Kept kept;
        return kept;
    }

    Kept& _kept;
    std::optional<Stream> _own;
};

}  // namespace KrSim::detail
