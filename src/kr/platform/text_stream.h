#pragma once

#include <ios>
#include <istream>
#include <new>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>

namespace Kr {

/// An output stream into a text, in binary mode, that records when memory ran out: a std::ostringstream would continue
/// silently with a part of the text.
class TextStream final : public std::ostream {
public:
    explicit TextStream(const std::string& text = {}, std::ios::openmode mode = std::ios::out | std::ios::binary)
        : std::ostream(nullptr), _buffer(text, mode) {
        rdbuf(&_buffer);
    }

    /// The text so far; valid until the next write.
    [[nodiscard]] std::string_view view() const noexcept { return _buffer.view(); }
    void str(const std::string& text) {
        _buffer.hasRunOut = false;
        _buffer.str(text);
    }
    /// The whole text. Throws std::bad_alloc when memory ran out for a part of it.
    [[nodiscard]] std::string_view getWhole() const {
        if (_buffer.hasRunOut) throw std::bad_alloc();
        return view();
    }

private:
    struct Buffer final : std::stringbuf {
        using std::stringbuf::stringbuf;
        int_type overflow(int_type byte) override {
            try {
                return std::stringbuf::overflow(byte);
            } catch (const std::bad_alloc&) {
                hasRunOut = true;
                throw;
            }
        }
        bool hasRunOut{false};
    };

    Buffer _buffer;
};

/// An input stream over a text that it does not copy: the text must not change while it is read.
class ViewStream final : public std::istream {
public:
    explicit ViewStream(std::string_view text, std::ios::openmode = std::ios::in) : std::istream(nullptr) {
        rdbuf(&_buffer);
        str(text);
    }

    /// Reads this text from its beginning. The text is borrowed.
    void str(std::string_view text) noexcept { _buffer.view(text); }

private:
    struct Buffer final : std::streambuf {
        void view(std::string_view text) noexcept {
            // Nothing writes: there is no area for it.
            auto* first = const_cast<char*>(text.data());
            setg(first, first, first + text.size());
        }
        pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode) override {
            const off_type base = from == std::ios::beg ? 0 : (from == std::ios::cur ? gptr() : egptr()) - eback();
            const auto target = base + offset;
            if (target < 0 || target > egptr() - eback()) return pos_type(off_type(-1));
            setg(eback(), eback() + target, egptr());
            return pos_type(target);
        }
        pos_type seekpos(pos_type position, std::ios::openmode which) override {
            return seekoff(off_type(position), std::ios::beg, which);
        }
    };

    Buffer _buffer;
};

}  // namespace Kr
