#include "kr/data/field_array.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <vector>

#include "tests/support/field_doubles.h"

namespace field_array_test {

using namespace test_support;
using KrData::FieldArray;
using testing::ElementsAre;
using Doubles = FieldArray<Field<double>>;

std::vector<double> valuesOf(const Doubles& array) {
    std::vector<double> values;
    for (const auto* item : array)
        values.push_back(item->toReal());
    return values;
}

std::unique_ptr<Doubles> doubles(const std::vector<double>& values) {
    auto array = std::make_unique<Doubles>("Array");
    for (const auto value : values)
        array->append()->setValue(value);
    return array;
}

TEST(FieldArray, NamesItemsForTheirLife) {
    Doubles array("Array");
    array.append();
    array.append();
    array.insert(1);
    EXPECT_THAT(idsOf(array), ElementsAre("1", "3", "2"));
    const auto removed = array.remove(0);
    array.append();
    EXPECT_THAT(idsOf(array), ElementsAre("3", "2", "4"));
    EXPECT_EQ(removed->getID().str(), "1");
    EXPECT_EQ(removed->getParent(), nullptr);
    new Field<double>("Declared", &array);
    EXPECT_TRUE(array.remove(3)->isDynamic());
    EXPECT_EQ(array.insert(4), nullptr);
    EXPECT_EQ(array.item(3), nullptr);
    EXPECT_EQ(array.remove(3), nullptr);
}

TEST(FieldArray, KeepsItsSizeInTheRange) {
    auto array = doubles({1, 2, 3});
    EXPECT_FALSE(array->setSizeRange(3, 2));
    ASSERT_TRUE(array->setSizeRange(2, 4));
    EXPECT_NE(array->append(), nullptr);
    EXPECT_EQ(array->append(), nullptr);
    EXPECT_EQ(array->insert(0), nullptr);
    EXPECT_EQ(array->addField("More", Types::kDouble), nullptr);
    EXPECT_FALSE(array->resize(5));
    EXPECT_TRUE(array->resize(2));
    EXPECT_EQ(array->remove(0), nullptr);
    EXPECT_FALSE(array->removeField("1"));
    array->erase(array->begin());
    array->clear();
    EXPECT_FALSE(array->item(0)->setParent(nullptr));
    EXPECT_THAT(valuesOf(*array), ElementsAre(1, 2));
    array->setSizeRange(1, 1);
    EXPECT_NE(array->remove(0), nullptr) << "down from a size above the range";
    array->clearSizeRange();
    array->clear();
    EXPECT_TRUE(array->empty());
}

TEST(FieldArray, TakesItemsOfItsClassOnly) {
    Doubles array("Array");
    Container elsewhere("Elsewhere");
    elsewhere.addField("Integer", Types::kInteger);
    elsewhere.addField("Real", Types::kDouble);
    EXPECT_FALSE(elsewhere["Integer"].setParent(&array));
    EXPECT_TRUE(elsewhere["Real"].setParent(&array));
    elsewhere.copyFieldsTo(&array);
    EXPECT_THAT(idsOf(array), ElementsAre("Real"));
    EXPECT_FALSE(array.resize(std::numeric_limits<std::size_t>::max()));
}

TEST(FieldArray, RefusesWhatItCannotBecome) {
    auto array = doubles({1, 2});
    array->setSizeRange(1, 2);
    FieldArray<Field<Kr::KrColor>> colors("Colors");
    colors.resize(2);
    EXPECT_FALSE(array->copyValue(*doubles({4, 5, 6})));
    EXPECT_FALSE(array->copyValue(*doubles({})));
    EXPECT_FALSE(array->copyValue(colors));
    EXPECT_THAT(valuesOf(*array), ElementsAre(1, 2));
    EXPECT_FALSE(Doubles("Empty").isEqual(FieldArray<Field<int>>("Empty")));
}

TEST(FieldArray, TakesTheValuesOfAPlainContainerByName) {
    auto array = doubles({1, 2, 3});
    array->setSizeRange(3, 3);
    Container container("Container");
    container.add<int>("3", 7);
    container.add<double>("Other", 8.0);
    container.add<double>("1", 9.0)->setVisible(false);
    EXPECT_TRUE(array->copyValue(container));
    EXPECT_THAT(valuesOf(*array), ElementsAre(9, 2, 7));
    EXPECT_TRUE(array->item(0)->isVisible());
    EXPECT_TRUE(array->initializeFrom(container));
    EXPECT_FALSE(array->item(0)->isVisible());
}

TEST(FieldArray, ClonesWithRangeNamesAndMetadata) {
    Container tree("Tree");
    auto* array = new Doubles("Array", &tree);
    array->resize(3);
    array->remove(0);
    array->item(0)->setRange(0.0, 1.0);
    array->item(0)->setVisible(false);
    array->setSizeRange(1, 2);
    const std::unique_ptr<Container> copy(tree.clone(nullptr));
    auto& copied = dynamic_cast<Doubles&>((*copy)["Array"]);
    EXPECT_TRUE(copied.isEqual(*array));
    EXPECT_EQ(copied.append(), nullptr);
    EXPECT_TRUE(copied.item(0)->hasRange());
    EXPECT_FALSE(copied.item(0)->isVisible());
    copied.clearSizeRange();
    copied.append();
    EXPECT_THAT(idsOf(copied), ElementsAre("2", "3", "4"));
}

/// An item class with declared children, as a plug-in has them; it leaves duplication to its base.
class Wheel : public Container {
public:
    using Container::Container;
    ~Wheel() override { _detachFromEverything(); }
    Field<double> radius{"Radius", this, 0.3};
};

TEST(FieldArray, CopiesItemsWithDeclaredChildrenInTheirOwnClass) {
    FieldArray<Wheel> wheels("Wheels", nullptr, Types::kOutput);
    wheels.append()->radius = 0.5;
    wheels.append()->radius = 0.6;
    EXPECT_EQ(wheels.item(0)->radius.getFieldType(), Types::kOutput);
    const std::unique_ptr<FieldArray<Wheel>> copy(wheels.clone(nullptr));
    EXPECT_EQ(copy->item(1)->radius.getValue(), 0.6);
    wheels.item(0)->radius = 0.7;
    *copy = wheels;
    EXPECT_EQ(copy->item(0)->radius.getValue(), 0.7);
}

TEST(FieldArray, ReplacesItemsOfAnotherStructure) {
    FieldArray<Container> first("First");
    FieldArray<Container> second("Second");
    for (int i = 0; i < 3; ++i)
        first.append()->add<int>("A", 1);
    first.remove(0);
    second.append()->add<int>("A", 2);
    second.append()->add<int>("A", 1);
    second.item(1)->add<double>("B", 3.0);
    auto* kept = first.item(0);
    EXPECT_TRUE(first.copyValue(second));
    EXPECT_TRUE(first.isEqual(second));
    EXPECT_EQ(first.item(0), kept);
    EXPECT_THAT(idsOf(first), ElementsAre("2", "3"));
}

TEST(FieldArray, SurvivesObserversThatTakeItemsOrTheArrayAway) {
    auto array = doubles({1, 2, 3});
    auto observer = array->addObserver([&](const FieldBase& changed) {
        if (&changed != array.get() && array->size() > 1) array->remove(0);
    });
    array->resize(6);
    array->copyValue(*doubles({4, 5, 6, 7}));
    EXPECT_GE(array->size(), 1U);
    observer = array->addObserver([&](const FieldBase&) { array.reset(); });
    EXPECT_FALSE(array->copyValue(*doubles({4, 5, 6, 7})));
    EXPECT_EQ(array, nullptr);
}

}  // namespace field_array_test
