#include "kr/content/content_id.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <iomanip>
#include <mutex>
#include <sstream>
#include <string>
#include <unordered_set>

#include "tests/support/case_name.h"
#include "tests/support/stress.h"

namespace content_id_test {

using KrSim::KrContentID;
using KrSim::KrUuid;
using Identifier = KrContentID::Identifier;
using testing::ElementsAre;

KrContentID words(std::uint64_t first, std::uint64_t second) {
    return KrContentID::createFromWords(first, second);
}
KrContentID filed(KrContentID id, const char* file) {
    id.setFile(file);
    return id;
}
KrContentID placed(const KrContentID& parent, const KrContentID& item) {
    return KrContentID::createFromParentInstance(parent, item);
}
KrContentID moved(KrContentID id, const KrContentID& parent) {
    id.setParentID(parent);
    return id;
}

const KrContentID kWheel = words(1, 2);
const KrContentID kCar = words(3, 4);
const KrContentID kScene = words(5, 6);
const char* const kWheelText = "0000000000000001-0000000000000002";
const char* const kWheelInCar = "BC918C81D6BB82AD-EC03B7E13F6EBCA6";
const char* const kWheelInCarInScene = "CDEEEEAC7CABD6F9-0923E0D7D6F67FB1";

/// The derived IDs, computed with another implementation of the hash.
struct DerivationCase {
    const char* name;
    KrContentID id;
    std::string runtime;
    std::string raw;
    std::string own{"0000000000000000-0000000000000000"};
    std::size_t placements{0};
};

class Derivation : public testing::TestWithParam<DerivationCase> {};

TEST_P(Derivation, FollowsTheFormula) {
    const DerivationCase& expected = GetParam();
    EXPECT_EQ(expected.id.toString(), expected.runtime);
    EXPECT_EQ(expected.id.getRawID().toString(), expected.raw);
    EXPECT_EQ(expected.id.getOwnIdentifier().toString(), expected.own);
    EXPECT_EQ(expected.id.getParentInstances().size(), expected.placements);
    EXPECT_EQ(expected.id.isEmpty(),
              expected.own == expected.raw && expected.raw.find_first_not_of("0-") == std::string::npos);
}

const char* const kNull = "0000000000000000-0000000000000000";
const char* const kSeat = "1FA25A0BEAF28EF3-0BB3DF94DFB665DC";

const DerivationCase kDerived[] = {
    {"Empty", {}, kNull, kNull},
    {"Words", kWheel, kWheelText, kWheelText, kWheelText},
    {"Uuid", KrContentID::createFromUuid(KrUuid("2af5f045-d4e6-495a-acba-567a455b6c54")), kSeat, kSeat, kSeat},
    {"NullUuid", KrContentID::createFromUuid(KrUuid()), kNull, kNull},
    {"File", filed(kWheel, "car.krc"), "F87A98354A589F26-650D6FD254918125", kWheelText, kWheelText},
    {"FileOfManyBytes",
     filed(kWheel,
           "C:/content/vehicles/R\xC3\xA4"
           "der.krc"),
     "BBA8FAF12485CD68-49538959808CCC93", kWheelText, kWheelText},
    {"FileTakenAway", filed(filed(kWheel, "car.krc"), ""), kWheelText, kWheelText, kWheelText},
    {"Placed", placed(kCar, kWheel), kWheelInCar, kWheelInCar, kNull, 2},
    {"PlacedTwice", placed(placed(kScene, kCar), kWheel), kWheelInCarInScene, kWheelInCarInScene, kNull, 3},
    {"TheItemOfAPlacement", placed(placed(kScene, kCar), placed(kCar, kWheel)), kWheelInCarInScene, kWheelInCarInScene,
     kNull, 3},
    {"PlacedFromFiles", placed(filed(kCar, "car.krc"), filed(kWheel, "wheel.krc")), "A8C93DF9852CA182-435BA27D8DFD7C14",
     kWheelInCar, kNull, 2},
    {"PlacementWithAFile", filed(placed(kCar, kWheel), "car.krc"), kWheelInCar, kWheelInCar, kNull, 2},
    {"Moved", moved(placed(kCar, kWheel), kScene), "5605950B5B7A0CB2-84F4508A287DA9C8",
     "5605950B5B7A0CB2-84F4508A287DA9C8", kNull, 2},
    {"MovedIntoAPlacement", moved(placed(kScene, kWheel), placed(kScene, kCar)), kWheelInCarInScene, kWheelInCarInScene,
     kNull, 3},
};
INSTANTIATE_TEST_SUITE_P(Content, Derivation, testing::ValuesIn(kDerived), test_support::caseName);

TEST(ContentId, AMovedFromIDIsEmptyAndACopyKeepsItsChain) {
    KrContentID source = filed(placed(kCar, kWheel), "car.krc");
    const KrContentID copy = source;
    const KrContentID target = std::move(source);
    source.setFile("other.krc");  // NOLINT(bugprone-use-after-move): the state is settled
    EXPECT_TRUE(source.isEmpty());
    EXPECT_EQ(copy.getFile(), "car.krc");
    EXPECT_THAT(copy.getParentInstances(), ElementsAre(kCar, kWheel));
    EXPECT_EQ(target, copy);
    EXPECT_TRUE(copy.isRawIDSame(placed(kCar, kWheel)));
    EXPECT_FALSE(copy.isRawIDSame(kCar));
}

TEST(ContentId, UniqueIDsOfManyThreadsDiffer) {
    std::mutex mutex;  // guards the set
    std::unordered_set<KrContentID> all;
    const auto add = [&](int, int) {
        const KrContentID id = KrContentID::createUnique();
        const std::lock_guard lock(mutex);
        all.insert(id);
    };
    test_support::runStress(250, add, [] {});
    EXPECT_EQ(all.size(), 2000U);
    EXPECT_EQ(all.count(KrContentID()), 0U);
}

struct TextCase {
    const char* name;
    std::string text;
    bool isWhole;        ///< parses as a whole
    bool isExtracted;    ///< is read from a stream
    std::string rest{};  ///< what is left in the stream
};

class IdentifierText : public testing::TestWithParam<TextCase> {};

TEST_P(IdentifierText, IsReadOrLeavesTheValue) {
    const TextCase& given = GetParam();
    const Identifier before{7, 8};
    const Identifier expected{0xAB, 0x0123456789ABCDEF};

    Identifier parsed = before;
    EXPECT_EQ(Identifier::parse(given.text, parsed), given.isWhole);
    EXPECT_EQ(parsed, given.isWhole ? expected : before);

    std::istringstream stream(given.text);
    Identifier extracted = before;
    stream >> extracted;
    EXPECT_EQ(!stream.fail(), given.isExtracted);
    EXPECT_EQ(extracted, given.isExtracted ? expected : before);
    stream.clear();
    std::string rest;
    std::getline(stream, rest, '\0');
    EXPECT_EQ(rest, given.rest);
}

const TextCase kTexts[] = {
    {"Plain", "00000000000000AB-0123456789ABCDEF", true, true},
    {"LowerCase", "00000000000000ab-0123456789abcdef", true, true},
    {"AfterSpace", "\n 00000000000000AB-0123456789ABCDEF", false, true},
    {"WithMore", "00000000000000AB-0123456789ABCDEF0 x", false, true, "0 x"},
    {"Short", "00000000000000AB-0123456789ABCDE", false, false},
    {"ShortWord", "0000000000000AB-0123456789ABCDEF", false, false, "-0123456789ABCDEF"},
    {"OtherSeparator", "00000000000000AB_0123456789ABCDEF", false, false, "_0123456789ABCDEF"},
    {"NoDigit", "00000000000000AG-0123456789ABCDEF", false, false, "G-0123456789ABCDEF"},
    {"Prefixed", "0x000000000000AB-0123456789ABCDEF", false, false, "x000000000000AB-0123456789ABCDEF"},
    {"Signed", "-0000000000000AB-0123456789ABCDEF", false, false, "-0000000000000AB-0123456789ABCDEF"},
    {"Empty", "", false, false},
};
INSTANTIATE_TEST_SUITE_P(Forms, IdentifierText, testing::ValuesIn(kTexts), test_support::caseName);

TEST(ContentId, InsertionLeavesTheStreamAsItWas) {
    std::ostringstream stream;
    stream << std::oct << std::showbase << std::setfill('*') << Identifier{0xAB, 0x0123456789ABCDEF} << ' '
           << std::setw(4) << 8;
    EXPECT_EQ(stream.str(), "00000000000000AB-0123456789ABCDEF *010");
}

}  // namespace content_id_test
