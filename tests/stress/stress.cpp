// Two applications, made, run and destroyed again and again on threads of their own, and four threads that add, remove,
// log, observe and send meanwhile. For the thread sanitizer; what is checked here is that nothing is lost.
//
// Usage: kr_stress [seconds, default 10]

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kr/application/application.h"
#include "kr/core/connections/connection.h"
#include "kr/core/connections/sim_queued_connection.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/events/errors/error_handler.h"
#include "kr/events/errors/error_manager.h"
#include "kr/events/event_data.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/event_listener.h"
#include "kr/events/event_manager.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/extension/extension.h"
#include "kr/extension/object.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/log.h"
#include "kr/signals/delegate_connection.h"
#include "tests/support/stepping_module.h"

namespace {

using Clock = std::chrono::steady_clock;
using KrSim::EventData;
using KrSim::EventManager;
using KrSim::KrApplication;
using KrSim::KrEventDispatcher;
using KrSim::KrExtension;
using KrSim::KrSimEvent;
using ApplicationPtr = Kr::KrSmartPtr<KrApplication>;
using ExtensionPtr = Kr::KrSmartPtr<KrExtension>;

constexpr int kRawNumber = 4711;
constexpr int kApplications = 2;
constexpr int kWorkers = 4;

std::atomic<bool> isOver{false};
std::atomic<std::uint64_t> faults{0};
std::atomic<std::uint64_t> lives{0};   // of applications
std::atomic<std::uint64_t> rounds{0};  // of workers
std::atomic<std::uint64_t> events{0};  // that applications received
std::atomic<std::uint64_t> messages{0};

void expect(bool holds, const char* what) {
    if (holds) return;
    ++faults;
    std::fprintf(stderr, "kr_stress: %s\n", what);
}

/// Its output is connected to its own input, queued, and to an input of the next one.
class Mass final : public KrSim::IExtension {
public:
    explicit Mass(KrExtension* proxy) : IExtension(proxy, 1) {}
    void step() {
        height = height + 0.01 * (1.0 - spring);
        const double latest = height;
        expect(spring == latest, "a queued value came late");
    }
    KrSim::Input<double> spring{this, "Spring"};
    KrSim::Input<double> neighbour{this, "Neighbour"};
    KrSim::Output<double> height{this, "Height"};
};

ExtensionPtr makeMass() {
    auto extension = Kr::makeSmart<KrExtension>();
    static_cast<void>(new Mass(extension.get()));
    return extension;
}

Mass& massOf(const ExtensionPtr& extension) {
    return *extension->getImplementationAs<Mass>();
}

/// An application for the workers. They may hold it after its thread has begun the next one.
struct Shared {
    ApplicationPtr application;
    ExtensionPtr watched;  // its fields are observed by all
};

class Board {
public:
    void put(int index, Shared shared) {
        const std::lock_guard lock(_mutex);
        std::swap(_all[static_cast<std::size_t>(index)], shared);  // the old one is released after the lock
    }
    [[nodiscard]] Shared get(int index) const {
        const std::lock_guard lock(_mutex);
        return _all[static_cast<std::size_t>(index)];
    }

private:
    mutable std::mutex _mutex;  // guards the next member
    std::array<Shared, kApplications> _all;
};

Board board;

// --- Applications --------------------------------------------------------------------------------------------------

class MessageCounter final : public KrSim::ErrorManager::Listener {
public:
    void onMessage(int, Kr::eLogLevel, const std::string&, const std::string&, std::int64_t) override { ++count; }
    std::uint64_t count{0};  // plain: of the application's thread
};

void live(int index, int life) {
    const auto application = KrApplication::create();
    application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
    application->setApplicationMode(KrSim::eApplicationMode::kSimulating);
    application->insertModule(test_support::makeSteppingModule<Mass>([](Mass& mass, double) { mass.step(); }));
    const auto first = makeMass();
    const auto second = makeMass();
    const Kr::KrSimQueuedConnection feedback(massOf(first).height.getField(), massOf(first).spring.getField());
    const Kr::KrSimQueuedConnection otherFeedback(massOf(second).height.getField(), massOf(second).spring.getField());
    const Kr::KrConnection direct(massOf(first).height.getField(), massOf(second).neighbour.getField());
    application->add(first.get());
    application->add(second.get());
    const auto self = std::this_thread::get_id();
    std::uint64_t heard = 0;  // plain: of this thread
    const auto listener = application->getContext().getEventManager().registerListener(
        EventManager::createEventId("Stress"), [&heard, self](const EventData&) {
            ++heard;
            expect(std::this_thread::get_id() == self, "an event of an application was delivered on another thread");
        });
    MessageCounter counter;
    application->getContext().getErrorManager().registerListener(&counter);
    board.put(index, {application, first});
    if (life % 3 == 0) {
        for (int frame = 0; frame < 20; ++frame)
            static_cast<void>(application->update());
    }
    application->run({.frames = 30});
    board.put(index, {});
    application->executeBetweenFrames([application, first, second] {
        application->remove(first.get());
        application->remove(second.get());
    });
    application->getContext().getErrorManager().unregisterListener(&counter);
    ++lives;
    events += heard;
    messages += counter.count;
}

void runApplications(int index) {
    for (int life = 0; !isOver; ++life)
        live(index, life);
}

// --- Workers -------------------------------------------------------------------------------------------------------

class RawListener final : public KrSim::KrSimEventListener {
public:
    void onSimEvent(const KrSimEvent&) override { ++count; }
    std::atomic<int> count{0};
};

class Worker {
public:
    explicit Worker(unsigned seed) : _random(seed) {}

