#include "kr/application/context/application_context.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
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
using testing::Pair;

/// All answers, so that one that another was mistaken for shows.
std::vector<double> answersOf(const ApplicationContext& context, const ContextHost& host) {
    return {double(context.isValid()),
            double(context.isActivationTracked()),
            double(context.isRunning()),
            double(context.isUpdatingModules()),
            double(context.isApplicationThread()),
            double(context.getThread() != Kr::ThreadId::kNone),
            double(&context.getEventManager() == &host.events),
            double(&context.getErrorManager() == &host.errors),
            double(context.getApplicationMode()),
            double(context.getSyncMode()),
            double(context.getCommunicationModel()),
            double(context.getFrame()),
            context.getElapsedSeconds(),
            context.getSecondsBetweenFrames(),
            context.getUpdateSeconds(),
            context.getWaitSeconds(),
            context.getSimulationFrameRate(),
            context.getRequestedFrameRate(),
            context.getSimulationTimeStep()};
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
        EXPECT_THAT(answersOf(context, host),
                    ElementsAre(1, 1, 1, 1, 1, 1, 1, 1, 2, 3, 1, 4e9, 11, 12, 13, 14, 50, 51, 0.02));
        EXPECT_THAT(answersOf(none, host), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
        host.state->_end();  // amid the update
    });
    EXPECT_EQ(answersOf(context, host), answersOf(none, host));
}

struct BusyCase {
    const char* name;
    bool running;
    bool updating;
    bool onOtherThread;
    bool busy;
};
class Busy : public testing::TestWithParam<BusyCase> {};

TEST_P(Busy, WhileTheContentMustNotChange) {
    const ContextHost host;
    host.state->_setThread(Kr::getCurrentThreadId());
    host.state->_setRunning(GetParam().running);
    host.state->_setUpdatingModules(GetParam().updating);
    bool busy = !GetParam().busy;
    const auto ask = [&] { busy = host.context().isBusy(); };
    if (GetParam().onOtherThread) {
        std::thread(ask).join();
    } else {
        ask();
    }
    EXPECT_EQ(busy, GetParam().busy);
}

INSTANTIATE_TEST_SUITE_P(Rule, Busy,
                         testing::Values(BusyCase{"Stopped", false, false, false, false},
                                         BusyCase{"StoppedOtherThread", false, false, true, false},
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

TEST(DelayedFunctions, AreRefusedWhereNobodyWouldRunThem) {
    std::optional<ContextHost> host(std::in_place);
    const auto context = host->context();
    EXPECT_FALSE(context.executeLater(nullptr));
    EXPECT_FALSE(ApplicationContext().executeLater([] { FAIL(); }));
    host.reset();
    EXPECT_FALSE(context.executeLater([] { FAIL(); }));
}

/// Asks for more work as it dies.
struct LastWish {
    explicit LastWish(ApplicationContext asked) : context(std::move(asked)) {}
    ~LastWish() {
        context.executeLater([] { FAIL(); });
    }
    ApplicationContext context;
};

TEST(DelayedFunctions, ThatWaitAtTheEndAreDestroyedUnrunOutsideTheLock) {
    const LogCapture log;
    {
        const ContextHost host;
        host.context().executeLater([wish = std::make_shared<LastWish>(host.context())] { FAIL(); });
    }
    EXPECT_THAT(log.lines(),
                ElementsAre("3 ApplicationContext: the application has ended, delayed functions not executed: 1.\n"));
}

TEST(DelayedFunctions, OneMayDestroyTheApplication) {
    const LogCapture log;
    auto host = std::make_unique<ContextHost>();
    const auto context = host->context();
    auto* state = host->state.get();
    context.executeLater([&] { host.reset(); });
    context.executeLater([wish = std::make_shared<LastWish>(context)] { FAIL(); });
    state->_runDelayedFunctions();
    EXPECT_EQ(log.lines().size(), 1U);
}

/// For the thread sanitizer. Each accepted function runs once, in its thread's order, or is counted as dropped.
TEST(DelayedFunctions, EightThreadsQueueWhileTheApplicationRunsAndEnds) {
    constexpr std::size_t kThreads = 8;
    constexpr int kFunctions = 2'000;
    const LogCapture log;
    ContextHost host;
    const auto context = host.context();
    std::array<int, kThreads> accepted{};
    std::array<int, kThreads> ran{};
    std::latch start(kThreads + 1);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            start.arrive_and_wait();
            for (int i = 0; i < kFunctions; ++i) {
                const bool taken = ApplicationContext(context).executeLater([&, thread, i] {
                    EXPECT_EQ(ran[thread]++, i);
                    EXPECT_TRUE(context.isApplicationThread() && !context.isBusy());
                });
                if (taken) ++accepted[thread];
            }
        });
    }
    start.arrive_and_wait();
    const auto sum = [](const auto& counts) {
        int total = 0;
        for (const int each : counts)
            total += each;
        return total;
    };
    while (sum(ran) < int{kThreads} * kFunctions / 2)
        host.frame();
    host.state->_end();
    for (auto& thread : threads)
        thread.join();
    const int dropped = sum(accepted) - sum(ran);
    if (dropped == 0) {
        EXPECT_TRUE(log.lines().empty());
    } else {
        EXPECT_THAT(log.lines(),
                    ElementsAre("3 ApplicationContext: the application has ended, delayed functions not executed: " +
                                std::to_string(dropped) + ".\n"));
    }
}

TEST(ApplicationModes, AreRegisteredUnderTheNamesThatSetupsStore) {
    const auto valuesOf = [](const char* name) {
        const auto* type = Kr::KrEnum::getEnumeration(name);
        return type ? type->getValues() : Kr::KrEnum::EnumType::Values{};
    };
    EXPECT_THAT(valuesOf("KrSim::eApplicationMode"),
                ElementsAre(Pair(0, "Simulating mode"), Pair(1, "Editing mode"), Pair(2, "Playback mode")));
    EXPECT_THAT(valuesOf("KrSim::eSynchronizationMode"),
                ElementsAre(Pair(0, "Sync Off"), Pair(1, "V-Sync"), Pair(2, "SW Sync"), Pair(3, "SW + V-Sync")));
    EXPECT_THAT(valuesOf("KrSim::eCommunicationModel"),
                ElementsAre(Pair(0, "Master"), Pair(1, "Slave"), Pair(2, "Automatic")));
}

}  // namespace application_context_test
