#include "kr/persistence/files/file.h"

#include <gmock/gmock.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "kr/persistence/files/file_object_numbers.h"
#include "kr/persistence/files/magic_tag.h"
#include "kr/persistence/files/producer.h"
#include "kr/platform/smart_ptr.h"
#include "kr/platform/version.h"
#include "tests/persistence/files/notes.h"
#include "tests/support/case_name.h"
#include "tests/support/hex.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"

namespace file_test {

using KrPersistence::KrFile;
using notes::Notes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Type = KrFile::eFileType;

constexpr int kFormats[] = {0, KrFile::kJson, KrFile::kXml | KrFile::kJson};

/// Has a listener for its scope.
struct Listening {
    explicit Listening(Notes::Listener listener) { Notes::listener() = std::move(listener); }
    ~Listening() { Notes::listener() = {}; }
};

std::string saved(KrFile& file, int flags = 0) {
    std::ostringstream stream;
    EXPECT_TRUE(file.save(stream, "", flags)) << file.getLastError();
    return stream.str();
}

std::string saved(int flags = 0) {
    KrFile file;
    file.addSection(new Notes("one"));
    file.addSection(new Notes("two"));
    return saved(file, flags);
}

bool load(KrFile& file, const std::string& bytes, int flags = 0) {
    std::istringstream stream(bytes);
    return file.load(stream, "shown.kr", flags);
}

class FileOfEachKind : public testing::TestWithParam<int> {};

TEST_P(FileOfEachKind, KeepsAllAndGivesTheSameBytesAgain) {
    KrFile file;
    file.setName("Document");
    file.setDescription("what <it> is");
    file.setFileType(Type::kObject);
    auto* named = new Notes("one");
    named->setName("First & only");
    file.addSection(named);
    file.addSection(new Notes("two"));
    const std::string bytes = saved(file, GetParam());
    EXPECT_EQ(saved(file, GetParam()), bytes);

    KrFile copy;
    copy.addSection(new Notes("goes away"));
    ASSERT_TRUE(load(copy, bytes)) << copy.getLastError();
    EXPECT_EQ(copy.getName(), "Document");
    EXPECT_EQ(copy.getDescription(), "what <it> is");
    EXPECT_EQ(copy.getProducerInformation(), "Orrery, version " KR_VERSION);
    EXPECT_EQ(copy.getFileType(), Type::kObject);
    EXPECT_EQ(copy.getCurrentFilename(), "shown.kr");
    ASSERT_EQ(copy.getSections().size(), 2U);
    const auto& first = dynamic_cast<Notes&>(*copy.getSections()[0]);
    EXPECT_EQ(first.getName(), "First & only");
    EXPECT_EQ(first.text, "one");
    EXPECT_EQ(first.readVersion, 3U);
    EXPECT_EQ(first.getOwner(), &copy);
    EXPECT_EQ(dynamic_cast<Notes&>(*copy.getSections()[1]).text, "two");
    EXPECT_EQ(saved(copy, GetParam()), bytes);
}

TEST_P(FileOfEachKind, IsWholeOrEmptyAndLeavesNoSectionBehind) {
    const test_support::LogCapture log;
    const std::string bytes = saved(GetParam());
    const int living = Notes::living();
    const auto check = [&](const std::string& damaged, const std::string& what) {
        {
            KrFile file;
            if (!load(file, damaged)) {
                EXPECT_FALSE(file.isValid()) << what;
                EXPECT_THAT(file.getLastError(), testing::Not(IsEmpty())) << what;
                EXPECT_EQ(Notes::living(), living) << what;
            }
        }
        EXPECT_EQ(Notes::living(), living) << what;
    };
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        check(bytes.substr(0, i), "cut at " + std::to_string(i));
        for (const int mask : {1, 0x80, 0xff}) {
            std::string damaged = bytes;
            damaged[i] = static_cast<char>(damaged[i] ^ mask);
            check(damaged, "damaged at " + std::to_string(i));
        }
    }
}

