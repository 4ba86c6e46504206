#include "kr/persistence/files/magic_tag.h"

#include <gmock/gmock.h>

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

std::pair<unsigned int, unsigned int> versionOf(const KrMagicTag& tag) {
    std::pair<unsigned int, unsigned int> version(1, 1);
    tag.getOrreryVersion(version.first, version.second);
    return version;
}

// Written

struct WrittenCase {
    const char* name;
    std::function<void(KrMagicTag&)> change;
    std::string saved;
};

class WrittenTag : public testing::TestWithParam<WrittenCase> {};

TEST_P(WrittenTag, HasItsBytes) {
    KrMagicTag tag;
    GetParam().change(tag);
    std::string before = GetParam().saved.substr(0, 27);
    before[11] = '0';  // the reserved byte is set by the save
    EXPECT_EQ(tag.getInternalBuffer(), before);
    EXPECT_EQ(save(tag), GetParam().saved);
}

const WrittenCase kWritten[] = {
    {"Fresh", [](KrMagicTag&) {}, "<!--KrB30011000000000001-->"},
    {"BinaryObject",
     [](KrMagicTag& tag) {
         tag.setFileType(Type::kObject);
         tag.setFileFormat(Format::kBinary);
     },
     "<!--KrB3OB11000000000001-->"},
    {"Nothing",
     [](KrMagicTag& tag) {
         tag.setFileType(Type::kInvalid);
         tag.setFileFormat(Format::kUnknownFormat);
         tag.setVersionSavedAsChar(true);
     },
     "<!--KrB3??01000000000001-->"},
    {"EarlierXml",
     [](KrMagicTag& tag) {
         tag.setOrreryVersion(2016, 61);
         tag.setFileType(static_cast<Type>(11));
         tag.setFileFormat(Format::kXml);
     },
     "<!--Kr7zGX11000000000001-->"},
    {"NegativeNumbers", [](KrMagicTag& tag) { tag = KrMagicTag(2021, -1); }, "<!--KrB30011000000000001-->"},
    {"Signed", [](KrMagicTag& tag) { tag.setSigned(100); },
     "<!--KrB3001100\x7f"
     "000000001-->"},
    {"Named", [](KrMagicTag& tag) { tag.setMarketingName("Comet"); },
     "<!--KrB300111\x05"
     "0000000001-->Comet"},
    {"NameTakenBack",
     [](KrMagicTag& tag) {
         tag.setMarketingName("Comet");
         tag.setMarketingName("");
     },
     "<!--KrB30011000000000001-->"},
};
INSTANTIATE_TEST_SUITE_P(MagicTag, WrittenTag, testing::ValuesIn(kWritten), test_support::caseName);

// Versions

struct VersionCase {
    const char* name;
    int major, minor;
    std::string codes;
    unsigned int readMajor, readMinor;
    std::vector<std::string> log;
};

class TagVersion : public testing::TestWithParam<VersionCase> {};

TEST_P(TagVersion, IsKeptInTwoCodes) {
    const test_support::LogCapture log;
    const KrMagicTag tag(GetParam().major, GetParam().minor);
    EXPECT_EQ(tag.getInternalBuffer().substr(6, 2), GetParam().codes);
    EXPECT_EQ(versionOf(tag), std::pair(GetParam().readMajor, GetParam().readMinor));
    EXPECT_EQ(log.lines(), GetParam().log);
}

const std::string kMajorText =
    "2 KrMagicTag: Problem with ORRERY_MAJOR: Developer must fix this before release Orrery.\n";
const std::string kMinorText =
    "2 KrMagicTag: Problem with ORRERY_MINOR: Developer must fix this before release Orrery.\n";

