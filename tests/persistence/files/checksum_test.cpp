#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <streambuf>

#include "kr/persistence/files/file.h"
#include "kr/platform/crc32.h"
#include "tests/persistence/files/notes.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace checksum_test {

using KrPersistence::KrFile;
using notes::Notes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t kTrailer = 20;

std::string save(const std::vector<std::string>& texts, int flags = 0) {
    KrFile file;
    for (const auto& each : texts)
        file.addSection(new Notes(each));
    std::ostringstream stream(std::ios::binary);
    EXPECT_TRUE(file.save(stream, "", flags)) << file.getLastError();
    return stream.str();
}

/// The texts of all sections, or the error.
std::string textOf(KrFile& file, bool isLoaded) {
    if (!isLoaded) return file.getLastError();
    std::string texts;
    for (const auto* each : file.getSections())
        texts += dynamic_cast<const Notes&>(*each).text + "|";
    return texts;
}

std::string loaded(std::istream& stream, int flags = 0) {
    KrFile file;
    return textOf(file, file.load(stream, "", flags));
}

std::string loaded(const std::string& bytes, int flags = 0) {
    std::istringstream stream(bytes, std::ios::binary);
    return loaded(stream, flags);
}

std::string withFlippedBit(std::string bytes, std::size_t bit) {
    bytes[bit / 8] = static_cast<char>(static_cast<unsigned char>(bytes[bit / 8]) ^ (1U << (bit % 8)));
    return bytes;
}

/// Can neither say where it is nor go back, but for one byte.
class OneWay final : public std::streambuf {
public:
    explicit OneWay(std::string bytes) : _bytes(std::move(bytes)) {
        setg(_bytes.data(), _bytes.data(), _bytes.data() + _bytes.size());
    }

private:
    std::string _bytes;
};

TEST(Checksum, NoFlippedBitLoadsAsOtherContent) {
    const test_support::LogCapture log;
    const std::string bytes = save({"one", "two"});
    ASSERT_EQ(loaded(bytes), "one|two|");
    for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
        const auto read = loaded(withFlippedBit(bytes, bit));
        if (bit >= 8 * (bytes.size() - kTrailer) && read == "one|two|") continue;  // content that was not damaged
        EXPECT_THAT(read, testing::AnyOf(testing::StartsWith("KrPersistence: "), HasSubstr("it cannot be used in")))
            << "bit " << bit;
    }
}

TEST(Checksum, RecoveringFlipsOneBitBackAndSaysWhich) {
    const test_support::LogCapture log;
    const std::string bytes = save({"one", "two"});
    for (std::size_t bit = 0; bit < 8 * (bytes.size() - kTrailer); ++bit) {
        std::istringstream stream(withFlippedBit(bytes, bit), std::ios::binary);
        KrFile file;
        ASSERT_EQ(textOf(file, file.load(stream, "", KrFile::kRecover)), "one|two|") << bit;
        const auto place = "bit " + std::to_string(bit % 8) + " of byte " + std::to_string(bit / 8) + " was flipped";
        ASSERT_THAT(file.getDoubts(), ElementsAre(HasSubstr(place)));
    }
}

TEST(Checksum, RecoveringKeepsTheSectionsBeforeTheDamage) {
    const test_support::LogCapture log;
    const std::string whole = save({"one", "two", "three"});
    const int living = Notes::living();
    std::size_t most = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::istringstream stream(whole.substr(0, size), std::ios::binary);
        KrFile file;
        const auto text = textOf(file, file.load(stream, "", KrFile::kRecover));
        if (file.getSections().empty()) continue;
        EXPECT_TRUE(std::string("one|two|three|").starts_with(text)) << text;
        EXPECT_GE(file.getSections().size(), most) << "the more is there, the more is read";
        most = file.getSections().size();
        EXPECT_EQ(file.getDoubts().empty(), most == 3) << size;
    }
    EXPECT_EQ(most, 3U);
    EXPECT_EQ(Notes::living(), living);
}

struct MismatchCase {
    const char* name;
    std::string (*damage)(const std::string& bytes);
    const char* reason;
};

class Mismatch : public testing::TestWithParam<MismatchCase> {};

TEST_P(Mismatch, IsRefusedWithItsReasonAndTheWayOut) {
    const test_support::TemporaryFolder folder;
    const test_support::LogCapture log;
    const std::string path = folder / "a.kr";
    std::ofstream(path, std::ios::binary) << GetParam().damage(save({"one", "two"}));
    KrFile file;
    EXPECT_FALSE(file.load(path));
    EXPECT_THAT(file.getLastError(), HasSubstr(GetParam().reason));
    EXPECT_THAT(file.getLastError(), HasSubstr("the file is damaged; 'krsim recover' saves what can be read of it"));
    EXPECT_FALSE(file.isValid());
    EXPECT_TRUE(file.load(path, KrFile::kRecover)) << file.getLastError();
    EXPECT_THAT(file.getDoubts(), testing::Not(IsEmpty()));
}

