#include "kr/platform/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "kr/platform/assert.h"
#include "kr/platform/log_line.h"
#include "kr/platform/runtime_error.h"
#include "tests/support/temporary_folder.h"

namespace log_test {

using Kr::eLogLevel;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string>& received() {
    static std::vector<std::string> texts;
    return texts;
}

void receive(eLogLevel level, const char* format, std::va_list arguments) {
    received().push_back(Kr::formatLogText(level, format, arguments));
}

std::vector<std::string> readLines(const std::filesystem::path& path) {
    std::ifstream stream(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class Log : public testing::Test {
protected:
    Log() : _level(Kr::LogGetLevel()) { received().clear(); }
    ~Log() override {
        Kr::LogSetHandler(nullptr);
        Kr::LogSetLevel(_level);
        Kr::setLogFile("");
    }

    test_support::TemporaryFolder folder;
    const std::filesystem::path file = folder / "kr.log";

private:
    eLogLevel _level;
};

TEST_F(Log, HandlesLevelsUpToTheThresholdWithTheirPrefix) {
    Kr::LogSetHandler(&receive);
    Kr::LogSetLevel(eLogLevel::kAll);
    for (int level = -1; level <= 7; ++level)
        Kr::logMessage(static_cast<eLogLevel>(level), "m");
    EXPECT_THAT(received(), ElementsAre("m\n", "m\n", "FATAL - m\n", "ERROR - m\n", "WARN - m\n", "INFO - m\n",
                                        "DEBUG - m\n", "TRACE - m\n", "m\n"));
    received().clear();
    Kr::LogSetLevel(eLogLevel::kWarn);
    Kr::logMessage(eLogLevel::kInfo, "too fine");
    Kr::logMessage(eLogLevel::kWarn, "on the threshold\n");
    Kr::LogSetLevel(eLogLevel::kOff);
    Kr::logMessage(eLogLevel::kFatal, "switched off");
    EXPECT_THAT(received(), ElementsAre("WARN - on the threshold\n"));
}

TEST_F(Log, HandlersChainAndMayReplaceThemselves) {
    const Kr::LogHandler original = Kr::LogSetHandler([](eLogLevel level, const char* format, std::va_list arguments) {
        Kr::LogSetHandler(&receive);
        Kr::printToLogFile("");
        receive(level, format, arguments);
    });
    Kr::logMessage(eLogLevel::kWarn, "first");
    Kr::logMessage(eLogLevel::kWarn, "second");
    EXPECT_THAT(received(), ElementsAre("WARN - first\n", "WARN - second\n"));
    EXPECT_EQ(Kr::LogSetHandler(nullptr), &receive);
    EXPECT_EQ(Kr::LogSetHandler(nullptr), original);
}

TEST_F(Log, OnlyTheNoThrowEntrySwallowsAndOnlyOurError) {
    Kr::LogSetHandler([](eLogLevel level, const char* format, std::va_list arguments) {
        receive(level, format, arguments);
        throw KrSim::KrRuntimeError(received().back());
    });
    EXPECT_THROW(Kr::logMessage(eLogLevel::kError, "stop"), KrSim::KrRuntimeError);
    EXPECT_NO_THROW(Kr::logErrorNoThrow("go on %s", "%s%n"));
    EXPECT_THAT(received(), ElementsAre("ERROR - stop\n", "ERROR - go on %s%n\n"));

    Kr::LogSetHandler([](eLogLevel, const char*, std::va_list) { throw std::logic_error("not ours"); });
    EXPECT_THROW(Kr::logErrorNoThrow("foreign"), std::logic_error);
}

TEST_F(Log, DefaultHandlerPrintsAndFilesOneLineWithItsTime) {
    Kr::setLogFile(file);
    testing::internal::CaptureStderr();
    Kr::logMessage(eLogLevel::kError, "disk %s", "full");
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, testing::MatchesRegex("[A-Z].. [A-Z].. [ 0-9][0-9] ..:..:.. [0-9]+ - ERROR - disk full\n"));
    EXPECT_THAT(readLines(file), ElementsAre(printed.substr(0, printed.size() - 1)));
    EXPECT_EQ(Kr::formatLogLine(INT64_MAX, "m\n"), "9223372036854775807 - m\n");
}

TEST_F(Log, LongTextIsCutAtAWholeCharacter) {
    Kr::LogSetHandler(&receive);
    // "WARN - " is 7 bytes, so that 4088 remain for the message.
    using Case = std::tuple<std::size_t, const char*, std::size_t>;  // filling, tail, bytes kept
    for (const auto& [fill, tail, kept] : {Case{4088, "", 4095}, Case{100000, "", 4095}, Case{4087, "\xC3\xA4", 4094},
                                           Case{4086, "\xC3\xA4", 4095}, Case{4088, "\n", 4095}}) {
        const std::string message = std::string(fill, 'x') + tail;
        Kr::logMessage(eLogLevel::kWarn, "%s", message.c_str());
        EXPECT_EQ(received().back(), ("WARN - " + message).substr(0, kept) + "\n");
    }
}

TEST_F(Log, FileKeepsWholeLinesOfManyThreads) {
    Kr::setLogFile(file);
    std::vector<std::string> expected;
    {
        std::vector<std::jthread> threads;
        for (const char letter : {'a', 'b', 'c', 'd'}) {
            const std::string text(80, letter);
            expected.insert(expected.end(), 200, text);
            threads.emplace_back([text] {
                for (int line = 0; line < 200; ++line)
                    Kr::printToLogFile(text + "\n");
            });
        }
    }
    EXPECT_THAT(readLines(file), testing::UnorderedElementsAreArray(expected));
}

TEST_F(Log, FileAppendsAndIsOpenedAnewOnRequest) {
    std::ofstream(file) << "earlier\n";
    Kr::setLogFile(file);
    Kr::printToLogFile("one\n");
    std::filesystem::rename(file, folder / "old.log");
    Kr::printToLogFile("two\n");
    Kr::setLogFile(file);
    Kr::printToLogFile("three\n");
    EXPECT_THAT(readLines(folder / "old.log"), ElementsAre("earlier", "one", "two"));
    EXPECT_THAT(readLines(file), ElementsAre("three"));
}

TEST_F(Log, FileFollowsNoLink) {
    const auto bystander = folder / "bystander";
    std::ofstream(bystander) << "untouched\n";
    std::filesystem::create_symlink(bystander, file);
    testing::internal::CaptureStderr();
    Kr::setLogFile(file);
    Kr::printToLogFile("lost\n");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("it is a link, which is not followed"));
    EXPECT_THAT(readLines(bystander), ElementsAre("untouched"));
}

TEST_F(Log, FailingFileIsReportedOnceAndRecovers) {
    Kr::LogSetHandler(&receive);
    testing::internal::CaptureStderr();
    for (const std::string& path : {(folder / "later/kr.log").string(), std::string("/dev/full")}) {
        Kr::setLogFile(path);
        Kr::printToLogFile("lost\n");
        Kr::printToLogFile("lost too\n");
        std::filesystem::create_directory(folder / "later");
        Kr::printToLogFile("kept\n");
    }
    EXPECT_THAT(readLines(folder / "later/kr.log"), ElementsAre("kept"));
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, testing::ContainsRegex("WARN - cannot write the log file '.*/later/kr.log': .*\n"
                                                ".*WARN - cannot write the log file '/dev/full': "));
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 2);
    EXPECT_TRUE(received().empty()) << "a failing log file must not log through the handler that writes it";
}

