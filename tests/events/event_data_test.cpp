#include "kr/events/event_data.h"
#include "kr/events/event_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <numeric>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kr/events/kinematic_recorder.h"
#include "kr/events/process_measurements.h"
#include "kr/math/matrix44.h"
#include "kr/platform/runtime_error.h"
#include "kr/platform/uuid.h"
#include "tests/support/log_capture.h"

namespace event_data_test {

using KrSim::EventData;
using Matrix = KrMath::Matrix44T<double>;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;

const char* const kPastEnd = "2 EventData::operator>>, reading pass end of data\n";

/// "01 02 ff" as bytes.
Bytes fromHex(const std::string& hex) {
    Bytes bytes;
    for (std::size_t at = 0; at + 2 <= hex.size(); at += 3)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(at, 2), nullptr, 16)));
    return bytes;
}

std::string zeros(std::size_t count) {
    return count == 0 ? "" : "00 " + zeros(count - 1);
}

/// One value with its bytes.
struct EncodingCase {
    std::string name;
    std::string hex;
    bool isScalar;  ///< read whole or not at all
    std::function<void(EventData&)> write;
    /// Reads over a value of bytes 01 and answers the bytes of the outcome, which tell more than ==.
    std::function<Bytes(const EventData&)> read;
};

template <class T>
EncodingCase row(const char* name, T value, const std::string& hex, bool isScalar = true) {
    return {name, hex, isScalar, [value](EventData& data) { data << value; },
            [](const EventData& data) {
                T target = T();
                if constexpr (!std::is_same_v<T, std::string>) EventData(Bytes(sizeof(T), 1)) >> target;
                data >> target;
                EventData outcome;
                outcome << target;
                return outcome.data();
            }};
}

std::vector<EncodingCase> encodingCases() {
    using String = std::string;
    Matrix matrix = Matrix::zero();
    matrix.m[1] = 2.0;
    KrSim::KrUuid::Bytes uuid;
    std::iota(uuid.begin(), uuid.end(), std::uint8_t{0xA0});
    return {
        row<bool>("True", true, "01"),
        row<bool>("False", false, "00"),
        row<signed char>("SignedChar", -2, "fe"),
        row<unsigned char>("UnsignedChar", 0xFE, "fe"),
        row<short>("Short", -2, "fe ff"),
        row<unsigned short>("UnsignedShort", 0x0102, "02 01"),
        row<int>("Int", 0x01020304, "04 03 02 01"),
        row<unsigned int>("UnsignedInt", 0xFFFFFFFE, "fe ff ff ff"),
        row<float>("Float", 1.0F, "00 00 80 3f"),
        row<double>("Double", -2.0, "00 00 00 00 00 00 00 c0"),
        row<double>("MinusZero", -0.0, "00 00 00 00 00 00 00 80"),
        row<double>("NotANumber", std::numeric_limits<double>::signaling_NaN(), "00 00 00 00 00 00 f4 7f"),
        row<long>("Long", -2, "fe ff ff ff ff ff ff ff"),
        row<unsigned long>("UnsignedLong", 0x0102030405060708, "08 07 06 05 04 03 02 01"),
        row<long long>("LongLong", -2, "fe ff ff ff ff ff ff ff"),
        row<unsigned long long>("UnsignedLongLong", 0x0102030405060708, "08 07 06 05 04 03 02 01"),
        row<String>("Text", "abc", "03 00 00 00 61 62 63", false),
        row<String>("LongText", "0123456789abcdefg", "11 00 00 00 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 67",
                    false),
        row<String>("TextWithNul", String("a\0c", 3), "03 00 00 00 61 00 63", false),
        row<String>("EmptyText", "", "00 00 00 00", false),
        row<Matrix>("Matrix", matrix, zeros(15) + "40 " + zeros(112), false),
        row<KrSim::KrUuid>("Uuid", KrSim::KrUuid(uuid), "a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af b0"),
    };
}

class EventDataEncoding : public testing::TestWithParam<EncodingCase> {};

TEST_P(EventDataEncoding, HasTheseBytesAtAnyOffset) {
    EventData data;
    data << static_cast<unsigned char>(0x77);
    GetParam().write(data);
    EXPECT_EQ(data.data(), fromHex("77 " + GetParam().hex));
    unsigned char first = 0;
    data >> first;
    EXPECT_EQ(GetParam().read(data), fromHex(GetParam().hex));
    EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), 0U);
}

TEST_P(EventDataEncoding, LeavesTargetAndPositionWhenAScalarIsCutAnywhere) {
    if (!GetParam().isScalar) return;
    const test_support::LogCapture log;
    const Bytes whole = fromHex(GetParam().hex);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const EventData data(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_EQ(GetParam().read(data), Bytes(whole.size(), 1)) << length;
        EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), length);
    }
    EXPECT_THAT(log.lines(), SizeIs(whole.size()));
    EXPECT_THAT(log.lines(), Each(kPastEnd));
}