TEST(File, HasItsBytes) {
    KrFile file;
    file.setFileType(Type::kObject);
    file.setDescription("Hello");
    file.setName("Trip");
    auto* section = new Notes("hi");
    section->setName("Note");
    file.addSection(section);
    const std::string bytes = saved(file, 1);  // without the header of the archive
    EXPECT_EQ(bytes.substr(0, 27), "<!--KrB3OB11000000000001-->");
    EXPECT_EQ(test_support::toHex(bytes.substr(27)),
              "01000000000000000000000000"  // 0x1b: file: tracked, version, number
              "050000000000000048656c6c6f"  // 0x28: description
              "18000000000000004f72726572792c2076657273696f6e20323032302e332e30"  // 0x35: producer
              "000000000000000000"                                                // 0x55: base part: tracked, version
              "040000000000000054726970"                                          // 0x5e: name
              "0100000000000000"                                                  // 0x6a: number of sections
              "020005000000000000004e6f746573"                                    // 0x72: class
              "01030000000000000001000000"                                        // 0x81: tracked, version, number
              "04000000000000004e6f7465"                                          // 0x8e: name of the section
              "02000000000000006869"                                              // 0x9a: its text
              "4b72436865636b31a400000000000000ced4bee0");                        // 0xa4: "KrCheck1", length, CRC-32
}

TEST(Producer, IsWhatTheHostSaysAndTheLibraryAgainAfterwards) {
    KrPersistence::setProducer({"Town Studio", "Spring", "3.1 (build 7)"});
    KrFile file;
    saved(file);
    KrPersistence::setProducer({"Town Studio", "", "3.2"});
    EXPECT_EQ(file.getProducerInformation(), "Town Studio Spring, version 3.1 (build 7)");
    saved(file);
    KrPersistence::setProducer({});
    EXPECT_EQ(file.getProducerInformation(), "Town Studio, version 3.2");
    saved(file);
    EXPECT_EQ(file.getProducerInformation(), "Orrery, version " KR_VERSION);
}

INSTANTIATE_TEST_SUITE_P(File, FileOfEachKind, testing::ValuesIn(kFormats));

// Failures of the code of sections

struct FaultCase {
    const char* name;
    const char* step;
    std::function<void()> fault;
    std::string saving, loading;  // the start of the last error; empty: goes well
};

void refuse() {
    throw std::runtime_error("out of order");
}
const std::string kSaving = "KrPersistence: error out of order when saving.\n";
const std::string kLoading = "KrPersistence: An error occurred while loading:\n\nout of order\n";

class FaultySection : public testing::TestWithParam<FaultCase> {};

TEST_P(FaultySection, EndsTheLoadOrSaveWithAText) {
    const test_support::LogCapture log;
    const std::string bytes = saved();
    const int living = Notes::living();
    // The second section has the fault, so that one is in place already.
    const Listening listening([](const std::string& step, Notes& section) {
        if (section.text == "two" && step == GetParam().step) GetParam().fault();
    });
    {
        KrFile file;
        file.addSection(new Notes("one"));
        file.addSection(new Notes("two"));
        std::ostringstream stream;
        EXPECT_EQ(file.save(stream), GetParam().saving.empty());
        EXPECT_EQ(file.getLastError(), GetParam().saving);
        EXPECT_EQ(file.getSections().size(), 2U);
        EXPECT_EQ(load(file, bytes), GetParam().loading.empty());
        EXPECT_EQ(file.getLastError(), GetParam().loading);
        EXPECT_EQ(file.isValid(), GetParam().loading.empty());
        EXPECT_EQ(Notes::living(), living + (file.isValid() ? 2 : 0));
        EXPECT_FALSE(KrPersistence::FileObjectNumbers::instance().isInUse());
    }
    std::vector<std::string> expected;
    if (!GetParam().saving.empty()) expected.push_back("3 " + GetParam().saving);
    if (!GetParam().loading.empty()) expected.push_back("3 " + GetParam().loading);
    EXPECT_EQ(log.lines(), expected);
    EXPECT_EQ(Notes::living(), living);
}

const FaultCase kFaults[] = {
    {"None", "", refuse, "", ""},
    {"Prepare", "prepare", refuse, kSaving, ""},
    {"Write", "write", refuse, kSaving, ""},
    {"WriteForeign", "write", [] { throw 5; }, "KrPersistence: exception when saving.\n", ""},
    {"Read", "read", refuse, "", kLoading},
    {"PostLoad", "postLoad", refuse, "", kLoading},
    {"PostLoadForeign", "postLoad", [] { throw 5; }, "", "KrPersistence: exception when loading\".\nshown.kr\"\n"},
};
INSTANTIATE_TEST_SUITE_P(File, FaultySection, testing::ValuesIn(kFaults), test_support::caseName);

// What is refused before the body is read

struct RefusalCase {
    const char* name;
    std::string tag;
    std::string error;
};

class RefusedFile : public testing::TestWithParam<RefusalCase> {};

TEST_P(RefusedFile, SaysWhy) {
    const test_support::LogCapture log;
    KrFile file;
    file.setDescription("goes away");
    const std::string body = saved(KrFile::kNoChecksum).substr(27);
    EXPECT_EQ(load(file, GetParam().tag + body), GetParam().error.empty());
    EXPECT_EQ(file.getLastError(), GetParam().error);
    EXPECT_THAT(file.getDescription(), IsEmpty());
    EXPECT_EQ(log.lines().size(), GetParam().error.empty() ? 0U : 1U);
}

