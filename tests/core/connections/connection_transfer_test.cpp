// What one change does: chains, branches, loops.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/core/connections/connection.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace connection_transfer_test {

using namespace test_support;
using Kr::KrConnection;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// Outputs that write down who heard of a change.
class Transfers : public testing::Test {
protected:
    Field<double>& make(const char* name) { return *_outputs.add<double>(name); }
    KrConnection& connect(FieldBase& source, FieldBase& sink) {
        return *_connections.emplace_back(std::make_unique<KrConnection>(&source, &sink));
    }
    void watch(FieldBase& field, const std::string& name = {}) {
        _watches.push_back(field.addObserver([this, name](const FieldBase& changed) {
            heard.push_back(name + changed.getID().str() + changed.toString());
        }));
    }

    Container _outputs{"Outputs", nullptr, Types::kOutput};
    std::vector<std::unique_ptr<KrConnection>> _connections;
    std::vector<KrData::DelegateConnection> _watches;
    Events heard;
};

TEST_F(Transfers, ReachTheEndOfAChainBeforeObserversHear) {
    auto &a = make("a"), &b = make("b"), &c = make("c"), &d = make("d"), &e = make("e");
    connect(a, b);
    connect(b, c);
    connect(b, d);
    connect(d, e);
    for (auto* field : {&a, &b, &c, &e})
        watch(*field);
    watch(_outputs, "all ");
    a.setValue(1.0);
    EXPECT_THAT(heard, ElementsAre("all c1", "c1", "all e1", "e1", "all d1", "all b1", "b1", "all a1", "a1"));
    EXPECT_EQ(d.getValue(), 1.0);

    heard.clear();
    _watches.pop_back();
    b.setValue(2.0);
    heard.clear();
    a.setValue(2.0);
    EXPECT_THAT(heard, ElementsAre("a2")) << "what has the value already hands nothing on";
}

TEST_F(Transfers, FollowAQuietChainThroughEveryKindOfLink) {
    // Links that convert, clamp, apply functions and write variables between others that only copy.
    auto &a = make("a"), &b = make("b"), &d = make("d"), &e = make("e"), &f = make("f");
    auto* c = _outputs.add<int>("c");
    auto* bound = _outputs.add<double>("bound");
    double variable = 0.0;
    bound->bindVariable(&variable);
    b.setRange(0.0, 10.0);
    connect(a, b);
    connect(b, *c);
    connect(*c, d);
    connect(d, *bound);
    connect(*bound, e);
    connect(e, f).setTransferFunction([](double x) { return 2 * x; });
    a.setValue(20.6);
    EXPECT_EQ(b.getValue(), 20.6) << "a copy is not clamped";
    EXPECT_EQ(variable, 21.0);
    EXPECT_EQ(f.getValue(), 42.0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    a.setValue(nan);
    EXPECT_EQ(f.getValue(), 0.0) << "an integer has no NaN";
}

TEST_F(Transfers, MakeABoundSinkEqualWhoseVariableHasChanged) {
    auto& source = make("source");
    auto* bound = _outputs.add<double>("bound");
    double variable = 0.0;
    bound->bindVariable(&variable);
    auto& connection = connect(source, *bound);
    source.setValue(5.0);
    variable = 7.0;
    connection.enable(true);
    EXPECT_EQ(variable, 5.0);
}

TEST_F(Transfers, GoOncePerChangeRoundALoop) {
    for (const std::size_t length : {1U, 2U, 3U}) {
        for (const bool isWatched : {false, true}) {
            _connections.clear();
            _watches.clear();
            std::vector<Field<double>*> loop;
            for (std::size_t i = 0; i < length; ++i)
                loop.push_back(&make("x"));
            for (std::size_t i = 0; i < length; ++i)
                connect(*loop[i], *loop[(i + 1) % length]);
            for (auto* field : loop) {
                if (isWatched) watch(*field);
            }
            for (auto* start : loop) {
                heard.clear();
                const double value = loop[0]->getValue() + 1.0;
                start->setValue(value);
                for (const auto* field : loop)
                    EXPECT_EQ(field->getValue(), value);
                EXPECT_EQ(heard.size(), isWatched ? length : 0U);
            }
            // Every pass yields another value, and NaN is never equal to itself: only the guard ends these.
            for (const auto& connection : _connections)
                connection->setTransferFunction([](double x) { return x + 1.0; });
            loop[0]->setValue(100.0);
            EXPECT_EQ(loop[0]->getValue(), 100.0 + static_cast<double>(length));
            loop[0]->setValue(std::numeric_limits<double>::quiet_NaN());
        }
    }
}

#if defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
constexpr std::size_t kLongChain = 10'000;
#else
constexpr std::size_t kLongChain = 2'000;  // unoptimised frames are larger
#endif

class LongChains : public Transfers {
protected:
    /// Its first and last field that has a value.
    std::pair<FieldBase*, FieldBase*> makeChain(const std::string& kind, std::size_t length) {
        std::vector<FieldBase*> chain, ends;
        for (std::size_t i = 0; i <= length; ++i) {
            const bool isWhole = kind == "converting" && i % 2 == 1;
            if (kind == "container") {
                chain.push_back(_outputs.addContainer("c"));
                ends.push_back(static_cast<Container*>(chain.back())->add<double>("x"));
            } else {
                ends.push_back(_outputs.addField("x", isWhole ? Types::kInteger : Types::kDouble));
                chain.push_back(ends.back());
            }
            if (kind == "watched") watch(*ends.back());
            if (i == 0) continue;
            auto& connection = connect(*chain[i - 1], *chain[i]);
            if (kind == "function") connection.setTransferFunction([](double x) { return x; });
        }
        return {ends.front(), ends.back()};
    }
    void TearDown() override {
        _watches.clear();
        _connections.clear();
        _outputs.clear();
    }
};

TEST_F(LongChains, FitTheStackWhateverTheirKind) {
    for (const char* kind : {"plain", "watched", "converting", "function", "container"}) {
        TearDown();
        const auto [first, last] = makeChain(kind, kLongChain);
        heard.clear();
        first->set(7.0);
        EXPECT_EQ(last->toReal(), 7.0) << kind;
        EXPECT_EQ(heard.size(), std::string(kind) == "watched" ? kLongChain + 1 : 0U);
    }
}

/// Only where the stack of the thread has no limit does the value arrive.
TEST_F(LongChains, EndWithAMessageWhereTheStackEnds) {
    for (const char* kind : {"watched", "converting", "function", "container"}) {
        TearDown();
        const LogCapture log;
        const auto [first, last] = makeChain(kind, 100'000);
        first->set(7.0);
        const auto lines = log.lines();
        if (last->toReal() == 7.0 && lines.empty()) continue;
        ASSERT_EQ(lines.size(), 1U) << kind;
        EXPECT_THAT(lines.front(), AllOf(StartsWith("2 "), HasSubstr("too many connections and observers"))) << kind;
        EXPECT_EQ(last->toReal(), 0.0) << kind;
    }
}

TEST_F(LongChains, OfAnObserverThatChangesItsFieldWithoutEndEndsWithAMessage) {
    auto& counter = make("Counter");
    const auto again = counter.addObserver([&](const FieldBase&) { counter.set(counter.toReal() + 1.0); });
    const LogCapture log;
    counter.set(1.0);
    EXPECT_THAT(log.lines(), ElementsAre(AllOf(StartsWith("2 "), HasSubstr("Counter"))));
}

}  // namespace connection_transfer_test
