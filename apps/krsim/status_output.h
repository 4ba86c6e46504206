#pragma once

#include <string>
#include <string_view>

namespace krsim {

/// Prints status and texts of a run. On a terminal, the status is one line that is overwritten; elsewhere each status
/// is a new line. Lines of the log, from any thread, get separate lines meanwhile: on a terminal an object of this
/// class forwards the log to the previous handler, which must remain installed. Thread: one at a time. One object at a
/// time.
class StatusOutput {
public:
    /// \param descriptor  of an open file, borrowed.
    explicit StatusOutput(int descriptor);
    StatusOutput(const StatusOutput&) = delete;
    StatusOutput& operator=(const StatusOutput&) = delete;
    ~StatusOutput();

    [[nodiscard]] bool isTerminal() const noexcept { return _isTerminal; }

    /// Shows the current status, a text without line feed. On a terminal it is cut to one line. It is omitted when a
    /// reader does not keep up: the simulation does not wait for it.
    void showStatus(const std::string& text);
    /// Keeps the status that a terminal shows, if one does, by going on to the next line. Safe in a signal handler.
    static void keepStatus() noexcept;
    /// Prints permanent text, with its line feeds, and waits until it is written.
    void print(std::string_view text);
    /// errno of the first failure to write, EPIPE for a closed reader; 0 without a failure.
    [[nodiscard]] int getError() const noexcept { return _error; }

private:
    void _write(std::string_view text);

    int _descriptor;
    int _error{0};
    bool _isTerminal;
};

}  // namespace krsim
