// How an extension counts the outputs that others watch and that connections leave, while threads observe them.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <utility>

#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "tests/support/field_doubles.h"
#include "tests/support/stress.h"

namespace output_counts_test {

using KrSim::detail::FieldsAccess;
using namespace test_support;
using KrData::DelegateConnection;
using KrSim::KrExtension;

constexpr std::size_t kOutputs = 4;

class OutputCounts : public testing::Test {
protected:
    OutputCounts() { makeAnew(); }

    void makeAnew() {
        extension = Kr::makeSmart<KrExtension>();
        for (auto*& output : outputs)
            output = extension->addOutput("Output", Types::kDouble);
    }

    [[nodiscard]] std::pair<int, int> counts() const {
        const auto& fields = extension->getFieldsContainer();
        return {FieldsAccess::getConnectedOutputCount(fields), FieldsAccess::getWatchedOutputCount(fields)};
    }
    /// An observer of the output that this thread shares with others.
    [[nodiscard]] DelegateConnection observe(int thread) {
        return outputs[static_cast<std::size_t>(thread) % kOutputs]->addObserver([](const FieldBase&) {});
    }

    Kr::KrSmartPtr<KrExtension> extension;
    std::array<FieldBase*, kOutputs> outputs{};
};

TEST_F(OutputCounts, AreRightWhenThreadsHaveObservedWhileFieldsMovedAndConnectionsCameAndWent) {
    constexpr int kRounds = stressRounds(500, 5'000);
    Container elsewhere("Elsewhere");
    Field<double> sink("Sink");
    std::array<DelegateConnection, kStressThreads> last;
    runStress(
        kRounds,
        [&](int thread, int) {
            const auto brief = observe(thread);
            last[static_cast<std::size_t>(thread)] = observe(thread);
        },
        [&] {
            const FakeConnection connection(*outputs[0], sink);
            ASSERT_TRUE(outputs[1]->setParent(&elsewhere));
            ASSERT_TRUE(outputs[1]->setParent(&extension->getOutputContainer()));
            extension->getOutputContainer().refreshObservers();
        });
    EXPECT_EQ(counts(), std::pair(0, static_cast<int>(kOutputs)))
        << "each output has the last observers of two threads";
    last = {};
    EXPECT_EQ(counts(), std::pair(0, 0));
}

TEST_F(OutputCounts, AreLeftAloneByObserversThatEndWhileTheExtensionDies) {
    for (int round = 0; round < stressRounds(50, 200); ++round) {
        makeAnew();
        std::array<DelegateConnection, kStressThreads> handles;
        for (int thread = 0; thread < kStressThreads; ++thread)
            handles[static_cast<std::size_t>(thread)] = observe(thread);
        runStress(
            1, [&](int thread, int) { handles[static_cast<std::size_t>(thread)].disconnect(); },
            [&] { extension = nullptr; });
        for (const auto& handle : handles)
            EXPECT_FALSE(handle.isConnected());
    }
}

}  // namespace output_counts_test
