#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace krsim {

/// Collects lines of a text and writes them in blocks of whole lines, so that a file under way can be read. The lines
/// that wait can be written by a handler of crashes. Thread: one. At most two at a time.
class LineBuffer {
public:
    /// \param file  borrowed; nothing else writes to it meanwhile.
    explicit LineBuffer(std::FILE* file);
    LineBuffer(const LineBuffer&) = delete;
    LineBuffer& operator=(const LineBuffer&) = delete;
    /// Drops lines that wait.
    ~LineBuffer();

    /// \param line  with its end
    /// \return      0, or errno of the reason why lines could not be written
    [[nodiscard]] int append(std::string_view line);
    /// Writes the lines that wait.
    [[nodiscard]] int flush();

    /// Writes the lines that wait in those that live. Safe in a signal handler.
    static void writeWaiting() noexcept;

private:
    struct Waiting;

    void _publish() noexcept;

    static Waiting slots[];
    Waiting& _waiting;
    std::FILE* const _file;
    std::string _block;
};

}  // namespace krsim
