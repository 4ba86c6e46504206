#pragma once

#include <ios>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

namespace KrSim::detail {

/// A string stream in binary mode for one callback. Creating one costs more than most callbacks, so a thread keeps one
/// and resets it for each use; a nested callback gets its own stream.
template <class Stream>
class ThreadStream {
public:
    explicit ThreadStream(const std::string& text = {}) : _kept(_ofThread()) {
        if (_kept.isInUse) {
            _own.emplace(text, std::ios::in | std::ios::out | std::ios::binary);
            return;
        }
        _kept.isInUse = true;
        auto& stream = _kept.stream;
        stream.exceptions(std::ios::goodbit);
        stream.clear();
        stream.str(text);
        stream.flags(std::ios::dec | std::ios::skipws);
        stream.precision(6);
        stream.width(0);
        stream.fill(' ');
    }
    ThreadStream(const ThreadStream&) = delete;
    ThreadStream& operator=(const ThreadStream&) = delete;
    ~ThreadStream() {
        if (!_own) _kept.isInUse = false;
    }

    [[nodiscard]] Stream& get() noexcept { return _own ? *_own : _kept.stream; }

private:
    struct Kept {
        Stream stream{std::string(), std::ios::in | std::ios::out | std::ios::binary};
        bool isInUse{false};
    };
    static Kept& _ofThread() {
        thread_local Kept kept;
        return kept;
    }

    Kept& _kept;
    std::optional<Stream> _own;
};

}  // namespace KrSim::detail
