#include "kr/data/container_diff.h"

#include <gmock/gmock.h>

#include <memory>
#include <random>
#include <string>

#include "kr/data/vector.h"
#include "tests/support/field_doubles.h"

namespace container_diff_test {

using namespace test_support;
using KrData::ContainerDiff;
using KrData::FieldArray;
using testing::ElementsAre;
using Tree = std::unique_ptr<Container>;
using Integers = FieldArray<Field<int>>;

Events pathsOf(const ContainerDiff::Items& items) {
    Events paths;
    for (std::size_t i = 0; i < items.size(); ++i)
        paths.push_back(items.item(i)->getFieldPath());
    return paths;
}

Events pathsOf(const ContainerDiff::Paths& removed) {
    Events paths;
    for (std::size_t i = 0; i < removed.size(); ++i)
        paths.push_back(removed.item(i)->getValue());
    return paths;
}

Tree copyOf(const Container& source) {
    return Tree(source.clone(nullptr));
}

template <class Array = Integers>
void addArray(Container& parent, const char* id, std::size_t count, int value = 0) {
    auto* array = new Array(id, &parent);
    array->_setDynamic(true);
    array->resize(count);
    for (std::size_t i = 0; i < count; ++i)
        array->item(i)->setValue(value);
}

Container& axleOf(Container& car) {
    return static_cast<Container&>(car["Front.Axle"]);
}

/// Two likenesses of Car { Mass, Name, Front . Axle { Load, Tyre 1 }, Gears[] }, and a difference.
class ContainerDiffs : public testing::Test {
protected:
    static Tree makeCar() {
        auto car = std::make_unique<Container>("Car");
        car->add<double>("Mass", 1200.0);
        car->add<std::string>("Name", "Mini");
        auto* axle = car->addContainer("Front.Axle");
        axle->add<int>("Load", 3);
        axle->add<int>("Tyre 1", 4);
        addArray(*car, "Gears", 3);
        return car;
    }

