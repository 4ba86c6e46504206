#include "kr/persistence/files/magic_tag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace magic_tag_test {

using KrPersistence::KrFile;
using KrPersistence::KrMagicTag;
using Format = KrMagicTag::eFileFormat;
using Type = KrFile::eFileType;
using testing::ElementsAre;

std::string save(KrMagicTag tag) {
    std::ostringstream stream;
    tag.save(stream);
    return stream.str();
}

// Written

struct WrittenCase {
    const char* name;
    std::function<void(KrMagicTag&)> change;
    std::string buffer;  // before it is saved
    std::string saved;
};

class WrittenTag : public testing::TestWithParam<WrittenCase> {};

TEST_P(WrittenTag, HasItsBytes) {
    KrMagicTag tag;
    GetParam().change(tag);
    EXPECT_EQ(tag.getInternalBuffer(), GetParam().buffer);
    EXPECT_EQ(save(tag), GetParam().saved);
}

INSTANTIATE_TEST_SUITE_P(MagicTag, WrittenTag,
                         testing::Values(WrittenCase{"Fresh", [](KrMagicTag&) {}, "<!--KrB30010000000000001-->",
                                                     "<!--KrB30011000000000001-->"},
                                         WrittenCase{"BinaryObject",
                                                     [](KrMagicTag& tag) {
                                                         tag.setFileType(Type::kObject);
                                                         tag.setFileFormat(Format::kBinary);
                                                     },
                                                     "<!--KrB3OB10000000000001-->", "<!--KrB3OB11000000000001-->"},
                                         WrittenCase{"Nothing",
                                                     [](KrMagicTag& tag) {
                                                         tag.setFileType(Type::kInvalid);
                                                         tag.setFileFormat(Format::kUnknownFormat);
                                                         tag.setVersionSavedAsChar(true);
                                                     },
                                                     "<!--KrB3??00000000000001-->", "<!--KrB3??01000000000001-->"},
                                         WrittenCase{"EarlierXml",
                                                     [](KrMagicTag& tag) {
                                                         tag.setOrreryVersion(2016, 61);
                                                         tag.setFileType(static_cast<Type>(11));
                                                         tag.setFileFormat(Format::kXml);
                                                     },
                                                     "<!--Kr7zGX10000000000001-->", "<!--Kr7zGX11000000000001-->"},
                                         WrittenCase{"NegativeNumbers",
                                                     [](KrMagicTag& tag) { tag = KrMagicTag(2021, -1); },
                                                     "<!--KrB30010000000000001-->", "<!--KrB30011000000000001-->"},
                                         WrittenCase{"Signed", [](KrMagicTag& tag) { tag.setSigned(100); },
                                                     "<!--KrB3001000\x7f"
                                                     "000000001-->",
                                                     "<!--KrB3001100\x7f"
                                                     "000000001-->"},
                                         WrittenCase{"Named", [](KrMagicTag& tag) { tag.setMarketingName("Comet"); },
                                                     "<!--KrB30010"
                                                     "1\x05"
                                                     "0000000001-->",
                                                     "<!--KrB30011"
                                                     "1\x05"
                                                     "0000000001-->Comet"},
                                         WrittenCase{"NameTakenBack",
                                                     [](KrMagicTag& tag) {
                                                         tag.setMarketingName("Comet");
                                                         tag.setMarketingName("");
                                                     },
                                                     "<!--KrB30010000000000001-->", "<!--KrB30011000000000001-->"}),
                         test_support::caseName);

// Versions

struct VersionCase {
    const char* name;
    unsigned int major, minor;
    char majorCode, minorCode;
    unsigned int readMajor, readMinor;
    std::vector<std::string> log;
};

class TagVersion : public testing::TestWithParam<VersionCase> {};

TEST_P(TagVersion, IsKeptInTwoCodes) {
    const test_support::LogCapture log;
    const KrMagicTag tag(static_cast<int>(GetParam().major), static_cast<int>(GetParam().minor));
    EXPECT_EQ(tag.getInternalBuffer()[6], GetParam().majorCode);
    EXPECT_EQ(tag.getInternalBuffer()[7], GetParam().minorCode);
    unsigned int major = 1;
    unsigned int minor = 1;
    tag.getOrreryVersion(major, minor);
    EXPECT_EQ(major, GetParam().readMajor);
    EXPECT_EQ(minor, GetParam().readMinor);
    EXPECT_EQ(log.lines(), GetParam().log);
}

const std::string kMajorText =
    "2 KrMagicTag: Problem with ORRERY_MAJOR: Developer must fix this before release Orrery.\n";
const std::string kMinorText =
    "2 KrMagicTag: Problem with ORRERY_MINOR: Developer must fix this before release Orrery.\n";

INSTANTIATE_TEST_SUITE_P(MagicTag, TagVersion,
                         testing::Values(VersionCase{"Now", 2020, 3, 'B', '3', 2020, 3, {}},
                                         VersionCase{"First", 2016, 0, '7', '0', 2016, 0, {}},
                                         VersionCase{"Letters", 2019, 10, 'A', 'A', 2019, 10, {}},
                                         VersionCase{"Last", 2046, 61, 'b', 'z', 2046, 61, {}},
                                         VersionCase{"Six", 6, 36, '6', 'a', 6, 36, {}},
                                         VersionCase{"Development", 9999, 1, '@', '1', 9999, 1, {}},
                                         VersionCase{"BeforeFirst", 2015, 3, '0', '3', 0, 3, {kMajorText}},
                                         VersionCase{"BehindLast", 2047, 62, '0', '0', 0, 0, {kMinorText, kMajorText}}),
                         test_support::caseName);

