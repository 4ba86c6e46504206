#include "kr/content/events/content_event_data.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/content/content_reference.h"
#include "kr/events/event_data.h"
#include "kr/platform/smart_ptr.h"
#include "tests/support/fake_content.h"
#include "tests/support/hex.h"
#include "tests/support/log_capture.h"

namespace content_event_data_test {

using KrSim::EventData;
using KrSim::KrContentID;
using KrSim::KrContentReference;
using testing::Each;
using testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;

const char* const kPastEnd = "2 EventData::operator>>, reading pass end of data\n";
const char* const kTooDeep = "2 EventData::operator>>, the chain of a content ID is nested too deep\n";

Bytes fromHex(const std::string& hex) {
    const auto bytes = test_support::fromHex(hex);
    return {bytes.begin(), bytes.end()};
}

/// (1, 2) placed in (3, 4), which was loaded from "car.krc".
KrContentID wheelInCar() {
    KrContentID car = KrContentID::createFromWords(3, 4);
    car.setFile("car.krc");
    return KrContentID::createFromParentInstance(car, KrContentID::createFromWords(1, 2));
}

const Bytes& wheelInCarBytes() {
    static const Bytes bytes = fromHex(
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "  //   0  own identifier
        "7a 27 69 29 9e 1e ad fd 30 6a 72 9e 5b 34 0d 61 "  //  16  runtime ID
        "ad 82 bb d6 81 8c 91 bc a6 bc 6e 3f e1 b7 03 ec "  //  32  raw ID
        "00 00 00 00 02 00 00 00 "                          //  48  no file, two placements
        "03 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00 "  //  56  the car
        "28 59 2a 87 cd b8 6e ae bb 2c ce 09 50 6a e4 03 "
        "03 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00 "
        "07 00 00 00 63 61 72 2e 6b 72 63 00 00 00 00 "     // 104  "car.krc"
        "01 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 "  // 119  the wheel
        "01 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 "
        "01 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 "
        "00 00 00 00 00 00 00 00 ");
    return bytes;
}

TEST(ContentEventData, AnIDIsWrittenAndReadByteForByte) {
    EventData data;
    data << wheelInCar() << true;
    Bytes expected = wheelInCarBytes();
    expected.push_back(1);
    ASSERT_EQ(data.data(), expected);

    KrContentID id = KrContentID::createFromWords(9, 9);
    bool next = false;
    data >> id >> next;
    EXPECT_TRUE(next);
    ASSERT_THAT(id.getParentInstances(), SizeIs(2));
    EXPECT_EQ(id.getParentInstances().front().getFile(), "car.krc");
    EventData again;
    again << id << true;
    EXPECT_EQ(again.data(), expected);
}

/// What is left of the ID above when the payload ends early.
struct CutCase {
    std::size_t size;
    std::size_t errors;
    std::size_t placements;
    bool hasRuntimeID;
};

class CutID : public testing::TestWithParam<CutCase> {};

TEST_P(CutID, ReadsWhatIsThereAndEndsTheChain) {
    Bytes bytes = wheelInCarBytes();
    bytes.resize(GetParam().size);
    KrContentID id = KrContentID::createFromWords(9, 9);
    const test_support::LogCapture log;
    EventData(bytes) >> id;
    EXPECT_THAT(log.lines(), testing::AllOf(SizeIs(GetParam().errors), Each(kPastEnd)));
    EXPECT_THAT(id.getParentInstances(), SizeIs(GetParam().placements));
    EXPECT_EQ(id == wheelInCar(), GetParam().hasRuntimeID);
    EXPECT_TRUE(id.getOwnIdentifier().isNull());
}

INSTANTIATE_TEST_SUITE_P(AtByte, CutID,
                         testing::Values(CutCase{0, 8, 0, false}, CutCase{3, 8, 0, false}, CutCase{24, 5, 0, false},
                                         CutCase{32, 4, 0, true}, CutCase{52, 1, 0, true}, CutCase{56, 8, 1, true},
                                         CutCase{110, 2, 1, true}, CutCase{119, 8, 2, true}, CutCase{174, 1, 2, true}),
                         [](const auto& each) { return std::to_string(each.param.size); });

TEST(ContentEventData, ChainsNestNoDeeperThanTheLimit) {
    for (const int nesting : {KrContentID::kMaxNesting, KrContentID::kMaxNesting + 1, 100000}) {
        const Bytes link = fromHex("00 00 00 00 01 00 00 00 ");
        Bytes bytes;
        for (int i = 0; i < nesting; ++i) {
            bytes.resize(bytes.size() + 48);
            bytes.insert(bytes.end(), link.begin(), link.end());
        }
        bytes.resize(bytes.size() + 56);
        const test_support::LogCapture log;
        KrContentID id;
        EventData(bytes) >> id;
        int depth = 0;
        for (const KrContentID* at = &id; !at->getParentInstances().empty(); at = &at->getParentInstances().front())
            ++depth;
        EXPECT_EQ(depth, KrContentID::kMaxNesting);
        EXPECT_EQ(log.lines(), std::vector<std::string>(nesting > KrContentID::kMaxNesting ? 1 : 0, kTooDeep));
    }
}

TEST(ContentEventData, ACountWithoutEntriesEndsAtOnce) {
    Bytes bytes(48);
    const Bytes counts = fromHex("00 00 00 00 ff ff ff ff ");
    bytes.insert(bytes.end(), counts.begin(), counts.end());
    const test_support::LogCapture log;
    KrContentID id;
    EventData(bytes) >> id;
    EXPECT_THAT(id.getParentInstances(), SizeIs(1));
    EXPECT_THAT(log.lines(), SizeIs(8));
}

TEST(ContentEventData, AFileNameLongerThanAnyPayloadEndsTheID) {
    Bytes bytes(48);
    const Bytes rest = fromHex("ff ff ff ff 02 00 00 00 ");
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    const test_support::LogCapture log;
    KrContentID id;
    EventData(bytes) >> id;
    EXPECT_EQ(id.getFile(), "");
    EXPECT_THAT(id.getParentInstances(), SizeIs(0));
    EXPECT_THAT(log.lines(), testing::AllOf(SizeIs(1), Each(kPastEnd)));
}

TEST(ContentEventData, AReferenceFindsItsContentWhereItIsRead) {
    const test_support::FakeContentScope scope;
    const auto content = Kr::makeSmart<test_support::FakeContent>(wheelInCar());
    EventData data;
    for (const bool isStrong : {true, false}) {
        KrContentReference written(wheelInCar());
        written.enableStrongReference(isStrong);
        data.clear();
        data << written;
        Bytes expected = wheelInCarBytes();
        expected.insert(expected.begin(), isStrong ? 1 : 0);
        EXPECT_EQ(data.data(), expected);
        written.reset();

        KrContentReference read(KrContentID::createFromWords(9, 9));
        read.enableStrongReference(!isStrong);
        data >> read;
        EXPECT_EQ(read.get(), content->asExtension());
        EXPECT_EQ(content->getRefCount(), isStrong ? 2 : 1);
    }
    const test_support::LogCapture log;
    KrContentReference none(content->asExtension());
    EventData() >> none;
    EXPECT_TRUE(none.isEmpty());
    EXPECT_THAT(log.lines(), testing::AllOf(SizeIs(9), Each(kPastEnd)));
}

}  // namespace content_event_data_test
