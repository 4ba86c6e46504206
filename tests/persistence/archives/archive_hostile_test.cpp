#include <functional>
#include <random>
#include <streambuf>

#include "tests/persistence/archives/archive_kinds.h"
#include "tests/persistence/archives/shapes.h"
#include "tests/support/hex.h"

namespace archive_hostile_test {

using archive_kinds::Binary;
using archive_kinds::Json;
using archive_kinds::Xml;
using boost::archive::archive_exception;
using KrPersistence::ArchiveReader;
using KrPersistence::KrArchive;

/// The text of the exception, or nothing when all was read and destroyed again. No object may be left.
template <class Kind>
std::string loadShape(const std::string& bytes, std::uint32_t flags = 0) {
    const int living = shapes::Shape::living();
    std::string failure;
    {
        std::unique_ptr<shapes::Shape> owner;
        std::istringstream stream(bytes);
        std::unique_ptr<typename Kind::In> archive;
        try {
            archive = std::make_unique<typename Kind::In>(stream, flags);
            shapes::Shape* shape = nullptr;
            *archive >> BOOST_SERIALIZATION_NVP(shape);
            if (shape != nullptr) archive->adopt(shape);
            owner.reset(shape);
            std::vector<double> values;
            if constexpr (std::is_same_v<Kind, Binary>) *archive >> values;  // others have one top element
            archive->requireOwned();
        } catch (const std::exception& exception) {
            failure = exception.what();
            if (archive) archive->delete_created_pointers();
        }
    }
    EXPECT_EQ(shapes::Shape::living(), living) << failure;
    return failure;
}

template <class Kind>
std::string save() {
    shapes::Group root;
    for (int i = 0; i < 3; ++i) {
        auto inner = std::make_unique<shapes::Group>();
        inner->members.push_back(std::make_unique<shapes::Circle>());
        inner->members.back()->name = "circle";
        inner->linked = inner->members.back().get();
        root.members.push_back(std::move(inner));
    }
    const shapes::Shape* shape = &root;
    std::ostringstream stream;
    typename Kind::Out archive(stream, 0);
    archive << BOOST_SERIALIZATION_NVP(shape);
    if constexpr (std::is_same_v<Kind, Binary>) archive << std::vector<double>{1, 2, 3};
    return stream.str();
}

template <class Kind>
class HostileArchive : public testing::Test {};
TYPED_TEST_SUITE(HostileArchive, archive_kinds::All, archive_kinds::Names);

TYPED_TEST(HostileArchive, CutsAndChangedBytesLeaveNothing) {
    constexpr bool kIsBinary = std::is_same_v<TypeParam, Binary>;
    const std::string bytes = save<TypeParam>();
    EXPECT_EQ(loadShape<TypeParam>(bytes), "");
    const std::size_t lineEnd = kIsBinary ? 0 : 1;
    for (std::size_t size = 0; size + lineEnd < bytes.size(); ++size)
        EXPECT_NE(loadShape<TypeParam>(bytes.substr(0, size)), "") << size;
    // Sizes and byte order in the header are only logged.
    const std::size_t start = kIsBinary ? 74 : 0;
    int refused = 0;
    std::mt19937 random(20200300);
    for (int i = 0; i < 5000; ++i) {
        std::string changed = bytes;
        for (unsigned int k = random() % 4; k < 4; ++k) {
            const std::size_t at = start + random() % (bytes.size() - start);
            changed[at] = random() % 2 == 0 ? static_cast<char>(random()) : bytes[random() % bytes.size()];
        }
        refused += loadShape<TypeParam>(changed).empty() ? 0 : 1;
    }
    EXPECT_GT(refused, 1000);
}

TYPED_TEST(HostileArchive, AFullStreamIsReported) {
    struct : std::streambuf {
        std::streamsize xsputn(const char*, std::streamsize count) override { return count - 1; }
    } full;
    std::ostream stream(&full);
    const auto write = [&] {
        typename TypeParam::Out archive(stream, 0);
        typename TypeParam::Out::Writer writer(archive);
        writer.write("One", 1);
    };
    EXPECT_THROW(write(), archive_exception);
}

TYPED_TEST(HostileArchive, GroupsNestAsDeepAsItGoesAndNoDeeper) {
    const auto nest = [](int depth) {
        return archive_kinds::written<TypeParam>([depth](KrPersistence::ArchiveWriter& writer) {
            int level = 1;  // the top group
            const std::function<void()> deeper = [&] {
                if (++level <= depth) writer.group("G", deeper);
            };
            deeper();
        });
    };
    int levels = 0;
    archive_kinds::read<TypeParam>(nest(512), [&](ArchiveReader& reader) {
        const std::function<void()> deeper = [&] {
            if (++levels < 512) reader.group("G", deeper);
        };
        deeper();
    });
    EXPECT_EQ(levels, 512);
    EXPECT_THROW(nest(513), archive_exception);
}

TYPED_TEST(HostileArchive, LongTextsAreRepeatedInProportionToTheFile) {
    const std::string text(100'000, 'x');
    constexpr std::size_t kUses = 1000;
    const std::string bytes = archive_kinds::written<TypeParam>([&](KrPersistence::ArchiveWriter& writer) {
        writer.sequence("Texts", kUses, [&](std::size_t) { writer.writeRepeated("Text", text); });
    });
    std::size_t handedOut = 0;
    archive_kinds::read<TypeParam>(bytes, [&](ArchiveReader& reader) {
        reader.sequence("Texts", [&](std::size_t) {
            const auto read = reader.readRepeated("Text");
            EXPECT_EQ(read, text);
            handedOut += read.size();
        });
    });
    EXPECT_EQ(handedOut, kUses * text.size());
    EXPECT_LT(handedOut, 17 * bytes.size());
}

TEST(HostileBinaryArchive, ATextThatIsNamedAgainAndAgainIsRefusedInProportionToTheFile) {
    // As earlier releases wrote it: the text once, then its number.
    constexpr std::uint64_t kLength = 1'000'000;
    const auto put = [](std::string& bytes, std::uint64_t value, int count) {
        for (int i = 0; i < count; ++i)
            bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
    };
    for (const std::uint64_t uses : {40U, 5000U}) {
        std::string bytes;
        put(bytes, uses, 8);
        put(bytes, 0, 4);
        put(bytes, kLength, 8);
        bytes.append(kLength, 'x');
        for (std::uint64_t i = 1; i < uses; ++i)
            put(bytes, 0, 4);
        std::uint64_t handedOut = 0;
        const auto readAll = [&] {
            std::istringstream stream(bytes);
            KrPersistence::BinaryInArchive archive(stream, KrArchive::kNoHeader);
            KrPersistence::BinaryInArchive::Reader reader(archive);
            reader.sequence("Texts", [&](std::size_t) { handedOut += reader.readRepeated("Text").size(); });
        };
        if (uses == 40U) {
            EXPECT_NO_THROW(readAll());
        } else {
            EXPECT_THROW(readAll(), archive_exception);
        }
        EXPECT_LE(handedOut, 65 * bytes.size() + (16U << 20U)) << uses;
    }
}

// A stack of this thread could not hold so many levels, nor a file the square of their number.
TYPED_TEST(HostileArchive, TreesThatAreWalkedWithoutRecursionNestAsDeepAsTheyLike) {
    constexpr int kDepth = 20'000;
    const std::string bytes = archive_kinds::written<TypeParam>([](KrPersistence::ArchiveWriter& writer) {
        for (int i = 0; i < kDepth; ++i) {
            writer.beginGroup("Level");
            writer.write("Number", i);
            writer.beginSequence("Below", 1);
        }
        writer.write("Leaf", -1);
        for (int i = 0; i < kDepth; ++i) {
            writer.endSequence();
            writer.write("After", i);
            writer.endGroup();
        }
    });
    EXPECT_LT(bytes.size(), std::size_t{1'000} * kDepth);
    archive_kinds::read<TypeParam>(bytes, [](ArchiveReader& reader) {
        int number = 0;
        for (int i = 0; i < kDepth; ++i) {
            reader.beginGroup("Level");
            reader.read("Number", number);
            ASSERT_EQ(number, i);
            ASSERT_EQ(reader.beginSequence("Below"), 1U);
        }
        reader.read("Leaf", number);
        EXPECT_EQ(number, -1);
        for (int i = 0; i < kDepth; ++i) {
            reader.endSequence();
            reader.read("After", number);
            ASSERT_EQ(number, i);
            reader.endGroup();
        }
    });
}

template <class Kind>
class HostileDocument : public testing::Test {};
TYPED_TEST_SUITE(HostileDocument, archive_kinds::Named, archive_kinds::Names);

TYPED_TEST(HostileDocument, ANameThatStandsTwiceInAGroupIsRefused) {
    const auto rename = [](std::string bytes, const std::string& from, const std::string& to) {
        for (auto at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + to.size()))
            bytes.replace(at, from.size(), to);
        return bytes;
    };
    const std::string bytes = archive_kinds::written<TypeParam>([](KrPersistence::ArchiveWriter& writer) {
        writer.sequence("Empty", 0, [](std::size_t) {});
        writer.sequence("Objects", 1, [&](std::size_t) { writer.write("Item", 1); });
    });
    std::size_t count = 0;
    const auto readAll = [&](const std::string& document) {
        archive_kinds::read<TypeParam>(document, [&](ArchiveReader& reader) {
            count = reader.sequence("Objects", [&](std::size_t) {
                int number = 0;
                reader.read("Item", number);
            });
        });
    };
    EXPECT_NO_THROW(readAll(bytes));
    EXPECT_EQ(count, 1U);
    try {
        readAll(rename(bytes, "Empty", "Objects"));
        FAIL() << "read, with " << count << " items";
    } catch (const archive_exception& exception) {
        EXPECT_NE(std::string(exception.what()).find("Top/Objects appears twice"), std::string::npos)
            << exception.what();
    }
}

TYPED_TEST(HostileDocument, ANameCannotBeWrittenTwiceIntoAGroup) {
    const auto write = [](std::size_t count, std::size_t last) {
        return archive_kinds::written<TypeParam>([&](KrPersistence::ArchiveWriter& writer) {
            for (std::size_t i = 0; i < count; ++i)
                writer.write("N" + std::to_string(i), 1);
            writer.group("Inner", [&] { writer.write("N0", 1); });
            writer.write("N" + std::to_string(last), 1);
        });
    };
    for (const std::size_t count : {1U, 63U, 64U, 65U, 500U}) {
        EXPECT_NO_THROW(write(count, count)) << count;
        EXPECT_THROW(write(count, count - 1), archive_exception) << count;
        EXPECT_THROW(write(count, 0), archive_exception) << count;
    }
}

TYPED_TEST(HostileDocument, MembersMayComeInAnyOrderInLinearTime) {
    // Read backwards: each is searched among all. A search of each among 20,000 siblings would take minutes.
    constexpr std::size_t kMembers = 20'000;
    const std::string bytes = archive_kinds::written<TypeParam>([](KrPersistence::ArchiveWriter& writer) {
        for (std::size_t i = 0; i < kMembers; ++i)
            writer.write("M" + std::to_string(i), static_cast<int>(i));
    });
    archive_kinds::read<TypeParam>(bytes, [](ArchiveReader& reader) {
        for (std::size_t i = kMembers; i-- > 0;) {
            int value = 0;
            reader.read("M" + std::to_string(i), value);
            ASSERT_EQ(value, static_cast<int>(i));
        }
    });
}

TYPED_TEST(HostileDocument, SizeAndTopElementsAreLimited) {
    std::istringstream stream(save<TypeParam>());
    typename TypeParam::In archive(stream, 0);
    archive.setSizeLimit(100);
    shapes::Shape* shape = nullptr;
    EXPECT_THROW(archive >> BOOST_SERIALIZATION_NVP(shape), archive_exception);

    std::ostringstream two;
    const auto writeTwo = [&] {
        typename TypeParam::Out twice(two, 0);
        typename TypeParam::Out::Writer both(twice);
        both.write("One", 1);
        both.write("Two", 2);
    };
    EXPECT_THROW(writeTwo(), archive_exception);
}

// What is refused with a text that says what and where

struct Fault {
    const char* name;
    std::string document;
    const char* text;  // stands in the error
};

template <std::size_t count, class Load>
void expectFaults(const Fault (&faults)[count], const Load& load) {
    for (const Fault& fault : faults) {
        const std::string failure = load(fault.document);
        EXPECT_NE(failure.find(fault.text), std::string::npos) << fault.name << ": " << failure;
    }
}

constexpr char kCircle[] =
    "0000 0600000000000000 436972636c65 01 0200000000000000 00000000 0100000000000000 63"
    "000000000000e03f 0300000000000000 0000000000000000";

TEST(HostileArchive, BinaryFaultsAreNamed) {
    const Fault faults[] = {
        {"CollectionLargerThanFile", "ffff 0000000001000000", "a collection of 4294967296 where 0 bytes are left"},
        {"NameLargerThanFile", "0000 ffffffffffffffff", "a text of 18446744073709551615"},
        {"NameTooLong", "0000 8000000000000000 41414141", "a text of 128 where 4 bytes"},
        {"ClassSkipped", "0100", "class number 1 where 0 are known"},
        {"ClassNegative", "feff", "class number -2"},
        {"ClassUnknown", "0000 0100000000000000 41", "class 'A', which is not known"},
        {"ClassOfAnotherFamily", "0000 0800000000000000 537472616e676572 01 0000000000000000 00000000 05000000",
         "behind a pointer to"},
        {"VersionTooNew", "0000 0600000000000000 436972636c65 01 0300000000000000", "known up to version 2"},
        {"OtherTracking", "0000 0600000000000000 436972636c65 00 0200000000000000", "another tracking"},
        {"TrackingNoBool", "0000 0600000000000000 436972636c65 02 0200000000000000", "a bool of 2"},
        {"ObjectSkipped", "0000 0600000000000000 436972636c65 01 0200000000000000 01000000",
         "object 1 where 0 are known"},
        // A group whose only member is itself.
        {"OwnOwner",
         "0000 0500000000000000 47726f7570 01 0000000000000000 00000000 0000000000000000"
         "0100000000000000 0000 00000000 ffff",
         "belongs to two owners"},
        // A group that knows, but does not own, a second one.
        {"NoOwner",
         "0000 0500000000000000 47726f7570 01 0000000000000000 00000000 0000000000000000"
         "0000000000000000 0000 01000000 0000000000000000 0000000000000000 ffff"
         "0000000000000000",
         "1 objects that belong to nothing"},
        {"ArrayCut", kCircle, "input stream error"},
    };
    expectFaults(faults, [](const std::string& hex) {
        return loadShape<Binary>(test_support::fromHex(hex), KrArchive::kNoHeader);
    });
}

template <class Kind>
std::string readFault(const std::string& document) {
    try {
        archive_kinds::read<Kind>(document, [](ArchiveReader& reader) {
            int number = 0;
            double real = 0;
            bool flag = false;
            std::string text;
            std::vector<double> block;
            double tuple[2];
            reader.readIf("Int", number);
            reader.readIf("Double", real);
            reader.readIf("Bool", flag);
            reader.readIf("Text", text);
            reader.groupIf("Group", [&] { reader.group("Inner", [&] { reader.read("Leaf", number); }); });
            reader.sequence("Items", [&](std::size_t) { reader.group("Item", [&] { reader.read("Leaf", number); }); });
            reader.groupIf("Rest", [&] {
                reader.readTuple("Tuple", tuple);
                reader.readBlock("Block", block);
                reader.readBytes("Bytes", text);
                static_cast<void>(reader.readChoice("Choice", [](std::string_view) { return std::nullopt; }));
            });
        });
    } catch (const archive_exception& exception) {
        return exception.what();
    }
    return {};
}

std::string repeated(const char* text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

TEST(HostileDocument, JsonFaultsAreNamedWithTheirPlace) {
    const Fault faults[] = {
        {"Empty", "", "line 1 of 'some file'"},
        {"NoObject", "[1]", "the document is no object"},
        {"OtherTop", R"({"File": {}})", "JsonInArchive: Top is missing, line 1 of 'some file'"},
        {"Behind", R"({"Top": {}} x)", "line 1"},
        {"Zero", std::string("{\"Top\": {}}\0", 12), "there is text after the document"},
        {"Line", "{\n\"Top\":\n{,}}", "line 3"},
        {"DeepAndCut", "{\"Top\":" + std::string(200'000, '['), "line 1"},
        {"DeepAndClosed", "{\"Top\":" + std::string(200'000, '[') + std::string(200'000, ']') + "}", "Top is no group"},
        {"DeepObjects", repeated("{\"a\":", 100'000), "line 1"},
        {"IntOfText", R"({"Top": {"Int": "1"}})", "Top/Int is no integer of the type: '1'"},
        {"IntOfReal", R"({"Top": {"Int": 1.0}})", "Top/Int is no integer of the type: '1.0'"},
        {"IntTooLarge", R"({"Top": {"Int": 2147483648}})", "Top/Int is no integer"},
        {"IntOfNull", R"({"Top": {"Int": null}})", "'null'"},
        {"DoubleTooLarge", R"({"Top": {"Double": 1e309}})", "line 1"},
        {"BoolOfNumber", R"({"Top": {"Bool": 1}})", "Top/Bool is neither true nor false: '1'"},
        {"TextOfNumber", R"({"Top": {"Text": 1}})", "Top/Text is no text"},
        {"Surrogate", R"({"Top": {"Text": "\ud800"}})", "line 1"},
        {"GroupOfText", R"({"Top": {"Group": "x"}})", "Top/Group is no group"},
        {"MissingLeaf", R"({"Top": {"Group": {"Inner": {}}}})", "Top/Group/Inner/Leaf is missing"},
        {"SequenceOfNumber", R"({"Top": {"Items": 5}})", "Top/Items is no sequence"},
        {"ItemOfNumber", R"({"Top": {"Items": [5]}})", "Top/Items[0] is no group"},
        {"Item", R"({"Top": {"Items": [{"Leaf": 1}, {"Leaf": true}]}})", "Top/Items[1]/Leaf is no integer"},
        {"TupleShort", R"({"Top": {"Rest": {"Tuple": [1]}}})", "Top/Rest/Tuple has 1 numbers, not the 2"},
        {"BlockOfTexts", R"({"Top": {"Rest": {"Tuple": [1, 2], "Block": [1, "x"]}}})",
         "Top/Rest/Block is no list of numbers"},
        {"Base64", R"({"Top": {"Rest": {"Tuple": [1, 2], "Block": [], "Bytes": "QQ"}}})",
         "Top/Rest/Bytes is no base64: 'QQ'"},
        {"Choice", R"({"Top": {"Rest": {"Tuple": [1, 2], "Block": [], "Bytes": "", "Choice": "?"}}})",
         "Top/Rest/Choice is none of the known choices: '?'"},
    };
    expectFaults(faults, readFault<Json>);
}

/// How many numbers the list holds; -1 where the document is refused.
int countNumbers(const std::string& list) {
    int count = -1;
    try {
        archive_kinds::read<Json>("{\"Top\": {\"List\": " + list + "}}", [&](ArchiveReader& reader) {
            std::vector<double> block;
            reader.readBlock("List", block);
            count = static_cast<int>(block.size());
        });
    } catch (const archive_exception&) {
        return -1;
    }
    return count;
}

TEST(JsonLists, HoldNumbersOfJsonOnly) {
    for (const char* list :
         {"[-0,1,-20]", "[ 0.5 ,\n\t1E5\r,-1.25e-3]", "[1234567,12345678.12345678,1234567890123456789e+10]",
          "[\"NaN\", \"Infinity\" ,\"-Infinity\"]"})
        EXPECT_EQ(countNumbers(list), 3) << list;
    for (const char* list : {"[]", "[ \n]"})
        EXPECT_EQ(countNumbers(list), 0) << list;
    for (const char* list :
         {"[1,]",      "[,1]",  "[1,,2]", "[1 2]",   "[01]",     "[-]",         "[1.]",    "[.5]",
          "[1.e5]",    "[1e]",  "[1e+]",  "[+1]",    "[1",       "[1,",         "[\"NaN]", "[\"NaN\"\"NaN\"]",
          "[\"nan\"]", "[NaN]", "[0x1]",  "[1,[2]]", "[1,true]", "[12345678a]", "[1/2]",   "[1:2]",
          "[1e999]"})
        EXPECT_EQ(countNumbers(list), -1) << list;
}

TEST(HostileDocument, XmlFaultsAreNamedWithTheirPlace) {
    const Fault faults[] = {
        {"Empty", "", "XmlInArchive: no element found, line 1 of 'some file'"},
        {"Behind", "<Top/>\nx", "line 2"},
        {"Zero", std::string("<Top/>\0", 7), "line 1"},
        {"Doctype", "<!DOCTYPE a [<!ENTITY b \"c\">]><Top><Text>&b;</Text></Top>", "a document type is declared"},
        {"Entity", "<Top><Text>&b;</Text></Top>", "undefined entity"},
        {"DeepAndCut", repeated("<a>", 200'000), "no element found, line 1"},
        {"DeepAndClosed", repeated("<a>", 100'000) + repeated("</a>", 100'000), "Top is missing"},
        {"TextBesideElements", "<Top>x<Int>1</Int></Top>", "an element has both text and elements"},
        {"Int", "<Top><Int>1 2</Int></Top>", "Top/Int is no integer of the type: '1 2'"},
        {"Double", "<Top><Double>1,5</Double></Top>", "Top/Double is no number of the type: '1,5'"},
        {"LongTextIsCutBetweenCharacters", "<Top><Double>aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\u00e4b</Double></Top>",
         "Top/Double is no number of the type: 'aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa...'"},
        {"DoubleTooLarge", "<Top><Double>1e309</Double></Top>", "Top/Double is no number"},
        {"Bool", "<Top><Bool>True</Bool></Top>", "Top/Bool is neither true nor false: 'True'"},
        {"GroupOfText", "<Top><Group>x</Group></Top>", "Top/Group is no group"},
        {"NamedMember", "<Top><Value name=\"Group\"><Inner><Leaf/></Inner></Value></Top>",
         "Top/Group/Inner/Leaf is no integer"},
        {"TupleLong", "<Top><Rest><Tuple>1 2 3</Tuple></Rest></Top>", "Top/Rest/Tuple has 3 numbers, not the 2"},
        {"Block", "<Top><Rest><Tuple>1 2</Tuple><Block>1 x</Block></Rest></Top>",
         "Top/Rest/Block holds what is no number of the type: 'x'"},
        {"Base64", "<Top><Rest><Tuple>1 2</Tuple><Block/><Bytes>QR==</Bytes></Rest></Top>",
         "Top/Rest/Bytes is no base64: 'QR=='"},
    };
    expectFaults(faults, readFault<Xml>);
}

TEST(HostileDocument, ObjectFaultsAreNamedAndLeaveNothing) {
    const std::string group = R"({"_class": "Group", "_id": 0, "Shape": {"name": ""}, )";
    const Fault faults[] = {
        {"NoClass", "{}", "an object without the name of its class"},
        {"UnknownClass", R"({"_class": "A"})", "class 'A', which is not known, in shape"},
        {"LongName", "{\"_class\": \"" + std::string(200, 'A') + "\"}", "a class name of 200 bytes"},
        {"OtherFamily", R"({"_class": "Stranger", "_id": 0, "number": 5})", "behind a pointer to"},
        {"NewVersion", R"({"_class": "Circle", "_version": 3})", "known up to version 2"},
        {"NoVersion", R"({"_class": "Circle", "_version": -1})", "a version that is no number"},
        {"GroupInPlaceOfVersion", R"({"_class": {}})", "a bookkeeping name has a value that is not plain"},
        {"ManyIds", R"({"_class": "Circle", "_id": 4000000000})", "object 4000000000 where there are not so many"},
        {"NoRef", R"({"_ref": 0})", "a ref to object 0, which did not come before"},
        {"OwnOwner", group + R"("members": [{"_ref": 0}]})", "belongs to two owners"},
        {"NoOwner",
         group + R"("linked": {"_class": "Group", "_id": 1, "Shape": {"name": ""}, "linked": {"_null": true}}})",
         "1 objects that belong to nothing"},
        {"SameId", group + R"("members": [{"_class": "Circle", "_id": 0}]})", "object 0 for the second time"},
    };
    expectFaults(faults, [](const std::string& shape) { return loadShape<Json>("{\"shape\": " + shape + "}"); });
}

TEST(HostileDocument, XmlOfOtherWritersIsRead) {
    for (const char* document :
         {"<!--Kr-->\n<Top><Int>5</Int></Top>",
          "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?><Top><Int>5</Int></Top>",
          "<!--Kr--><?xml version=\"1.0\"?><!-- a --><Top extra=\"1\">\r\n <Other/>\n <Value name=\"Int\"> 5 "
          "</Value><?pi?></Top>\n",
          "<Top><Int><![CDATA[5]]></Int></Top>"}) {
        archive_kinds::read<Xml>(document, [&](ArchiveReader& reader) {
            int number = 0;
            reader.read("Int", number);
            EXPECT_EQ(number, 5) << document;
        });
    }
}

TEST(HostileDocument, NamesTheEndsOfADeepPath) {
    std::string failure;
    try {
        archive_kinds::read<Json>("{\"Top\":" + repeated("{\"a\":", 1'000) + "1" + std::string(1'001, '}'),
                                  [](ArchiveReader& reader) {
                                      for (int i = 0; i < 1'000; ++i)
                                          reader.beginGroup("a");
                                  });
    } catch (const archive_exception& exception) {
        failure = exception.what();
    }
    EXPECT_EQ(failure, "JsonInArchive: Top" + repeated("/a", 30) + "/..." + repeated("/a", 33) +
                           " is no group, line 1 of 'some file'");
}

// What only binary archives have

TEST(BinaryHostile, NestingIsLimitedOnBothWays) {
    auto root = std::make_unique<shapes::Group>();
    for (int depth = 0; depth < 600; ++depth) {
        auto outer = std::make_unique<shapes::Group>();
        outer->members.push_back(std::move(root));
        root = std::move(outer);
    }
    const shapes::Shape* pointer = root.get();
    std::ostringstream stream;
    KrPersistence::BinaryOutArchive archive(stream, KrArchive::kNoHeader);
    try {
        archive << pointer;
        ADD_FAILURE() << "was saved";
    } catch (const std::exception& exception) {
        EXPECT_NE(std::string(exception.what()).find("more than 512 deep"), std::string::npos) << exception.what();
    }
    // The stream contains a group in a group in a group; a last one follows that is too deep.
    root.reset();
    const std::string failure = loadShape<Binary>(stream.str() + std::string(100, '\0'), KrArchive::kNoHeader);
    EXPECT_NE(failure.find("more than 512 deep"), std::string::npos) << failure;
}

TEST(BinaryHostile, CompactPointersAreNull) {
    std::istringstream stream(test_support::fromHex(kCircle));
    Binary::In archive(stream, KrArchive::kNoHeader, Binary::In::OptimizationMode::kCompact);
    shapes::Shape* shape = nullptr;
    EXPECT_THROW(archive >> shape, archive_exception);
    EXPECT_EQ(shape, nullptr);
}

TEST(BinaryHostile, SizesAreLimitedWithoutAnEnd) {
    struct : std::stringbuf {
        using std::stringbuf::stringbuf;
        pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override { return pos_type(off_type(-1)); }
    } pipe;
    pipe.str(test_support::fromHex("0000000001000000"));
    std::istream stream(&pipe);
    Binary::In archive(stream, KrArchive::kNoHeader);
    std::string text;
    EXPECT_THROW(archive >> text, archive_exception);
    EXPECT_EQ(text, "");
}

}  // namespace archive_hostile_test