std::string tagOf(const std::string& version) {
    return "<!--Kr" + version + "UB11000000000001-->";
}
std::string refusalOf(const std::string& version) {
    return "File 'shown.kr' was saved using Orrery version " + version +
           ", it cannot be used in the current version 2020.3";
}
const std::string kAdvice =
    ". Please use a previous version of the Orrery Studio Editor to load and save your file before using it in the "
    "current version.";
const std::string kInvalidFormat = "KrPersistence: Cannot load , invalid format.\n";  // no current file name

const RefusalCase kRefusals[] = {
    {"Now", tagOf("B3"), ""},
    {"Oldest", tagOf("80"), ""},
    {"Newer", tagOf("B4"), refusalOf("2020.4")},
    {"NewerMajor", tagOf("C0"), refusalOf("2021.0")},
    {"Development", tagOf("@0"), refusalOf("9999.0")},
    {"Older", tagOf("7z"), refusalOf("2016.61") + kAdvice},
    {"LegacyBinary", "<!--OrreryBinaryFile0001-->", refusalOf("4.9") + kAdvice},
    {"NoRelease", tagOf("03"),
     "File 'shown.kr' was saved with an unsupported version of Orrery (Version 0.3), it cannot be used in the current "
     "version 2020.3"},
    {"NoTag", "", kInvalidFormat},
    {"UnknownFormat", "<!--KrB3UQ11000000000001-->", kInvalidFormat},
    {"Signed", "<!--KrB3OB11001000000001-->",
     "KrPersistence: Cannot load shown.kr, its objects are signed, and this release cannot decipher them.\n"},
};
INSTANTIATE_TEST_SUITE_P(File, RefusedFile, testing::ValuesIn(kRefusals), test_support::caseName);

class RefusedFormat : public testing::TestWithParam<RefusalCase> {};

TEST_P(RefusedFormat, NamesACauseThatPeopleCanMend) {
    const test_support::LogCapture log;
    KrFile file;
    EXPECT_FALSE(load(file, GetParam().tag, KrFile::kUnlogged));
    EXPECT_EQ(file.getLastResult().toString(), kInvalidFormat + GetParam().error);
    EXPECT_THAT(log.lines(), IsEmpty());
}

const RefusalCase kForeignFormats[] = {
    {"ByteOrderMark", "\xEF\xBB\xBF" + tagOf("B3"), "it begins with a byte order mark; save it as UTF-8 without one"},
    {"Utf16", std::string("\xFF\xFE<\0!\0-\0-\0", 10),
     "it is a text in UTF-16; save it as UTF-8 without a byte order mark"},
    {"Empty", "", "it is empty"},
    {"SomethingElse", "PNG", ""},
};
INSTANTIATE_TEST_SUITE_P(File, RefusedFormat, testing::ValuesIn(kForeignFormats), test_support::caseName);

// What the result of a load says beside its text

using eFailure = Kr::FileResult::eFailure;

struct PlaceCase {
    const char* name;
    int flags;
    const char* found;     // in the bytes
    const char* replaced;  // by this
    std::size_t line;
    const char* path;
    std::string remedy;
};

class PlaceOfAFault : public testing::TestWithParam<PlaceCase> {};

TEST_P(PlaceOfAFault, StandsInTheResult) {
    const test_support::LogCapture log;
    std::string bytes = saved(GetParam().flags);
    const std::string found = GetParam().found;
    bytes.replace(bytes.rfind(found), found.size(), GetParam().replaced);
    KrFile file;
    EXPECT_FALSE(load(file, bytes));
    const auto& result = file.getLastResult();
    EXPECT_EQ(result.failure, eFailure::kRefused);
    EXPECT_EQ(result.file, "shown.kr");
    EXPECT_EQ(result.place.line, GetParam().line);
    EXPECT_EQ(result.place.path, GetParam().path);
    EXPECT_EQ(result.remedy, GetParam().remedy);
    EXPECT_THAT(result.text, HasSubstr(GetParam().remedy));
}

const PlaceCase kPlaces[] = {
    {"OfXml", KrFile::kXml, "<Text>two</Text>", "<Txt>two</Txt>", 14, "File/Sections[1]/Text", ""},
    {"OfASection", KrFile::kNoChecksum, "two", "", 0, "Sections[1]", ""},
    {"OfTheChecksum", 0, "two", "owt", 0, "", "'krsim recover' saves what can be read of it"},
    {"OfAnOldFile", 0, "<!--KrB3", "<!--Kr7z", 0, "", kAdvice.substr(2)},
};
INSTANTIATE_TEST_SUITE_P(File, PlaceOfAFault, testing::ValuesIn(kPlaces), test_support::caseName);

