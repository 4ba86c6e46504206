#include "kr/testing/log_capture.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

namespace log_capture_test {

using Kr::eLogLevel;
using testing::ElementsAre;

TEST(LogCapture, KeepsTheLinesOfAllLevelsAndAnswersThoseThatAreGraveEnough) {
    const KrTesting::LogCapture log;
    Kr::logMessage(eLogLevel::kTrace, "started\n");
    Kr::logMessage(eLogLevel::kError, "no fuel: %d\n", 7);
    Kr::logMessage(eLogLevel::kWarn, "late\n");
    EXPECT_THAT(log.lines(), ElementsAre("6 started\n", "2 no fuel: 7\n", "3 late\n"));
    EXPECT_THAT(log.lines(eLogLevel::kWarn), ElementsAre("2 no fuel: 7\n", "3 late\n"));
    EXPECT_THAT(log.lines(eLogLevel::kError), ElementsAre("2 no fuel: 7\n"));
}

TEST(LogCapture, BeginsEmptyAndLeavesHandlerAndThresholdAsTheyWere) {
    const auto level = Kr::LogGetLevel();
    {
        const KrTesting::LogCapture log;
        Kr::logMessage(eLogLevel::kWarn, "first\n");
    }
    EXPECT_EQ(Kr::LogGetLevel(), level);
    const KrTesting::LogCapture log;
    EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(LogCapture, CallsItsHookWithEachLineThatIsKept) {
    std::string last;
    const KrTesting::LogCapture log([&](const std::string& line) {
        last = line;
        throw std::runtime_error("stop");
    });
    EXPECT_THROW(Kr::logMessage(eLogLevel::kInfo, "loaded\n"), std::runtime_error);
    EXPECT_EQ(last, "4 loaded\n");
    EXPECT_THAT(log.lines(), ElementsAre("4 loaded\n"));
}

}  // namespace log_capture_test
