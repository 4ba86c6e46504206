#include "kr/data/vector.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/value_conversion.h"
#include "kr/data/vector_item.h"

namespace vector_test {

using KrData::Vector;
using KrData::VectorItem;
using testing::ElementsAre;
using testing::IsEmpty;
using Ranges = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

constexpr auto kMax = std::numeric_limits<std::uint64_t>::max();

struct MergeCase {
    const char* name;
    Ranges added;
    Ranges expected;
};

class VectorChanges : public testing::TestWithParam<MergeCase> {};

TEST_P(VectorChanges, AreSortedAndMerged) {
    Vector<int> vector("V");
    vector.enableIncrementalDataTransfer(true);
    for (const auto& [first, last] : GetParam().added)
        vector._addChange(first, last);
    EXPECT_EQ(vector.getChanges(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, VectorChanges,
    testing::Values(MergeCase{"SharedEnd", {{0, 3}, {3, 5}}, {{0, 5}}},
                    MergeCase{"SharedStart", {{3, 5}, {0, 3}}, {{0, 5}}},
                    MergeCase{"DisjointAreSorted", {{10, 12}, {0, 1}}, {{0, 1}, {10, 12}}},
                    MergeCase{"NeighboursStayApart", {{0, 3}, {4, 5}}, {{0, 3}, {4, 5}}},
                    MergeCase{"NeighboursStayApartBackwards", {{4, 5}, {0, 3}}, {{0, 3}, {4, 5}}},
                    MergeCase{"Contained", {{0, 10}, {2, 3}}, {{0, 10}}},
                    MergeCase{"Containing", {{2, 3}, {5, 6}, {0, 10}}, {{0, 10}}},
                    MergeCase{"BridgesTwo", {{0, 2}, {6, 8}, {20, 21}, {2, 6}}, {{0, 8}, {20, 21}}},
                    MergeCase{"GrowsIntoTheNext", {{0, 2}, {10, 12}, {1, 11}, {11, 14}}, {{0, 14}}},
                    MergeCase{"LastGrowsBeforeAMerge", {{5, 6}, {0, 1}, {1, 5}}, {{0, 6}}},
                    MergeCase{"Same", {{7, 7}, {7, 7}}, {{7, 7}}},
                    MergeCase{"EndOfTheNumbers", {{kMax, kMax}, {0, 0}, {kMax - 1, kMax}}, {{0, 0}, {kMax - 1, kMax}}},
                    MergeCase{"Everything", {{5, 6}, {kMax - 3, kMax - 2}, {0, kMax}}, {{0, kMax}}},
                    MergeCase{"Reversed", {{9, 4}}, {{4, 9}}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(VectorTracking, ManyChangesInAnyOrderGiveTheSameRangesAsOneByOne) {
    constexpr unsigned seed = 20203;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 50; ++round) {
        Vector<int> vector("V");
        vector.enableIncrementalDataTransfer(true);
        Ranges expected;
        for (int i = 0; i < 300; ++i) {
            const std::uint64_t first = random() % 3000;
            const std::uint64_t last = first + random() % 6;
            vector._addChange(first, last);
            if (i % 37 == 0) (void)vector.getChanges();
            std::pair<std::uint64_t, std::uint64_t> merged(first, last);
            std::erase_if(expected, [&](const auto& each) {
                if (each.first > merged.second || each.second < merged.first) return false;
                merged = {std::min(each.first, merged.first), std::max(each.second, merged.second)};
                return true;
            });
            expected.insert(std::lower_bound(expected.begin(), expected.end(), merged), merged);
        }
        ASSERT_EQ(vector.getChanges(), expected) << "round " << round;
    }
}

TEST(VectorTracking, FollowsEnableClearAndDisable) {
    Vector<int> vector("V", nullptr, {1, 2, 3});
    vector.setItem(0, 9);
    EXPECT_THAT(vector.getChanges(), IsEmpty());
    vector.enableIncrementalDataTransfer(true);
    vector.setItem(1, 9);
    EXPECT_EQ(vector.getChanges(), (Ranges{{1, 1}}));
    vector._disableTracking();
    vector.setItem(2, 9);
    EXPECT_FALSE(vector.isTracking());
    EXPECT_THAT(vector.getChanges(), IsEmpty());
    vector.clearChanges();
    vector.setItem(2, 8);
    EXPECT_EQ(vector.getChanges(), (Ranges{{2, 2}}));
    vector.enableIncrementalDataTransfer(false);
    vector.setItem(2, 7);
    EXPECT_THAT(vector.getChanges(), IsEmpty());
}

struct Change {
    const char* name;
    bool (*act)(Vector<int>&);
    std::vector<int> items;
    Ranges ranges;
};

class VectorMutation : public testing::TestWithParam<Change> {};

TEST_P(VectorMutation, RecordsItsRangeAndNotifiesOnce) {
    Vector<int> vector("V", nullptr, {10, 11, 12, 13});
    vector.enableIncrementalDataTransfer(true);
    int calls = 0;
    const auto observer = vector.addObserver([&](const KrData::FieldBase&) { ++calls; });
    EXPECT_TRUE(GetParam().act(vector));
    EXPECT_EQ(vector.getItems(), GetParam().items);
    EXPECT_EQ(vector.getChanges(), GetParam().ranges);
    EXPECT_EQ(calls, GetParam().ranges.empty() ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, VectorMutation,
    testing::Values(Change{"SetEqual", [](auto& v) { return v.setItem(1, 11); }, {10, 11, 12, 13}, {}},
                    Change{"Set", [](auto& v) { return v.setItem(3, 5); }, {10, 11, 12, 5}, {{3, 3}}},
                    Change{"SetPastTheEnd", [](auto& v) { return !v.setItem(4, 5); }, {10, 11, 12, 13}, {}},
                    Change{"Append", [](auto& v) { return v.append(14), true; }, {10, 11, 12, 13, 14}, {{4, 4}}},
                    Change{"AppendOwnItem",
                           [](auto& v) { return v.append(v.getItems()[0]), true; },
                           {10, 11, 12, 13, 10},
                           {{4, 4}}},
                    Change{"Insert", [](auto& v) { return v.insert(1, 5); }, {10, 5, 11, 12, 13}, {{1, 4}}},
                    Change{"InsertPastTheEnd", [](auto& v) { return !v.insert(5, 5); }, {10, 11, 12, 13}, {}},
                    Change{"Erase", [](auto& v) { return v.erase(1, 2); }, {10, 13}, {{1, 3}}},
                    Change{"EraseTooMany",
                           [](auto& v) { return !v.erase(2, std::numeric_limits<std::size_t>::max()); },
                           {10, 11, 12, 13},
                           {}},
                    Change{"Grow", [](auto& v) { return v.resize(6); }, {10, 11, 12, 13, 0, 0}, {{4, 5}}},
                    Change{"Shrink", [](auto& v) { return v.resize(1); }, {10}, {{1, 3}}},
                    Change{"GrowBeyondMemory",
                           [](auto& v) { return !v.resize(std::numeric_limits<std::size_t>::max()); },
                           {10, 11, 12, 13},
                           {}},
                    Change{"SetAllEqual",
                           [](auto& v) {
                               return v.setItems({10, 11, 12, 13}), true;
                           },
                           {10, 11, 12, 13},
                           {}},
                    Change{"SetAll",
                           [](auto& v) {
                               return v.setItems({10, 1, 12, 2}), true;
                           },
                           {10, 1, 12, 2},
                           {{1, 3}}},
                    Change{"SetFewer",
                           [](auto& v) {
                               return v.setItems({10, 11}), true;
                           },
                           {10, 11},
                           {{2, 3}}},
                    Change{"SetNone", [](auto& v) { return v.reset(), true; }, {}, {{0, 3}}},
                    Change{"CopySome",
                           [](auto& v) {
                               return v.copyItems(Vector<int>("S", nullptr, {0, 1, 12, 3, 4}), 1, 90);
                           },
                           {10, 1, 12, 3},
                           {{1, 3}}},
                    Change{"CopyOtherType",
                           [](auto& v) {
                               return !v.copyItems(Vector<short>("S", nullptr, {0, 1}), 0, 1);
                           },
                           {10, 11, 12, 13},
                           {}},
                    Change{"CopyValue",
                           [](auto& v) {
                               return v.copyValue(Vector<int>("S", nullptr, {10, 11, 1}));
                           },
                           {10, 11, 1},
                           {{2, 3}}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(Vector, CopiesAndConvertsBetweenEqualItemTypesOnly) {
    Vector<double> reals("Reals", nullptr, {1.0, 2.0});
    Vector<int> integers("Integers", nullptr, {7});
    KrData::Field<double> scalar("Scalar");
    EXPECT_FALSE(integers.copyValue(reals));
    EXPECT_FALSE(integers.copyValue(scalar));
    EXPECT_FALSE(integers.copyValue(KrData::FieldBase::getInvalidField()));
    EXPECT_THAT(integers.getItems(), ElementsAre(7));
    EXPECT_FALSE(KrData::CanConvert(reals, integers));
    EXPECT_FALSE(KrData::TransferValueConverter(reals, integers));
    Vector<double> more("More");
    EXPECT_TRUE(reals.canConvertTo(more));
    EXPECT_TRUE(KrData::TransferValueConverter(reals, more));
    EXPECT_TRUE(more.isEqual(reals));
    EXPECT_FALSE(Vector<int>("A").isEqual(Vector<double>("A")));
}

TEST(Vector, ClonesInItsContainerWithItemsAndProperties) {
    KrData::Container tree("Tree");
    auto* texts = new Vector<std::string>("Texts", &tree, {"a", "b"});
    texts->setDescription("lines");
    const std::unique_ptr<KrData::Container> copy(tree.clone(nullptr));
    EXPECT_TRUE(copy->isEqual(tree));
    auto* copied = Vector<std::string>::from((*copy)["Texts"]);
    ASSERT_NE(copied, nullptr);
    EXPECT_EQ(copied->getDescription(), "lines");
    texts->setItem(0, "changed");
    EXPECT_FALSE(copy->isEqual(tree));
    EXPECT_TRUE(copy->copyValue(tree));
    EXPECT_EQ(copied->getItem(0), "changed");
}

enum class eSide { kLeft, kRight };
enum class eGear { kPark, kDrive };
KR_REGISTER_ENUM(vector_test::eSide, {eSide::kLeft, "Left"}, {eSide::kRight, "Right"});
KR_REGISTER_ENUM(vector_test::eGear, {eGear::kPark, "Park"}, {eGear::kDrive, "Drive"});

TEST(Vector, ShiftsEnumerationsOfDifferentTypes) {
    using Kr::KrEnum;
    Vector<KrEnum> vector("V", nullptr, {KrEnum(eSide::kRight), KrEnum(eGear::kDrive)});
    vector.insert(0, KrEnum(eGear::kPark));
    EXPECT_THAT(vector.getItems(), ElementsAre(KrEnum(eGear::kPark), KrEnum(eSide::kRight), KrEnum(eGear::kDrive)));
    vector.erase(0, 2);
    EXPECT_THAT(vector.getItems(), ElementsAre(KrEnum(eGear::kDrive)));
    vector.setItem(0, KrEnum(eSide::kLeft));
    EXPECT_THAT(vector.getItems(), ElementsAre(KrEnum(eSide::kLeft)));
}

TEST(VectorItem, ReadsAndWritesItsItemUntilTheVectorShrinksOrDies) {
    KrData::Container outputs("Outputs", nullptr, KrData::Types::kOutput);
    auto vector = std::make_unique<Vector<double>>("Speeds", &outputs, std::vector{1.0, 2.0, 3.0});
    VectorItem<double> item(*vector, 2);
    EXPECT_EQ(item.getPath(), "Outputs.Speeds.2");
    EXPECT_EQ(item.getFieldType(), KrData::Types::kOutput);
    EXPECT_TRUE(item.isReadOnlyHint());
    int calls = 0;
    auto observer = outputs.addObserver([&](const KrData::FieldBase& changed) {
        EXPECT_EQ(&changed, vector.get());
        ++calls;
    });
    item = 4.0;
    EXPECT_EQ(vector->getItem(2), 4.0);
    EXPECT_TRUE(item.copyValue(KrData::Field<double>("F", nullptr, 5.0)));
    EXPECT_FALSE(item.copyValue(KrData::Field<int>("F", nullptr, 6)));
    EXPECT_TRUE(item.copyValue(VectorItem<double>(*vector, 0)));
    EXPECT_THAT(vector->span(), ElementsAre(1.0, 2.0, 1.0));
    EXPECT_EQ(calls, 3);
    observer.disconnect();

    vector->resize(2);
    EXPECT_FALSE(item.hasItem());
    EXPECT_EQ(item.getValue(), 0.0);
    EXPECT_FALSE(item.setValue(1.0));
    EXPECT_FALSE(item.isEqual(item));
    vector.reset();
    EXPECT_EQ(item.getVector(), nullptr);
    EXPECT_FALSE(item.setValue(1.0));
    EXPECT_EQ(item.getPath(), "2");
}

TEST(VectorItem, IsNeitherClonedNorConverted) {
    Vector<int> vector("V", nullptr, {1, 2});
    const VectorItem<int> item(vector, 0);
    const VectorItem<int> other(vector, 1);
    KrData::Container container("C");
    EXPECT_EQ(item.clone(&container), nullptr);
    EXPECT_TRUE(container.empty());
    EXPECT_FALSE(KrData::CanConvert(item, other));
}

}  // namespace vector_test