TEST(File, TellsWhatKeepsItFromBeingRead) {
    const test_support::TemporaryFolder folder;
    const test_support::LogCapture log;
    KrFile file;
    EXPECT_FALSE(file.load(folder / std::string(300, 'x')));
    EXPECT_EQ(file.getLastResult().failure, eFailure::kNotOpened);
    EXPECT_THAT(file.getLastResult().toString(), testing::EndsWith(" for loading.\nFile name too long"));
    EXPECT_FALSE(file.load(folder / "."));
    EXPECT_THAT(file.getLastError(), HasSubstr("An error occurred while loading:\n\n"));
    EXPECT_THAT(file.getLastError(), HasSubstr("Is a directory"));
}

TEST(File, NamesWhatItCannotOpen) {
    const test_support::TemporaryFolder folder;
    const test_support::LogCapture log;
    const std::string missing = folder / "missing.kr";
    const std::string nowhere = folder / "missing/a.kr";
    KrFile file;
    file.addSection(new Notes);
    EXPECT_FALSE(file.save(""));
    EXPECT_EQ(file.getLastError(), "KrFile: no filename was given for saving.\n");
    EXPECT_TRUE(file.isValid());
    EXPECT_FALSE(file.load(""));
    EXPECT_EQ(file.getLastError(), "KrFile: no filename was given for loading.\n");
    EXPECT_FALSE(file.isValid());
    EXPECT_FALSE(file.load(missing));
    EXPECT_EQ(file.getLastError(), "KrFile: cannot open " + missing + " for loading.\n");
    EXPECT_EQ(file.getLastResult().failure, eFailure::kMissing);
    EXPECT_FALSE(file.save(nowhere));
    EXPECT_EQ(file.getLastError(), "KrFile: cannot create a temporary file to save " + nowhere + ".\n");
    EXPECT_EQ(file.getLastResult().failure, eFailure::kNotWritten);
    EXPECT_EQ(KrFile::GetFileType(missing), Type::kInvalid);
    EXPECT_EQ(log.lines().back(), "3 KrFile::GetFileVersion() cannot open file '" + missing + "'.\n");
    file.setCurrentFilename(missing);
    EXPECT_EQ(file.getCurrentFilename(), nowhere);
}

TEST(File, IsNotReadBeyondItsSizeLimit) {
    const test_support::LogCapture log;
    const std::string bytes = saved();
    KrFile file;
    file.setSizeLimit(bytes.size());
    EXPECT_TRUE(load(file, bytes));
    file.setSizeLimit(bytes.size() - 1);
    EXPECT_FALSE(load(file, bytes));
    EXPECT_THAT(file.getLastError(), HasSubstr("and the limit is"));
}