    Tree first{makeCar()};
    Tree second{makeCar()};
    ContainerDiff difference{"Diff"};
};

TEST_F(ContainerDiffs, RecordEditsAndApplyThemToAThirdContainer) {
    axleOf(*second).add<int>("Tyre v2.0", 6);
    axleOf(*second).removeField("Tyre 1");
    axleOf(*second)["Load"].set(5);
    second->add<bool>("Electric", true);
    second->addContainer("Rear.Axle")->add<int>("Räder", 2);
    second->removeField("Name");
    (*second)["Mass"].set(900.0);
    static_cast<Integers&>((*second)["Gears"]).resize(5);
    difference.diff(*first, *second);
    EXPECT_THAT(pathsOf(difference.getAddedFields()), ElementsAre("Front.Axle.Tyre v2.0", "Electric", "Rear.Axle"));
    EXPECT_THAT(pathsOf(difference.getRemovedFields()), ElementsAre("Name", "Front.Axle.Tyre 1"));
    EXPECT_THAT(pathsOf(difference.getModifiedFields()), ElementsAre("Mass", "Front.Axle.Load", "Gears"));

    Container outer("Outer");
    auto* third = first->clone("Third.Car", &outer);
    EXPECT_TRUE(difference.apply(*third));
    EXPECT_TRUE(third->isEqual(*second));

    const std::unique_ptr<ContainerDiff> copy(difference.clone(nullptr));
    difference.diff(*second, *first);
    EXPECT_THAT(pathsOf(difference.getRemovedFields()), ElementsAre("Front.Axle.Tyre v2.0", "Electric", "Rear.Axle"));
    EXPECT_TRUE(difference.apply(*third));
    EXPECT_TRUE(third->isEqual(*first));
    EXPECT_TRUE(copy->apply(*third)) << "a clone holds all on its own";
    EXPECT_TRUE(third->isEqual(*second));
}

TEST_F(ContainerDiffs, GiveModifiedFieldsOfAnotherTypeTheConvertedValue) {
    struct Row {
        const char* name;
        std::unique_ptr<FieldBase> before, after;
        bool isTaken;
        std::string expected;
    };
    const auto doublesOf = [](double value) {
        auto array = std::make_unique<FieldArray<Field<double>>>("Same");
        array->resize(2);
        array->item(1)->setValue(value);
        return array;
    };
    auto integers = std::make_unique<Integers>("Same");
    integers->resize(1);
    Row rows[]{
        {"number", std::make_unique<Field<int>>("Same", nullptr, 1),
         std::make_unique<Field<double>>("Same", nullptr, 7.0), true, "7"},
        {"number from text", std::make_unique<Field<int>>("Same", nullptr, 1),
         std::make_unique<Field<std::string>>("Same", nullptr, "x"), false, "1"},
        {"array of another class", std::move(integers), doublesOf(5.0), true, "0 5"},
        {"number from group", std::make_unique<Field<int>>("Same", nullptr, 1), std::make_unique<Container>("Same"),
         false, "1"},
    };
    for (auto& row : rows) {
        Container before("Before"), after("After");
        const auto* field = row.before.get();
        EXPECT_TRUE(before._addField(row.before.release()));
        EXPECT_TRUE(after._addField(row.after.release()));
        difference.diff(before, after);
        EXPECT_EQ(difference.apply(before), row.isTaken) << row.name;
        ASSERT_EQ(&before["Same"], field) << row.name << ": the field stays, with its observers and connections";
        std::string values = field->getChildren().empty() ? std::to_string(static_cast<int>(field->toReal())) : "";
        for (const auto* item : field->getChildren())
            values += (values.empty() ? "" : " ") + std::to_string(static_cast<int>(item->toReal()));
        EXPECT_EQ(values, row.expected) << row.name;
    }
}

TEST_F(ContainerDiffs, KeepTheirArraysAndTheOrderInItems) {
    difference.clear();
    EXPECT_FALSE(difference.removeField("AddedFields"));
    EXPECT_THAT(idsOf(difference), ElementsAre("AddedFields", "RemovedFields", "ModifiedFields"));

    ContainerDiff::Item item("Item");
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(item.set((*first)["Mass"], "Car."));
    EXPECT_THAT(idsOf(item), ElementsAre("fieldPath", "Mass"));
    EXPECT_TRUE(item.set(*item.getField(), "longer than the path of the field"));
    EXPECT_EQ(item.getFieldPath(), "");
    EXPECT_FALSE(item.set(FieldBase::getInvalidField(), ""));
    EXPECT_EQ(item.getField(), nullptr);
}

TEST_F(ContainerDiffs, ApplyWhatTheyCanAndSayWhenThatIsNotAll) {
    (*second)["Mass"].set(1.0);
    second->removeField("Name");
    axleOf(*second).add<int>("Brake", 1);
    difference.diff(*first, *second);

    auto target = copyOf(*first);
    target->removeField("Front.Axle");
    EXPECT_FALSE(difference.apply(*target));
    EXPECT_THAT(idsOf(*target), ElementsAre("Mass", "Gears"));
    EXPECT_EQ((*target)["Mass"].get<double>(), 1.0);
    target = copyOf(*second);
    EXPECT_FALSE(difference.apply(*target)) << "the removed field is gone already";
    EXPECT_TRUE(target->isEqual(*second));
}

TEST_F(ContainerDiffs, RemoveAndReplaceFieldsThatAConstructorHasMade) {
    (*second).removeField("Name");
    second->add<int>("Wheels", 4);
    difference.diff(*first, *second);
    new Field<int>("Wheels", first.get(), 3);
    delete &(*first)["Name"];
    new Field<std::string>("Name", first.get(), "Mini");
    EXPECT_TRUE(difference.apply(*first));
    EXPECT_TRUE(first->isEqual(*second));
}

TEST_F(ContainerDiffs, AnAddedFieldTakesThePlaceOfItsNamesake) {
    second->add<int>("X", 7);
    difference.diff(*first, *second);
    Container target("Target");
    target.add<int>("Removed");
    const auto number = target.add<double>("X", 1.0)->getInternalIdentifier();
    target.add<int>("Y", 2);
    target.removeField("Removed");
    EXPECT_TRUE(difference.apply(target));
    EXPECT_THAT(idsOf(target), ElementsAre("X", "Y"));
    EXPECT_EQ(target["X"].get<int>(), 7);
    EXPECT_EQ(target["X"].getInternalIdentifier(), number);
}

TEST_F(ContainerDiffs, TellFieldsWithOnePathApartByTheirIdentifiers) {
    Container before("Before");
    before.addContainer("x")->add<int>("y", 1);
    before.add<int>("x.y", 1);
    Container after(before);
    after["x.y"].set(2);
    static_cast<Container&>(after["x"]).add<int>("z", 3);
    after.add<int>("x.z", 4);
    difference.diff(before, after);
    EXPECT_TRUE(difference.apply(before));
    EXPECT_TRUE(before.isEqual(after));
}

TEST_F(ContainerDiffs, SurviveATargetThatDiesUnderItsObservers) {
    second->removeField("Name");
    second->add<int>("Doors", 4);
    (*second)["Mass"].set(1.0);
    difference.diff(*first, *second);
    const auto observer = first->addObserver([&](const FieldBase&) { first.reset(); });
    EXPECT_FALSE(difference.apply(*first));
    EXPECT_EQ(first, nullptr);
}

/// Random trees over few names, so that two of them share much; any path can be cut into these names in one way only.
void fill(Container& parent, unsigned depth, std::mt19937& random) {
    static const Events names{"a", "b", "c.d", "e f", "ü.ö", " g", "..", "h\"/"};
    for (auto count = random() % 5; count > 0; --count) {
        const auto kind = random() % names.size();  // one for each name: applying a difference converts no type
        const auto& name = names[kind];
        if (parent.find(name) != parent.end() || (kind > 5 && depth == 0)) continue;
        const auto value = static_cast<int>(random() % 2);
        if (kind == 0) parent.add<int>(name, value);
        if (kind == 1) parent.add<double>(name, value);
        if (kind == 2) parent.add<std::string>(name, std::to_string(value));
        if (kind == 3) (new KrData::Vector<int>(name, &parent, {value, value}))->_setDynamic(true);
        if (kind == 4) addArray(parent, name.c_str(), random() % 3, value);
        if (kind == 5) parent.addField(name, Types::kFilename);
        if (kind > 5) fill(*parent.addContainer(name), depth - 1, random);
    }
}

TEST_F(ContainerDiffs, TurnAnyTreeIntoAnyOther) {
    constexpr unsigned seed = 12020;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 3000; ++round) {
        Container before(round % 3 == 0 ? "" : "First.Root");
        Container after(round % 5 == 0 ? "" : "Second");
        fill(before, 3, random);
        fill(after, 3, random);
        difference.diff(before, after);
        ASSERT_TRUE(difference.apply(before)) << "round " << round;
        ASSERT_TRUE(before.isEqual(after)) << "round " << round;
        difference.diff(before, after);
        ASSERT_FALSE(difference.hasDifferences()) << "round " << round;
    }
}

}  // namespace container_diff_test
