#include "kr/application/context/application_context.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "kr/core/enum.h"
#include "tests/support/case_name.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"

namespace application_context_test {

using KrSim::ApplicationContext;
using test_support::ContextHost;
using test_support::LogCapture;
using testing::ElementsAre;

/// All answers, so that one that another was mistaken for shows.
auto answersOf(const ApplicationContext& context, const ContextHost& host) {
    return std::make_tuple(context.isValid(), context.isActivationTracked(), context.isRunning(),
                           context.isUpdatingModules(), context.isApplicationThread(),
                           context.getThread() != Kr::ThreadId::kNone, &context.getEventManager() == &host.events,
                           &context.getErrorManager() == &host.errors, int(context.getApplicationMode()),
                           int(context.getSyncMode()), int(context.getCommunicationModel()), context.getFrame(),
                           context.getElapsedSeconds(), context.getSecondsBetweenFrames(), context.getUpdateSeconds(),
                           context.getWaitSeconds(), context.getSimulationFrameRate(), context.getRequestedFrameRate(),
                           context.getSimulationTimeStep(), context.isPaused(), context.getFrameStatistics().frames,
                           context.getFrameStatistics().overslept.totalSeconds);
}

TEST(ApplicationContext, AnswersForTheApplicationWhileItLivesAndForNoneAfterwards) {
    ContextHost host;
    const ApplicationContext none;
    const auto context = host.context();
    auto& state = *host.state;
    host.frame([&] {
        state._setApplicationMode(KrSim::eApplicationMode::kPlayback);
        state._setSyncMode(KrSim::eSynchronizationMode::kSWAndVSync);
        state._setCommunicationModel(KrSim::eCommunicationModel::kSlave);
        state._setFrame(4'000'000'000U, 11.0);
        state._setTimings(12.0, 13.0, 14.0);
        state._setFrameRate(50.0, 51.0);
        state._setPaused(true);
        KrSim::FrameStatistics statistics;
        statistics.frames = 7;
        statistics.overslept.totalSeconds = 1.5;
        state._setStatistics(statistics);
        EXPECT_EQ(answersOf(context, host), std::tuple(true, true, true, true, true, true, true, true, 2, 3, 1, 4e9, 11,
                                                       12, 13, 14, 50, 51, 0.02, true, 7U, 1.5));
        EXPECT_EQ(answersOf(none, host), std::tuple(false, false, false, false, false, false, false, false, 1, 0, 0, 0U,
                                                    0, 0, 0, 0, 0, 0, 0, false, 0U, 0.0));
        state._end();  // amid the update
    });
    EXPECT_EQ(answersOf(context, host), answersOf(none, host));
}

struct BusyCase {
    const char* name;
    bool running, updating, onOtherThread, busy;
};
class Busy : public testing::TestWithParam<BusyCase> {};

TEST_P(Busy, WhileTheContentMustNotChange) {
    const ContextHost host;
    host.state->_setThread(GetParam().onOtherThread ? Kr::ThreadId::kNone : Kr::getCurrentThreadId());
    host.state->_setRunning(GetParam().running);
    host.state->_setUpdatingModules(GetParam().updating);
    EXPECT_EQ(host.context().isBusy(), GetParam().busy);
}

INSTANTIATE_TEST_SUITE_P(Rule, Busy,
                         testing::Values(BusyCase{"Stopped", false, false, false, false},
                                         BusyCase{"StoppedAmidUpdate", false, true, true, false},
                                         BusyCase{"BetweenPasses", true, false, false, false},
                                         BusyCase{"Updating", true, true, false, true},
                                         BusyCase{"OtherThread", true, false, true, true}),
                         test_support::caseName);

TEST(DelayedFunctions, RunInOrderABatchAtATimeAndPastExceptions) {
    const LogCapture log;
    ContextHost host;
    const auto context = host.context();
    std::string ran;
    const std::function<void()> again = [&] {
        ran += 'a';
        context.executeLater(again);
        host.state->_runDelayedFunctions();  // must not overtake what is left of this batch
    };
    context.executeLater(again);
    context.executeLater([] { throw std::runtime_error("too late"); });
    context.executeLater([] { throw 7; });
    context.executeLater([&] { ran += 'b'; });
    host.state->_runDelayedFunctions();
    EXPECT_EQ(ran, "ab");
    EXPECT_THAT(log.lines(),
                ElementsAre("3 ApplicationContext: Exception thrown when executing a delayed function: too late.\n",
                            "3 ApplicationContext: Unhandled exception thrown when executing a delayed function.\n"));
    host.state->_runDelayedFunctions();
    EXPECT_EQ(ran, "aba");
}

/// Asks for more work as it dies.
struct LastWish {
    explicit LastWish(ApplicationContext asked) : context(std::move(asked)) {}
    ~LastWish() {
        context.executeLater([] { FAIL(); });
    }
    ApplicationContext context;
};

TEST(DelayedFunctions, ThatNobodyWillRunAreRefusedOrDestroyedOutsideTheLock) {
    const LogCapture log;
    std::optional<ContextHost> host(std::in_place);
    const auto context = host->context();
    EXPECT_FALSE(context.executeLater(nullptr));
    EXPECT_TRUE(context.executeLater([wish = std::make_shared<LastWish>(context)] { FAIL(); }));
    host.reset();
    EXPECT_THAT(log.lines(),
                ElementsAre("3 ApplicationContext: the application has ended, delayed functions not executed: 1.\n"));
    EXPECT_FALSE(context.executeLater([] { FAIL(); }));
    EXPECT_FALSE(ApplicationContext().executeLater([] { FAIL(); }));
}

TEST(DelayedFunctions, OneMayDestroyTheApplication) {
    const LogCapture log;
    std::optional<ContextHost> host(std::in_place);
    auto& state = *host->state;
    state._executeLater([&] { host.reset(); });
    state._executeLater([wish = std::make_shared<LastWish>(host->context())] { FAIL(); });
    state._runDelayedFunctions();
    EXPECT_EQ(log.lines().size(), 1U);
}

/// For the thread sanitizer. Each accepted function runs once, in its thread's order, or is counted as dropped.
TEST(DelayedFunctions, EightThreadsQueueWhileTheApplicationRunsAndEnds) {
    constexpr int kFunctions = 2'000;
    const LogCapture log;
    ContextHost host;
    const auto context = host.context();
    std::atomic<int> accepted{0};
    int ran = 0;
    std::array<int, 8> next{};
    std::vector<std::thread> threads;
    for (int& mine : next) {
        threads.emplace_back([&] {
            for (int i = 0; i < kFunctions; ++i) {
                accepted += ApplicationContext(context).executeLater([&, i] {
                    EXPECT_EQ(mine++, i);
                    EXPECT_FALSE(context.isBusy());
                    ++ran;
                });
            }
        });
    }
    while (ran < 4 * kFunctions)
        host.frame();
    host.state->_end();
    for (auto& thread : threads)
        thread.join();
    const int dropped = accepted - ran;
    const std::string line = "3 ApplicationContext: the application has ended, delayed functions not executed: ";
    EXPECT_EQ(log.lines(), dropped == 0 ? std::vector<std::string>()
                                        : std::vector<std::string>{line + std::to_string(dropped) + ".\n"});
}

TEST(ApplicationModes, AreRegisteredUnderTheNamesThatSetupsStore) {
    std::string all;
    for (const char* name : {"KrSim::eApplicationMode", "KrSim::eSynchronizationMode", "KrSim::eCommunicationModel"}) {
        const auto* type = Kr::KrEnum::getEnumeration(name);
        ASSERT_NE(type, nullptr) << name;
        for (const auto& [value, text] : type->getValues())
            all += std::to_string(value) + text + ' ';
    }
    EXPECT_EQ(all,
              "0Simulating mode 1Editing mode 2Playback mode 0Sync Off 1V-Sync 2SW Sync 3SW + V-Sync "
              "0Master 1Slave 2Automatic ");
}

}  // namespace application_context_test
