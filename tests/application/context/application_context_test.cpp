#include "kr/application/context/application_context.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "kr/core/enum.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/stress.h"

namespace application_context_test {

using KrSim::ApplicationContext;
using test_support::ContextHost;
using test_support::LogCapture;
using testing::ElementsAre;

TEST(ApplicationContext, AnswersForTheApplicationUntilItEndsAmidAFrame) {
    ContextHost host;
    const auto context = host.context();
    const auto answers = [](const ApplicationContext& asked) {
        return std::tuple(asked.isValid(), asked.isRunning(), asked.isUpdatingModules(), asked.isApplicationThread(),
                          asked.getFrame(), asked.getElapsedSeconds(), asked.getSecondsBetweenFrames(),
                          asked.getUpdateSeconds(), asked.getWaitSeconds(), asked.getSimulationFrameRate(),
                          asked.getRequestedFrameRate(), asked.isPaused(), asked.getSyncMode(),
                          &asked.getEventManager(), &asked.getErrorManager());
    };
    host.frame([&] {
        host.state->frame = 4'000'000'000U;
        host.state->elapsedSeconds = 11.0;
        host.state->secondsBetweenFrames = 12.0;
        host.state->updateSeconds = 13.0;
        host.state->waitSeconds = 14.0;
        host.state->frameRateHz = 50.0;
        host.state->requestedRateHz = 51.0;
        host.state->isPaused = true;
        host.state->syncMode = KrSim::eSynchronizationMode::kSWAndVSync;
        EXPECT_EQ(answers(context), std::tuple(true, true, true, true, 4e9, 11, 12, 13, 14, 50, 51, true,
                                               KrSim::eSynchronizationMode::kSWAndVSync,
                                               static_cast<KrSim::EventManager*>(&host.events), &host.errors));
        host.state->end();
    });
    EXPECT_EQ(answers(context), answers(ApplicationContext()));
    EXPECT_FALSE(context.isValid());
    EXPECT_FALSE(context.isRunning());
    EXPECT_FALSE(context.isPaused());
}

TEST(ApplicationContext, IsBusyWhileTheContentMustNotChange) {
    struct {
        bool isRunning, isUpdating, onOtherThread, isBusy;
    } const cases[] = {{false, false, false, false},
                       {false, true, true, false},
                       {true, false, false, false},
                       {true, true, false, true},
                       {true, false, true, true}};
    for (const auto& each : cases) {
        const ContextHost host;
        host.state->thread = each.onOtherThread ? Kr::ThreadId::kNone : Kr::getCurrentThreadId();
        host.state->isRunning = each.isRunning;
        host.state->isUpdatingModules = each.isUpdating;
        EXPECT_EQ(host.context().isBusy(), each.isBusy) << &each - cases;
    }
}

TEST(DelayedFunctions, RunInOrderABatchAtATimeAndPastExceptions) {
    const LogCapture log;
    ContextHost host;
    const auto context = host.context();
    std::string ran;
    const std::function<void()> again = [&] {
        ran += 'a';
        context.executeLater(again);
        host.state->runDelayedFunctions();  // must not overtake what is left of this batch
    };
    context.executeLater(again);
    context.executeLater([] { throw std::runtime_error("too late"); });
    context.executeLater([] { throw 7; });
    context.executeLater([&] { ran += 'b'; });
    host.state->runDelayedFunctions();
    EXPECT_EQ(ran, "ab");
    EXPECT_THAT(log.lines(),
                ElementsAre("3 ApplicationContext: Exception thrown when executing a delayed function: too late.\n",
                            "3 ApplicationContext: Unhandled exception thrown when executing a delayed function.\n"));
    host.state->runDelayedFunctions();
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
    state.executeLater([&] { host.reset(); });
    state.executeLater([wish = std::make_shared<LastWish>(host->context())] { FAIL(); });
    state.runDelayedFunctions();
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
    std::array<int, test_support::kStressThreads> next{};
    const auto queue = [&](int thread, int round) {
        accepted += ApplicationContext(context).executeLater([&, thread, round] {
            EXPECT_EQ(next[static_cast<std::size_t>(thread)]++, round);
            EXPECT_FALSE(context.isBusy());
            ++ran;
        });
    };
    bool hasEnded = false;
    test_support::runStress(kFunctions, queue, [&] {
        if (hasEnded) return;
        host.frame();
        hasEnded = ran >= 4 * kFunctions;
        if (hasEnded) host.state->end();
    });
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
