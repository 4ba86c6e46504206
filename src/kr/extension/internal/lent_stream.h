#pragma once

#include <ios>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

namespace KrSim::detail {

/// A string stream in binary mode for one callback. Making one costs more than most callbacks, so a thread keeps one
/// and lends it, with everything reset; a callback inside another one gets a stream of its own.
template <class Stream>
class LentStream {
public:
    explicit LentStream(const std::string& text = {}) {
        auto& kept = _kept();
        if (kept.isLent) {
            _own = std::make_unique<Stream>(text, std::ios::in | std::ios::out | std::ios::binary);
            return;
        }
        kept.isLent = true;
        kept.stream.exceptions(std::ios::goodbit);
        kept.stream.clear();
        kept.stream.str(text);
        kept.stream.flags(std::ios::dec | std::ios::skipws);
        kept.stream.precision(6);
        kept.stream.width(0);
        kept.stream.fill(' ');
    }
    LentStream(const LentStream&) = delete;
    LentStream& operator=(const LentStream&) = delete;
    ~LentStream() {
        if (!_own) _kept().isLent = false;
    }

    [[nodiscard]] Stream& get() noexcept { return _own ? *_own : _kept().stream; }

private:
    struct Kept {
        Stream stream{std::string(), std::ios::in | std::ios::out | std::ios::binary};
        bool isLent{false};
    };
    static Kept& _kept() {
        thread_local Kept kept;
        return kept;
    }

    std::unique_ptr<Stream> _own;
};

}  // namespace KrSim::detail
