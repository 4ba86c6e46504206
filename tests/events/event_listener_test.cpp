#include "kr/events/event_listener.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace event_listener_test {

using KrSim::EventListener;
using KrSim::EventListenerList;

struct Registration final : Kr::KrRefCount {
    explicit Registration(std::function<void()> action) : onDestroyed(std::move(action)) {}
    ~Registration() override { onDestroyed(); }
    std::function<void()> onDestroyed;
};

EventListener listen(std::function<void()> onDestroyed) {
    return EventListener(Kr::makeSmart<Registration>(std::move(onDestroyed)));
}

TEST(EventListenerList, EndsWithTheLastCopyWhatItHolds) {
    int ended = 0;
    EventListener copy = listen([&] { ++ended; });
    {
        EventListenerList list;
        list << listen([&] { ++ended; }) << copy;
        list.unregister();
        EXPECT_EQ(ended, 1);
        list << copy << listen([&] { ++ended; });
    }
    EXPECT_EQ(ended, 2);
    copy.unregister();
    EXPECT_EQ(ended, 3);
}

TEST(EventListenerList, MayBeChangedByWhatEndsWithIt) {
    int ended = 0;
    EventListenerList list;
    list << listen([&] {
        list.unregister();
        list << listen([&] { ++ended; });
    }) << listen([&] { ++ended; });
    list.unregister();
    EXPECT_EQ(list.size(), 1U);
    EXPECT_EQ(ended, 1);
}

}  // namespace event_listener_test
