#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/events/event_access.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/events/event_manager_internal.h"
#include "kr/platform/log.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"
#include "tests/support/stress.h"

namespace event_concurrency_test {

using KrSim::EventData;
using KrSim::EventListener;
using KrSim::KrEventDispatcher;
using KrSim::KrSimEvent;

/// Calls a function; unregistered when it dies.
class FunctionListener final : public KrSim::KrSimEventListener {
public:
    FunctionListener(int id, std::function<void(const KrSimEvent&)> function) : _function(std::move(function)) {
        KrEventDispatcher::registerListener(id, this);
    }
    void onSimEvent(const KrSimEvent& event) override { _function(event); }

private:
    std::function<void(const KrSimEvent&)> _function;
};

/// Runs a blocking send on another thread, while this one, the owner, runs frames until it has returned.
class BlockingSend {
public:
    explicit BlockingSend(const KrSimEvent& event)
        : _thread([this, event] {
              _result = KrEventDispatcher::sendEventLocallyImmediatelyBlocking(event);
              _isBack = true;
          }) {}
    ~BlockingSend() { _thread.join(); }
    BlockingSend(const BlockingSend&) = delete;
    BlockingSend& operator=(const BlockingSend&) = delete;

    [[nodiscard]] bool isBack() const { return _isBack; }
    bool resultAfter(const std::function<void()>& frame) {
        while (!_isBack) {
            frame();
            std::this_thread::yield();
        }
        return _result;
    }

private:
    bool _result{false};
    std::atomic<bool> _isBack{false};
    std::thread _thread;
};

class BlockingEvents : public testing::Test {
protected:
    BlockingEvents() { KrEventDispatcher::preUpdate(); }
    test_support::DispatcherScope scope;
};

TEST_F(BlockingEvents, LetTheSenderGoAfterTheOwnersDelivery) {
    std::vector<std::thread::id> calledOn;
    const FunctionListener listener(1, [&](const KrSimEvent&) {
        calledOn.push_back(std::this_thread::get_id());
        throw std::runtime_error("broken");
    });
    KrSimEvent delayed(1);
    delayed.setDelay(-1.0);
    int thrown = 0;
    for (const KrSimEvent& event : {KrSimEvent(1), delayed, KrSimEvent(2)}) {
        BlockingSend send(event);
        EXPECT_TRUE(send.resultAfter([&thrown] {
            try {
                KrEventDispatcher::preUpdate();
            } catch (const std::runtime_error&) {
                ++thrown;
            }
        }));
    }
    EXPECT_EQ(calledOn, std::vector(2, std::this_thread::get_id())) << "nobody listens to the third";
    EXPECT_EQ(thrown, 2) << "the exception is the owner's";
}

TEST_F(BlockingEvents, MayBeDoneLaterByACopy) {
    std::optional<KrSimEvent> kept;
    const FunctionListener listener(1, [&](const KrSimEvent& event) {
        event.disableAutomaticDoneSignal();
        kept = event;
    });
    BlockingSend send(KrSimEvent(1));
    while (!kept)
        KrEventDispatcher::preUpdate();
    KrEventDispatcher::preUpdate();
    EXPECT_FALSE(send.isBack());
    EXPECT_TRUE(send.resultAfter([&] { kept->raiseDoneSignal(); }));

    kept.reset();
    BlockingSend dropped(KrSimEvent(1));
    while (!kept)
        KrEventDispatcher::preUpdate();
    kept.reset();
    EXPECT_FALSE(dropped.resultAfter([] {})) << "nobody can raise it any more";
}

TEST_F(BlockingEvents, AreWaitedForLaterByASenderWithOtherWork) {
    const FunctionListener listener(1, [](const KrSimEvent&) {});
    KrSimEvent handled(1), dropped(1), plain(1);
    handled.expectDoneSignal();
    dropped.expectDoneSignal();
    std::atomic<bool> isSent{false};
    std::thread sender([&] {
        KrEventDispatcher::sendEventLocally(handled);
        isSent = true;
    });
    while (!isSent)
        std::this_thread::yield();
    EXPECT_FALSE(handled.waitForDoneSignal(0.0)) << "not delivered yet";
    KrEventDispatcher::preUpdate();
    EXPECT_TRUE(handled.waitForDoneSignal());
    EXPECT_TRUE(handled.waitForDoneSignal()) << "it stays so";
    sender.join();
    EXPECT_FALSE(dropped.waitForDoneSignal()) << "no copy is left that could raise it";
    EXPECT_FALSE(plain.waitForDoneSignal()) << "none is expected";
}

TEST_F(BlockingEvents, WarnOnceOfAnOwnerThatDoesNotDeliver) {
    const test_support::LogCapture log;
    KrSim::detail::DispatcherAccess::setPatience(0.0);
    BlockingSend send(KrSimEvent(1));
    while (log.lines().empty())
        std::this_thread::yield();
    EXPECT_TRUE(send.resultAfter([] { KrEventDispatcher::preUpdate(); }));
    EXPECT_THAT(log.lines(), testing::ElementsAre(testing::HasSubstr(" the thread of the common queue ")));
}

TEST_F(BlockingEvents, AreDroppedWhenTheOwnerIsReset) {
    std::atomic<int> calls{0};
    const FunctionListener listener(1, [&](const KrSimEvent&) { ++calls; });
    KrSimEvent later(1);
    later.setDelay(1e6);
    for (const KrSimEvent& event : {KrSimEvent(1), later}) {
        // The send may come before or after a reset; after it, the sender delivers for itself and is the owner.
        BlockingSend send(event);
        send.resultAfter([] {
            KrSim::detail::DispatcherAccess::resetOwner();
            KrEventDispatcher::preUpdate();
        });
    }
    EXPECT_LE(calls, 1);
}

/// Everything at the same time, for the thread sanitizer; at the end nothing may be lost.
TEST(EventStress, ThreadsRegisterSendAndUnregister) {
    constexpr int kRounds = test_support::stressRounds(60'000, 4'000);
    constexpr int kIds = 5;
    const test_support::DispatcherScope scope;
    const auto [ours, theirs] = test_support::InProcessEventChannel::makePair();
    ours->enableDebugging(true);
    KrEventDispatcher::setSharedEventChannel(ours);
    KrEventDispatcher::preUpdate();

    std::atomic<int> heard{0};
    std::atomic<int> heardByBrief{0};
    std::array<std::unique_ptr<FunctionListener>, kIds> steady;
    for (int id = 0; id < kIds; ++id) {
        steady[static_cast<std::size_t>(id)] =
            std::make_unique<FunctionListener>(id, [&heard](const KrSimEvent&) { ++heard; });
    }
    // A listener that comes and goes on other threads than those that deliver must outlive the deliveries under way.
    std::array<std::unique_ptr<FunctionListener>, test_support::kStressThreads> brief;
    for (auto& each : brief)
        each = std::make_unique<FunctionListener>(-1, [&heardByBrief](const KrSimEvent&) { ++heardByBrief; });

    const auto work = [&](int thread, int round) {
        auto* mine = brief[static_cast<std::size_t>(thread)].get();
        const int id = (thread + round) % kIds;
        KrEventDispatcher::registerListener(id, mine);
        const std::vector<std::uint8_t> payload(round % 100 == 0 ? 200u : 16u, std::uint8_t{1});
        KrSimEvent late(id, payload);
        late.setDelay(-1.0);
        switch (round % 4) {
            case 0:
                KrEventDispatcher::sendEventLocallyImmediately(KrSimEvent(id, payload));
                break;
            case 1:
                KrEventDispatcher::sendEventLocallyAndRemotely(KrSimEvent(id, "other", payload));
                break;
            case 2:
                KrEventDispatcher::sendEventLocally(late);
                break;
            default:
                KrEventDispatcher::sendEventLocallyImmediatelyBlocking(KrSimEvent(id, payload));
        }
        KrSim::EventIDList::instance().add("Stress " + std::to_string(round % 50));
        KrEventDispatcher::unregisterListener(id, mine);
    };
    test_support::runStress(kRounds, work, [] {
        KrEventDispatcher::preUpdate();
        KrEventDispatcher::postUpdate();
    });
    EXPECT_EQ(heard, test_support::kStressThreads * kRounds);
    EXPECT_GT(heardByBrief, 0);
    std::uint64_t sent = 0;
    for (int id = 0; id < kIds; ++id)
        sent += ours->getSentTraffic(id).events;
    EXPECT_EQ(sent, static_cast<std::uint64_t>(test_support::kStressThreads * kRounds / 4));
}

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

}  // namespace event_concurrency_test
