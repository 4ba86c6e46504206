#include <boost/serialization/map.hpp>
#include <boost/serialization/vector.hpp>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/persistence/archives/archive_kinds.h"
#include "tests/persistence/archives/shapes.h"
#include "tests/support/replaced.h"
#include "tests/support/temporary_folder.h"

namespace named_forms_test {

using archive_kinds::Json;
using archive_kinds::Xml;
using KrPersistence::ArchiveWriter;
using test_support::replaced;

/// One of each.
void writeAll(ArchiveWriter& writer) {
    writer.write("Name", "a <b> \"c\"\n\x01\xFF");
    writer.write("Listening Port", 80);
    writer.write("IsOpen", true);
    writer.write("Radius", 1.0);
    writer.write("Largest", std::numeric_limits<double>::infinity());
    writer.writeChoice("Mode", 1, "Editing");
    writer.writeIf(false, "LeftOut", 1);
    writer.writeTuple("Position", std::span<const double>(std::vector<double>{1, -0.5, 1e21}));
    writer.writeBlock("Samples", std::span<const double>(std::vector<double>{0.1, -0.0}));
    writer.writeBytes("Short", "ab");
    writer.writeBytes("Long", std::string(60, 'a'));
    writer.group("Nothing", [] {});
    writer.sequence("Parts", 2, [&](std::size_t i) { writer.group("Part", [&] { writer.write("Number", int(i)); }); });
    writer.sequence("Sizes", 2, [&](std::size_t i) { writer.write("Size", static_cast<int>(i)); });
}

/// Lists as serialization functions of Boost write them, without a sequence.
struct Shelf {
    std::vector<int> sizes;
    std::map<std::string, double> prices;

    template <class Archive>
    void serialize(Archive& archive, unsigned int /*version*/) {
        archive& BOOST_SERIALIZATION_NVP(sizes) & BOOST_SERIALIZATION_NVP(prices);
    }
};

template <class Kind>
class BoostContainers : public testing::Test {};
TYPED_TEST_SUITE(BoostContainers, archive_kinds::Named, archive_kinds::Names);

TYPED_TEST(BoostContainers, HaveEachNameOnceAndAreReadAsEarlierReleasesWroteThem) {
    const Shelf shelf{{3, 1, 2}, {{"a", 0.5}, {"b", 2.0}}};
    std::ostringstream stream;
    typename TypeParam::Out out(stream, 0);
    out << BOOST_SERIALIZATION_NVP(shelf);
    const std::string now = stream.str();
    const std::string earlier = replaced(replaced(now, "item2", "item"), "item3", "item");
    EXPECT_NE(now, earlier);
    for (const auto& bytes : {now, earlier}) {
        std::istringstream source(bytes);
        typename TypeParam::In in(source, 0);
        Shelf loaded;
        in >> boost::serialization::make_nvp("shelf", loaded);
        EXPECT_EQ(loaded.sizes, shelf.sizes) << bytes;
        EXPECT_EQ(loaded.prices, shelf.prices) << bytes;
    }
}

TEST(NamedForms, AreAsDocumented) {
    EXPECT_EQ(archive_kinds::written<Json>(writeAll), R"({
 "Top": {
  "Name": "a <b> \"c\"\n\u0001)"
                                                      "\xEE\xBB\xBF"
                                                      R"(",
  "Listening Port": 80,
  "IsOpen": true,
  "Radius": 1.0,
  "Largest": "Infinity",
  "Mode": "Editing",
  "Position": [1.0, -0.5, 1e+21],
  "Samples": [
   0.1,
   -0.0
  ],
  "Short": "YWI=",
  "Long": [
   "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh",
   "YWFh"
  ],
  "Nothing": {},
  "Parts": [
   {
    "Number": 0
   },
   {
    "Number": 1
   }
  ],
  "Sizes": [
   0,
   1
  ]
 }
}
)");
    EXPECT_EQ(archive_kinds::written<Xml>(writeAll), R"(<Top>
 <Name>a &lt;b&gt; "c"
)"
                                                     "\xEE\xB8\x81\xEE\xBB\xBF"
                                                     R"(</Name>
 <Value name="Listening Port">80</Value>
 <IsOpen>true</IsOpen>
 <Radius>1.0</Radius>
 <Largest>Infinity</Largest>
 <Mode>Editing</Mode>
 <Position>1.0 -0.5 1e+21</Position>
 <Samples>
  0.1
  -0.0
 </Samples>
 <Short>YWI=</Short>
 <Long>
  YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh
  YWFh
 </Long>
 <Nothing/>
 <Parts>
  <Part>
   <Number>0</Number>
  </Part>
  <Part>
   <Number>1</Number>
  </Part>
 </Parts>
 <Sizes>
  <Size>0</Size>
  <Size>1</Size>
 </Sizes>
</Top>
)");
}

template <class Kind>
std::string savedGroup() {
    shapes::Group group;
    group.name = "all";
    group.members.push_back(std::make_unique<shapes::Circle>());
    group.members.emplace_back();
    group.linked = group.members[0].get();
    const shapes::Shape* shape = &group;
    std::ostringstream stream;
    typename Kind::Out(stream, 0) << BOOST_SERIALIZATION_NVP(shape);
    return stream.str();
}

