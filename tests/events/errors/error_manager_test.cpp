#include "kr/events/errors/error_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kr/events/errors/error_events.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/platform/process.h"
#include "kr/platform/runtime_error.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/temporary_folder.h"

namespace error_manager_test {

using Kr::eLogLevel;
using KrSim::ErrorManager;
using KrSim::KrErrorHandler;
using testing::ElementsAre;
using testing::IsEmpty;

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
        Kr::LogSetLevel(eLogLevel::kWarn);
        KrErrorHandler::Register();
        KrErrorHandler::setEventManager(&events);
        errors.registerListener(&recorder);
    }
    ~ErrorHandling() override {
        KrErrorHandler::setEventManager(nullptr);
        KrErrorHandler::Unregister();
        KrErrorHandler::_enableNetworkDispatch(true);
        KrErrorHandler::enableConsoleLog(true);
        Kr::LogSetLevel(eLogLevel::kInfo);
        KrSim::KrEventDispatcher::_resetOwner();
    }

    KrSim::EventManagerImplementation events;
    ErrorManager errors{&events};
    Recorder recorder;
};

TEST_F(ErrorHandling, PublishesWhatIsAtOrBelowTheThresholdOncePerRun) {
    Kr::logMessage(eLogLevel::kInfo, "too quiet\n");
    Kr::logMessage(eLogLevel::kWarn, "cold %d", 3);
    Kr::logMessage(eLogLevel::kWarn, "cold %d\n", 3);
    Kr::logMessage(eLogLevel::kWarn, "hot\n");
    Kr::logMessage(eLogLevel::kWarn, "cold 3\n");
    EXPECT_THAT(recorder.lines, ElementsAre("3 WARN - cold 3\n", "3 WARN - hot\n", "3 WARN - cold 3\n"));
}

TEST_F(ErrorHandling, ThrowsErrorsAfterTellingEverybody) {
    std::string told;
    const auto connection = KrErrorHandler::registerListener([&](const std::string& text) { told = text; });
    const auto broken = KrErrorHandler::registerListener([](const std::string&) { throw 7; });
    try {
        Kr::logMessage(eLogLevel::kError, "broken\n");
        FAIL() << "no exception";
    } catch (const KrSim::KrRuntimeError& error) {
        EXPECT_STREQ(error.what(), "ERROR - broken\n");
    }
    EXPECT_EQ(told, "ERROR - broken\n");
    EXPECT_EQ(recorder.lines.front(), "2 ERROR - broken\n");
    told.clear();
    Kr::logErrorNoThrow("again\n");
    EXPECT_EQ(told, "ERROR - again\n");
}

TEST_F(ErrorHandling, AListenerEndsWithItsHandleAndWithTheHandler) {
    int calls = 0;
    auto ended = KrErrorHandler::registerListener([&](const std::string&) { ++calls; });
    auto kept = KrErrorHandler::registerListener([&](const std::string&) { ++calls; });
    ended.disconnect();
    Kr::logErrorNoThrow("one\n");
    EXPECT_EQ(calls, 1);
    KrErrorHandler::Unregister();
    EXPECT_FALSE(kept.isConnected());
    EXPECT_FALSE(KrErrorHandler::registerListener([](const std::string&) {}).isConnected());
}

TEST_F(ErrorHandling, FilesEveryLineWithItsTimeAndCutsLongOnes) {
    const test_support::TemporaryFolder folder;
    KrErrorHandler::setLogFile((folder.path() / "kr.log").string());
    Kr::logMessage(eLogLevel::kWarn, "same\n");
    Kr::logMessage(eLogLevel::kWarn, "same\n");
    Kr::logMessage(eLogLevel::kWarn, "%s", std::string(10'000, 'x').c_str());
    KrErrorHandler::setLogFile("");
    std::ifstream file(folder.path() / "kr.log");
    std::vector<std::string> ends;
    for (std::string line; std::getline(file, line);)
        ends.push_back(line.substr(line.find(" - ")));
    EXPECT_THAT(ends, ElementsAre(" - WARN - same", " - WARN - same", " - WARN - " + std::string(4095 - 7, 'x')));
    EXPECT_EQ(recorder.lines.back().size(), std::string("3 ").size() + 4096);
}

TEST_F(ErrorHandling, AListenerThatLogsIsPublishedEightDeep) {
    int depth = 0;
    recorder.then = [&] { Kr::logMessage(eLogLevel::kWarn, "echo %d\n", ++depth); };
    Kr::logMessage(eLogLevel::kWarn, "voice\n");
    EXPECT_EQ(recorder.lines.size(), 8U);
    EXPECT_EQ(depth, 8);
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
    for (const auto& [target, level] : {std::pair{me, 5}, std::pair{std::string("other:1"), 6}, std::pair{me, 99}}) {
        KrSim::EventData data;
        data << level << target;
        events.sendEvent(KrSim::kSetLogLevelEvent, data);
        EXPECT_EQ(Kr::LogGetLevel(), target == me ? static_cast<eLogLevel>(std::min(level, 7)) : eLogLevel::kDebug);
    }
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
        KrErrorHandler::setEventManager(&events);
    }
    for (auto& thread : threads)
        thread.join();
    KrSim::KrEventDispatcher::preUpdate();
    EXPECT_FALSE(recorder.lines.empty());
}

}  // namespace error_manager_test
