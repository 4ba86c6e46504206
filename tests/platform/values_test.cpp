#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "kr/platform/clock.h"
#include "kr/platform/crc32.h"
#include "kr/platform/fixed_string.h"
#include "kr/platform/process.h"
#include "kr/platform/thread_id.h"
#include "kr/platform/timer.h"
#include "kr/platform/unique_names.h"
#include "kr/platform/uuid.h"

namespace values_test {

using KrSim::KrUuid;
using KrSim::StringUtils::UniqueNamesCollection;

static_assert(Kr::calculateCRC32("123456789") == -873187034);
static_assert(Kr::calculateCRC32("") == 0);
static_assert(std::is_trivially_copyable_v<Kr::KrString<512>> && sizeof(Kr::KrString<512>) == 512);
static_assert(Kr::KrString<4>("abcdef").view() == "abc");

TEST(Crc32, AgreesWithZlibAtEveryLengthAndAlignment) {
    constexpr unsigned kSeed = 20200301;
    std::mt19937 random(kSeed);
    std::vector<char> bytes(400);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    for (std::size_t start = 0; start < 9; ++start) {
        for (std::size_t length = 0; length + start <= bytes.size(); ++length) {
            const auto* from = reinterpret_cast<const Bytef*>(bytes.data() + start);
            ASSERT_EQ(Kr::calculateCRC32({bytes.data() + start, length}),
                      static_cast<std::int32_t>(crc32_z(0, from, length)))
                << "seed " << kSeed << ", start " << start << ", length " << length;
        }
    }
}

struct CutCase {
    const char* name;
    std::string text;
    std::string kept;
};
class FixedStringCut : public testing::TestWithParam<CutCase> {};
TEST_P(FixedStringCut, KeepsWholeCharactersThatFit) {
    Kr::KrString<8> string("previous");
    EXPECT_EQ(string.assign(GetParam().text), GetParam().text == GetParam().kept);
    EXPECT_EQ(string.view(), GetParam().kept);
    EXPECT_EQ(string, Kr::KrString<8>(GetParam().kept));
    const Kr::KrString<8> fresh(GetParam().kept);
    EXPECT_EQ(std::memcmp(&string, &fresh, sizeof string), 0) << "bytes of the previous text remain";
}
INSTANTIATE_TEST_SUITE_P(Texts, FixedStringCut,
                         testing::Values(CutCase{"Empty", "", ""}, CutCase{"Fits", "1234567", "1234567"},
                                         CutCase{"TooLong", "12345678", "1234567"},
                                         CutCase{"TwoByteFits", "12345\xC3\xA4", "12345\xC3\xA4"},
                                         CutCase{"TwoByteSplit", "123456\xC3\xA4", "123456"},
                                         CutCase{"ThreeByteSplit", "12345\xE2\x82\xAC", "12345"},
                                         CutCase{"FourByteSplit", "1234\xF0\x9F\x98\x80", "1234"},
                                         CutCase{"NotUtf8", std::string(20, '\x80'), std::string(7, '\x80')},
                                         CutCase{"ZeroByte",
                                                 std::string("12\0"
                                                             "45",
                                                             5),
                                                 "12"}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(FixedString, NullIsEmptyAndOrderIsThatOfBytes) {
    EXPECT_TRUE(Kr::KrString<4>(static_cast<const char*>(nullptr)).isEmpty());
    EXPECT_LT(Kr::KrString<4>("ab"), Kr::KrString<4>("abc"));
    EXPECT_LT(Kr::KrString<4>("abc"), Kr::KrString<4>("\xC3\xA4"));
    EXPECT_EQ(Kr::KrString<1>("a").size(), 0U);
}

TEST(Uuid, ReadsBothFormsInAnyCase) {
    const KrUuid plain("2af5f045-d4e6-495a-acba-567a455b6c54");
    EXPECT_EQ(plain, KrUuid("{2AF5F045-D4E6-495A-ACBA-567A455B6C54}"));
    EXPECT_EQ(plain.toString(), "2af5f045-d4e6-495a-acba-567a455b6c54");
    EXPECT_EQ(plain.getBytes(), (KrUuid::Bytes{0x2a, 0xf5, 0xf0, 0x45, 0xd4, 0xe6, 0x49, 0x5a, 0xac, 0xba, 0x56, 0x7a,
                                               0x45, 0x5b, 0x6c, 0x54, 0x00}));
}

class BadUuid : public testing::TestWithParam<const char*> {};
TEST_P(BadUuid, IsRefusedAndLeavesTheResult) {
    KrUuid result = KrUuid::createFromName("before");
    EXPECT_FALSE(KrUuid::parse(GetParam(), result));
    EXPECT_EQ(result, KrUuid::createFromName("before"));
    EXPECT_TRUE(KrUuid(GetParam()).isNull());
}
INSTANTIATE_TEST_SUITE_P(
    Texts, BadUuid,
    testing::Values("", "{}", "2af5f045-d4e6-495a-acba-567a455b6c5", "2af5f045-d4e6-495a-acba-567a455b6c544",
                    "2af5f045d4e6495aacba567a455b6c54", "{2af5f045-d4e6-495a-acba-567a455b6c54",
                    "2af5f045-d4e6-495a-acba-567a455b6c54}", "(2af5f045-d4e6-495a-acba-567a455b6c54)",
                    "2af5f045-d4e6-495a-acba-567a455b6c5g", "2af5f045-d4e6-495a-acba-567a455b6c-4",
                    "2af5f045_d4e6-495a-acba-567a455b6c54", " 2af5f045-d4e6-495a-acba-567a455b6c54 ",
                    "2af5f045-d4e6-495a-acba-567a455b6c5\xC3"));

TEST(Uuid, NamesAlwaysGiveTheSameIdentifier) {
    // Computed with Python: uuid.uuid5(uuid.UUID(int=0), name).
    EXPECT_EQ(KrUuid::createFromName("Application_KrExtensionFactory_Simulator").toString(),
              "800e3319-c923-544c-8f3e-30b0543e4c82");
    EXPECT_EQ(KrUuid::createFromName("").toString(), "e129f27c-5103-5c5c-844b-cdf0a15e160d");
}

TEST(Uuid, StoredByteIsCarriedAndNotCompared) {
    KrUuid::Bytes bytes = KrUuid("2af5f045-d4e6-495a-acba-567a455b6c54").getBytes();
    bytes[16] = 0xAB;
    const KrUuid stored(bytes);
    EXPECT_EQ(stored.getBytes(), bytes);
    EXPECT_EQ(stored, KrUuid("2af5f045-d4e6-495a-acba-567a455b6c54"));
    EXPECT_EQ(std::hash<KrUuid>()(stored), std::hash<KrUuid>()(KrUuid("2af5f045-d4e6-495a-acba-567a455b6c54")));
}

TEST(Uuid, OrderIsThatOfTheTexts) {
    EXPECT_LT(KrUuid("7fffffff-0000-0000-0000-000000000000"), KrUuid("80000000-0000-0000-0000-000000000000"));
    EXPECT_LT(KrUuid("00000000-0000-0000-0000-000000000001"), KrUuid("00000000-0000-0000-0000-000000000100"));
}

TEST(Uuid, RandomOnesAreOfVersionFourAndDiffer) {
    std::unordered_set<KrUuid> uuids;
    for (int count = 0; count < 1000; ++count) {
        const KrUuid uuid = KrUuid::createRandom();
        ASSERT_EQ(uuid.toString()[14], '4');
        uuids.insert(uuid);
    }
    EXPECT_EQ(uuids.size(), 1000U);
}

TEST(UniqueNames, NumbersFromTwoAndReusesTheLowestFreeOne) {
    UniqueNamesCollection names;
    std::vector<std::string> given;
    for (int count = 0; count < 4; ++count)
        given.push_back(names.add("Wheel"));
    EXPECT_THAT(given, testing::ElementsAre("Wheel", "Wheel 2", "Wheel 3", "Wheel 4"));
    EXPECT_TRUE(names.remove("Wheel 3"));
    EXPECT_TRUE(names.remove("Wheel 2"));
    EXPECT_FALSE(names.remove("Wheel 2"));
    EXPECT_EQ(names.add("Wheel"), "Wheel 2");
    EXPECT_EQ(names.add("Wheel"), "Wheel 3");
    EXPECT_EQ(names.add("Wheel"), "Wheel 5");
    EXPECT_TRUE(names.remove("Wheel"));
    EXPECT_EQ(names.add("Wheel"), "Wheel");
    EXPECT_EQ(names.add("Wheel 2"), "Wheel 2 2");
}

TEST(UniqueNames, NamesAddedAsTheyAreAreSkipped) {
    UniqueNamesCollection names;
    for (const char* name : {"Seat 2", "Seat", "Seat 02", "Seat 99999999999999999999999", ""}) {
        EXPECT_EQ(names.add(name), name);
    }
    EXPECT_EQ(names.add("Seat"), "Seat 3");
    EXPECT_TRUE(names.remove("Seat 02"));
    EXPECT_TRUE(names.remove("Seat 2"));
    EXPECT_EQ(names.add("Seat 2"), "Seat 2");
    EXPECT_EQ(names.add("Seat"), "Seat 4");
    EXPECT_EQ(names.add(""), " 2");
}

TEST(UniqueNames, MatchesThePlainSearchOnRandomUse) {
    constexpr unsigned kSeed = 20200302;
    std::mt19937 random(kSeed);
    const std::vector<std::string> bases{"A", "A 2", "A 3", "B", ""};
    UniqueNamesCollection names;
    std::set<std::string> model;
    for (int round = 0; round < 20000; ++round) {
        if (random() % 2 == 0 && !model.empty()) {
            const auto chosen = std::next(model.begin(), static_cast<std::ptrdiff_t>(random() % model.size()));
            ASSERT_TRUE(names.remove(*chosen));
            model.erase(chosen);
        } else {
            const std::string& base = bases[random() % bases.size()];
            std::string expected = base;
            for (int number = 2; model.contains(expected); ++number)
                expected = base + " " + std::to_string(number);
            ASSERT_EQ(names.add(base), expected) << "seed " << kSeed << ", round " << round;
            model.insert(expected);
        }
        ASSERT_EQ(names.size(), model.size());
    }
}

// Where each search starts at 2, this does not end within the time that a test has.
TEST(UniqueNames, ManyEqualNamesDoNotSearchFromTheStart) {
    UniqueNamesCollection names;
    for (int added = 1; added < 200000; ++added)
        names.add("Wheel");
    EXPECT_EQ(names.add("Wheel"), "Wheel 200000");
}

TEST(Process, NameIsTheHostAndTheProcess) {
    const std::string& name = Kr::Process::getHostNameProcessID();
    EXPECT_THAT(name, testing::MatchesRegex("[^:]+:[0-9]+"));
    EXPECT_TRUE(name.ends_with(":" + std::to_string(Kr::Process::getProcessID())));
    EXPECT_EQ(&name, &Kr::Process::getHostNameProcessID());
}

TEST(ThreadIds, AreNeverGivenTwice) {
    std::set<Kr::ThreadId> ids{Kr::ThreadId::kNone, Kr::getCurrentThreadId(), Kr::getCurrentThreadId()};
    for (int count = 0; count < 8; ++count) {
        // One after the other, so that the system is free to reuse its own number.
        std::thread([&] { ids.insert(Kr::getCurrentThreadId()); }).join();
    }
    EXPECT_EQ(ids.size(), 10U);
}

class FakeClock final : public Kr::IClock {
public:
    double getSeconds() const override { return seconds; }
    void sleep(double duration) override { seconds += duration; }
    double getResolution() const override { return 0.0; }
    double seconds{100.0};
};

TEST(Clock, TimerRunsOnAnyClock) {
    FakeClock clock;
    Kr::Timer timer(clock);
    clock.sleep(1.5);
    EXPECT_EQ(timer.getElapsedSeconds(), 1.5);
    EXPECT_EQ(timer.restart(), 1.5);
    EXPECT_EQ(timer.getElapsedSeconds(), 0.0);
}

TEST(Clock, SleepOfNoTimeReturnsAtOnceAndTheResolutionIsThatOfWakingUp) {
    Kr::SteadyClock& clock = Kr::SteadyClock::instance();
    const double before = clock.getSeconds();
    for (const double seconds :
         {0.0, -1.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        clock.sleep(seconds);
    }
    EXPECT_GE(clock.getSeconds(), before);
    const double resolution = clock.getResolution();
    EXPECT_GE(resolution, 200e-6);
    EXPECT_LE(resolution, 1e-3);
    EXPECT_EQ(clock.getResolution(), resolution);
}

}  // namespace values_test
