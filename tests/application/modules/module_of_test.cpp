#include "kr/application/modules/module_of.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/application/application.h"
#include "kr/core/connections/connection.h"
#include "kr/extension/extension.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/smart_interface.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/guard.h"
#include "tests/support/log_capture.h"

namespace module_of_test {

using KrSim::eApplicationMode;
using KrSim::KrApplication;
using KrSim::KrExtension;
using testing::ElementsAre;
using testing::IsEmpty;

using Extension = Kr::KrSmartPtr<KrExtension>;
using Calls = std::vector<std::string>;

/// What the module steps: no extension by itself.
struct Body {
    virtual ~Body() = default;
    KrExtension* proxy{nullptr};
};

class Car final : public KrSim::IExtension, public Body {
public:
    explicit Car(KrExtension* itsProxy) : IExtension(itsProxy, 1) { proxy = itsProxy; }
    KrSim::Input<double> force{this, "Force"};
    KrSim::Output<double> speed{this, "Speed"};
};

class Tree final : public KrSim::IExtension {
public:
    explicit Tree(KrExtension* itsProxy) : IExtension(itsProxy, 1) {}
};

template <class T>
Extension make(const char* name) {
    auto extension = Kr::makeSmart<KrExtension>();
    extension->setName(name);
    static_cast<void>(new T(extension.get()));
    return extension;
}

class Traffic final : public KrSim::ModuleOf<Body> {
public:
    explicit Traffic(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, 1) {}

    void onBeforeSteps(double) override { calls.emplace_back("before"); }
    void onStep(Body& body, double seconds) override {
        calls.push_back(body.proxy->getName());
        steps.push_back(seconds);
        if (inStep) inStep(*body.proxy);
    }
    void onAfterSteps(double) override { calls.emplace_back("after"); }
    void onPostUpdate(eApplicationMode mode) override {
        stepEach(mode, [this](Body& body, double) { postSteps.push_back(body.proxy->getName()); });
        forEach([this](Body&) { ++visits; });
    }
    using ModuleOf::forEach;

    std::function<void(KrExtension&)> inStep;
    Calls calls;
    Calls postSteps;
    std::vector<double> steps;
    int visits{0};
};

/// An application that simulates at 50 Hz, with the module in it.
struct Road {
    Road() {
        application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff);
        application->setSimulationFrameRate(50.0);
        application->setApplicationMode(eApplicationMode::kSimulating);
        application->insertModule(KrSim::KrSmartInterface<KrSim::ISimulatorModule>(traffic));
    }
    template <class T>
    Extension add(const char* name) const {
        auto extension = make<T>(name);
        application->add(extension.get());
        return extension;
    }
    /// What the module did in the next frame.
    [[nodiscard]] Calls frame() const {
        traffic->calls.clear();
        application->update();
        return traffic->calls;
    }

    Kr::KrSmartPtr<KrApplication> application = KrApplication::create();
    Kr::KrSmartPtr<KrSim::KrSimulatorModule> proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    Traffic* traffic = new Traffic(proxy.get());
};

std::unique_ptr<Kr::KrConnection> connect(const Extension& source, const Extension& sink) {
    return std::make_unique<Kr::KrConnection>(source->getOutput("Speed"), sink->getInput("Force"));
}

TEST(ModuleOf, ManagesTheExtensionsOfItsTypeOnly) {
    const Road road;
    const auto car = road.add<Car>("Car");
    const auto tree = road.add<Tree>("Tree");
    EXPECT_THAT(road.frame(), ElementsAre("before", "Car", "after"));
    EXPECT_TRUE(car->isActive());
    EXPECT_FALSE(tree->isActive());
    road.application->remove(car.get());
    EXPECT_THAT(road.frame(), ElementsAre("before", "after"));
}

TEST(ModuleOf, StepsSourcesOfConnectionsBeforeTheirSinks) {
    const Road road;
    const auto first = road.add<Car>("First");
    const auto second = road.add<Car>("Second");
    const auto third = road.add<Car>("Third");
    auto connection = connect(third, second);
    const auto other = connect(second, first);
    EXPECT_THAT(road.frame(), ElementsAre("before", "Third", "Second", "First", "after"));
    connection.reset();
    connection = connect(first, third);
    EXPECT_THAT(road.frame(), ElementsAre("before", "Second", "First", "Third", "after"));
    EXPECT_THAT(road.traffic->postSteps, ElementsAre("Third", "Second", "First", "Second", "First", "Third"));
}

TEST(ModuleOf, StepsByTheTimeStepOfTheApplication) {
    const Road road;
    const auto car = road.add<Car>("Car");
    road.application->update();
    road.application->setSimulationFrameRate(100.0);
    road.application->update();
    EXPECT_THAT(road.traffic->steps, ElementsAre(1.0 / 50.0, 1.0 / 100.0));
}

struct IdleCase {
    const char* name;
    std::function<void(KrApplication&)> begin;
    int visitsOfAFrame;
};

class ModuleOfIdle : public testing::TestWithParam<IdleCase> {};

