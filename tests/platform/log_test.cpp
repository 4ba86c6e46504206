#include "kr/platform/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

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

void raise(eLogLevel level, const char* format, std::va_list arguments) {
    receive(level, format, arguments);
    throw KrSim::KrRuntimeError(received().back());
}

void raiseForeign(eLogLevel, const char*, std::va_list) {
    throw std::logic_error("not ours");
}

void replaceItself(eLogLevel level, const char* format, std::va_list arguments) {
    Kr::LogSetHandler(&receive);
    Kr::printToLogFile("");
    receive(level, format, arguments);
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

private:
    eLogLevel _level;
};

std::string format(eLogLevel level, const char* text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    std::string result = Kr::formatLogText(level, text, arguments);
    va_end(arguments);
    return result;
}

TEST_F(Log, HandlesLevelsUpToTheThreshold) {
    Kr::LogSetHandler(&receive);
    Kr::LogSetLevel(eLogLevel::kWarn);
    Kr::logMessage(eLogLevel::kInfo, "too fine");
    Kr::logMessage(eLogLevel::kWarn, "on the threshold %d", 3);
    Kr::logMessage(eLogLevel::kFatal, "graver\n");
    EXPECT_THAT(received(), ElementsAre("WARN - on the threshold 3\n", "FATAL - graver\n"));

    Kr::LogSetLevel(eLogLevel::kOff);
    Kr::logMessage(eLogLevel::kFatal, "switched off");
    EXPECT_EQ(received().size(), 2U);
}

TEST_F(Log, TextOfUsersIsNeverAFormat) {
    Kr::LogSetHandler(&receive);
    Kr::logErrorNoThrow("name '%s'\n", "%s%n%100d");
    EXPECT_THAT(received(), ElementsAre("ERROR - name '%s%n%100d'\n"));
}

TEST_F(Log, HandlersChainAndNullRestoresTheDefault) {
    const Kr::LogHandler original = Kr::LogSetHandler(&receive);
    ASSERT_NE(original, nullptr);
    EXPECT_EQ(Kr::LogSetHandler(original), &receive);
    EXPECT_EQ(Kr::LogSetHandler(nullptr), original);
    EXPECT_EQ(Kr::LogSetHandler(nullptr), original);
}

TEST_F(Log, HandlerMayReplaceItselfAndWriteToTheFile) {
    Kr::LogSetHandler(&replaceItself);
    Kr::logMessage(eLogLevel::kWarn, "first");
    Kr::logMessage(eLogLevel::kWarn, "second");
    EXPECT_THAT(received(), ElementsAre("WARN - first\n", "WARN - second\n"));
}

TEST_F(Log, OnlyTheNoThrowEntrySwallowsAndOnlyOurError) {
    Kr::LogSetHandler(&raise);
    EXPECT_THROW(Kr::logMessage(eLogLevel::kError, "stop"), KrSim::KrRuntimeError);
    EXPECT_NO_THROW(Kr::logErrorNoThrow("go on"));
    EXPECT_THAT(received(), ElementsAre("ERROR - stop\n", "ERROR - go on\n"));

    Kr::LogSetHandler(&raiseForeign);
    EXPECT_THROW(Kr::logErrorNoThrow("foreign"), std::logic_error);
}

TEST_F(Log, DefaultHandlerPrintsAndFilesOneLine) {
    const test_support::TemporaryFolder folder;
    Kr::setLogFile(folder / "kr.log");
    testing::internal::CaptureStderr();
    Kr::logMessage(eLogLevel::kError, "disk %s", "full");
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, testing::MatchesRegex("[A-Z].. [A-Z].. [ 0-9][0-9] ..:..:.. [0-9]+ - ERROR - disk full\n"));
    ASSERT_THAT(readLines(folder / "kr.log"), testing::SizeIs(1));
    EXPECT_EQ(readLines(folder / "kr.log").front() + "\n", printed);
}

TEST(LogText, CarriesThePrefixOfItsLevel) {
    std::vector<std::string> texts;
    for (int level = -1; level <= 8; ++level)
        texts.push_back(format(static_cast<eLogLevel>(level), "m"));
    EXPECT_THAT(texts, ElementsAre("m\n", "m\n", "FATAL - m\n", "ERROR - m\n", "WARN - m\n", "INFO - m\n",
                                   "DEBUG - m\n", "TRACE - m\n", "m\n", "m\n"));
}