TEST(Assertion, ReplacedHandlerSeesOnlyFailuresAndTheProgramGoesOn) {
    received().clear();
    const Kr::AssertionHandler original = Kr::setAssertionHandler([](const Kr::AssertionFailure& failure) {
        received().push_back(std::string(failure.condition) + ": " + failure.message);
    });
    int evaluations = 0;
    KR_ASSERT(++evaluations == 1, "holds");
    KR_ASSERT(++evaluations == 1, "counted twice");
    Kr::setAssertionHandler(nullptr);
    EXPECT_EQ(Kr::setAssertionHandler(nullptr), original);
    EXPECT_EQ(evaluations, 2);
    EXPECT_THAT(received(), ElementsAre("++evaluations == 1: counted twice"));
}

TEST(AssertionDeathTest, DefaultEndsADebugProgramAndWarnsOtherwise) {
#ifdef NDEBUG
    testing::internal::CaptureStderr();
    KR_ASSERT(1 + 1 == 3, "arithmetic");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("WARN - Assertion failed: arithmetic"));
#else
    EXPECT_DEATH(KR_ASSERT(1 + 1 == 3, "arithmetic"), "FATAL - Assertion failed: arithmetic \\(1 \\+ 1 == 3\\)");
#endif
}

}  // namespace log_test