INSTANTIATE_TEST_SUITE_P(Values, EventDataEncoding, testing::ValuesIn(encodingCases()),
                         [](const auto& each) { return each.param.name; });

// A copy of the byte into the bool itself would be neither true nor false.
TEST(EventData, ReadsAnyByteButZeroAsTrue) {
    bool value = false;
    EventData(Bytes{0x02}) >> value;
    EXPECT_TRUE(value);
}

TEST(EventData, WritesANullTextAsAnEmptyOne) {
    const char* const nothing = nullptr;
    EventData data;
    data << nothing << "ab";
    EXPECT_EQ(data.data(), fromHex("00 00 00 00 02 00 00 00 61 62"));
}

// Types whose width would be a surprise: 4 bytes for a character, 1 for a pointer taken as bool.
template <class T>
concept Writable = requires(EventData& data, T value) {
    data << value;
};
enum Plain { kOne };
static_assert(Writable<int> && Writable<char*> && Writable<std::string>);
static_assert(!Writable<char> && !Writable<char16_t> && !Writable<wchar_t> && !Writable<long double>);
static_assert(!Writable<int*> && !Writable<void (*)()> && !Writable<Plain>);

/// Bytes 1 to 4, the first of them read.
EventData partlyRead() {
    EventData data(Bytes{1, 2, 3});
    unsigned char value = 0;
    data >> value;
    data << static_cast<unsigned char>(4);
    return data;
}

TEST(EventData, WritesAtTheEndAndReadsFromTheStartAfterEveryChange) {
    struct Case {
        const char* hex;
        void (*change)(EventData& data, EventData& other);
    };
    const Case cases[] = {
        {"", [](EventData& data, EventData&) { data.clear(); }},
        {"", [](EventData& data, EventData&) { const EventData taken(std::move(data)); }},
        {"", [](EventData& data, EventData& other) { other = std::move(data); }},
        {"05 ", [](EventData& data, EventData&) { data.setData(Bytes{5}); }},
        {"01 02 03 04 ", [](EventData& data, EventData&) { data.setData(data.data()); }},
        {"01 02 03 04 ", [](EventData& data, EventData& other) { data = std::as_const(other); }},
        {"01 02 03 04 ", [](EventData& data, EventData& other) { data = std::move(other); }},
    };
    for (const auto& [hex, change] : cases) {
        SCOPED_TRACE(hex);
        EventData data = partlyRead(), other = partlyRead();
        change(data, other);
        EventData copy(std::as_const(data)), moved{EventData(data)}, fromBytes(data.data());
        for (EventData* each : {&data, &copy, &moved, &fromBytes}) {
            *each << short{9};
            EXPECT_EQ(each->data(), fromHex(std::string(hex) + "09 00"));
            EXPECT_EQ(KrSim::detail::EventDataAccess::unread(*each), each->data().size());
        }
    }
}

TEST(EventData, StaysAsItIsWhenAssignedToItself) {
    EventData data = partlyRead();
    EventData& same = data;
    data = same;
    data = std::move(same);
    EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), 3U);
    EXPECT_EQ(data.data(), (Bytes{1, 2, 3, 4}));
}

// The bytes are kept longer than the payload: neither a cut, a copy nor a smaller payload may let others through.
TEST(EventData, ShowsAndReadsOnlyWhatWasWritten) {
    const test_support::LogCapture log;
    EventData data;
    for (std::uint8_t value = 0; value < 200; ++value) {
        data << value << 1.0;
        if (value % 7 == 0) {
            ASSERT_THAT(data.data(), SizeIs(9U * (value + 1U)));
        }
    }
    EXPECT_EQ(EventData(data).data(), data.data());
    data.clear();
    data << short{1};
    int untouched = 5;
    data >> untouched;
    EXPECT_EQ(untouched, 5);
    EXPECT_THAT(data.data(), SizeIs(2));
    EXPECT_THAT(log.lines(), ElementsAre(kPastEnd));
}

TEST(EventData, ReadsATextWithoutItsBytesAsThatManyNulCharacters) {
    struct Case {
        const char* hex;
        std::size_t length, unread;
    };
    for (const auto& [hex, length, unread] :
         {Case{"", 0, 0}, Case{"05 00 00", 0, 3}, Case{"02 00 00 00", 2, 0}, Case{"0a 00 00 00 61 62 63 64", 10, 4},
          Case{"03 00 00 00 61 62", 3, 2}, Case{"00 00 00 04 61", KrSim::EventData::kLargestPayloadBytes, 1},
          Case{"01 00 00 04 61", 0, 1}, Case{"ff ff ff ff", 0, 0}}) {
        const test_support::LogCapture log;
        const EventData data(fromHex(hex));
        std::string text = "before";
        data >> text;
        EXPECT_TRUE(text == std::string(length, '\0')) << hex << " gives " << text.size();
        EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), unread) << hex;
        EXPECT_THAT(log.lines(), ElementsAre(kPastEnd));
    }
}