TEST(NamedForms, OfObjectsAreAsDocumented) {
    EXPECT_EQ(savedGroup<Json>(), R"({
 "shape": {
  "_class": "Group",
  "_id": 0,
  "Shape": {
   "name": "all"
  },
  "members": [
   {
    "_class": "Circle",
    "_version": 2,
    "_id": 1,
    "Shape": {
     "name": ""
    },
    "radius": 1.0
   },
   {
    "_null": true
   }
  ],
  "linked": {
   "_ref": 1
  }
 }
}
)");
    EXPECT_EQ(savedGroup<Xml>(), R"(<shape class="Group" id="0">
 <Shape>
  <name>all</name>
 </Shape>
 <members>
  <member class="Circle" version="2" id="1">
   <Shape>
    <name/>
   </Shape>
   <radius>1.0</radius>
  </member>
  <member null="true"/>
 </members>
 <linked ref="1"/>
</shape>
)");
}

/// Names and texts of all bytes, for readers of other programs.
void writeBytes(ArchiveWriter& writer) {
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    for (int i = 0; i < 256; ++i) {
        const std::string name = "name" + std::string(1, static_cast<char>(i)) + "\xEF\xBF\xBE";
        writer.group(name, [&] {
            writer.write("Text", all.substr(static_cast<std::size_t>(i)) + all);
            writer.writeBytes("Bytes", all);
        });
    }
    writeAll(writer);
}

void expectAccepted(const std::string& document, const std::string& program) {
    const test_support::TemporaryFolder folder;
    const std::string file = folder / "document";
    std::ofstream(file, std::ios::binary) << document;
    EXPECT_EQ(std::system(("python3 -c \"" + program + "\" " + file).c_str()), 0);
}

TEST(NamedForms, AreReadByOthers) {
    expectAccepted(archive_kinds::written<Json>(writeBytes),
                   "import json, sys; top = json.load(open(sys.argv[1], encoding='utf-8'))['Top'];"
                   "assert len(top) == 269 and top['Position'] == [1, -0.5, 1e21], len(top)");
    expectAccepted(archive_kinds::written<Xml>(writeBytes),
                   "import sys, xml.dom.minidom as d; top = d.parse(sys.argv[1]).documentElement;"
                   "elements = [e for e in top.childNodes if e.nodeType == 1];"
                   "assert len(elements) == 269 and elements[257].getAttribute('name') == 'Listening Port'");
}

/// A document in which three names are not read, and how the findings about them begin.
struct UnreadCase {
    const char* name;
    std::string document;
    std::vector<std::string> places;
};

class UnreadNames : public testing::TestWithParam<UnreadCase> {
protected:
    template <class Kind>
    static std::vector<std::string> read(const std::string& document) {
        std::istringstream stream(document);
        typename Kind::In archive(stream, 0);
        archive.setArchiveName("some file");
        typename Kind::In::Reader reader(archive);
        reader.group("Top", [&] {
            std::string text;
            reader.read("Text", text);
            std::vector<double> numbers;
            reader.readBlock("Numbers", numbers);
            reader.group("Group", [&] {
                static const std::vector<std::string> names{"Radius"};
                reader.setKnownNames(names);
                double radius = 0.0;
                EXPECT_FALSE(reader.readIf("Radius", radius));
            });
        });
        std::vector<std::string> findings;
        for (const auto& each : archive.getFindings())
            findings.push_back(each.toString());
        return findings;
    }
};

TEST_P(UnreadNames, AreFindingsWithTheirLines) {
    const auto& document = GetParam().document;
    EXPECT_EQ(document.front() == '{' ? read<Json>(document) : read<Xml>(document), GetParam().places);
}

const std::string kMisspelt = "'Rdaius' in Top/Group means nothing; did you mean 'Radius'?";

INSTANTIATE_TEST_SUITE_P(
    Table, UnreadNames,
    testing::Values(UnreadCase{"Json",
                               R"({"Top": {
 "Text": "a\nb\n\u000a",
 "Numbers": [1.0,
   2.0],
 "Flag":
   true, "Odd\nname": 1,
 "Group": {

   "Rdaius": 2.0
 }
}})",
                               {"some file, line 9: " + kMisspelt, "some file, line 6: 'Flag' in Top means nothing",
                                "some file, line 6: 'Odd name' in Top means nothing"}},
                    UnreadCase{"Xml",
                               R"(<!--
tag--><Top>
 <Text>a
b</Text>
 <Numbers>1.0
   2.0</Numbers>
 <!-- a comment

  of lines --><Flag>true</Flag> <Value name="Odd name">1</Value>
 <Group>
   <Rdaius>2.0</Rdaius>
 </Group>
</Top>)",
                               {"some file, line 11: " + kMisspelt, "some file, line 9: 'Flag' in Top means nothing",
                                "some file, line 9: 'Odd name' in Top means nothing"}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(UnreadNamesOfAHostileDocument, AreCountedOnlyUpToALimit) {
    std::string document = "<Top>";
    for (int i = 0; i < 10'000; ++i)
        document += "<A" + std::to_string(i) + "/>";
    std::istringstream stream(document + "</Top>");
    KrPersistence::XmlInArchive archive(stream, 0);
    KrPersistence::XmlInArchive::Reader reader(archive);
    reader.group("Top", [] {});
    ASSERT_EQ(archive.getFindings().size(), 101U);
    EXPECT_EQ(archive.getFindings().back().text, "there are more names that mean nothing; they are not listed");
}

}  // namespace named_forms_test