TEST(File, IsReadFromXmlWithoutTag) {
    const std::string bytes = saved(KrFile::kXml | KrFile::kJson);
    KrFile file;
    file.setFileType(Type::kObject);
    ASSERT_TRUE(load(file, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + bytes.substr(27))) << file.getLastError();
    EXPECT_EQ(file.getFileType(), Type::kUnknown);
    EXPECT_EQ(file.getSections().size(), 2U);
    EXPECT_TRUE(load(file, "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + bytes.substr(27)));
    EXPECT_FALSE(load(file, bytes.substr(27)));  // no declaration, either
    EXPECT_EQ(file.getLastError(), "KrPersistence: Cannot load shown.kr, invalid format.\n") << "its name is known now";
}

TEST(File, OfAnUnknownFormatIsShownByItsCurrentName) {
    const test_support::TemporaryFolder folder;
    const test_support::LogCapture log;
    const std::string foreign = folder / "foreign.kr";
    std::ofstream(foreign) << "no tag";
    KrFile file;
    EXPECT_FALSE(file.load(foreign));
    EXPECT_EQ(file.getLastError(), "KrPersistence: Cannot load " + foreign + ", invalid format.\n");
    EXPECT_FALSE(load(file, "no tag"));
    EXPECT_EQ(file.getLastError(), "KrPersistence: Cannot load " + foreign + ", invalid format.\n") << "it stays";
}

TEST(File, KeepsClassVersionsInOneByteOnRequest) {
    KrFile file;
    ASSERT_TRUE(load(file, saved(16)));
    EXPECT_EQ(dynamic_cast<Notes&>(*file.getSections()[0]).readVersion, 3U);
    EXPECT_EQ(saved(16).size() + 21, saved().size());  // three classes
}

// Sections

TEST(File, OwnsItsSections) {
    const test_support::LogCapture log;
    const int living = Notes::living();
    auto* first = new Notes("one");
    auto* second = new Notes("two");
    {
        KrFile file;
        KrFile other;
        EXPECT_FALSE(file.isValid());
        file.addSection(nullptr);
        file.addSection(first);
        file.addSection(second);
        file.addSection(first);
        EXPECT_THAT(file.getSections(), ElementsAre(first, second));
        other.addSection(first);
        EXPECT_FALSE(other.contains(first));
        EXPECT_THAT(log.lines(), ElementsAre("3 KrFile: section '' belongs to another file; remove it there first.\n"));
        file.removeSection(first);
        EXPECT_EQ(first->getOwner(), nullptr);
        EXPECT_THAT(file.getSections(), ElementsAre(second));
        other.addSection(first);
        other.clear();
        EXPECT_EQ(Notes::living(), living + 1);
        const Kr::KrSmartPtr<KrFile> counted(new KrFile);
        counted->addSection(new Notes);
    }
    EXPECT_EQ(Notes::living(), living);
}

TEST(File, TellsSectionsOfEachStepInOrder) {
    std::vector<std::string> steps;
    const Listening listening([&](const std::string& step, Notes& section) {
        const KrFile* owner = section.getOwner();
        steps.push_back(step + " " + section.text + " " + std::to_string(owner->getSections().size()));
        if (step == "read")
            section.getOwner()->addCallback(section.text == "one" ? 2 : 1,
                                            [&] { steps.push_back("callback for " + section.text); });
    });
    KrFile file;
    ASSERT_TRUE(load(file, saved()));
    EXPECT_THAT(steps,
                ElementsAre("prepare one 2", "prepare two 2", "write one 2", "write two 2", "read one 0", "read two 1",
                            "callback for two", "callback for one", "postLoad one 1", "postLoad two 2"));
    file.processCallbacks();  // there are none any more
    EXPECT_EQ(steps.size(), 10U);
    file.addCallback(0, {});
    EXPECT_THROW(file.processCallbacks(), std::bad_function_call);
}

TEST(File, ForgetsReferencableObjectsThatDie) {
    KrFile file;
    ASSERT_TRUE(load(file, saved()));
    ASSERT_EQ(file.getReferencableObjects().size(), 2U);
    auto stranger = std::make_unique<Notes>();
    file.registerReferencableObject(stranger.get());
    file.registerReferencableObject(stranger.get());
    file.registerReferencableObject(nullptr);
    EXPECT_EQ(file.getReferencableObjects().size(), 3U);
    stranger.reset();
    EXPECT_THAT(file.getReferencableObjects(), ElementsAre(file.getSections()[0], file.getSections()[1]));
    file.clearSections();
    EXPECT_THAT(file.getReferencableObjects(), IsEmpty());
}

TEST(File, ReportsProgressThroughAHandlerThatMayThrow) {
    const test_support::LogCapture log;
    std::vector<std::string> heard;
    KrFile file;
    file.setProgressHandler([&](std::size_t done, std::size_t total) {
        heard.push_back(std::to_string(done) + "/" + std::to_string(total));
        refuse();
    });
    const Listening listening([](const std::string& step, Notes& section) {
        if (step == "read") section._reportProgress(3, 7);
    });
    EXPECT_TRUE(load(file, saved()));
    EXPECT_THAT(heard, ElementsAre("3/7", "3/7"));
    EXPECT_THAT(log.lines(), testing::Each("3 KrFile: fatal error in '' progress handler [out of order]\n"));
}

TEST(File, NumbersObjectsWhileItIsSaved) {
    auto& numbers = KrPersistence::FileObjectNumbers::instance();
    std::vector<std::uint32_t> heard;
    const Listening listening([&](const std::string& step, Notes& section) {
        if (step != "write") return;
        EXPECT_TRUE(numbers.isInUse());
        heard.push_back(numbers.getNumber(&section));
        heard.push_back(numbers.getNumber(section.getOwner()));
        KrFile other;  // as a section may want it to find what it refers to
        std::istringstream nothing;
        EXPECT_FALSE(other.load(nothing));
    });
    KrFile file;
    file.addSection(new Notes);
    file.addSection(new Notes);
    saved(file);
    EXPECT_THAT(heard, ElementsAre(0U, 1U, 2U, 1U));
    EXPECT_FALSE(numbers.contains(&file));
}

}  // namespace file_test
