#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/platform/clock.h"
#include "kr/platform/crc32.h"
#include "kr/platform/fixed_string.h"
#include "kr/platform/manual_clock.h"
#include "kr/platform/murmur_hash3.h"
#include "kr/platform/nearest_name.h"
#include "kr/platform/process.h"
#include "kr/platform/running_crc32.h"
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
static_assert(Kr::KrString<4>(static_cast<const char*>(nullptr)).isEmpty());

TEST(Crc32, AgreesWithZlibAtEveryLengthAndAlignment) {
    constexpr unsigned kSeed = 20200301;
    std::mt19937 random(kSeed);
    std::vector<char> bytes(700);  // beyond what is divided in blocks
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

TEST(Crc32, IsTheSameInWhateverPiecesBytesCome) {
    std::string bytes;
    for (int i = 0; i < 2000; ++i)
        bytes += static_cast<char>(i * 7);
    for (const std::size_t piece : {1U, 3U, 15U, 16U, 64U, 255U, 256U, 271U, 1999U, 2000U}) {
        Kr::RunningCrc32 running;
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            running.add(std::string_view(bytes).substr(at, piece));
        EXPECT_EQ(static_cast<std::int32_t>(running.get()), Kr::calculateCRC32(bytes)) << piece;
    }
    EXPECT_EQ(Kr::RunningCrc32().get(), 0U);
}

TEST(MurmurHash3, IsTheStandardOneInOutputOrder) {
    using Words = std::pair<std::uint64_t, std::uint64_t>;
    const std::string_view text = "The quick brown fox jumps over the lazy dog";
    EXPECT_EQ(Kr::calculateMurmurHash3(std::as_bytes(std::span(text))), Words(0xE34BBC7BBC071B6C, 0x7A433CA9C49A9347));
    EXPECT_EQ(Kr::calculateMurmurHash3({}), Words(0, 0));
    const std::span tooLong(text.data(), std::size_t{1} << 32U);  // refused before a byte of it is read
    EXPECT_THROW(static_cast<void>(Kr::calculateMurmurHash3(std::as_bytes(tooLong))), std::length_error);
}

TEST(FixedString, KeepsWholeCharactersThatFit) {
    // From "123456" on one byte is left, too few for a character that takes two.
    const std::pair<std::string, std::string> cases[] = {{"1234567", "1234567"},
                                                         {"12345678", "1234567"},
                                                         {"12345\xC3\xA4", "12345\xC3\xA4"},
                                                         {"123456\xC3\xA4", "123456"},
                                                         {"1234\xF0\x9F\x98\x80", "1234"},
                                                         {std::string(20, '\x80'), std::string(7, '\x80')},
                                                         {{'1', '2', '\0', '4'}, "12"}};
    for (const auto& [text, kept] : cases) {
        Kr::KrString<8> string("previous");
        EXPECT_EQ(string.assign(text), text == kept);
        EXPECT_EQ(string.view(), kept);
        const Kr::KrString<8> fresh(kept);
        EXPECT_EQ(std::memcmp(&string, &fresh, sizeof string), 0) << "bytes of the previous text remain";
        EXPECT_LT(string, Kr::KrString<8>("\xC3\xA4"));
    }
}

TEST(Uuid, ReadsBothFormsInAnyCase) {
    const KrUuid plain("2af5f045-d4e6-495a-acba-567a455b6c54");
    EXPECT_EQ(plain, KrUuid("{2AF5F045-D4E6-495A-ACBA-567A455B6C54}"));
    EXPECT_EQ(plain.toString(), "2af5f045-d4e6-495a-acba-567a455b6c54");
    KrUuid::Bytes bytes{0x2a, 0xf5, 0xf0, 0x45, 0xd4, 0xe6, 0x49, 0x5a, 0xac,
                        0xba, 0x56, 0x7a, 0x45, 0x5b, 0x6c, 0x54, 0x00};
    EXPECT_EQ(plain.getBytes(), bytes);
    bytes[16] = 0xAB;  // carried, but no part of the value
    EXPECT_EQ(KrUuid(bytes).getBytes(), bytes);
    EXPECT_EQ(KrUuid(bytes), plain);
    EXPECT_EQ(std::hash<KrUuid>()(KrUuid(bytes)), std::hash<KrUuid>()(plain));
}

TEST(Uuid, OddTextsAreRefusedAndLeaveTheResult) {
    for (const char* text : {"", "{}", "2af5f045-d4e6-495a-acba-567a455b6c5", "2af5f045-d4e6-495a-acba-567a455b6c544",
                             "{2af5f045-d4e6-495a-acba-567a455b6c54", "{2af5f045-d4e6-495a-acba-567a455b6c54)",
                             "(2af5f045-d4e6-495a-acba-567a455b6c54}", "2af5f045-d4e6-495a-acba-567a455b6c5g",
                             "2af5f045-d4e6-495a-acba-567a455b6c-4", "2af5f045_d4e6-495a-acba-567a455b6c54",
                             "2af5f045-d4e6-495a-acba-567a455b6c5\xC3"}) {
        KrUuid result = KrUuid::createFromName("before");
        EXPECT_FALSE(KrUuid::parse(text, result)) << text;
        EXPECT_EQ(result, KrUuid::createFromName("before")) << text;
        EXPECT_TRUE(KrUuid(text).isNull()) << text;
    }
}

TEST(Uuid, NamesGiveTheSameAlwaysAndChanceGivesAnother) {
    // Computed with Python: uuid.uuid5(uuid.UUID(int=0), name).
    EXPECT_EQ(KrUuid::createFromName("Application_KrExtensionFactory_Simulator").toString(),
              "800e3319-c923-544c-8f3e-30b0543e4c82");
    const KrUuid first = KrUuid::createRandom();
    EXPECT_EQ(first.toString()[14], '4');
    EXPECT_NE(first, KrUuid::createRandom());
}

TEST(UniqueNames, NumbersFromTwoAndReusesTheLowestFreeOneLikeAPlainSearch) {
    constexpr unsigned kSeed = 20200302;
    std::mt19937 random(kSeed);
    const std::vector<std::string> bases{"A", "A 2", "A 3", "A 02", "A 99999999999999999999999", ""};
    UniqueNamesCollection names;
    std::set<std::string> model;
    for (int round = 0; round < 20000; ++round) {
        if (random() % 2 == 0 && !model.empty()) {
            const auto chosen = std::next(model.begin(), static_cast<std::ptrdiff_t>(random() % model.size()));
            ASSERT_TRUE(names.remove(*chosen));
            ASSERT_FALSE(names.remove(*chosen));
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

TEST(Clock, TimerRunsOnAnyClock) {
    Kr::ManualClock clock;
    Kr::Timer timer(clock);
    clock.sleep(1.5);
    EXPECT_EQ(timer.getElapsedSeconds(), 1.5);
    EXPECT_EQ(timer.restart(), 1.5);
    EXPECT_EQ(timer.getElapsedSeconds(), 0.0);
}

TEST(Clock, SleepOfNoTimeReturnsAtOnceAndTheResolutionIsThatOfWakingUp) {
    Kr::SteadyClock& clock = Kr::SteadyClock::instance();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double before = clock.getSeconds();
    for (const double seconds : {0.0, -1.0, -kInfinity, std::numeric_limits<double>::quiet_NaN()})
        clock.sleep(seconds);
    EXPECT_GE(clock.getSeconds(), before);
    const double resolution = clock.getResolution();
    EXPECT_THAT(resolution, testing::AllOf(testing::Ge(200e-6), testing::Le(1e-3)));
    EXPECT_EQ(clock.getResolution(), resolution);
}

// --- Names that are near one another
// -----------------------------------------------------------------------------------

struct NameCase {
    const char* name;
    const char* text;
    const char* suggestion;
};

class NearestName : public testing::TestWithParam<NameCase> {};

TEST_P(NearestName, IsSuggestedUnlessMoreThanTwoLettersAndAThirdDiffer) {
    const std::vector<std::string> known{"Mass", "Minimum", "Maximum", "ApplicationMode"};
    EXPECT_EQ(Kr::suggestName(GetParam().text, known), GetParam().suggestion);
}

INSTANTIATE_TEST_SUITE_P(Table, NearestName,
                         testing::Values(NameCase{"LeftOut", "AplicationMode", "; did you mean 'ApplicationMode'?"},
                                         NameCase{"Swapped", "Msas", "; did you mean 'Mass'?"},
                                         NameCase{"Replaced", "Maas", "; did you mean 'Mass'?"},
                                         NameCase{"Case", "MASS", "; did you mean 'Mass'?"},
                                         NameCase{"Nearest", "Manimum", "; did you mean 'Minimum'?"},
                                         NameCase{"Far", "Colour", ""}, NameCase{"Empty", "", ""}),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace values_test