    void run() {
        KrEventDispatcher::registerListener(kRawNumber, &_listener);
        for (; !isOver; ++_round) {
            const Shared shared = board.get(_pick(kApplications));
            _work();
            if (shared.application) _workWith(*shared.application, shared.watched);
        }
        KrEventDispatcher::unregisterListener(kRawNumber, &_listener);
        rounds += static_cast<std::uint64_t>(_round);
    }

private:
    int _pick(int count) { return static_cast<int>(_random() % static_cast<unsigned>(count)); }

    /// On its own fields, and with the process.
    void _work() {
        switch (_pick(6)) {
            case 0:
                Kr::logMessage(Kr::eLogLevel::kWarn, "round %d\n", _round);
                break;
            case 1:
                KrEventDispatcher::sendEventLocally(KrSimEvent(kRawNumber));
                break;
            case 2:
                KrEventDispatcher::sendEventLocallyImmediately(KrSimEvent(kRawNumber));
                break;
            case 3:
                if (_round % 16 == 0) KrEventDispatcher::sendEventLocallyImmediatelyBlocking(KrSimEvent(kRawNumber));
                break;
            case 4:
                _workOnOwnFields();
                break;
            default:
                std::this_thread::yield();
        }
    }

    void _workOnOwnFields() {
        KrData::Container outputs("Outputs", nullptr, KrData::Types::kOutput);
        KrData::Container inputs("Inputs", nullptr, KrData::Types::kInput);
        auto* source = outputs.add<double>("Source");
        auto* sink = inputs.add<double>("Sink");
        auto* later = inputs.add<double>("Later");
        const Kr::KrConnection connection(source, sink);
        const Kr::KrSimQueuedConnection queued(source, later);
        int notified = 0;
        const auto watch = sink->addObserver([&notified](const KrData::FieldBase&) { ++notified; });
        source->setValue(_round + 1.0);
        expect(notified == 1 && sink->getValue() == _round + 1.0, "a worker's own fields were disturbed");
    }

    void _workWith(KrApplication& application, const ExtensionPtr& watched) {
        const auto& context = application.getContext();
        switch (_pick(8)) {
            case 0: {
                const auto extension = Kr::makeSmart<KrExtension>();
                application.add(extension.get());
                application.remove(extension.get());
                break;
            }
            case 1: {
                const auto object = Kr::makeSmart<KrSim::KrObject>();
                object->add(Kr::makeSmart<KrExtension>().get());
                application.add(object.get());
                break;
            }
            case 2:
                context.getEventManager().sendEvent(EventManager::createEventId("Stress"), EventData());
                break;
            case 3: {
                const auto watch =
                    massOf(watched).height.getField()->addObserver([this](const KrData::FieldBase&) { ++_notified; });
                std::this_thread::yield();
                break;
            }
            case 4:
                context.executeLater([&application, watched] {
                    expect(application.getContext().isApplicationThread(), "a delayed function ran elsewhere");
                });
                break;
            case 5:
                application.executeBetweenFrames([this] { ++_notified; });
                break;
            case 6:
                if (_round % 64 == 0) application.sendExitApplicationRequest();
                break;
            default:
                static_cast<void>(context.getFrameStatistics());
        }
    }

    std::minstd_rand _random;
    RawListener _listener;
    std::atomic<int> _notified{0};
    int _round{0};
};

}  // namespace

int main(int count, char** arguments) {
    const int seconds = count > 1 ? std::atoi(arguments[1]) : 10;
    KrSim::KrErrorHandler::enableConsoleLog(false);
    KrSim::KrErrorHandler::Register();
    std::vector<std::thread> threads;
    for (int i = 0; i < kApplications; ++i)
        threads.emplace_back(&runApplications, i);
    std::array<Worker, kWorkers> workers{Worker(1), Worker(2), Worker(3), Worker(4)};
    for (auto& each : workers)
        threads.emplace_back([&each] { each.run(); });
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    isOver = true;
    for (auto& each : threads)
        each.join();
    KrSim::KrErrorHandler::Unregister();
    const auto print = [](const char* what, const std::atomic<std::uint64_t>& number) {
        std::printf(" %llu %s", static_cast<unsigned long long>(number.load()), what);
    };
    expect(lives > 0 && rounds > 0 && events > 0 && messages > 0, "a part of it did not run");
    std::printf("kr_stress: %d s,", seconds);
    print("applications,", lives);
    print("rounds of workers,", rounds);
    print("events,", events);
    print("messages,", messages);
    print("faults\n", faults);
    return faults == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
