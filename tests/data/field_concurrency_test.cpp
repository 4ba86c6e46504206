#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field.h"
#include "tests/support/field_doubles.h"

namespace field_concurrency_test {

using namespace test_support;
using KrData::DelegateConnection;

constexpr std::size_t kThreads = 4;

/// Runs `work(number of the thread)` on several threads that start together, and `meanwhile` on this one.
void inParallel(
    const std::function<void(std::size_t)>& work, const std::function<void()>& meanwhile = [] {}) {
    std::latch start(kThreads + 1);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
    start.arrive_and_wait();
    meanwhile();
    for (auto& thread : threads)
        thread.join();
}

TEST(FieldConcurrency, ObserversComeAndGoWhileValuesAreSet) {
    constexpr int kRounds = 2'000;
    FakeOwner owner;
    auto* outputs = new Container("Outputs", &owner, Types::kOutput);
    Container* group = outputs->addContainer("Group");
    auto* field = group->add<double>("Field");
    std::atomic<int> heard{0};
    int heardBySteady = 0;
    const auto steady = field->addObserver([&](const FieldBase&) { ++heardBySteady; });
    FieldBase* const watched[] = {field, group, outputs, field};
    inParallel(
        [&](std::size_t thread) {
            for (int i = 0; i < kRounds; ++i) {
                const auto witness = std::make_shared<std::atomic<int>*>(&heard);
                const auto one = watched[thread]->addObserver([witness](const FieldBase&) { ++**witness; });
                const auto two = watched[thread]->addPropertyObserver([witness](const FieldBase&) { ++**witness; });
            }
        },
        [&] {
            for (int i = 1; i <= kRounds; ++i) {
                field->setValue(i);
                field->setVisible(i % 2 == 0);
            }
        });
    EXPECT_EQ(heardBySteady, kRounds);
    EXPECT_EQ(owner.outputs(), std::pair(0, 1)) << "the steady observer is left";
    EXPECT_FALSE(group->hasWatchers());
    const int before = heard;
    field->setValue(-1.0);
    EXPECT_EQ(heard, before) << "nobody is called after the end of a registration";
}

TEST(FieldConcurrency, AncestorsThatComeAndGoTogetherLeaveTheFlagsRight) {
    constexpr std::size_t kRounds = 300;
    Container top("Top");
    Container* middle = top.addContainer("Middle");
    Container* low = middle->addContainer("Low");
    for (int i = 0; i < 20; ++i)
        low->add<int>("Field");
    Container* const levels[kThreads] = {&top, middle, low, &top};
    for (std::size_t round = 1; round <= kRounds; ++round) {
        int heard = 0;
        DelegateConnection steady;
        const auto watch = [&](std::size_t thread) {
            for (int i = 0; i < 3; ++i)
                const auto brief = levels[thread]->addObserver([](const FieldBase&) {});
            if (thread == round % 3) steady = levels[thread]->addObserver([&](const FieldBase&) { ++heard; });
        };
        inParallel(watch, [&] {
            low->add<int>("Late");
            low->erase(low->begin());
            low->moveField(low->begin(), "Late");
        });
        heard = 0;  // of the children that came and went
        low->at(19).set(static_cast<int>(round));
        ASSERT_EQ(heard, 1) << "round " << round;
        steady.disconnect();
        ASSERT_FALSE(low->at(19).hasWatchers()) << "round " << round;
    }
}

TEST(FieldConcurrency, TheFirstObserversOfAnOutputComeAtOnceAndEndWhileItDies) {
    for (int round = 0; round < 300; ++round) {
        FakeOwner owner;
        auto* outputs = new Container("Outputs", &owner, Types::kOutput);
        auto* field = outputs->add<int>("Field");
        std::atomic<int> heard{0};
        std::array<DelegateConnection, kThreads> handles;
        inParallel(
            [&](std::size_t thread) { handles[thread] = field->addObserver([&](const FieldBase&) { ++heard; }); });
        field->setValue(2);
        ASSERT_EQ(heard, kThreads);
        ASSERT_EQ(owner.outputs(), std::pair(0, 1));
        inParallel([&](std::size_t thread) { handles[thread].disconnect(); }, [&] { outputs->removeField("Field"); });
        ASSERT_EQ(owner.outputs(), std::pair(0, 0)) << "round " << round;
    }
}

TEST(FieldConcurrency, FieldsAreProducedDescribedAndMissedOnAllThreads) {
    std::atomic<int> faults{0};
    std::array<std::vector<const std::string*>, kThreads> descriptions;
    inParallel([&](std::size_t thread) {
        Container container("Container");
        const std::string name = "Thread::IInterface " + std::to_string(thread);
        for (int i = 0; i < 300; ++i) {
            container.addField("Field", static_cast<Types::DataTypeEnum>(i % 60));
            container["Field"].setDescription("Concurrent description " + std::to_string(i));
            descriptions[thread].push_back(&container["Field"].getDescription());
            Types::_registerInterfaceFieldType(name.c_str(), "Interface", {});
            if (Types::nameFor(Kr::KrID(name)) != "Interface") ++faults;
            Types::_unregisterInterfaceFieldType(name.c_str());
            FieldBase& missing = container["Missing"];
            if (missing.isValid() || missing.addObserver([](const FieldBase&) {}).isConnected()) ++faults;
        }
    });
    EXPECT_EQ(faults, 0);
    for (const auto& each : descriptions)
        EXPECT_EQ(each, descriptions[0]) << "equal texts are one";
}

}  // namespace field_concurrency_test