const MismatchCase kMismatches[] = {
    {"TwoBytes",
     [](const std::string& bytes) {
         std::string damaged = bytes;
         damaged[damaged.rfind("one")] = 'O';
         damaged[damaged.rfind("two")] = 'T';
         return damaged;
     },
     "its checksum does not fit"},
    {"MoreBytesInFront", [](const std::string& bytes) { return bytes + bytes.substr(bytes.size() - kTrailer); },
     "bytes were saved"},
    {"WrongLength", [](const std::string& bytes) { return withFlippedBit(bytes, 8 * (bytes.size() - 12)); },
     "bytes were saved"},
};
INSTANTIATE_TEST_SUITE_P(Checksum, Mismatch, testing::ValuesIn(kMismatches), test_support::caseName);

TEST(Checksum, FilesWithoutItLoad) {
    const test_support::LogCapture log;
    const std::string bytes = save({"one"}, KrFile::kNoChecksum);
    EXPECT_EQ(bytes, save({"one"}).substr(0, bytes.size()));
    EXPECT_EQ(loaded(bytes), "one|");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Checksum, BytesBehindAFileAreLeftInTheStream) {
    const test_support::LogCapture log;
    const std::string one = save({"one"});
    const std::string without = save({"without"}, KrFile::kNoChecksum);
    for (const std::string rest : {"", "K", "KrCheck", "KrCheck1", "KrCheck1 but too short", "something else"}) {
        const bool isPartOfTrailer = rest == "KrCheck1 but too short";  // has the length of one
        for (const std::string& first : {one, without}) {
            const bool isConfused = isPartOfTrailer && first == without;
            if (isConfused) continue;
            std::istringstream stream(first + one + without + rest, std::ios::binary);
            EXPECT_EQ(loaded(stream), first == one ? "one|" : "without|") << rest;
            EXPECT_EQ(loaded(stream), "one|") << rest;
            if (isPartOfTrailer) continue;
            EXPECT_EQ(loaded(stream), "without|") << rest;
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), rest);
        }
    }
}

TEST(Checksum, StreamsThatCannotBeReadTwiceAreCheckedAsWell) {
    const test_support::LogCapture log;
    const std::string bytes = save({"one"});
    OneWay whole(bytes + save({"two"}, KrFile::kNoChecksum) + "rest");
    std::istream stream(&whole);
    EXPECT_EQ(loaded(stream), "one|");
    EXPECT_EQ(loaded(stream), "two|");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "rest");

    OneWay damaged(withFlippedBit(bytes, 8 * bytes.rfind("one")));
    std::istream other(&damaged);
    EXPECT_THAT(loaded(other), HasSubstr("its checksum does not fit"));
}

TEST(Checksum, BehindADamagedFileInAStreamIsFoundBehindItsArchive) {
    const test_support::LogCapture log;
    const std::string bytes = save({"one"});
    EXPECT_THAT(loaded(withFlippedBit(bytes, 8 * bytes.rfind("one")) + "rest"), HasSubstr("its checksum does not fit"));
}

TEST(Checksum, BytesBehindAFileOfItsOwnAreTold) {
    const test_support::TemporaryFolder folder;
    const std::string path = folder / "a.kr";
    std::ofstream(path, std::ios::binary) << save({"one"}) << "12345";
    const test_support::LogCapture log;
    KrFile file;
    EXPECT_TRUE(file.load(path)) << file.getLastError();
    EXPECT_THAT(log.lines(),
                testing::Contains("3 KrFile: '" + path + "' has 5 bytes behind its end, which mean nothing.\n"));
}

class ChecksumOfText : public testing::TestWithParam<int> {};

TEST_P(ChecksumOfText, IsWrittenOnRequestOnlyAndWarnsOfChanges) {
    const test_support::LogCapture log;
    const bool isXml = GetParam() == KrFile::kXml;
    const std::string plain = save({std::string(70'000, 'x'), "one"}, GetParam());
    const std::string bytes = save({std::string(70'000, 'x'), "one"}, GetParam() | KrFile::kChecksum);
    EXPECT_THAT(plain, testing::Not(HasSubstr("KrChecksum")));
    // The covered bytes are the same without a checksum.
    const auto covered = plain.size() - (isXml ? 0 : 3);
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x",
                  static_cast<std::uint32_t>(Kr::calculateCRC32(std::string_view(plain).substr(0, covered))));
    EXPECT_EQ(bytes.substr(0, covered), plain.substr(0, covered));
    EXPECT_EQ(bytes.substr(covered), isXml ? std::string("<!--KrChecksum ") + digits + "-->\n"
                                           : std::string(",\n \"KrChecksum\": \"") + digits + "\"\n}\n");
    const std::string text = std::string(70'000, 'x') + "|one|";
    EXPECT_EQ(loaded(bytes), text);
    EXPECT_EQ(loaded(bytes + " \n\n"), text);
    EXPECT_THAT(log.lines(), IsEmpty());

    std::string changed = bytes;
    changed.replace(changed.rfind("one"), 3, "ONE");
    EXPECT_EQ(loaded(changed), std::string(70'000, 'x') + "|ONE|");
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("it was changed after it was saved: its checksum does not fit")));
    changed = bytes;
    changed.insert(changed.rfind("KrChecksum") + (isXml ? 0 : 11), " ");  // as another program may write it
    EXPECT_EQ(loaded(changed), text);
    EXPECT_EQ(log.lines().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Checksum, ChecksumOfText, testing::Values(KrFile::kXml, KrFile::kJson));

}  // namespace checksum_test