// Read

struct ReadCase {
    const char* name;
    std::string bytes;
    unsigned int major, minor;
    Format format;
    Type type;
    bool isChar;
    std::string marketingName;
    std::size_t consumed;
    char sign{0};
};

class ReadTag : public testing::TestWithParam<ReadCase> {};

TEST_P(ReadTag, TellsWhatItFinds) {
    const ReadCase& expected = GetParam();
    std::istringstream stream("ab" + expected.bytes);
    stream.seekg(2);
    KrMagicTag tag;
    tag.setMarketingName("left over");
    tag.load(stream);
    unsigned int major = 1;
    unsigned int minor = 1;
    tag.getOrreryVersion(major, minor);
    EXPECT_EQ(major, expected.major);
    EXPECT_EQ(minor, expected.minor);
    EXPECT_EQ(tag.getFileFormat(), expected.format);
    EXPECT_EQ(tag.getFileType(), expected.type);
    EXPECT_EQ(tag.getVersionSavedAsChar(), expected.isChar);
    EXPECT_EQ(tag.getMarketingName(), expected.marketingName);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(static_cast<std::size_t>(stream.tellg()), 2 + expected.consumed);
    if (expected.consumed > 0) {
        EXPECT_EQ(tag.getInternalBuffer(), expected.bytes.substr(0, 27));
        EXPECT_EQ(tag.getSign(), expected.sign);
        EXPECT_EQ(tag.isSigned(), expected.sign != 0);
    }
}

INSTANTIATE_TEST_SUITE_P(MagicTag, ReadTag,
                         testing::Values(ReadCase{"Binary", "<!--KrB3OB11000000000001-->body", 2020, 3, Format::kBinary,
                                                  Type::kObject, false, "2020.3", 27},
                                         ReadCase{"Json", "<!--KrA1KJ01000000000001-->", 2019, 1, Format::kJson,
                                                  Type::kSimulationState, true, "2019.1", 27},
                                         ReadCase{"Named",
                                                  "<!--KrB3UX111\x05"
                                                  "0000000001-->Cometbody",
                                                  2020, 3, Format::kXml, Type::kUnknown, false, "Comet", 32},
                                         ReadCase{"Signed",
                                                  "<!--KrB3OB110"
                                                  "0\x7f"
                                                  "000000001-->",
                                                  2020, 3, Format::kBinary, Type::kObject, false, "2020.3", 27, 79},
                                         ReadCase{"OddLetters", "<!--KrcU0?11000000000001-->", 2047, 30,
                                                  Format::kUnknownFormat, Type::kInvalid, false, "2047.30", 27},
                                         ReadCase{"HighestMajor", "<!--Krz!FB11000000000001-->", 2070, 0,
                                                  Format::kBinary, static_cast<Type>(0), false, "2070.0", 27},
                                         ReadCase{"ZeroBytes",
                                                  {"<!--Kr\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 27},
                                                  4294967248U,
                                                  0,
                                                  Format::kUnknownFormat,
                                                  Type::kInvalid,
                                                  false,
                                                  "4294967248.0",
                                                  27,
                                                  -48},
                                         ReadCase{"LegacyBinary", "<!--OrreryBinaryFile0001-->", 4, 9, Format::kBinary,
                                                  Type::kUnknown, true, "4.9", 27, 'r' - '0'},
                                         ReadCase{"LegacyXml", "<!--OrreryXMLFile0000001-->", 4, 9, Format::kXml,
                                                  Type::kUnknown, true, "4.9", 27, 'i' - '0'},
                                         ReadCase{"XmlProlog", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 4, 2,
                                                  Format::kXml, Type::kUnknown, true, "", 0},
                                         ReadCase{"Foreign", "<!--OrreryOtherFile00001-->", 0, 0,
                                                  Format::kUnknownFormat, Type::kInvalid, true, "", 0},
                                         ReadCase{"Short", "<!--KrB3OB1100000000001--", 0, 0, Format::kUnknownFormat,
                                                  Type::kInvalid, true, "", 0},
                                         ReadCase{"ShortName",
                                                  "<!--KrB3UX111\x06"
                                                  "0000000001-->Comet",
                                                  0, 0, Format::kUnknownFormat, Type::kInvalid, true, "", 0},
                                         ReadCase{"Empty", "", 0, 0, Format::kUnknownFormat, Type::kInvalid, true, "",
                                                  0}),
                         test_support::caseName);

TEST(MagicTag, RefusesNamesThatDoNotFitIntoOneByte) {
    const test_support::LogCapture log;
    KrMagicTag tag;
    tag.setMarketingName(std::string(255, 'a'));
    tag.setMarketingName(std::string(256, 'b'));
    EXPECT_THAT(log.lines(), ElementsAre("1 KrMagicTag: Marketing name cannot be longer than 255 characters. '" +
                                         std::string(256, 'b') + "' is too long"));
    std::istringstream stream(save(tag));
    KrMagicTag copy;
    copy.load(stream);
    EXPECT_EQ(copy.getMarketingName(), std::string(255, 'a'));
}

}  // namespace magic_tag_test
