#include "kr/events/event_id_list.h"
#include "kr/events/event_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kr/core/id.h"
#include "kr/events/event_data.h"
#include "kr/events/framework_event_names.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/in_process_event_channel.h"
#include "tests/support/log_capture.h"

namespace event_id_list_test {

using KrSim::EventIDList;
using KrSim::KrEventDispatcher;
using KrSim::KrSimEvent;
using test_support::InProcessEventChannel;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

const int kPublish = Kr::KrID::numberFor(KrSim::kPublishLocalEventIdsName);

class EventIds : public testing::Test {
protected:
    void SetUp() override { list.cleanup(); }

    /// The names of all publications that the other application has received.
    std::vector<std::vector<std::string>> published(InProcessEventChannel& other) {
        std::vector<KrSimEvent> events;
        other.receiveEvents(events);
        std::vector<std::vector<std::string>> all;
        for (const auto& event : events) {
            EXPECT_EQ(event.ID(), kPublish);
            const KrSim::EventData data({event.constData(), event.constData() + event.bytes()});
            unsigned count = 0;
            data >> count;
            std::vector<std::string> names(count);
            for (std::string& name : names)
                data >> name;
            all.push_back(names);
        }
        return all;
    }

    test_support::DispatcherScope scope;
    EventIDList& list{EventIDList::instance()};
};

TEST_F(EventIds, WarnOfTwoNamesWithOneNumber) {
    ASSERT_EQ(Kr::KrID::numberFor("plumless"), Kr::KrID::numberFor("buckeroo"));
    list.add("plumless");
    const LogCapture log;
    EXPECT_EQ(list.add("buckeroo"), list.getLocal("plumless"));
    EXPECT_THAT(log.lines(), ElementsAre("3 EventIDList: 'buckeroo' and 'plumless' have one number and share their "
                                         "events\n"));
}

TEST_F(EventIds, ArePublishedFiveAStepInTheOrderOfTheirMaking) {
    for (const char* name : {"A", "B", "C", "D", "E", "F", "G"})
        list.add(name);
    KrEventDispatcher::postUpdate();  // nobody is there: the names go on waiting
    const auto [ours, theirs] = InProcessEventChannel::makePair();
    KrEventDispatcher::setSharedEventChannel(ours);
    KrEventDispatcher::postUpdate();
    EXPECT_THAT(published(*theirs), ElementsAre(ElementsAre("A", "B", "C", "D", "E")));
    list.add("A");  // known, so not published again
    KrEventDispatcher::postUpdate();
    EXPECT_THAT(published(*theirs), ElementsAre(ElementsAre("F", "G")));
    KrEventDispatcher::postUpdate();
    EXPECT_THAT(published(*theirs), IsEmpty());

    list.add("H");
    KrSim::detail::DispatcherAccess::publishEventNames();  // an application joined; those that wait stay in front
    KrEventDispatcher::postUpdate();
    KrEventDispatcher::postUpdate();
    const auto all = published(*theirs);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].size(), 5u);
    EXPECT_EQ(all[0][0], "H");
    EXPECT_EQ(all[1].size(), 3u);
}

TEST_F(EventIds, PublicationsHaveTheseBytes) {
    list.add("Ab");
    list.add("");
    list.add("C");
    EXPECT_EQ(KrSim::detail::EventNamesAccess::takeNamesToPublish(),
              (std::vector<std::uint8_t>{3, 0, 0, 0,              // 0: count
                                         2, 0, 0, 0, 0x41, 0x62,  // 4: "Ab"
                                         0, 0, 0, 0,              // 10: ""
                                         1, 0, 0, 0, 0x43}));     // 14: "C"
}

TEST_F(EventIds, OfOtherApplicationsGiveNumbersANameAndAreNotToldOn) {
    const auto [ours, theirs] = InProcessEventChannel::makePair();
    KrEventDispatcher::setSharedEventChannel(ours);
    const std::vector<std::uint8_t> payload{1, 0, 0, 0, 6, 0, 0, 0, 'R', 'e', 'm', 'o', 't', 'e'};
    theirs->sendEvent(KrSimEvent(kPublish, "other:1", payload));
    KrEventDispatcher::preUpdate();
    KrEventDispatcher::postUpdate();
    EXPECT_EQ(list.getName(Kr::KrID::numberFor("Remote")), "Remote");
    EXPECT_FALSE(list.existLocally("Remote"));
    EXPECT_THAT(published(*theirs), IsEmpty());
}

TEST_F(EventIds, OfOtherApplicationsAreKeptUpToSixteenMebibytes) {
    const std::string tooLong((std::size_t{16} << 20U) - 1, 'x');
    KrSim::EventData names;
    names << 3U << "AB" << tooLong << "C";
    KrSim::detail::EventNamesAccess::learnNames(names.data().data(), names.data().size(), "other:1");
    EXPECT_EQ(list.getName(Kr::KrID::numberFor("AB")), "AB");
    EXPECT_EQ(list.getName(Kr::KrID::numberFor(tooLong)), "");
    EXPECT_EQ(list.getName(Kr::KrID::numberFor("C")), "C");
}

TEST_F(EventIds, OfAMalformedPublicationAreThoseBeforeTheFault) {
    using Bytes = std::vector<std::uint8_t>;
    const Bytes learningNothing[] = {
        {}, {1, 0}, {2, 0, 0, 0}, {1, 0, 0, 0, 1, 0}, {1, 0, 0, 0, 255, 255, 255, 255, 'A'}};
    const Bytes learningA[] = {{255, 255, 255, 255, 1, 0, 0, 0, 'A'}, {2, 0, 0, 0, 1, 0, 0, 0, 'A', 1, 0, 0, 0}};
    const auto learn = [&](const Bytes& payload) {
        list.cleanup();
        const LogCapture log;
        KrSim::detail::EventNamesAccess::learnNames(payload.data(), payload.size(), "other:1");
        EXPECT_THAT(log.lines(), ElementsAre("3 EventIDList: malformed list of event names from 'other:1'\n"));
        return list.getName(Kr::KrID::numberFor("A"));
    };
    for (const Bytes& payload : learningNothing)
        EXPECT_EQ(learn(payload), "") << testing::PrintToString(payload);
    for (const Bytes& payload : learningA)
        EXPECT_EQ(learn(payload), "A") << testing::PrintToString(payload);
}

}  // namespace event_id_list_test