struct CutCase {
    const char* name;
    std::size_t fill;
    const char* tail;
    std::size_t textBytes;  // with the closing line feed
};
class LogTextCut : public testing::TestWithParam<CutCase> {};
TEST_P(LogTextCut, EndsAtAWholeCharacter) {
    const std::string message = std::string(GetParam().fill, 'x') + GetParam().tail;
    const std::string text = format(eLogLevel::kWarn, "%s", message.c_str());
    EXPECT_EQ(text.size(), GetParam().textBytes);
    EXPECT_EQ(text, ("WARN - " + message).substr(0, GetParam().textBytes - 1) + "\n");
}
// "WARN - " is 7 bytes, so that 4088 remain for the message.
INSTANTIATE_TEST_SUITE_P(Sizes, LogTextCut,
                         testing::Values(CutCase{"Fits", 4088, "", 4096}, CutCase{"OneTooLong", 4089, "", 4096},
                                         CutCase{"FarTooLong", 100000, "", 4096},
                                         CutCase{"CharacterFits", 4086, "\xC3\xA4", 4096},
                                         CutCase{"CharacterSplit", 4087, "\xC3\xA4", 4095},
                                         CutCase{"CharacterSplitEarly", 4085, "\xF0\x9F\x98\x80", 4093},
                                         CutCase{"LineFeedCut", 4088, "\n", 4096}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(LogLine, IsTheTimeAndTheText) {
    const std::time_t time = 1'000'000'000;
    const std::string expected = std::ctime(&time);
    EXPECT_EQ(Kr::formatLogLine(time, "INFO - m\n"), expected.substr(0, 24) + " - INFO - m\n");
    EXPECT_EQ(Kr::formatLogLine(INT64_MAX, "m\n"), "9223372036854775807 - m\n");
}

TEST_F(Log, FileKeepsWholeLinesOfManyThreads) {
    const test_support::TemporaryFolder folder;
    Kr::setLogFile(folder / "kr.log");
    EXPECT_EQ(Kr::getLogFile(), (folder / "kr.log").string());
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        threads.emplace_back([letter] {
            for (int line = 0; line < kLines; ++line)
                Kr::printToLogFile(std::string(80, letter) + "\n");
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    std::vector<std::string> lines = readLines(folder / "kr.log");
    std::sort(lines.begin(), lines.end());
    std::vector<std::string> expected;
    for (char letter = 'a'; letter < 'e'; ++letter)
        expected.insert(expected.end(), kLines, std::string(80, letter));
    EXPECT_EQ(lines, expected);
}

TEST_F(Log, FileAppendsAndIsOpenedAnewOnRequest) {
    const test_support::TemporaryFolder folder;
    std::ofstream(folder / "kr.log") << "earlier\n";
    Kr::setLogFile(folder / "kr.log");
    Kr::printToLogFile("one\n");
    std::filesystem::rename(folder / "kr.log", folder / "old.log");
    Kr::printToLogFile("two\n");
    Kr::setLogFile(folder / "kr.log");
    Kr::printToLogFile("three\n");
    EXPECT_THAT(readLines(folder / "old.log"), ElementsAre("earlier", "one", "two"));
    EXPECT_THAT(readLines(folder / "kr.log"), ElementsAre("three"));
}

TEST_F(Log, FailingFileIsReportedOnceAndRecovers) {
    const test_support::TemporaryFolder folder;
    Kr::LogSetHandler(&receive);
    testing::internal::CaptureStderr();
    Kr::setLogFile(folder / "later/kr.log");
    Kr::printToLogFile("lost\n");
    Kr::printToLogFile("lost too\n");
    std::filesystem::create_directory(folder / "later");
    Kr::printToLogFile("kept\n");
    EXPECT_THAT(readLines(folder / "later/kr.log"), ElementsAre("kept"));

    Kr::setLogFile("/dev/full");
    Kr::printToLogFile("lost\n");
    Kr::printToLogFile("lost too\n");
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, HasSubstr("WARN - cannot write the log file '" + (folder / "later/kr.log").string() + "': "));
    EXPECT_THAT(printed, HasSubstr("WARN - cannot write the log file '/dev/full': "));
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 2);
    EXPECT_TRUE(received().empty()) << "a failing log file must not log through the handler that writes it";
}

}  // namespace log_test