const VersionCase kVersions[] = {
    {"Now", 2020, 3, "B3", 2020, 3, {}},
    {"First", 2016, 0, "70", 2016, 0, {}},
    {"Last", 2046, 61, "bz", 2046, 61, {}},
    {"Six", 6, 36, "6a", 6, 36, {}},
    {"Development", 9999, 1, "@1", 9999, 1, {}},
    {"BeforeFirst", 2015, 3, "03", 0, 3, {kMajorText}},
    {"BehindLast", 2047, 62, "00", 0, 0, {kMinorText, kMajorText}},
};
INSTANTIATE_TEST_SUITE_P(MagicTag, TagVersion, testing::ValuesIn(kVersions), test_support::caseName);

// Read

struct ReadCase {
    const char* name;
    std::string bytes;
    unsigned int major{0}, minor{0};
    Format format{Format::kUnknownFormat};
    Type type{Type::kInvalid};
    bool isChar{true};
    std::string marketingName{};
    std::size_t consumed{0};
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
    EXPECT_EQ(versionOf(tag), std::pair(expected.major, expected.minor));
    EXPECT_EQ(tag.getFileFormat(), expected.format);
    EXPECT_EQ(tag.getFileType(), expected.type);
    EXPECT_EQ(tag.getVersionSavedAsChar(), expected.isChar);
    EXPECT_EQ(tag.getMarketingName(), expected.marketingName);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(static_cast<std::size_t>(stream.tellg()), 2 + expected.consumed);
    if (expected.consumed == 0) return;
    EXPECT_EQ(tag.getInternalBuffer(), expected.bytes.substr(0, 27));
    EXPECT_EQ(tag.getSign(), expected.sign);
    EXPECT_EQ(tag.isSigned(), expected.sign != 0);
}

const ReadCase kRead[] = {
    {"Ours", "<!--KrB3OB11000000000001-->body", 2020, 3, Format::kBinary, Type::kObject, false, "2020.3", 27},
    {"Json", "<!--KrA1KJ01000000000001-->", 2019, 1, Format::kJson, Type::kSimulationState, true, "2019.1", 27},
    {"Named",
     "<!--KrB3UX111\x05"
     "0000000001-->Cometbody",
     2020, 3, Format::kXml, Type::kUnknown, false, "Comet", 32},
    {"Signed",
     "<!--KrB3OB1100\x7f"
     "000000001-->",
     2020, 3, Format::kBinary, Type::kObject, false, "2020.3", 27, 79},
    {"OddLetters", "<!--KrcU0?11000000000001-->", 2047, 30, Format::kUnknownFormat, Type::kInvalid, false, "2047.30",
     27},
    {"HighestMajor", "<!--Krz!FB11000000000001-->", 2070, 0, Format::kBinary, static_cast<Type>(0), false, "2070.0",
     27},
    {"ZeroBytes", "<!--Kr" + std::string(21, '\0'), 4294967248U, 0, Format::kUnknownFormat, Type::kInvalid, false,
     "4294967248.0", 27, -48},
    {"LegacyBinary", "<!--OrreryBinaryFile0001-->", 4, 9, Format::kBinary, Type::kUnknown, true, "4.9", 27, 'r' - '0'},
    {"LegacyXml", "<!--OrreryXMLFile0000001-->", 4, 9, Format::kXml, Type::kUnknown, true, "4.9", 27, 'i' - '0'},
    {"XmlProlog", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 4, 2, Format::kXml, Type::kUnknown},
    {"MarkBeforeXmlProlog", "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 4, 2, Format::kXml,
     Type::kUnknown},
    {"MarkBeforeTag", "\xEF\xBB\xBF<!--KrB3UX11000000000001-->"},
    {"Foreign", "<!--OrreryOtherFile00001-->"},
    {"Short", "<!--KrB3OB1100000000001--"},
    {"ShortName",
     "<!--KrB3UX111\x06"
     "0000000001-->Comet"},
    {"Empty", ""},
};
INSTANTIATE_TEST_SUITE_P(MagicTag, ReadTag, testing::ValuesIn(kRead), test_support::caseName);

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
