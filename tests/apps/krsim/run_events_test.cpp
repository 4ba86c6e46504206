#include "apps/krsim/run_events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace krsim_run_events_test {

TEST(KrsimRunEvents, FoldsEqualEventsAndKeepsTheFirstTextAndBothEnds) {
    krsim::RunEvents events;
    events.failures.add("A", "onUpdate threw", "first", {2, 0.5});
    events.failures.add("B", "onUpdate threw", "other", {2, 0.5});
    events.failures.add("A", "onUpdate threw", "second", {9, 2.25});
    events.messages.add("text", "WARN", "", {0, 0.0});
    events.messages.add("text", "WARN", "", {1, 0.25});
    events.messages.add("early", "ERROR", "", {0, 0.0});
    EXPECT_EQ(krsim::formatEvents(events),
              "krsim: failures: 3\n"
              "  A: onUpdate threw 2 times in frames 2 to 9 (0.500 s to 2.250 s): first\n"
              "  B: onUpdate threw in frame 2 (0.500 s): other\n"
              "krsim: warnings and errors in the log: 3\n"
              "  WARN - text: 2 times before the first frame, last in frame 1 (0.250 s)\n"
              "  ERROR - early: before the first frame\n");
}

TEST(KrsimRunEvents, CountsTheEventsThatItHasNoPlaceFor) {
    krsim::RunEventList list;
    for (int i = 0; i < 1500; ++i)
        list.add(std::to_string(i % 1200), "WARN", "", {1, 0.25});
    EXPECT_EQ(list.get().size(), krsim::RunEventList::kMostEvents);
    EXPECT_EQ(list.getCount(), 1500U);
    EXPECT_EQ(list.getOmittedCount(), 200U);
}

}  // namespace krsim_run_events_test
