#include "kr/events/errors/error_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/events/errors/error_events.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/platform/process.h"
#include "kr/platform/runtime_error.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/temporary_folder.h"

namespace error_manager_test {

using Kr::eLogLevel;
using KrSim::ErrorManager;
using KrSim::KrErrorHandler;
using testing::ElementsAre;

class Recorder final : public ErrorManager::Listener {
public:
    void onMessage(int kind, eLogLevel level, const std::string& message, const std::string& sender,
                   std::int64_t time) override {
        EXPECT_EQ(kind, 1);
        EXPECT_GT(time, 1'500'000'000);
        lines.push_back(std::to_string(static_cast<int>(level)) + " " + message +
                        (sender == Kr::Process::getHostNameProcessID() ? "" : "from " + sender));
        if (then) then();
    }
    std::vector<std::string> lines;
    std::function<void()> then;
};

class ErrorHandling : public testing::Test {
protected:
    ErrorHandling() {
        KrErrorHandler::enableConsoleLog(false);
        KrErrorHandler::setLogFile((folder / "kr.log").string());
        Kr::LogSetLevel(eLogLevel::kWarn);
        KrErrorHandler::Register();
        KrErrorHandler::setEventManager(events.get());
        errors.registerListener(&recorder);
    }
    ~ErrorHandling() override {
        KrErrorHandler::setEventManager(nullptr);
        KrErrorHandler::Unregister();
        KrErrorHandler::_enableNetworkDispatch(true);
        KrErrorHandler::setLogFile("");
        KrErrorHandler::enableConsoleLog(true);
        Kr::LogSetLevel(eLogLevel::kInfo);
    }
    /// The lines of the log file without their times.
    [[nodiscard]] std::vector<std::string> filed() const {
        std::ifstream file(folder / "kr.log");
        std::vector<std::string> texts;
        for (std::string line; std::getline(file, line);)
            texts.push_back(line.substr(std::min(line.size(), line.find(" - ") + 3)));
        return texts;
    }

