#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "kr/core/connections/connection.h"
#include "kr/data/container.h"
#include "kr/data/vector.h"

namespace vector_connection_test {

using Items = KrData::Vector<int>;
using Kr::KrConnection;
using KrData::Container;
using KrData::FieldBase;
using KrData::Types;
using testing::ElementsAre;

class Vectors : public testing::Test {
protected:
    Container _outputs{"O", nullptr, Types::kOutput};
    Container _inputs{"I", nullptr, Types::kInput};
    Items _source{"Source", &_outputs, {0, 1, 2, 3, 4, 5, 6, 7}};
    Items _sink{"Sink", &_inputs};
};

/// A connection whose transfers look at the changed items only does not mend what is spoilt elsewhere in the sink.
TEST_F(Vectors, LookAtTheChangedRangesOnlyWhileTheyAreKept) {
    _source.enableIncrementalDataTransfer(true);
    KrConnection connection(&_source, &_sink);
    EXPECT_EQ(_sink.getItems(), _source.getItems());
    struct Case {
        const char* what;
        std::function<void()> change;
        bool isWhole;
    };
    const std::vector<Case> cases{
        {"set", [&] { _source.setItem(3, 30); }, false},
        {"insert", [&] { _source.insert(4, 40); }, false},
        {"append", [&] { _source.append(50); }, false},
        {"erase", [&] { _source.erase(5, 2); }, false},
        {"shrink", [&] { _source.resize(6); }, false},
        {"grow", [&] { _source.resize(9); }, false},
        {"setItems",
         [&] {
             _source.setItems({0, 1, 2, 9, 9, 9, 9});
         },
         false},
        {"several while disabled",
         [&] {
             connection.disable(false);
             _source.setItem(2, 20);
             _source.setItem(6, 60);
             _source.append(70);
             connection.enable(true);
         },
         false},
        {"not tracked",
         [&] {
             _source._disableTracking();
             _source.setItem(2, 21);
         },
         true},
        {"tracked again", [&] { _source.setItem(2, 22); }, false},
        {"switched off and on",
         [&] {
             _source.enableIncrementalDataTransfer(false);
             _source.enableIncrementalDataTransfer(true);
             _source.setItem(2, 23);
         },
         true},
        {"cleared by somebody else",
         [&] {
             connection.disable(false);
             _source.setItem(2, 24);
             _source.clearChanges();
             _source.setItem(3, 34);
             connection.enable(true);
         },
         true},
        {"asked for without a change", [&] { connection.transferValue(_source); }, true},
        {"off",
         [&] {
             _source.enableIncrementalDataTransfer(false);
             _source.setItem(4, 44);
         },
         true},
    };
    for (const auto& each : cases) {
        _sink.setItem(0, -1);
        each.change();
        auto expected = _source.getItems();
        if (!each.isWhole) expected[0] = -1;
        EXPECT_EQ(_sink.getItems(), expected) << each.what;
        EXPECT_TRUE(_source.getChanges().empty()) << each.what;
        _sink.setItem(0, 0);
    }
}

TEST_F(Vectors, NotifyOncePerTransfer) {
    _source.enableIncrementalDataTransfer(true);
    KrConnection connection(&_source, &_sink);
    int heard = 0;
    std::vector<int> seen;
    const auto observer = _sink.addObserver([&](const FieldBase&) {
        ++heard;
        seen = _sink.getItems();
    });
    connection.disable(false);
    _source.setItem(1, 10);
    _source.setItem(6, 60);
    _source.setItem(3, 3);
    connection.enable(true);
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(seen, _source.getItems()) << "nobody sees half a transfer";
}

TEST_F(Vectors, ServeManySinksEachCompletely) {
    _source.enableIncrementalDataTransfer(true);
    Items second("Second", &_inputs), third("Third", &_inputs), late("Late", &_inputs);
    auto& group = *_outputs.addContainer("G");
    auto& sinkGroup = *_inputs.addContainer("G");
    Items grouped("Source", &sinkGroup);
    _source._setDynamic(true);
    _source.setParent(&group);
    KrConnection toFirst(&_source, &_sink), toSecond(&_source, &second), toThird(&_source, &third);
    const KrConnection toGroup(&group, &sinkGroup);
    KrConnection toLate;
    const std::vector<KrConnection*> switched{&toFirst, &toSecond, &toThird};
    std::minstd_rand random(7);
    for (int round = 0; round < 300; ++round) {
        const auto index = random() % (_source.size() + 1);
        switch (random() % 6) {
            case 0:
                _source.insert(index, round);
                break;
            case 1:
                _source.erase(index, _source.size() > 4 ? 1 : 0);
                break;
            case 2:
                _source.append(round);
                break;
            case 3:
                _source._disableTracking();
                break;
            default:
                _source.setItem(index, round);
        }
        auto* each = switched[random() % 3];
        if (each->isEnabled()) {
            each->disable(false);
        } else {
            each->enable(true);
        }
        if (round == 150) toLate.init(&_source, &late);
        if (toFirst.isEnabled()) {
            ASSERT_EQ(_sink.getItems(), _source.getItems()) << round;
        }
        if (toSecond.isEnabled()) {
            ASSERT_EQ(second.getItems(), _source.getItems()) << round;
        }
        if (toThird.isEnabled()) {
            ASSERT_EQ(third.getItems(), _source.getItems()) << round;
        }
        ASSERT_EQ(grouped.getItems(), _source.getItems()) << round;
        if (toLate.isValid()) {
            ASSERT_EQ(late.getItems(), _source.getItems()) << round;
        }
    }
}

TEST_F(Vectors, LoseNoChangeInALoop) {
    Items other("Other", &_outputs);
    for (const bool isTracked : {false, true}) {
        _source.enableIncrementalDataTransfer(true);
        other.enableIncrementalDataTransfer(isTracked);
        KrConnection there(&_source, &other), back(&other, &_source);
        there.disable(false);
        _source.setItem(0, 100 + static_cast<int>(isTracked));
        _source.setItem(5, 105 + static_cast<int>(isTracked));
        const auto expected = _source.getItems();
        there.enable(true);
        EXPECT_EQ(_source.getItems(), expected);
        EXPECT_EQ(other.getItems(), expected);
        other.erase(1);
        EXPECT_EQ(_source.getItems(), other.getItems());
    }
}

TEST_F(Vectors, PassChangesOnAlongAChainAsRanges) {
    Items middle("Middle", &_outputs), end("End", &_inputs);
    _source.enableIncrementalDataTransfer(true);
    middle.enableIncrementalDataTransfer(true);
    const KrConnection first(&_source, &middle), second(&middle, &end);
    end.setItem(7, -7);
    _source.setItem(2, 20);
    EXPECT_THAT(end.getItems(), ElementsAre(0, 1, 20, 3, 4, 5, 6, -7));
    _source.clear();
    EXPECT_TRUE(end.empty());
    _source.append(1);
    EXPECT_THAT(end.getItems(), ElementsAre(1));
}

TEST_F(Vectors, TakeWhatAnObserverChangesMeanwhileWithTheNextTransfer) {
    _source.enableIncrementalDataTransfer(true);
    const KrConnection connection(&_source, &_sink);
    const auto observer = _sink.addObserver([&](const FieldBase&) {
        if (_sink.getItem(1) == 10) _source.setItem(4, 40);
    });
    _source.setItem(1, 10);
    EXPECT_EQ(_sink.getItem(4), 4);
    _source.setItem(1, 11);
    EXPECT_EQ(_sink.getItems(), _source.getItems());
}

}  // namespace vector_connection_test
