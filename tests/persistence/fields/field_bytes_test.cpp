#include <gtest/gtest.h>

#include "kr/persistence/archives/archive.h"
#include "tests/persistence/fields/field_trees.h"
#include "tests/support/same_bytes.h"

namespace field_bytes_test {

using namespace field_trees;  // NOLINT(google-build-using-namespace): what this file is about
using test_support::areSame;

constexpr std::uint32_t kNoHeader = KrPersistence::KrArchive::kNoHeader;

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
    EXPECT_TRUE(areSame(saved<Binary>(speed(), {}, kNoHeader),
                        std::string(reinterpret_cast<const char*>(bytes), sizeof(bytes))));
}

TEST(FieldBytes, KeepTheSignOfABoundThatIsZero) {
    KrData::Field<double> field("Range", nullptr, 1.0);
    field.setRange(-0.0, 2.0);
    EXPECT_NE(saved<Json>(field, {}, kNoHeader).find("\"Minimum\": -0.0,"), std::string::npos);
    field.setRange(0.0, 2.0);
    EXPECT_EQ(saved<Json>(field, {}, kNoHeader).find("Minimum"), std::string::npos);
}

TEST(FieldBytes, OfNamedArchivesAreReadable) {
    EXPECT_EQ(saved<Json>(speed(), {}, kNoHeader), R"({
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
    EXPECT_EQ(saved<Xml>(speed(), {}, kNoHeader), R"(<Field>
 <Identifier>Speed</Identifier>
 <Type>Double</Type>
 <PhysicalDimension>Speed</PhysicalDimension>
 <Value>2.5</Value>
 <Maximum>10.0</Maximum>
 <Has_Range>true</Has_Range>
</Field>
)");
}

#ifdef NDEBUG
constexpr std::uint32_t kTrees = 10'000;
#else
constexpr std::uint32_t kTrees = 1'000;
#endif

template <class Kind>
class FieldTrees : public testing::Test {};
TYPED_TEST_SUITE(FieldTrees, archive_kinds::All, archive_kinds::Names);

// Finds whatever a reader makes different from what was written, or forgets.
TYPED_TEST(FieldTrees, AreByteEqualAfterSaveLoadSave) {
    for (std::uint32_t seed = 1; seed <= kTrees; ++seed) {
        TreeMaker maker(seed);
        const auto first = saved<TypeParam>(*maker.make());
        KrPersistence::FieldReadContext context;
        const auto again = loaded<TypeParam>(first, context);
        // References stay null; their targets are written in their place.
        ASSERT_TRUE(areSame(saved<TypeParam>(*again, {context.references}), first)) << "seed " << seed;
    }
}

}  // namespace field_bytes_test
