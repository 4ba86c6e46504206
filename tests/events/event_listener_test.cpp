#include "kr/events/event_listener.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace event_listener_test {

using KrSim::EventListener;
using KrSim::EventListenerList;

class Registration : public Kr::KrRefCount {
public:
    explicit Registration(std::function<void()> onDestroyed) : _onDestroyed(std::move(onDestroyed)) {}
    ~Registration() override { _onDestroyed(); }

private:
    std::function<void()> _onDestroyed;
};

EventListener listen(std::function<void()> onDestroyed) {
    return EventListener(Kr::makeSmart<Registration>(std::move(onDestroyed)));
}

TEST(EventListener, EndsTheRegistrationWithTheLastCopy) {
    int ended = 0;
    EventListener first = listen([&] { ++ended; });
    {
        const EventListener second = first;
        first.unregister();
        EXPECT_TRUE(first.isEmpty());
        EXPECT_FALSE(second.isEmpty());
        EXPECT_EQ(ended, 0);
    }
    EXPECT_EQ(ended, 1);
    first.unregister();
    EXPECT_EQ(ended, 1);
}

TEST(EventListenerList, EndsWhatItHoldsWhenToldAndWithItself) {
    int ended = 0;
    const auto count = [&] { ++ended; };
    {
        EventListenerList list;
        list << listen(count) << listen(count);
        list.unregister();
        EXPECT_EQ(ended, 2);
        EXPECT_EQ(list.size(), 0U);
        list << listen(count);
    }
    EXPECT_EQ(ended, 3);
}

// A callback may own what owns the list: its end reaches the list in the middle of unregister().
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
