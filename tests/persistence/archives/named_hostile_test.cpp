#include <functional>
#include <random>
#include <streambuf>

#include "tests/persistence/archives/archive_kinds.h"
#include "tests/persistence/archives/shapes.h"
#include "tests/support/case_name.h"

namespace named_hostile_test {

using archive_kinds::Json;
using archive_kinds::Xml;
using KrPersistence::ArchiveReader;

/// The text of the exception; no object may be left.
template <class Kind>
std::string loadShape(const std::string& bytes) {
    const int living = shapes::Shape::living();
    std::string failure;
    {
        std::unique_ptr<shapes::Shape> owner;
        std::istringstream stream(bytes);
        typename Kind::In archive(stream, 0);
        try {
            shapes::Shape* shape = nullptr;
            archive >> BOOST_SERIALIZATION_NVP(shape);
            if (shape != nullptr) archive.adopt(shape);
            owner.reset(shape);
            archive.requireOwned();
        } catch (const std::exception& exception) {
            failure = exception.what();
            archive.delete_created_pointers();
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
    typename Kind::Out(stream, 0) << BOOST_SERIALIZATION_NVP(shape);
    return stream.str();
}

template <class Kind>
class NamedHostile : public testing::Test {};
TYPED_TEST_SUITE(NamedHostile, archive_kinds::Named, archive_kinds::Names);

TYPED_TEST(NamedHostile, CutsAndChangedBytesLeaveNothing) {
    const std::string bytes = save<TypeParam>();
    EXPECT_EQ(loadShape<TypeParam>(bytes), "");
    for (std::size_t size = 0; size + 2 < bytes.size(); ++size)
        EXPECT_NE(loadShape<TypeParam>(bytes.substr(0, size)), "") << size;
    std::mt19937 random(20200300);
    for (int i = 0; i < 5000; ++i) {
        std::string changed = bytes;
        for (unsigned int k = random() % 4; k < 4; ++k) {
            const std::size_t at = random() % bytes.size();
            changed[at] = random() % 2 == 0 ? static_cast<char>(random()) : bytes[random() % bytes.size()];
        }
        loadShape<TypeParam>(changed);
    }
}

TYPED_TEST(NamedHostile, MembersMayComeInAnyOrderInLinearTime) {
    // Asked for backwards: each is looked for among all. A search of each among 20,000 siblings would take minutes.
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

TYPED_TEST(NamedHostile, SizeAndNestingAreLimited) {
    std::istringstream stream(save<TypeParam>());
    typename TypeParam::In archive(stream, 0);
    archive.setSizeLimit(100);
    shapes::Shape* shape = nullptr;
    EXPECT_THROW(archive >> BOOST_SERIALIZATION_NVP(shape), boost::archive::archive_exception);

    std::ostringstream out;
    typename TypeParam::Out outArchive(out, 0);
    typename TypeParam::Out::Writer writer(outArchive);
    const std::function<void()> deeper = [&] { writer.group("G", deeper); };
    EXPECT_THROW(deeper(), boost::archive::archive_exception);
    EXPECT_THROW(
        {
            std::ostringstream two;
            typename TypeParam::Out twice(two, 0);
            typename TypeParam::Out::Writer both(twice);
            both.write("One", 1);
            both.write("Two", 2);
        },
        boost::archive::archive_exception)
        << "a document has one top element";
}

TYPED_TEST(NamedHostile, AFullStreamIsReported) {
    struct : std::streambuf {
        std::streamsize xsputn(const char*, std::streamsize count) override { return count - 1; }
    } full;
    std::ostream stream(&full);
    typename TypeParam::Out archive(stream, 0);
    typename TypeParam::Out::Writer writer(archive);
    EXPECT_THROW(writer.write("One", 1), boost::archive::archive_exception);
}

struct Fault {
    const char* name;
    std::string document;
    const char* text;  // stands in the error
};

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

template <class Kind>
void expectFault(const Fault& fault) {
    std::string failure;
    try {
        archive_kinds::read<Kind>(fault.document, [](ArchiveReader& reader) {
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
                reader.readChoice("Choice", [](std::string_view) { return std::nullopt; });
            });
        });
    } catch (const boost::archive::archive_exception& exception) {
        failure = exception.what();
    }
    EXPECT_NE(failure.find(fault.text), std::string::npos) << failure;
}

std::string repeated(const char* text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

class JsonFault : public testing::TestWithParam<Fault> {};

TEST_P(JsonFault, IsNamedWithItsPlace) {
    expectFault<Json>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Documents, JsonFault,
    testing::Values(
        Fault{"Empty", "", "line 1 of 'some file'"}, Fault{"NoObject", "[1]", "the document is no object"},
        Fault{"Number", "7", "the document is no object"},
        Fault{"OtherTop", R"({"File": {}})", "JsonInArchive: Top is missing of 'some file'"},
        Fault{"Behind", R"({"Top": {}} x)", "line 1"},
        Fault{"Zero", std::string("{\"Top\": {}}\0", 12), "something stands behind the document"},
        Fault{"Line", "{\n\"Top\":\n{,}}", "line 3"},
        Fault{"Deep", "{\"Top\":" + std::string(1'000'000, '['), "too deep"},
        Fault{"DeepObjects", repeated("{\"a\":", 100'000), "too deep"},
        Fault{"IntOfText", R"({"Top": {"Int": "1"}})", "Top/Int is no integer of the type: '1'"},
        Fault{"IntOfReal", R"({"Top": {"Int": 1.0}})", "Top/Int is no integer of the type: '1.0'"},
        Fault{"IntTooLarge", R"({"Top": {"Int": 2147483648}})", "Top/Int is no integer"},
        Fault{"IntOfNull", R"({"Top": {"Int": null}})", "'null'"},
        Fault{"DoubleTooLarge", R"({"Top": {"Double": 1e309}})", "line 1"},
        Fault{"DoubleOfWord", R"({"Top": {"Double": "inf"}})", "Top/Double is no number"},
        Fault{"BoolOfNumber", R"({"Top": {"Bool": 1}})", "Top/Bool is neither true nor false: '1'"},
        Fault{"TextOfNumber", R"({"Top": {"Text": 1}})", "Top/Text is no text"},
        Fault{"TextCut", R"({"Top": {"Text": "a)", "line 1"},
        Fault{"Surrogate", R"({"Top": {"Text": "\ud800"}})", "line 1"},
        Fault{"GroupOfText", R"({"Top": {"Group": "x"}})", "Top/Group is no group"},
        Fault{"MissingLeaf", R"({"Top": {"Group": {"Inner": {}}}})", "Top/Group/Inner/Leaf is missing"},
        Fault{"SequenceOfNumber", R"({"Top": {"Items": 5}})", "Top/Items is no sequence"},
        Fault{"ItemOfNumber", R"({"Top": {"Items": [5]}})", "Top/Items[0] is no group"},
        Fault{"Item", R"({"Top": {"Items": [{"Leaf": 1}, {"Leaf": true}]}})", "Top/Items[1]/Leaf is no integer"},
        Fault{"TupleShort", R"({"Top": {"Rest": {"Tuple": [1]}}})", "Top/Rest/Tuple has 1 numbers, not the 2"},
        Fault{"BlockOfTexts", R"({"Top": {"Rest": {"Tuple": [1, 2], "Block": [1, "x"]}}})",
              "Top/Rest/Block is no list of numbers"},
        Fault{"Base64", R"({"Top": {"Rest": {"Tuple": [1, 2], "Block": [], "Bytes": "QQ"}}})",
              "Top/Rest/Bytes is no base64: 'QQ'"},
        Fault{"Choice", R"({"Top": {"Rest": {"Tuple": [1, 2], "Block": [], "Bytes": "", "Choice": "?"}}})",
              "Top/Rest/Choice is none of the known choices: '?'"}),
    test_support::caseName);

/// How many numbers the list holds; -1 where the document is refused.
int countNumbers(const std::string& list) {
    int count = -1;
    try {
        archive_kinds::read<Json>("{\"Top\": {\"List\": " + list + "}}", [&](ArchiveReader& reader) {
            std::vector<double> block;
            reader.readBlock("List", block);
            count = static_cast<int>(block.size());
        });
    } catch (const boost::archive::archive_exception&) {
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

class XmlFault : public testing::TestWithParam<Fault> {};

TEST_P(XmlFault, IsNamedWithItsPlace) {
    expectFault<Xml>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Documents, XmlFault,
    testing::Values(
        Fault{"Empty", "", "XmlInArchive: no element found, line 1 of 'some file'"},
        Fault{"OtherTop", "<File/>", "Top is missing"}, Fault{"TwoTops", "<Top/><Top/>", "junk after document element"},
        Fault{"Behind", "<Top/>\nx", "line 2"}, Fault{"Zero", std::string("<Top/>\0", 7), "line 1"},
        Fault{"Doctype", "<!DOCTYPE a [<!ENTITY b \"c\">]><Top><Text>&b;</Text></Top>", "a document type is declared"},
        Fault{"Entity", "<Top><Text>&b;</Text></Top>", "undefined entity"},
        Fault{"Deep", repeated("<a>", 1'000'000), "elements lie too deep"},
        Fault{"TextBesideElements", "<Top>x<Int>1</Int></Top>", "a text stands beside elements"},
        Fault{"ElementInValue", "<Top><Int>1<a/></Int></Top>", "a text stands beside elements"},
        Fault{"Character", "<Top><Text>&#1;</Text></Top>", "invalid character number"},
        Fault{"Int", "<Top><Int>1 2</Int></Top>", "Top/Int is no integer of the type: '1 2'"},
        Fault{"IntEmpty", "<Top><Int/></Top>", "Top/Int is no integer"},
        Fault{"Double", "<Top><Double>1,5</Double></Top>", "Top/Double is no number of the type: '1,5'"},
        Fault{"DoubleTooLarge", "<Top><Double>1e309</Double></Top>", "Top/Double is no number"},
        Fault{"Bool", "<Top><Bool>True</Bool></Top>", "Top/Bool is neither true nor false: 'True'"},
        Fault{"TextOfGroup", "<Top><Text><a/></Text></Top>", "Top/Text is no text"},
        Fault{"GroupOfText", "<Top><Group>x</Group></Top>", "Top/Group is no group"},
        Fault{"NamedMember", "<Top><Value name=\"Group\"><Inner><Leaf/></Inner></Value></Top>",
              "Top/Group/Inner/Leaf is no integer"},
        Fault{"Item", "<Top><Items><a><Leaf>1</Leaf></a><a/></Items></Top>", "Top/Items[1]/Leaf is missing"},
        Fault{"TupleLong", "<Top><Rest><Tuple>1 2 3</Tuple></Rest></Top>", "Top/Rest/Tuple has 3 numbers, not the 2"},
        Fault{"Block", "<Top><Rest><Tuple>1 2</Tuple><Block>1 x</Block></Rest></Top>",
              "Top/Rest/Block holds what is no number of the type: 'x'"},
        Fault{"Base64", "<Top><Rest><Tuple>1 2</Tuple><Block/><Bytes>QR==</Bytes></Rest></Top>",
              "Top/Rest/Bytes is no base64: 'QR=='"}),
    test_support::caseName);

TEST(XmlDocuments, OfOtherWritersAreRead) {
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

// Objects, by what stands in the top value "shape".
class JsonObjectFault : public testing::TestWithParam<Fault> {};

TEST_P(JsonObjectFault, IsNamedAndLeavesNothing) {
    const auto failure = loadShape<Json>("{\"shape\": " + GetParam().document + "}");
    EXPECT_NE(failure.find(GetParam().text), std::string::npos) << failure;
}

constexpr char kShape[] = R"("Shape": {"name": ""})";

INSTANTIATE_TEST_SUITE_P(
    Documents, JsonObjectFault,
    testing::Values(
        Fault{"NoClass", "{}", "an object without the name of its class"},
        Fault{"UnknownClass", R"({"_class": "A"})", "class 'A', which is not known, in shape"},
        Fault{"LongName", "{\"_class\": \"" + std::string(200, 'A') + "\"}", "a class name of 200 bytes"},
        Fault{"OtherFamily", R"({"_class": "Stranger", "_id": 0, "number": 5})", "behind a pointer to"},
        Fault{"NewVersion", R"({"_class": "Circle", "_version": 3})", "known up to version 2"},
        Fault{"NoVersion", R"({"_class": "Circle", "_version": -1})", "a version that is no number"},
        Fault{"GroupInPlaceOfVersion", R"({"_class": {}})", "a bookkeeping name stands before"},
        Fault{"ManyIds", R"({"_class": "Circle", "_id": 4000000000})", "object 4000000000 where there are not so many"},
        Fault{"NoRef", R"({"_ref": 0})", "a ref to object 0, which did not come before"},
        Fault{"OwnOwner", std::string(R"({"_class": "Group", "_id": 0, )") + kShape + R"(, "members": [{"_ref": 0}]})",
              "belongs to two owners"},
        Fault{"NoOwner",
              std::string(R"({"_class": "Group", )") + kShape + R"(, "linked": {"_class": "Group", )" + kShape +
                  R"(, "linked": {"_null": true}}})",
              "1 objects that belong to nothing"},
        Fault{"SameId",
              std::string(R"({"_class": "Group", "_id": 0, )") + kShape +
                  R"(, "members": [{"_class": "Circle", "_id": 0}]})",
              "object 0 for the second time"}),
    test_support::caseName);

}  // namespace named_hostile_test
