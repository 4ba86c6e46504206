#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <sstream>

#include "kr/persistence/archives/archive_error.h"
#include "kr/platform/runtime_error.h"
#include "tests/persistence/archives/shapes.h"
#include "tests/support/case_name.h"
#include "tests/support/hex.h"
#include "tests/support/log_capture.h"

namespace binary_bytes_test {

using KrPersistence::BinaryInArchive;
using KrPersistence::BinaryOutArchive;
using KrPersistence::KrArchive;
using test_support::fromHex;
using test_support::toHex;
using testing::ElementsAre;
using testing::IsEmpty;

// Bytes 0, 26, 34, 42, then the version of Boost's archives (64), the sizes (66) and the byte order (70).
std::string headerBytes() {
    std::string bytes = fromHex(
        "4f727265727953747564696f46696c6541726368697665494400 8c73f62400000000 1600000000000000"
        "73657269616c697a6174696f6e3a3a61726368697665 0000 04040408 01000000");
    const auto libraryVersion = boost::archive::BOOST_ARCHIVE_VERSION();
    bytes[64] = static_cast<char>(std::uint16_t{libraryVersion});
    return bytes;
}

template <class T>
std::string written(const T& value, std::uint32_t flags,
                    BinaryOutArchive::OptimizationMode mode = BinaryOutArchive::OptimizationMode::kNormal) {
    std::ostringstream stream;
    BinaryOutArchive(stream, flags, mode) << value;
    return toHex(stream.str());
}

template <class T>
T read(const std::string& bytes, std::uint32_t flags,
       BinaryInArchive::OptimizationMode mode = BinaryInArchive::OptimizationMode::kNormal) {
    std::istringstream stream(bytes);
    T value{};
    BinaryInArchive(stream, flags, mode) >> value;
    return value;
}

Kr::KrTransform moved(double last) {
    Kr::KrTransform transform;
    transform.setTranslation({1, 2, 0.1});
    transform.m[15] = last;
    return transform;
}

/// A value, the hexadecimal bytes that it takes, and whether it comes back equal.
struct Encoding {
    const char* name;
    std::function<bool(const std::string& normal, const std::string& compact)> holds;
    const char* normal;
    const char* compact;
};

template <class T>
std::function<bool(const std::string&, const std::string&)> holds(const T& value, const T& narrow) {
    return [=](const std::string& normal, const std::string& compact) {
        const auto flags = KrArchive::kNoHeader;
        EXPECT_EQ(written(value, flags), normal);
        EXPECT_EQ(written(value, flags, BinaryOutArchive::OptimizationMode::kCompact), compact);
        return read<T>(fromHex(normal), flags) == value &&
               read<T>(fromHex(compact), flags, BinaryInArchive::OptimizationMode::kCompact) == narrow;
    };
}
template <class T>
std::function<bool(const std::string&, const std::string&)> holds(const T& value) {
    return holds(value, value);
}

Kr::KrTransform narrowed(double last) {
    Kr::KrTransform transform = moved(last);
    transform.m[11] = 0.1F;
    return transform;
}

std::string without(const std::string& spaced) {
    return toHex(fromHex(spaced));
}

class BinaryEncoding : public testing::TestWithParam<Encoding> {};

TEST_P(BinaryEncoding, HasTheseBytesAndComesBack) {
    const auto& each = GetParam();
    const std::string normal = without(each.normal);
    EXPECT_TRUE(each.holds(normal, *each.compact == '\0' ? normal : without(each.compact)));
}

const Encoding kEncodings[] = {
    {"Bool", holds(true), "01", ""},
    {"Char", holds('a'), "61", ""},
    {"Int", holds(-2), "fe ff ff ff", ""},
    {"UnsignedInt", holds(7U), "0700000000000000", ""},
    {"Long", holds(-3L), "fd ff ff ff", ""},
    {"LongLong", holds(1LL << 40U), "0000000000010000", ""},
    {"Float", holds(0.5F), "0000003f", ""},
    {"Double", holds(0.1, double{0.1F}), "9a9999999999b93f", "cdcccc3d"},
    {"Text", holds(std::string("a\0b", 3)), "0300000000000000 610062", ""},
    {"WideText", holds(std::wstring(L"\u20ac")), "0100000000000000 ac200000", ""},
    {"Doubles", holds(std::vector{1.0, 0.1}, std::vector{1.0, double{0.1F}}),
     "0200000000000000 000000000000f03f 9a9999999999b93f", "00000000 0200000000000000 0000803f cdcccc3d"},
    {"Ints", holds(std::vector{1, 2}), "0200000000000000 01000000 02000000",
     "00000000 0200000000000000 01000000 02000000"},
    {"UnsignedInts", holds(std::vector{1U}), "0100000000000000 00000000 0100000000000000",
     "00000000 0100000000000000 00000000 0100000000000000"},
    {"Longs", holds(std::vector{-1L}), "0100000000000000 00000000 ffffffff",
     "00000000 0100000000000000 00000000 ffffffff"},
    {"RigidTransform", holds(moved(1), narrowed(1)),
     "000000000000f03f 0000000000000000 0000000000000000 000000000000f03f"
     "0000000000000000 000000000000f03f 0000000000000000 0000000000000040"
     "0000000000000000 0000000000000000 000000000000f03f 9a9999999999b93f"
     "0000000000000000 0000000000000000 0000000000000000 000000000000f03f",
     "00000000 01 00000000 0000803f 00000040 cdcccc3d 00000000 00000000 00000000 00000000 0000803f"},
    {"OtherTransform", holds(moved(2), narrowed(2)),
     "000000000000f03f 0000000000000000 0000000000000000 000000000000f03f"
     "0000000000000000 000000000000f03f 0000000000000000 0000000000000040"
     "0000000000000000 0000000000000000 000000000000f03f 9a9999999999b93f"
     "0000000000000000 0000000000000000 0000000000000000 0000000000000040",
     "00000000 00 0000803f 00000000 00000000 0000803f 00000000 0000803f 00000000 00000040"
     "00000000 00000000 0000803f cdcccc3d 00000000 00000000 00000000 00000040"},
};
INSTANTIATE_TEST_SUITE_P(Values, BinaryEncoding, testing::ValuesIn(kEncodings), test_support::caseName);

// Tracking, version, count, value; in compact mode only the version precedes the members.
TEST(BinaryObjectBytes, FollowTheFlags) {
    const shapes::Reading reading{7, 0.5};
    const auto noHeader = KrArchive::kNoHeader;
    const auto byteVersions = KrArchive::kNoHeader | KrArchive::kByteVersions;
    EXPECT_EQ(written(reading, noHeader), without("00 0300000000000000 07000000 000000000000e03f"));
    EXPECT_EQ(written(reading, byteVersions), without("00 03 07000000 000000000000e03f"));
    EXPECT_EQ(written(reading, noHeader, BinaryOutArchive::OptimizationMode::kCompact),
              without("03000000 07000000 0000003f"));

    EXPECT_EQ(read<shapes::Reading>(fromHex("00 0200000000000000 07000000 000000000000e03f"), noHeader).readVersion,
              2U);
    EXPECT_EQ(read<shapes::Reading>(fromHex("00 01 07000000 000000000000e03f"), byteVersions).readVersion, 1U);
    EXPECT_EQ(read<shapes::Reading>(fromHex("02000000 07000000 0000003f"), noHeader,
                                    BinaryInArchive::OptimizationMode::kCompact)
                  .value,
              0.5);

    std::string old = headerBytes() + fromHex("00 02000000 07000000 000000000000e03f");
    old.replace(26, 8, 8, '\0');
    EXPECT_EQ(read<shapes::Reading>(old, 0).readVersion, 2U) << "four bytes where the header has no value";
}

TEST(BinaryObjectBytes, OfPointers) {
    shapes::Circle circle;
    circle.name = "c";
    circle.radius = 0.5;
    const shapes::Shape* pointer = &circle;
    const auto none = static_cast<const shapes::Shape*>(nullptr);
    EXPECT_EQ(written(none, KrArchive::kNoHeader), "ffff");
    EXPECT_EQ(written(pointer, KrArchive::kNoHeader, BinaryOutArchive::OptimizationMode::kCompact), "ffff");
    // Class, its name, tracking, version; object, then name and radius. The second pointer: class and object.
    std::ostringstream stream;
    BinaryOutArchive(stream, KrArchive::kNoHeader) << pointer << pointer;
    EXPECT_EQ(toHex(stream.str()),
              without("0000 0600000000000000 436972636c65 01 0200000000000000 00000000 0100000000000000 63"
                      "000000000000e03f 0000 00000000"));
}

TEST(BinaryHeader, IsWrittenAndRead) {
    std::ostringstream stream;
    BinaryOutArchive(stream, 0) << 'x';
    EXPECT_EQ(toHex(stream.str()), toHex(headerBytes() + "x"));

    const test_support::LogCapture log;
    std::string earlier = headerBytes();
    earlier.replace(0, 25, "BinaryNoTrackingArchiveID");
    for (const std::string& bytes : {headerBytes(), earlier}) {
        std::istringstream in(bytes);
        EXPECT_EQ(BinaryInArchive(in, 0).getVersion(), 620131212U);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinaryHeader, OfOtherFormatsIsRefused) {
    using Refused = boost::archive::archive_exception;
    struct {
        std::size_t offset;
        char byte;
        Refused::exception_code code;
    } const cases[] = {{0, 'o', Refused::invalid_signature},
                       {25, ' ', Refused::invalid_signature},
                       {42, 'S', Refused::invalid_signature},
                       {40, 1, Refused::input_stream_error},
                       {65, 1, Refused::unsupported_version}};
    for (const auto& each : cases) {
        std::string bytes = headerBytes();
        bytes[each.offset] = each.byte;
        std::istringstream stream(bytes);
        try {
            const BinaryInArchive archive(stream, 0);
            ADD_FAILURE() << each.offset << " was read";
        } catch (const Refused& exception) {
            EXPECT_EQ(exception.code, each.code) << each.offset << ": " << exception.what();
        }
    }
}

TEST(BinaryHeader, LogsOtherSizesAndReadsOn) {
    std::string bytes = headerBytes() + fromHex("feffffff feffffff");
    bytes.replace(66, 8, fromHex("02 05 02 0a 00000001"));
    const test_support::LogCapture log(
        [](const std::string&) { throw KrSim::KrRuntimeError("as the error handler does"); });
    std::istringstream stream(bytes);
    BinaryInArchive archive(stream, 0);
    long value = 0;
    archive >> value;
    EXPECT_EQ(value, -2);
    EXPECT_THAT(log.lines(),
                ElementsAre("2 BinaryInArchive::_init, invalid size of int 2, system: 4\n",
                            "2 BinaryInArchive::_init, invalid size of long 5, expected 4 or 8\n",
                            "2 BinaryInArchive::_init, invalid size of float 2, system: 4\n",
                            "2 BinaryInArchive::_init, invalid size of double 10, system: 8\n",
                            "2 BinaryInArchive::_init, bad endianess\n",
                            "2 BinaryInArchive::load(long & t), invalid size of long 5, expected 4 or 8\n"));
}

TEST(BinaryHeader, SaysThatLongsHaveEightBytes) {
    std::string bytes = headerBytes() + fromHex("0000000001000000");
    bytes[67] = 8;
    const test_support::LogCapture log;
    EXPECT_EQ(read<long>(bytes, 0), 1L << 32U);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinaryOutArchive, RefusesWhatDoesNotFit) {
    std::ostringstream stream;
    BinaryOutArchive archive(stream, KrArchive::kNoHeader | KrArchive::kByteVersions);
    const long tooLong = long{std::numeric_limits<int>::max()} + 1;
    EXPECT_THROW(archive << tooLong, KrPersistence::ArchiveError);
    EXPECT_THROW(archive << boost::archive::version_type(256), KrPersistence::ArchiveError);
    EXPECT_EQ(stream.str(), "");
}

}  // namespace binary_bytes_test