TEST(EventData, TakesNoMemoryForALengthThatNoPayloadHas) {
    const test_support::LogCapture log;
    std::string text = "before";
    const std::size_t before = text.capacity();
    EventData(fromHex("01 00 00 04 61")) >> text;
    EXPECT_EQ(text.capacity(), before);
}

TEST(EventData, ReadsAWholeTextOrNothing) {
    struct Case {
        const char* hex;
        bool isWhole;
        const char* text;
        std::size_t unread;
    };
    for (const auto& [hex, isWhole, text, unread] :
         {Case{"02 00 00 00 61 62 63", true, "ab", 1}, Case{"00 00 00 00", true, "", 0}, Case{"", false, "before", 0},
          Case{"02 00 00", false, "before", 3}, Case{"02 00 00 00 61", false, "before", 5},
          Case{"ff ff ff ff 61 62", false, "before", 6}}) {
        const test_support::LogCapture log;
        const EventData data(fromHex(hex));
        std::string read = "before";
        EXPECT_EQ(KrSim::detail::EventDataAccess::readWholeText(data, read), isWhole) << hex;
        EXPECT_EQ(read, text) << hex;
        EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), unread) << hex;
        EXPECT_THAT(log.lines(), testing::IsEmpty()) << hex;
    }
}

TEST(EventData, TakesTheNumbersOfACutMatrix) {
    const test_support::LogCapture log;
    EventData data;
    data << 4.0 << 5.0 << 6;
    Matrix matrix = Matrix::zero();
    data >> matrix;
    EXPECT_EQ(matrix.m[0], 4.0);
    EXPECT_EQ(matrix.m[1], 5.0);
    EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), 4U);
    EXPECT_THAT(log.lines(), SizeIs(14));
    EXPECT_THAT(log.lines(), Each(kPastEnd));
}

TEST(EventData, CarriesTheStatusOfARecorder) {
    using Recorder = KrSim::KinematicRecorder;
    const Recorder::Status sent{Recorder::eState::kPlaying, "run", 0.5, 2.0, 3, "x"};
    EventData data;
    data << sent;
    EXPECT_EQ(data.data(), fromHex("02 00 00 00 03 00 00 00 72 75 6e 00 00 00 00 00 00 e0 3f 00 00 00 00 00 00 00 40 "
                                   "03 00 00 00 00 00 00 00 01 00 00 00 78"));
    Recorder::Status received;
    data >> received;
    EXPECT_EQ(received, sent);
    EventData unknown;
    unknown << 77 << "" << 0.0 << 0.0 << std::uint64_t{0} << "";
    unknown >> received;
    EXPECT_EQ(received.state, Recorder::eState::kFailed);
}

TEST(EventData, CarriesMeasurementsOfAProcess) {
    const auto sent = KrSim::ProcessMeasurements::take();
    EXPECT_GT(sent.residentBytes, 1U << 16U);
    EXPECT_GE(sent.peakResidentBytes, sent.residentBytes / 2) << "both are in bytes";
    EXPECT_GE(KrSim::ProcessMeasurements::take().userSeconds, sent.userSeconds);
    const KrSim::ProcessMeasurements numbers{0.5, 2.0, 3, 4, 5, 6};
    EventData data;
    numbers.appendToEventData(data);
    EXPECT_EQ(data.data(), fromHex("00 00 00 00 00 00 e0 3f 00 00 00 00 00 00 00 40 03 00 00 00 00 00 00 00 "
                                   "04 00 00 00 00 00 00 00 05 00 00 00 00 00 00 00 06 00 00 00 00 00 00 00"));
    KrSim::ProcessMeasurements received;
    received.extractFromEventData(data);
    EXPECT_EQ(received, numbers);
}

TEST(EventData, ReportsATextThatItsLengthCannotHold) {
    const test_support::LogCapture log;
    EventData data;
    KrSim::detail::EventDataAccess::writeText(data, "", std::size_t{1} << 32U);
    data << true;
    EXPECT_EQ(data.data(), fromHex("00 00 00 00 01"));
    EXPECT_THAT(log.lines(), ElementsAre("2 EventData::operator<<, a text of 4294967296 bytes is too long\n"));
}

TEST(EventData, ReadsTheSameWhenErrorsThrow) {
    const test_support::LogCapture log([](const std::string& message) { throw KrSim::KrRuntimeError(message); });
    const EventData data(fromHex("02 00 00 00 61"));
    std::string text = "before";
    EXPECT_NO_THROW(data >> text);
    EXPECT_EQ(text, std::string(2, '\0'));
    EXPECT_EQ(KrSim::detail::EventDataAccess::unread(data), 1U);
}

}  // namespace event_data_test
