#include "kr/data/vector.h"

#include <gmock/gmock.h>
#include <algorithm>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "kr/core/physical_dimension.h"
#include "kr/data/container.h"
#include "kr/data/field.h"
#include "kr/data/value_conversion.h"
#include "kr/data/vector_item.h"

namespace vector_test {

using KrData::Vector;
using KrData::VectorItem;
using testing::ElementsAre;
using Ranges = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

constexpr auto kMax = std::numeric_limits<std::uint64_t>::max();

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

using Ints = Vector<int>;
template <class... Items>
bool setAll(Ints& vector, Items... items) {
    vector.setItems({items...});
    return true;
}
template <class... Items>
bool copy(Ints& vector, std::size_t first, std::size_t last, Items... items) {
    return vector.copyItems(Ints("Source", nullptr, {items...}), first, last);
}

TEST(Vector, RecordsTheRangeOfEachChangeAndNotifiesOnce) {
    struct Case {
        const char* name;
        bool (*act)(Ints&);
        std::vector<int> items;
        Ranges ranges;
    };
    const Case cases[] = {
        {"SetEqual", [](Ints& v) { return v.setItem(1, 11); }, {10, 11, 12}, {}},
        {"Set", [](Ints& v) { return v.setItem(2, 5); }, {10, 11, 5}, {{2, 2}}},
        {"SetPastTheEnd", [](Ints& v) { return !v.setItem(3, 5); }, {10, 11, 12}, {}},
        {"AppendOwnItem", [](Ints& v) { return v.append(v.getItems()[0]), true; }, {10, 11, 12, 10}, {{3, 3}}},
        {"Insert", [](Ints& v) { return v.insert(1, 5); }, {10, 5, 11, 12}, {{1, 3}}},
        {"InsertPastTheEnd", [](Ints& v) { return !v.insert(4, 5); }, {10, 11, 12}, {}},
        {"Erase", [](Ints& v) { return v.erase(0, 1); }, {11, 12}, {{0, 2}}},
        {"EraseTooMany", [](Ints& v) { return !v.erase(2, SIZE_MAX); }, {10, 11, 12}, {}},
        {"Grow", [](Ints& v) { return v.resize(5); }, {10, 11, 12, 0, 0}, {{3, 4}}},
        {"Shrink", [](Ints& v) { return v.resize(1); }, {10}, {{1, 2}}},
        {"GrowBeyondMemory", [](Ints& v) { return !v.resize(SIZE_MAX); }, {10, 11, 12}, {}},
        {"SetAllEqual", [](Ints& v) { return setAll(v, 10, 11, 12); }, {10, 11, 12}, {}},
        {"SetAll", [](Ints& v) { return setAll(v, 10, 1, 12); }, {10, 1, 12}, {{1, 1}}},
        {"SetFewer", [](Ints& v) { return setAll(v, 10); }, {10}, {{1, 2}}},
        {"SetNone", [](Ints& v) { return v.reset(), true; }, {}, {{0, 2}}},
        {"CopySome", [](Ints& v) { return copy(v, 1, 90, 0, 1, 12, 3); }, {10, 1, 12}, {{1, 1}}},
        {"CopyUpToTheLast", [](Ints& v) { return copy(v, 0, 1, 0, 1, 2); }, {0, 1, 12}, {{0, 1}}},
        {"CopyOtherType", [](Ints& v) { return !v.copyItems(Vector<short>("S"), 0, 1); }, {10, 11, 12}, {}},
        {"CopyValue", [](Ints& v) { return v.copyValue(Ints("S", nullptr, {1})); }, {1}, {{0, 2}}},
    };
    for (const auto& [name, act, items, ranges] : cases) {
        SCOPED_TRACE(name);
        Ints vector("V", nullptr, {10, 11, 12});
        vector.enableIncrementalDataTransfer(true);
        int calls = 0;
        const auto observer = vector.addObserver([&](const KrData::FieldBase&) { ++calls; });
        EXPECT_TRUE(act(vector));
        EXPECT_EQ(vector.getItems(), items);
        EXPECT_EQ(vector.getChanges(), ranges);
        EXPECT_EQ(calls, ranges.empty() ? 0 : 1);
    }
}

TEST(Vector, CopiesAndConvertsBetweenEqualItemTypesOnly) {
    Vector<double> reals("Reals", nullptr, {1.0, 2.0});
    Ints integers("Integers", nullptr, {7});
    EXPECT_FALSE(integers.copyValue(reals));
    EXPECT_FALSE(integers.copyValue(KrData::Field<double>("Scalar")));
    EXPECT_THAT(integers.getItems(), ElementsAre(7));
    EXPECT_FALSE(KrData::CanConvert(reals, integers));
    EXPECT_FALSE(KrData::TransferValueConverter(reals, integers));
    Vector<double> more("More");
    EXPECT_TRUE(KrData::TransferValueConverter(reals, more));
    EXPECT_TRUE(more.isEqual(reals));
    EXPECT_FALSE(Ints("A").isEqual(Vector<double>("A")));
}

TEST(Vector, ShiftsEnumerationsOfDifferentTypes) {
    using Kr::KrEnum;
    const KrEnum mass(Kr::KrPhysicalDimension::ePhysicalDimension::kMass);
    const KrEnum knot(Kr::KrPhysicalDimension::eDimensionHint::kKnot);
    Vector<KrEnum> vector("V", nullptr, {mass, knot});
    vector.insert(0, knot);
    EXPECT_THAT(vector.getItems(), ElementsAre(knot, mass, knot));
    vector.erase(0, 1);
    EXPECT_THAT(vector.getItems(), ElementsAre(mass, knot));
    vector.setItem(0, knot);
    EXPECT_THAT(vector.getItems(), ElementsAre(knot, knot));
}

TEST(VectorItem, ReadsAndWritesItsItemUntilTheVectorShrinksOrDies) {
    KrData::Container outputs("Outputs", nullptr, KrData::Types::kOutput);
    auto vector = std::make_unique<Vector<double>>("Speeds", &outputs, std::vector{1.0, 2.0, 3.0});
    VectorItem<double> item(*vector, 2);
    EXPECT_EQ(item.getPath(), "Outputs.Speeds.2");
    EXPECT_EQ(item.getFieldType(), KrData::Types::kOutput);
    int calls = 0;
    auto observer = outputs.addObserver([&](const KrData::FieldBase& changed) {
        EXPECT_EQ(&changed, vector.get());
        ++calls;
    });
    item = 4.0;
    EXPECT_TRUE(item.copyValue(KrData::Field<double>("F", nullptr, 5.0)));
    EXPECT_EQ(vector->getItem(2), 5.0);
    EXPECT_FALSE(item.copyValue(KrData::Field<int>("F", nullptr, 6)));
    EXPECT_TRUE(item.copyValue(VectorItem<double>(*vector, 0)));
    EXPECT_THAT(vector->span(), ElementsAre(1.0, 2.0, 1.0));
    EXPECT_EQ(calls, 3);
    observer.disconnect();

    EXPECT_EQ(item.clone(&outputs), nullptr);
    EXPECT_FALSE(KrData::CanConvert(item, VectorItem<double>(*vector, 0)));
    vector->resize(2);
    EXPECT_FALSE(item.hasItem());
    EXPECT_FALSE(item.isEqual(item));
    vector.reset();
    EXPECT_FALSE(item.setValue(1.0));
    EXPECT_EQ(item.getPath(), "2");
}

}  // namespace vector_test