    const test_support::DispatcherScope scope;
    const test_support::TemporaryFolder folder;
    std::unique_ptr<KrSim::EventManagerImplementation> events = std::make_unique<KrSim::EventManagerImplementation>();
    ErrorManager errors{events.get()};
    Recorder recorder;
};

TEST_F(ErrorHandling, FilesEveryMessageUpToTheThresholdAndPublishesRepeatsOnce) {
    const std::string cut = "WARN - " + std::string(4095 - 7, 'x');
    Kr::logMessage(eLogLevel::kInfo, "too quiet\n");
    Kr::logMessage(eLogLevel::kWarn, "cold %d", 3);
    Kr::logMessage(eLogLevel::kWarn, "cold %d\n", 3);
    Kr::logMessage(eLogLevel::kWarn, "%s", "100 %s %n");
    Kr::logMessage(eLogLevel::kWarn, "cold 3\n");
    Kr::logMessage(eLogLevel::kWarn, "%s", std::string(10'000, 'x').c_str());
    EXPECT_THAT(filed(), ElementsAre("WARN - cold 3", "WARN - cold 3", "WARN - 100 %s %n", "WARN - cold 3", cut));
    EXPECT_THAT(recorder.lines,
                ElementsAre("3 WARN - cold 3\n", "3 WARN - 100 %s %n\n", "3 WARN - cold 3\n", "3 " + cut + "\n"));
}

TEST_F(ErrorHandling, WarnsOnceOfAFileThatCannotBeOpenedAndGoesOn) {
    KrErrorHandler::setLogFile((folder / "none/kr.log").string());
    testing::internal::CaptureStderr();
    Kr::logMessage(eLogLevel::kWarn, "one\n");
    Kr::logMessage(eLogLevel::kWarn, "two\n");
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, testing::HasSubstr("WARN - cannot write the log file"));
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1);
    EXPECT_THAT(recorder.lines, ElementsAre("3 WARN - one\n", "3 WARN - two\n"));
}

TEST_F(ErrorHandling, ThrowsErrorsAfterTellingWhoIsConnected) {
    std::vector<std::string> told;
    const auto broken = KrErrorHandler::registerListener([](const std::string&) { throw 7; });
    const auto kept = KrErrorHandler::registerListener([&](const std::string& text) { told.push_back(text); });
    auto ended = KrErrorHandler::registerListener([&](const std::string&) { told.emplace_back("ended"); });
    EXPECT_FALSE(KrErrorHandler::registerListener(nullptr).isConnected());
    ended.disconnect();
    try {
        Kr::logMessage(eLogLevel::kError, "broken\n");
        FAIL() << "no exception";
    } catch (const KrSim::KrRuntimeError& error) {
        EXPECT_STREQ(error.what(), "ERROR - broken\n");
    }
    Kr::logErrorNoThrow("again\n");
    EXPECT_THAT(told, ElementsAre("ERROR - broken\n", "ERROR - again\n"));
    EXPECT_EQ(recorder.lines.front(), "2 ERROR - broken\n");
    KrErrorHandler::Unregister();
    EXPECT_FALSE(kept.isConnected());
    EXPECT_FALSE(KrErrorHandler::registerListener([](const std::string&) {}).isConnected());
}

TEST_F(ErrorHandling, WhoLogsWhenToldIsToldEightDeep) {
    int told = 0;
    const auto echo = [&] { Kr::logErrorNoThrow("echo %d\n", ++told); };
    recorder.then = echo;
    Kr::logMessage(eLogLevel::kWarn, "voice\n");
    EXPECT_EQ(std::exchange(told, 0), 8);
    EXPECT_EQ(recorder.lines.size(), 8U);
    recorder.then = nullptr;
    const auto listener = KrErrorHandler::registerListener([&](const std::string&) { echo(); });
    Kr::logErrorNoThrow("voice\n");
    EXPECT_EQ(told, 8);
    EXPECT_EQ(filed().size(), 18U);
}

// An exception from an event must not pass for one of the log, nor keep the message from the file.
TEST_F(ErrorHandling, FilesAMessageWhosePublicationThrows) {
    std::vector<std::string> calls;
    int thrown = 0;
    const test_support::RecordingListener broken(calls, "", {KrSim::kErrorMessageEvent._getNumber()}, [&](const auto&) {
        throw std::runtime_error(std::to_string(++thrown));
    });
    EXPECT_NO_THROW(Kr::logMessage(eLogLevel::kWarn, "kept\n"));
    EXPECT_EQ(thrown, 8);
    EXPECT_EQ(filed().front(), "WARN - KrErrorHandler: fatal error in 'Error Manager: Error Message' sendEvent() [8]");
    EXPECT_EQ(filed().back(), "WARN - kept");
}

TEST_F(ErrorHandling, AListenerMayEndTheManagerThatTellsIt) {
    recorder.then = [&] {
        KrErrorHandler::setEventManager(nullptr);
        events.reset();
    };
    Kr::logMessage(eLogLevel::kWarn, "last\n");
    Kr::logMessage(eLogLevel::kWarn, "unheard\n");
    EXPECT_THAT(recorder.lines, ElementsAre("3 WARN - last\n"));
    EXPECT_THAT(filed(), ElementsAre("WARN - last", "WARN - unheard"));
}

TEST_F(ErrorHandling, AFatalMessageIsPublishedBeforeTheProcessEnds) {
    struct FakeClock final : Kr::IClock {
        double getSeconds() const override { return 0.0; }
        void sleep(double seconds) override { slept += seconds; }
        double getResolution() const override { return 0.0; }
        double slept{0.0};
    } clock;
    static int status;
    status = 0;
    KrErrorHandler::_setFatalEnd(&clock, [](int given) { status = given; });
    Kr::logMessage(eLogLevel::kFatal, "the end\n");
    KrErrorHandler::_setFatalEnd(nullptr, nullptr);
    EXPECT_EQ(clock.slept, 3.0);
    EXPECT_EQ(status, 1);
    EXPECT_THAT(recorder.lines, ElementsAre("1 FATAL - the end\n"));
}

TEST_F(ErrorHandling, TargetsDecideWhoChangesTheLevel) {
    const std::string me = Kr::Process::getHostNameProcessID();
    errors.setLogLevel(eLogLevel::kDebug, "");
    EXPECT_EQ(errors.getLogLevel(), eLogLevel::kDebug);
    errors.setLogLevel(eLogLevel::kTrace, "other:1");
    EXPECT_EQ(errors.getLogLevel(), eLogLevel::kDebug);
    errors.setLogLevel(eLogLevel::kWarn, me);
    EXPECT_EQ(errors.getLogLevel(), eLogLevel::kWarn);
}

// Requests from other applications: what is cut off is asked of nobody.
TEST_F(ErrorHandling, RequestsCountWhenTheyAreWholeAndMeantForThisApplication) {
    struct Case {
        int level;
        std::string target;
        std::size_t cut;
        int result;
    };
    for (const Case& each : {Case{5, Kr::Process::getHostNameProcessID(), 0, 5}, Case{6, "", 0, 6}, Case{99, "", 0, 7},
                             Case{-1, "", 0, 0}, Case{6, "other:1", 0, 3}, Case{6, "other:1", 3, 3}, Case{6, "", 1, 3},
                             Case{6, "", 4, 3}, Case{6, "", 5, 3}}) {
        KrSim::EventData request;
        request << each.level << each.target;
        auto bytes = request.data();
        bytes.resize(bytes.size() - each.cut);
        Kr::LogSetLevel(eLogLevel::kWarn);
        events->sendEvent(KrSim::kSetLogLevelEvent, KrSim::EventData(bytes));
        EXPECT_EQ(static_cast<int>(Kr::LogGetLevel()), each.result) << each.level << each.target << each.cut;
        bytes.resize(std::min<std::size_t>(bytes.size(), 3));
        events->sendEvent(KrSim::kEnableNetworkDispatchEvent, KrSim::EventData(bytes));
        events->sendEvent(KrSim::kErrorMessageEvent, KrSim::EventData(bytes));
    }
    EXPECT_TRUE(errors.isNetworkDispatchEnabled());
    EXPECT_THAT(recorder.lines, testing::Each(testing::MatchesRegex("[23] (ERROR|WARN) - .*\n")));
}

TEST_F(ErrorHandling, OtherApplicationsHearErrorsAlwaysAndTheRestWhileDispatchIsOn) {
    const auto [here, there] = test_support::InProcessEventChannel::makePair();
    KrSim::KrEventDispatcher::setSharedEventChannel(here);
    Kr::logMessage(eLogLevel::kWarn, "both\n");
    errors.enableNetworkDispatch(false, Kr::Process::getHostNameProcessID());
    Kr::logMessage(eLogLevel::kWarn, "here only\n");
    Kr::logErrorNoThrow("both again\n");
    KrSim::KrEventDispatcher::setSharedEventChannel(nullptr);
    std::vector<KrSim::KrSimEvent> received;
    there->receiveEvents(received);
    std::vector<std::string> texts;
    for (const auto& event : received) {
        if (event.ID() != KrSim::kErrorMessageEvent._getNumber()) continue;
        const KrSim::EventData data(std::vector<std::uint8_t>(event.constData(), event.constData() + event.bytes()));
        std::string sender;
        std::string text;
        data >> sender >> text;
        texts.push_back(text);
    }
    EXPECT_THAT(texts, ElementsAre("WARN - both\n", "ERROR - both again\n"));
    EXPECT_EQ(recorder.lines.size(), 3U);
}

TEST_F(ErrorHandling, ManyThreadsLogWhileManagersComeAndGo) {
    KrSim::KrEventDispatcher::preUpdate();  // this thread delivers
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 500; ++i) {
                const auto listener = KrErrorHandler::registerListener([](const std::string&) {});
                Kr::logMessage(eLogLevel::kWarn, "%d %d\n", t, i);
                Kr::logErrorNoThrow("%d %d\n", t, i);
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        KrErrorHandler::setEventManager(nullptr);
        const auto manager = std::make_unique<KrSim::EventManagerImplementation>();
        KrErrorHandler::setEventManager(manager.get());
        KrSim::KrEventDispatcher::preUpdate();
        KrErrorHandler::setEventManager(events.get());
    }
    for (auto& thread : threads)
        thread.join();
    KrSim::KrEventDispatcher::preUpdate();
    EXPECT_FALSE(recorder.lines.empty());
}

}  // namespace error_manager_test
