#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kr/platform/export.h"
#include "kr/platform/log.h"

namespace KrTesting {

/// Replaces the log handler during its lifetime: messages of all levels are kept instead of printed. An error that is
/// logged does not throw meanwhile.
///
///     const KrTesting::LogCapture log;
///     simulate();
///     EXPECT_THAT(log.lines(Kr::eLogLevel::kWarn), IsEmpty());
///
/// Thread: one capture at a time in a process; messages may come from any thread. Ownership: keeps the messages.
class KR_API LogCapture {
public:
    using Hook = std::function<void(const std::string& line)>;

    /// \param hook  called with each line after it is kept, on the logging thread; may throw to the logging code.
    explicit LogCapture(Hook hook = {});
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    /// Installs the previous handler and the previous threshold again.
    ~LogCapture();

    /// The messages so far, each as "<level number> <text>"; 2 is an error, 3 a warning, 4 an info.
    [[nodiscard]] std::vector<std::string> lines() const;
    /// The messages of this level and of more severe ones.
    [[nodiscard]] std::vector<std::string> lines(Kr::eLogLevel level) const;

private:
    Kr::eLogLevel _level;
    Kr::LogHandler _previous;
};

}  // namespace KrTesting