TEST_P(ModuleOfIdle, StepsNothing) {
    const Road road;
    const auto car = road.add<Car>("Car");
    GetParam().begin(*road.application);
    EXPECT_THAT(road.frame(), IsEmpty());
    EXPECT_THAT(road.traffic->postSteps, IsEmpty());
    EXPECT_EQ(road.traffic->visits, GetParam().visitsOfAFrame);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, ModuleOfIdle,
    testing::Values(IdleCase{"Editing", [](auto& each) { each.setApplicationMode(eApplicationMode::kEditing); }, 1},
                    IdleCase{"Playback", [](auto& each) { each.setApplicationMode(eApplicationMode::kPlayback); }, 1},
                    IdleCase{"Paused", [](auto& each) { each.pause(); }, 0}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(ModuleOf, StepsNothingOutsideOfAnApplication) {
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    auto* traffic = new Traffic(proxy.get());
    const auto car = make<Car>("Car");
    proxy->addExtension(car);
    proxy->update(eApplicationMode::kSimulating);
    EXPECT_THAT(traffic->calls, IsEmpty());
}

std::string lastFailure;

TEST(ModuleOf, NamesTheUnitThatThrowsAndStepsTheOthers) {
    const Road road;
    const test_support::LogCapture log;
    road.proxy->setName("Traffic");
    const auto first = road.add<Car>("First");
    const auto second = road.add<Car>("Second");
    road.traffic->inStep = [&](KrExtension& car) {
        if (&car == first.get()) throw std::runtime_error("no fuel");
        throw 7;
    };
    auto* const previous =
        Kr::setFailureObserver([](const Kr::GuardedCall& call, const std::string&, const char*) noexcept {
            lastFailure = call.getSubject().extension->getName() + " " + call.getTexts().callback;
        });
    EXPECT_THAT(road.frame(), ElementsAre("before", "First", "Second", "after"));
    Kr::setFailureObserver(previous);
    EXPECT_EQ(lastFailure, "Second onStep");
    EXPECT_THAT(log.lines(),
                testing::IsSupersetOf({"3 KrSimulatorModule: fatal error in 'First' onStep of 'Traffic' [no fuel]\n",
                                       "3 KrSimulatorModule: unhandled exception in 'Second' onStep of 'Traffic'\n"}));
}

TEST(ModuleOf, NamesAUnitThatRemovesItselfBeforeItThrows) {
    const Road road;
    const test_support::LogCapture log;
    road.proxy->setName("Traffic");
    const auto first = road.add<Car>("First");
    const auto second = road.add<Car>("Second");
    road.traffic->inStep = [&](KrExtension& car) {
        if (&car != first.get()) return;
        road.proxy->removeExtension(first);
        throw std::runtime_error("gone");
    };
    EXPECT_THAT(road.frame(), ElementsAre("before", "First", "Second", "after"));
    EXPECT_THAT(log.lines(),
                testing::Contains("3 KrSimulatorModule: fatal error in 'First' onStep of 'Traffic' [gone]\n"));
}

TEST(ModuleOf, SkipsUnitsThatAreRemovedDuringTheWalkAndTakesAddedOnesInTheNextOne) {
    const Road road;
    const auto first = road.add<Car>("First");
    auto second = road.add<Car>("Second");
    const auto third = make<Car>("Third");
    road.traffic->inStep = [&](KrExtension& car) {
        if (&car != first.get() || !second) return;
        // Past the application, which would wait for the end of the passes.
        road.proxy->removeExtension(second.get());
        road.proxy->removeExtension(first.get());
        road.proxy->addExtension(third);
        road.traffic->forEach([](Body& body) { ADD_FAILURE() << "still there: " << body.proxy->getName(); });
    };
    EXPECT_THAT(road.frame(), ElementsAre("before", "First", "after"));
    road.application->remove(second.get());
    second.reset();
    EXPECT_THAT(road.frame(), ElementsAre("before", "Third", "after"));
    road.proxy->removeExtension(third);
}

TEST(ModuleOf, FollowsImplementationsThatAreReplaced) {
    const Road road;
    const auto first = road.add<Car>("First");
    const auto second = road.add<Car>("Second");
    road.application->update();
    static_cast<void>(new Car(first.get()));
    static_cast<void>(new Tree(second.get()));
    EXPECT_THAT(road.frame(), ElementsAre("before", "First", "after"));
}

TEST(ModuleOf, ForgetsItsUnitsWithItsApplication) {
    const Road road;
    const KrSim::KrSmartInterface<KrSim::ISimulatorModule> module(road.traffic);
    auto car = road.add<Car>("Car");
    road.application->update();
    road.application->removeModule(module);
    road.application->remove(car.get());
    car.reset();
    road.application->insertModule(module);
    EXPECT_THAT(road.frame(), ElementsAre("before", "after"));
}

TEST(ModuleOf, AllocatesNothingInTheSteadyState) {
    const Road road;
    const auto first = road.add<Car>("First");
    const auto second = road.add<Car>("Second");
    const auto connection = connect(first, second);
    road.traffic->calls.reserve(100);
    road.traffic->postSteps.reserve(100);
    road.traffic->steps.reserve(100);
    road.application->update();
    road.application->update();
    const auto before = kr_benchmark::allocations();
    for (int frame = 0; frame < 5; ++frame)
        road.application->update();
    EXPECT_EQ(kr_benchmark::allocations() - before, 0U);
}

}  // namespace module_of_test
