#include "kr/events/sim_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "tests/support/log_capture.h"

namespace sim_event_test {

using KrSim::KrSimEvent;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<std::uint8_t> makePayload(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
    return bytes;
}

std::vector<std::uint8_t> payloadOf(const KrSimEvent& event) {
    return {event.constData(), event.constData() + event.bytes()};
}

/// Sizes on both sides of the border between the event's own memory and the heap.
class PayloadSize : public testing::TestWithParam<std::size_t> {};

TEST_P(PayloadSize, SurvivesCopiesMovesAndAssignmentsOverOtherSizes) {
    const auto payload = makePayload(GetParam());
    const KrSimEvent original(6, payload);
    for (const std::size_t before : {0u, 64u, 65u}) {
        KrSimEvent target(1, makePayload(before));
        target = original;
        target = *&target;
        target = std::move(*&target);
        EXPECT_EQ(payloadOf(target), payload) << "copied over " << before << " and to itself";
        KrSimEvent other(1, makePayload(before));
        other = std::move(target);
        EXPECT_EQ(payloadOf(other), payload) << "moved over " << before;
        const KrSimEvent last(std::move(other));
        EXPECT_EQ(payloadOf(last), payload);
        EXPECT_EQ(last.ID(), 6);
        EXPECT_EQ(target.bytes() + other.bytes(), 0u) << "what was moved from has no payload";
    }
    KrSimEvent copy(original);
    std::fill_n(copy.data(), copy.bytes(), std::uint8_t{0});
    EXPECT_EQ(payloadOf(original), payload) << "copies share no bytes";
}

INSTANTIATE_TEST_SUITE_P(Bytes, PayloadSize, testing::Values(0, 1, 63, 64, 65, 5000));

TEST(SimEvent, IsFromThisProcessUnlessASenderIsNamed) {
    KrSimEvent event(1);
    EXPECT_EQ(event.sender(), KrSimEvent::me());
    event.setSender("other:12");
    EXPECT_FALSE(KrSimEvent(event).isFromMe());
    EXPECT_EQ(KrSimEvent(event).sender(), "other:12");
    event.setSender(KrSimEvent::me());
    EXPECT_TRUE(event.isFromMe());
    EXPECT_FALSE(KrSimEvent(1, "", {}).isFromMe()) << "no name is not our name";
}

TEST(SimEvent, ReadsAValueOfExactlyThePayloadsSize) {
    const LogCapture log;
    const double value = 2.5;
    const KrSimEvent event(1, sizeof value, &value);
    EXPECT_EQ(event.read<double>(), value);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(event.read<int>(), std::nullopt);
    EXPECT_EQ(KrSimEvent(1).read<char>(), std::nullopt);
    EXPECT_THAT(log.lines(),
                ElementsAre("2 KrSimEvent: Invalid Type requested (int) that is 4 bytes, but we have 8 bytes.\n",
                            "2 KrSimEvent: Invalid Type requested (char) that is 1 bytes, but we have 0 bytes.\n"));
}

TEST(SimEvent, TakesNoBytesFromNull) {
    const LogCapture log;
    EXPECT_EQ(KrSimEvent(1, 0, nullptr).bytes() + KrSimEvent(1, 8, nullptr).bytes(), 0u);
    EXPECT_THAT(log.lines(), ElementsAre(StartsWith("3 KrSimEvent: no bytes")));
}

}  // namespace sim_event_test
