#include <gtest/gtest.h>

#include "kr/persistence/archives/archive.h"
#include "kr/persistence/fields/field_archive.h"
#include "tests/persistence/fields/field_trees.h"

namespace field_bytes_test {

template <class Kind>
std::string written(const KrData::FieldBase& field) {
    std::ostringstream stream;
    {
        typename Kind::Out archive(stream, KrPersistence::KrArchive::kNoHeader);
        typename Kind::Out::Writer writer(archive);
        KrPersistence::writeField(writer, "Field", field);
    }
    return std::move(stream).str();
}

KrData::Field<double>& speed() {
    static KrData::Field<double> field("Speed", nullptr, 2.5);
    field.setRange(0, 10);
    field.setPhysicalDimension(Kr::KrPhysicalDimension::ePhysicalDimension::kSpeed);
    return field;
}

// What docs/field-format.md shows: files of today are read tomorrow.
TEST(FieldBytes, AreThoseOfTheDocumentation) {
    const unsigned char bytes[] = {
        0, 0, 0, 0, 5, 0, 0, 0,    0,    0,    0, 0, 'S', 'p', 'e', 'e', 'd',  // 0: Identifier, the first repeated text
        3, 0, 0, 0,                                                            // 17: Type
        0, 0, 1, 7, 0, 0, 0, 0,    0,    0,                                    // 21: what stands before the value
        0, 0, 0, 0, 0, 0, 4, 0x40,                                             // 31: Value
        0, 1, 0, 0, 0, 0, 0, 0,    0x24, 0x40, 1, 1};                          // 39: Minimum, Maximum, Has_Range
    EXPECT_EQ(field_trees::difference(written<field_trees::Binary>(speed()),
                                      std::string(reinterpret_cast<const char*>(bytes), sizeof(bytes))),
              "");
}

TEST(FieldBytes, OfNamedArchivesAreReadable) {
    EXPECT_EQ(written<field_trees::Json>(speed()), R"({
 "Field": {
  "Identifier": "Speed",
  "Type": "Double",
  "PhysicalDimension": "Speed",
  "Value": 2.5,
  "Maximum": 10.0,
  "Has_Range": true
 }
}
)");
    EXPECT_EQ(written<field_trees::Xml>(speed()), R"(<Field>
 <Identifier>Speed</Identifier>
 <Type>Double</Type>
 <PhysicalDimension>Speed</PhysicalDimension>
 <Value>2.5</Value>
 <Maximum>10.0</Maximum>
 <Has_Range>true</Has_Range>
</Field>
)");
}

}  // namespace field_bytes_test
