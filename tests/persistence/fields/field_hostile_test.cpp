#include <gmock/gmock.h>

#include "kr/core/id.h"
#include "kr/data/field_access.h"
#include "kr/persistence/archives/archive_error.h"
#include "tests/persistence/fields/field_trees.h"
#include "tests/support/case_name.h"

namespace field_hostile_test {

using field_trees::Binary;
using KrData::Container;
using KrData::Types;
using KrData::detail::FieldAccess;
using testing::HasSubstr;

/// The text of what reading throws, empty when it throws nothing.
std::string failureOf(const std::string& bytes) {
    try {
        static_cast<void>(field_trees::loaded<Binary>(bytes));
    } catch (const boost::archive::archive_exception& failure) {
        return failure.what();
    }
    return {};
}

/// Writes a field by hand up to its properties, and `rest` after them.
template <class Kind, class Rest>
std::string fieldBytes(int type, Kind&& kind, Rest&& rest) {
    return field_trees::written<Binary>([&](auto& writer) {
        writer.writeRepeated("Identifier", "Odd");
        writer.writeChoice("Type", type, "");
        kind(writer);
        for (int i = 0; i < 6; ++i)
            writer.write("", false);  // identifier, description, dimension, observers, dynamic, metadata
        rest(writer);
    });
}

constexpr auto kNothing = [](KrPersistence::ArchiveWriter&) {};

struct Case {
    const char* name;
    std::string bytes;
    const char* text;
};

class HostileField : public testing::TestWithParam<Case> {};

TEST_P(HostileField, IsRefusedWithATextThatSaysWhatIsWrong) {
    EXPECT_THAT(failureOf(GetParam().bytes), HasSubstr(GetParam().text));
}

/// Of an array of fields, its properties.
void writeArray(KrPersistence::ArchiveWriter& writer) {
    writer.write("", false);
    writer.writeIf(true, "FieldArray", true);
}

std::vector<Case> hostileCases() {
    const auto ofType = [](int type) { return fieldBytes(type, kNothing, kNothing); };
    Container last("Last");
    FieldAccess::setInternalIdentifier(*last.add<int>("Child"), 0xffffffff);
    return {
        {"NegativeType", ofType(-1), "unknown data type"},
        {"GapType", ofType(9), "unknown data type"},
        {"InvalidType", ofType(255), "unknown data type"},
        {"WrappingType", ofType(256), "unknown data type"},
        {"NoValueType", ofType(Types::kUnknown), "no fields of type"},
        {"VectorItem", ofType(Types::kVectorItem), "no fields of type Vector Item"},
        {"VectorOfContainers",
         fieldBytes(
             Types::kVector, [](auto& writer) { writer.writeChoice("", Types::kContainer, ""); }, kNothing),
         "no vectors of type Data Container"},
        {"FieldType",
         fieldBytes(
             Types::kContainer,
             [](auto& writer) {
                 writer.write("", true);
                 writer.writeChoice("FieldType", 5, "");
                 writer.write("", false);
             },
             kNothing),
         "'Odd' has the unknown field type 5"},
        {"ShortOutOfRange", fieldBytes(Types::kShort, kNothing, [](auto& writer) { writer.write("", 40000); }),
         "40000, which does not fit into Short Integer"},
        {"Range",
         fieldBytes(Types::kInteger, kNothing,
                    [](auto& writer) {
                        writer.write("Value", 1);
                        writer.writeIf(true, "Minimum", 5);
                        writer.writeIf(true, "Maximum", 4);
                        writer.writeIf(true, "Has_Range", true);
                    }),
         "'Odd' has a minimum above its maximum"},
        {"SizeRange",
         fieldBytes(Types::kContainer, writeArray,
                    [](auto& writer) {
                        writer.writeIf(true, "MinimumSize", 5ULL);
                        writer.writeIf(true, "MaximumSize", 4ULL);
                        writer.writeIf(true, "Has_SizeRange", true);
                        writer.sequence("Items", 0, [](std::size_t) {});
                    }),
         "minimum size above its maximum size"},
        {"LinkWithoutPath",
         fieldBytes(
             Types::kProxy, [](auto& writer) { writer.write("", false); },
             [](auto& writer) {
                 writer.sequence("Links", 1, [&](std::size_t) {
                     writer.write("", false);
                     writer.writeRepeated("FieldPath", "");
                 });
             }),
         "links a field without a path"},
        {"LastInternalIdentifier", field_trees::saved<Binary>(last), "out of range"},
    };
}

INSTANTIATE_TEST_SUITE_P(, HostileField, testing::ValuesIn(hostileCases()), test_support::caseName);

TEST(HostileFields, WithOneInternalIdentifierGetDifferentOnes) {
    Container twins("Twins");
    for (const unsigned number : {5U, 5U, 6U, 3U, 5U})
        FieldAccess::setInternalIdentifier(*twins.add<int>("Child"), number);
    const auto again = field_trees::loaded<Binary>(field_trees::saved<Binary>(twins));
    std::vector<std::uint32_t> numbers;
    for (const auto* child : again->getChildren())
        numbers.push_back(child->getInternalIdentifier());
    EXPECT_THAT(numbers, testing::ElementsAre(5, 6, 7, 3, 8));
}

TEST(HostileFields, AreNamedOnlyByWhatWasReadWhole) {
    const auto bytes = field_trees::written<Binary>(
        [](auto& writer) { writer.writeRepeated("Identifier", "never interned by anybody"); });
    EXPECT_NE(failureOf(bytes.substr(0, bytes.size() - 1)), "");
    EXPECT_EQ(Kr::KrID::_get(Kr::KrID::numberFor("never interned by anybody")), nullptr);
}

}  // namespace field_hostile_test
