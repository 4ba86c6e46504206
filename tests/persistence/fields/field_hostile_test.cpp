#include <gmock/gmock.h>

#include "kr/core/id.h"
#include "kr/persistence/archives/archive_error.h"
#include "tests/persistence/fields/field_trees.h"
#include "tests/support/case_name.h"
#include "tests/support/log_capture.h"

namespace field_hostile_test {

using field_trees::Binary;
using KrData::Container;
using KrData::Types;
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

std::vector<Case> hostileCases() {
    std::vector<Case> cases;
    for (const int number : {-1, 9, 200, 255, 256})
        cases.push_back({"", fieldBytes(number, kNothing, kNothing), "unknown data type"});
    const char* typeNames[] = {"NegativeType", "GapType", "LargeType", "InvalidType", "WrappingType"};
    for (std::size_t i = 0; i < cases.size(); ++i)
        cases[i].name = typeNames[i];
    cases.push_back({"NoValueType", fieldBytes(Types::kUnknown, kNothing, kNothing), "no fields of type"});
    cases.push_back(
        {"VectorItem", fieldBytes(Types::kVectorItem, kNothing, kNothing), "no fields of type Vector Item"});
    cases.push_back({"VectorOfContainers",
                     fieldBytes(
                         Types::kVector, [](auto& writer) { writer.writeChoice("", Types::kContainer, ""); }, kNothing),
                     "no vectors of type Data Container"});
    cases.push_back({"FieldType",
                     fieldBytes(
                         Types::kContainer,
                         [](auto& writer) {
                             writer.write("", true);
                             writer.writeChoice("FieldType", 5, "");
                             writer.write("", false);
                         },
                         kNothing),
                     "'Odd' has the unknown field type 5"});
    cases.push_back({"ShortOutOfRange",
                     fieldBytes(Types::kShort, kNothing, [](auto& writer) { writer.write("", 40000); }),
                     "40000, which does not fit into Short Integer"});
    cases.push_back({"Range",
                     fieldBytes(Types::kInteger, kNothing,
                                [](auto& writer) {
                                    writer.write("Value", 1);
                                    writer.writeIf(true, "Minimum", 5);
                                    writer.writeIf(true, "Maximum", 4);
                                    writer.writeIf(true, "Has_Range", true);
                                }),
                     "'Odd' has a minimum above its maximum"});
    cases.push_back({"SizeRange",
                     fieldBytes(
                         Types::kContainer,
                         [](auto& writer) {
                             writer.write("", false);
                             writer.writeIf(true, "FieldArray", true);
                         },
                         [](auto& writer) {
                             writer.writeIf(true, "MinimumSize", 5ULL);
                             writer.writeIf(true, "MaximumSize", 4ULL);
                             writer.writeIf(true, "Has_SizeRange", true);
                             writer.sequence("Items", 0, [](std::size_t) {});
                         }),
                     "minimum size above its maximum size"});
    cases.push_back({"LinkWithoutPath",
                     fieldBytes(
                         Types::kProxy, [](auto& writer) { writer.write("", false); },
                         [](auto& writer) {
                             writer.sequence("Links", 1, [&](std::size_t) {
                                 writer.write("", false);
                                 writer.writeRepeated("FieldPath", "");
                             });
                         }),
                     "links a field without a path"});
    Container last("Last");
    last.add<int>("Child")->_setInternalIdentifier(0xffffffff);
    cases.push_back({"LastInternalIdentifier", field_trees::saved<Binary>(last), "out of range"});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(, HostileField, testing::ValuesIn(hostileCases()), test_support::caseName);

TEST(HostileFields, WithOneInternalIdentifierGetDifferentOnes) {
    Container twins("Twins");
    for (const unsigned number : {5U, 5U, 6U, 3U, 5U})
        twins.add<int>("Child")->_setInternalIdentifier(number);
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

TEST(HostileFields, NestAsDeepAsArchivesGoAndNoDeeper) {
    const auto nested = [](int depth) {
        auto outer = std::make_unique<Container>("Level");
        for (int i = 1; i < depth; ++i) {
            auto next = std::make_unique<Container>("Level");
            next->_addField(outer.release());
            outer = std::move(next);
        }
        return outer;
    };
    const auto bytes = field_trees::saved<Binary>(*nested(512));
    EXPECT_EQ(field_trees::saved<Binary>(*field_trees::loaded<Binary>(bytes)), bytes);
    try {
        static_cast<void>(field_trees::saved<Binary>(*nested(513)));
        ADD_FAILURE() << "written";
    } catch (const boost::archive::archive_exception& failure) {
        EXPECT_THAT(failure.what(), HasSubstr("'Field' lies more than 512 groups deep"));
    }
}

// Finds reads past what is there, endless loops and memory for what is not there; the sanitizers look on.
TEST(HostileFields, ThatWereDamagedDoNoHarm) {
    const test_support::LogCapture log;
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        field_trees::TreeMaker maker(seed);
        field_trees::Random random(seed);
        const auto whole = field_trees::saved<Binary>(*maker.make());
        for (int i = 0; i < 100; ++i) {
            auto bytes =
                whole.substr(0, random.oneIn(4) ? random.below(static_cast<unsigned>(whole.size())) : whole.size());
            for (auto count = random.below(4); count > 0 && !bytes.empty(); --count) {
                bytes[random.below(static_cast<unsigned>(bytes.size()))] = static_cast<char>(random.below(256));
            }
            static_cast<void>(failureOf(bytes));
            Container target("Target");
            try {
                field_trees::readFrom<Binary>(
                    bytes, [&](auto& reader) { static_cast<void>(KrPersistence::readValue(reader, "Value", target)); });
            } catch (const boost::archive::archive_exception&) {
                continue;
            }
        }
    }
}

}  // namespace field_hostile_test
