#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/event_manager_internal.h"
#include "kr/platform/log.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/stress.h"

namespace event_manager_concurrency_test {

using KrSim::EventData;
using KrSim::EventListener;

std::atomic<int> warnings{0};

void countWarning(Kr::eLogLevel, const char*, std::va_list) {
    ++warnings;
}

/// What a callback owns: it must not die while the callback runs.
struct Owned {
    explicit Owned(std::atomic<int>& counter) : wrong(counter) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        if (running != 0) ++wrong;
    }
    std::atomic<int>& wrong;
    std::atomic<int> running{0};
    std::atomic<bool> hasHeardItself{false};
};

/// Each of the threads, which share three ids, registers and sends in every round. Handles end on the thread that made
/// them or, handed over, on another one, while events of all threads are delivered.
TEST(EventManagerStress, ThreadsRegisterSendLogAndUnregister) {
    constexpr int kIds = 3;
    constexpr int kRounds = test_support::stressRounds(50'000, 2'000);
    const test_support::DispatcherScope scope;
    KrSim::KrEventDispatcher::preUpdate();
    KrSim::EventManagerImplementation manager;
    KrSim::EventManagerInternal internal(&manager);
    warnings = 0;
    const Kr::LogHandler previous = Kr::LogSetHandler(&countWarning);

    std::atomic<std::int64_t> heard{0};
    std::atomic<int> wrong{0};
    std::atomic<int> thrown{0};
    std::vector<EventListener> steady;
    for (int id = 1; id <= kIds; ++id) {
        steady.push_back(manager.registerListener(KrSim::EventManagerInternal::createInternalEventId(id),
                                                  [&](const EventData&) { ++heard; }));
    }
    std::mutex mutex;  // guards the next member
    std::array<EventListener, 2 * test_support::kStressThreads> handedOver;

    const auto work = [&](int thread, int round) {
        const auto id = KrSim::EventManagerInternal::createInternalEventId(1 + (thread + round) % kIds);
        const auto owned = std::make_shared<Owned>(wrong);
        const auto sender = std::this_thread::get_id();
        const bool throws = round % 64 == 0;
        EventListener mine =
            manager.registerListener(id, [owned, sender, throws, &wrong, &thrown](const EventData& data) {
                ++owned->running;
                int first = 0;
                int second = -1;
                data >> first >> second;
                if (first != second) ++wrong;
                if (std::this_thread::get_id() == sender) owned->hasHeardItself = true;
                --owned->running;
                if (throws) {
                    ++thrown;
                    throw std::runtime_error("broken");
                }
            });
        EventData data;
        data << round << round;
        internal.sendEventLocallyImmediately(id, data);
        if (!owned->hasHeardItself) ++wrong;
        if (round % 16 == 0) manager.sendEvent(id, data);
        if (round % 2 == 0) {
            mine.unregister();
        } else {
            const std::lock_guard lock(mutex);
            std::swap(mine, handedOver[static_cast<std::size_t>(5 * round + thread) % handedOver.size()]);
        }
    };
    test_support::runStress(kRounds, work, [] { KrSim::KrEventDispatcher::preUpdate(); });
    for (auto& each : handedOver)
        each.unregister();
    Kr::LogSetHandler(previous);
    const std::int64_t queued = test_support::kStressThreads * ((kRounds + 15) / 16);
    EXPECT_EQ(heard, std::int64_t{test_support::kStressThreads} * kRounds + queued);
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(thrown, 0);
    EXPECT_EQ(warnings, thrown);
}

}  // namespace event_manager_concurrency_test
