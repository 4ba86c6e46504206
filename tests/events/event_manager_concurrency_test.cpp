#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/event_manager_internal.h"
#include "tests/support/dispatcher_scope.h"

namespace event_manager_concurrency_test {

using KrSim::EventData;
using KrSim::EventListener;

/// For the thread sanitizer: eight threads share three ids; each registers, sends and unregisters in every round.
TEST(EventManagerStress, EightThreadsRegisterSendAndUnregister) {
    constexpr int kThreads = 8;
    constexpr int kIds = 3;
#ifdef __SANITIZE_THREAD__
    constexpr int kRounds = 50'000;
#else
    constexpr int kRounds = 2'000;
#endif
    const test_support::DispatcherScope scope;
    KrSim::KrEventDispatcher::preUpdate();
    KrSim::EventManagerImplementation manager;
    KrSim::EventManagerInternal internal(&manager);

    std::atomic<std::int64_t> heard{0};
    std::atomic<int> wrong{0};
    std::vector<EventListener> steady;
    for (int id = 1; id <= kIds; ++id) {
        steady.push_back(manager.registerListener(KrSim::EventManagerInternal::createInternalEventId(id),
                                                  [&](const EventData&) { ++heard; }));
    }
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                const auto id = KrSim::EventManagerInternal::createInternalEventId(1 + (thread + round) % kIds);
                // Owned by the callback: another thread may be inside it when this round is over.
                const auto hasHeardItself = std::make_shared<std::atomic<bool>>(false);
                const auto sender = std::this_thread::get_id();
                EventListener mine =
                    manager.registerListener(id, [&wrong, hasHeardItself, sender](const EventData& data) {
                        int first = 0;
                        int second = -1;
                        data >> first >> second;
                        if (first != second) ++wrong;
                        if (std::this_thread::get_id() == sender) *hasHeardItself = true;
                    });
                EventData data;
                data << round << round;
                internal.sendEventLocallyImmediately(id, data);
                if (!*hasHeardItself) ++wrong;
                if (round % 16 == 0) manager.sendEvent(id, data);
                mine.unregister();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    KrSim::KrEventDispatcher::preUpdate();
    const std::int64_t queued = kThreads * ((kRounds + 15) / 16);
    EXPECT_EQ(heard, std::int64_t{kThreads} * kRounds + queued);
    EXPECT_EQ(wrong, 0);
}

}  // namespace event_manager_concurrency_test
