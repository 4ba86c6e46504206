#pragma once

#include <string>
#include <string_view>

namespace krsim {

/// Prints status and texts of a run. On a terminal, the status is one line that is written over again and again;
/// elsewhere it is a line each time. Lines of the log, from any thread, get a line of their own meanwhile: while one of
/// these lives on a terminal it passes the log on to the handler before it, which must stay installed. Thread: one. One
/// at a time.
class StatusOutput {
public:
    /// \param descriptor  of an open file, borrowed.
    explicit StatusOutput(int descriptor);
    StatusOutput(const StatusOutput&) = delete;
    StatusOutput& operator=(const StatusOutput&) = delete;
    ~StatusOutput();

    [[nodiscard]] bool isTerminal() const noexcept { return _isTerminal; }

    /// Shows the state of the moment, a text without line feed. On a terminal its end is cut where it does not fit into
    /// one line. It is left out where a reader does not keep up: the simulation does not wait for that.
    void showStatus(const std::string& text);
    /// Keeps the status that a terminal shows, if one does, by going on to the next line. Safe in a signal handler.
    static void keepStatus() noexcept;
    /// Prints text that is to stay, with its line feeds, and waits until it is written.
    void print(std::string_view text);
    /// errno of the first failure to write, EPIPE where the reader has left; 0 without a failure.
    [[nodiscard]] int getError() const noexcept { return _error; }

private:
    void _write(std::string_view text);

    int _descriptor;
    int _error{0};
    bool _isTerminal;
};

}  // namespace krsim
