#include "kr/events/errors/error_manager.h"
#include "kr/events/errors/error_handler_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "kr/events/errors/error_events.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_id_list.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/sim_event.h"
#include "kr/platform/manual_clock.h"
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

constexpr int kMessage = KrSim::kErrorMessageEvent._getNumber();
constexpr int kSetLevel = KrSim::kSetLogLevelEvent._getNumber();
constexpr int kEnableDispatch = KrSim::kEnableNetworkDispatchEvent._getNumber();

class Recorder final : public ErrorManager::Listener {
public:
    void onMessage(int kind, eLogLevel level, const std::string& message, const std::string& sender,
                   std::int64_t time) override {
        EXPECT_EQ(kind, 1);
        EXPECT_GT(time, 1'500'000'000);
        EXPECT_EQ(sender, Kr::Process::getHostNameProcessID());
        lines.push_back(std::to_string(static_cast<int>(level)) + " " + message);
        then();
    }
    std::vector<std::string> lines;
    std::function<void()> then = [] {};
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
        KrSim::EventIDList::instance().cleanup();  // no names are published
        KrSim::KrEventDispatcher::setSharedEventChannel(ends.first);
    }
    ~ErrorHandling() override {
        KrErrorHandler::setEventManager(nullptr);
        KrErrorHandler::Unregister();
        KrSim::detail::ErrorHandlerAccess::enableNetworkDispatch(true);
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
    /// The numbers of the events that another application has received since the last call.
    [[nodiscard]] std::vector<int> received() const {
        std::vector<KrSim::KrSimEvent> arrived;
        ends.second->receiveEvents(arrived);
        std::vector<int> numbers;
        for (const auto& event : arrived)
            numbers.push_back(event.ID());
        return numbers;
    }

    const test_support::DispatcherScope scope;
    const test_support::InProcessEventChannel::Pair ends = test_support::InProcessEventChannel::makePair();
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
    KrErrorHandler::Unregister();
    KrErrorHandler::Register();
    Kr::logMessage(eLogLevel::kWarn, "%s", cut.c_str() + 7);
    EXPECT_EQ(recorder.lines.size(), 5U);
}

TEST_F(ErrorHandling, ThrowsErrorsAfterTellingWhoIsConnected) {
    std::vector<std::string> told;
    const auto broken = KrErrorHandler::registerListener([](const std::string&) { throw 7; });
    const auto kept = KrErrorHandler::registerListener([&](const std::string& text) { told.push_back(text); });
    auto ended = KrErrorHandler::registerListener([&](const std::string&) { told.emplace_back("ended"); });
    EXPECT_FALSE(KrErrorHandler::registerListener(nullptr).isConnected());
    ended.disconnect();
    EXPECT_THAT([] { Kr::logMessage(eLogLevel::kError, "broken\n"); },
                testing::ThrowsMessage<KrSim::KrRuntimeError>("ERROR - broken\n"));
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
    recorder.then = [] {};
    const auto listener = KrErrorHandler::registerListener([&](const std::string&) { echo(); });
    Kr::logErrorNoThrow("voice\n");
    EXPECT_EQ(told, 8);
    EXPECT_EQ(filed().size(), 18U);
}

// An exception from an event must not pass for one of the log, nor keep the message from the file.
TEST_F(ErrorHandling, FilesAMessageWhosePublicationThrows) {
    std::vector<std::string> calls;
    const test_support::RecordingListener broken(
        calls, "", {kMessage}, [&](const auto&) { throw std::runtime_error(std::to_string(calls.size())); });
    EXPECT_NO_THROW(Kr::logMessage(eLogLevel::kWarn, "kept\n"));
    EXPECT_EQ(calls.size(), 8U);
    EXPECT_EQ(filed().front(), "WARN - KrErrorHandler: fatal error in 'Error Manager: Error Message' sendEvent() [8]");
    EXPECT_EQ(filed().back(), "WARN - kept");
}

TEST_F(ErrorHandling, AListenerMayEndAnotherAndWhateverTellsThem) {
    Recorder others[3];  // told in the order of their addresses
    auto manager = std::make_unique<ErrorManager>(events.get());
    for (Recorder& each : others)
        manager->registerListener(&each);
    others[0].then = [&] {
        manager->unregisterListener(&others[1]);
        manager.reset();
        KrErrorHandler::setEventManager(nullptr);
        events.reset();
    };
    Kr::logMessage(eLogLevel::kWarn, "last\n");
    Kr::logMessage(eLogLevel::kWarn, "unheard\n");
    EXPECT_THAT(others[0].lines, ElementsAre("3 WARN - last\n"));
    EXPECT_EQ(others[1].lines.size() + others[2].lines.size(), 0U);
    EXPECT_THAT(filed(), ElementsAre("WARN - last", "WARN - unheard"));
    EXPECT_TRUE(received().empty());
}

TEST_F(ErrorHandling, OthersHearErrorsAlwaysAndTheRestWhileDispatchIsOn) {
    Kr::logMessage(eLogLevel::kWarn, "both\n");
    EXPECT_THAT(received(), ElementsAre(kMessage));
    errors.enableNetworkDispatch(false, Kr::Process::getHostNameProcessID());
    Kr::logMessage(eLogLevel::kWarn, "here only\n");
    EXPECT_TRUE(received().empty());
    Kr::logErrorNoThrow("both again\n");
    EXPECT_THAT(received(), ElementsAre(kMessage));
    EXPECT_EQ(recorder.lines.size(), 3U);
}

TEST_F(ErrorHandling, AFatalMessageLeavesTheProcessBeforeItsEnd) {
    static std::string told;
    told.clear();
    Kr::ManualClock clock;
    const double start = clock.getSeconds();
    const auto listener = KrErrorHandler::registerListener([](const std::string& text) { told = text; });
    KrSim::detail::ErrorHandlerAccess::setFatalEnd(&clock,
                                                   [](int status) { told += "status " + std::to_string(status); });
    KrSim::KrEventDispatcher::sendEventRemotely(KrSim::KrSimEvent(kSetLevel));
    Kr::logMessage(eLogLevel::kFatal, "the end\n");
    KrSim::detail::ErrorHandlerAccess::setFatalEnd(nullptr, nullptr);
    EXPECT_EQ(told, "FATAL - the end\nstatus 1");
    EXPECT_EQ(clock.getSeconds() - start, 3.0);
    EXPECT_THAT(recorder.lines, ElementsAre("1 FATAL - the end\n"));
    EXPECT_THAT(received(), ElementsAre(kMessage, kSetLevel));
}

TEST_F(ErrorHandling, TargetsDecideWhoChanges) {
    const std::string me = Kr::Process::getHostNameProcessID();
    for (const std::string& target : {std::string(), me, std::string("other:1")}) {
        Kr::LogSetLevel(eLogLevel::kWarn);
        KrSim::detail::ErrorHandlerAccess::enableNetworkDispatch(true);
        errors.setLogLevel(eLogLevel::kDebug, target);
        errors.enableNetworkDispatch(false, target);
        const bool isForOther = target == "other:1";
        EXPECT_EQ(errors.getLogLevel(), isForOther ? eLogLevel::kWarn : eLogLevel::kDebug) << target;
        EXPECT_EQ(errors.isNetworkDispatchEnabled(), isForOther) << target;
        KrSim::KrEventDispatcher::postUpdate();
        EXPECT_EQ(received(), target == me ? std::vector<int>() : std::vector({kSetLevel, kEnableDispatch})) << target;
    }
}

// Of other applications: events that are cut off have no target and no message.
TEST_F(ErrorHandling, EventsCountWhenTheyAreWholeAndMeantForThisApplication) {
    const std::string me = Kr::Process::getHostNameProcessID();
    using Case = std::tuple<int, std::string, std::size_t, int>;  // level, target, bytes cut off, level afterwards
    for (const auto& [level, target, missing, result] :
         {Case{5, me, 0, 5}, Case{6, "", 0, 6}, Case{99, "", 0, 7}, Case{-1, "", 0, 0}, Case{6, "other:1", 0, 3},
          Case{6, "other:1", 3, 3}, Case{6, "", 1, 3}, Case{6, "", 5, 3}}) {
        KrSim::EventData request;
        request << level << target;
        auto bytes = request.data();
        bytes.resize(bytes.size() - missing);
        Kr::LogSetLevel(eLogLevel::kWarn);
        events->sendEvent(KrSim::kSetLogLevelEvent, KrSim::EventData(bytes));
        EXPECT_EQ(static_cast<int>(Kr::LogGetLevel()), result) << level << target << missing;
    }
    recorder.lines.clear();
    Kr::LogSetLevel(eLogLevel::kOff);
    events->sendEvent(KrSim::kEnableNetworkDispatchEvent, KrSim::EventData({0, 0, 0, 0}));
    EXPECT_TRUE(errors.isNetworkDispatchEnabled());
    KrSim::EventData message;
    message << me << "far" << 3 << std::int64_t{1'600'000'000};
    events->sendEvent(KrSim::kErrorMessageEvent, message);
    auto bytes = message.data();
    bytes.pop_back();
    events->sendEvent(KrSim::kErrorMessageEvent, KrSim::EventData(bytes));
    EXPECT_THAT(recorder.lines, ElementsAre("3 far"));
}

// What receivers say shows whether they have read: a read past the end would be an error.
TEST_F(ErrorHandling, ReceiversReadNoTextThatTheirPayloadDoesNotHold) {
    using Case = std::tuple<KrSim::EventId, const char*, std::vector<std::uint8_t>>;
    for (const auto& [id, name, payload] :
         {Case{KrSim::kErrorMessageEvent, "Error Manager: Error Message", {255, 255, 255, 127}},
          Case{KrSim::kErrorMessageEvent, "Error Manager: Error Message", {0, 0, 0, 0, 255, 255, 255, 1, 'a'}},
          Case{KrSim::kSetLogLevelEvent, "Error Manager: Set Log Level", {6, 0, 0, 0, 255, 255, 255, 127}},
          Case{KrSim::kEnableNetworkDispatchEvent, "Error Manager: Enable  Network Dispatch", {0, 0, 0, 0, 1}}}) {
        KrErrorHandler::setLogFile((folder / name).string());
        events->sendEvent(id, KrSim::EventData(payload));
        std::ifstream file(folder / name);
        const std::string log{std::istreambuf_iterator<char>(file), {}};
        EXPECT_THAT(log, testing::EndsWith(std::string("WARN - ErrorManager: the event '") + name +
                                           "' has too short a payload and is ignored\n"));
        EXPECT_THAT(log, testing::Not(testing::HasSubstr("ERROR - "))) << name;
    }
}

TEST_F(ErrorHandling, ManyThreadsLogWhileManagersComeAndGo) {
    KrSim::KrEventDispatcher::preUpdate();  // this thread delivers
    const auto log = [] {
        for (int i = 0; i < 500; ++i) {
            const auto listener = KrErrorHandler::registerListener([](const std::string&) {});
            Kr::logErrorNoThrow("%d\n", i);
        }
    };
    {
        const std::jthread threads[] = {std::jthread(log), std::jthread(log), std::jthread(log)};
        for (int i = 0; i < 200; ++i) {
            KrErrorHandler::setEventManager(nullptr);
            const auto manager = std::make_unique<KrSim::EventManagerImplementation>();
            KrErrorHandler::setEventManager(manager.get());
            KrSim::KrEventDispatcher::preUpdate();
            KrErrorHandler::setEventManager(events.get());
        }
    }
    Kr::logMessage(eLogLevel::kWarn, "after all\n");
    EXPECT_EQ(recorder.lines.back(), "3 WARN - after all\n");
}

}  // namespace error_manager_test
