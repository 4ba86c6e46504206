#include "kr/data/container_diff.h"

#include <gmock/gmock.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kr/data/field.h"
#include "kr/data/vector.h"

namespace container_diff_test {

using KrData::Container;
using KrData::ContainerDiff;
using KrData::Field;
using KrData::FieldArray;
using KrData::FieldBase;
using KrData::Types;
using KrData::Vector;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> pathsOf(const ContainerDiff::Items& items) {
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < items.size(); ++i)
        paths.push_back(items.item(i)->getFieldPath());
    return paths;
}

std::vector<std::string> pathsOf(const ContainerDiff::Paths& removed) {
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < removed.size(); ++i)
        paths.push_back(removed.item(i)->getValue());
    return paths;
}

std::vector<std::string> namesOf(const Container& container) {
    std::vector<std::string> names;
    for (const auto* child : container)
        names.push_back(child->getID().str());
    return names;
}

using Tree = std::unique_ptr<Container>;

Tree copyOf(const Container& source) {
    return Tree(source.clone(nullptr));
}

FieldArray<Field<int>>* addArray(Container& parent, const char* id, const std::vector<int>& values) {
    auto* array = new FieldArray<Field<int>>(id, &parent);
    array->_setDynamic(true);
    for (const auto value : values)
        array->append()->setValue(value);
    return array;
}

/// Car { Mass, Name, Front . Axle { Load, Tyre 1 }, Gears[] }
Tree makeCar(const char* id = "Car") {
    auto car = std::make_unique<Container>(id);
    car->add<double>("Mass", 1200.0);
    car->add<std::string>("Name", "Mini");
    auto* axle = car->addContainer("Front.Axle");
    axle->add<int>("Load", 3);
    axle->add<int>("Tyre 1", 4);
    addArray(*car, "Gears", {1, 2, 3});
    return car;
}

struct EditCase {
    const char* name;
    void (*edit)(Container&);
    std::vector<std::string> added, removed, modified;
};

Container& axleOf(Container& car) {
    return static_cast<Container&>(car["Front.Axle"]);
}

class ContainerDiffEdit : public testing::TestWithParam<EditCase> {};

TEST_P(ContainerDiffEdit, IsRecordedAndAppliedToAThirdContainer) {
    const auto first = makeCar();
    const auto second = makeCar("Other");
    GetParam().edit(*second);
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);
    EXPECT_THAT(pathsOf(difference.getAddedFields()), GetParam().added);
    EXPECT_THAT(pathsOf(difference.getRemovedFields()), GetParam().removed);
    EXPECT_THAT(pathsOf(difference.getModifiedFields()), GetParam().modified);

    Container outer("Outer");
    auto* third = first->clone("Third.Car", &outer);
    EXPECT_TRUE(difference.apply(*third));
    EXPECT_TRUE(third->isEqual(*second));
    EXPECT_TRUE(second->isEqual(*third));
}

INSTANTIATE_TEST_SUITE_P(Edits, ContainerDiffEdit,
                         testing::Values(EditCase{"None", [](Container&) {}, {}, {}, {}},
                                         EditCase{"OneOfEach",
                                                  [](Container& car) {
                                                      car["Mass"].set(900.0);
                                                      car.removeField("Name");
                                                      car.add<bool>("Electric", true);
                                                  },
                                                  {"Electric"},
                                                  {"Name"},
                                                  {"Mass"}},
                                         EditCase{"Nested",
                                                  [](Container& car) {
                                                      axleOf(car)["Load"].set(5);
                                                      axleOf(car).removeField("Tyre 1");
                                                      axleOf(car).add<int>("Tyre v2.0", 6);
                                                  },
                                                  {"Front.Axle.Tyre v2.0"},
                                                  {"Front.Axle.Tyre 1"},
                                                  {"Front.Axle.Load"}},
                                         EditCase{"NestedBeforeOuterAdditions",
                                                  [](Container& car) {
                                                      car.add<int>("Doors", 4);
                                                      axleOf(car).add<int>("Brake", 1);
                                                  },
                                                  {"Front.Axle.Brake", "Doors"},
                                                  {},
                                                  {}},
                                         EditCase{"WholeContainer",
                                                  [](Container& car) {
                                                      car.removeField("Front.Axle");
                                                      car.addContainer("Rear.Axle")->add<int>("Räder", 2);
                                                  },
                                                  {"Rear.Axle"},
                                                  {"Front.Axle"},
                                                  {}},
                                         EditCase{"ArrayGrows",
                                                  [](Container& car) {
                                                      static_cast<KrData::FieldArrayBase&>(car["Gears"]).resize(5);
                                                  },
                                                  {},
                                                  {},
                                                  {"Gears"}},
                                         EditCase{"ArrayOfAnotherClass",
                                                  [](Container& car) {
                                                      car.removeField("Gears");
                                                      (new FieldArray<Field<double>>("Gears", &car))->resize(2);
                                                  },
                                                  {},
                                                  {},
                                                  {"Gears"}},
                                         EditCase{"ArrayBecomesContainer",
                                                  [](Container& car) {
                                                      car.removeField("Gears");
                                                      car.addContainer("Gears")->add<int>("1", 1);
                                                  },
                                                  {},
                                                  {},
                                                  {"Gears"}},
                                         EditCase{"TypeChanges",
                                                  [](Container& car) {
                                                      car.removeField("Mass");
                                                      car.add<int>("Mass", 1200);
                                                  },
                                                  {},
                                                  {},
                                                  {"Mass"}},
                                         EditCase{"ConvertibleTypeChanges",
                                                  [](Container& car) {
                                                      car.removeField("Name");
                                                      car.addField("Name", Types::kFilename);
                                                  },
                                                  {},
                                                  {},
                                                  {"Name"}},
                                         EditCase{"ValueBecomesContainer",
                                                  [](Container& car) {
                                                      car.removeField("Mass");
                                                      car.addContainer("Mass")->add<int>("Net", 1);
                                                  },
                                                  {},
                                                  {},
                                                  {"Mass"}},
                                         EditCase{"ContainerBecomesValue",
                                                  [](Container& car) {
                                                      car.removeField("Front.Axle");
                                                      car.add<int>("Front.Axle", 1);
                                                  },
                                                  {},
                                                  {},
                                                  {"Front.Axle"}}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(ContainerDiff, HasItsThreeArraysAndItemsInOrder) {
    ContainerDiff difference("Diff");
    EXPECT_THAT(namesOf(difference), ElementsAre("AddedFields", "RemovedFields", "ModifiedFields"));
    difference.clear();
    EXPECT_FALSE(difference.removeField("AddedFields"));
    EXPECT_EQ(difference.size(), 3U);

    ContainerDiff::Item item("Item");
    EXPECT_EQ(item.getFieldType(), Types::kUndefined);
    EXPECT_EQ(item.getField(), nullptr);
    const auto car = makeCar();
    int notified = 0;
    const auto observer = item["fieldPath"].addObserver([&](const FieldBase&) { ++notified; });
    EXPECT_TRUE(item.set((*car)["Mass"], "Car."));
    EXPECT_TRUE(item.set((*car)["Mass"], "Car."));
    EXPECT_EQ(notified, 1);
    EXPECT_THAT(namesOf(item), ElementsAre("fieldPath", "Mass"));
    EXPECT_TRUE(item.set(*item.getField(), "longer than the path of the field"));
    EXPECT_EQ(item.getFieldPath(), "");
    EXPECT_FALSE(item.set(FieldBase::getInvalidField(), ""));
    EXPECT_EQ(item.getField(), nullptr);
}

TEST(ContainerDiff, ReplacesWhatItRecordedBeforeAndClonesWhole) {
    const auto first = makeCar();
    const auto second = makeCar();
    second->add<int>("Doors", 4);
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);
    const std::unique_ptr<ContainerDiff> copy(difference.clone(nullptr));
    difference.diff(*second, *first);
    EXPECT_THAT(pathsOf(difference.getRemovedFields()), ElementsAre("Doors"));
    EXPECT_THAT(pathsOf(difference.getAddedFields()), IsEmpty());
    auto target = copyOf(*first);
    EXPECT_TRUE(copy->apply(*target));
    EXPECT_TRUE(target->isEqual(*second));
    EXPECT_TRUE(difference.apply(*target));
    EXPECT_TRUE(target->isEqual(*first));
}

TEST(ContainerDiff, AppliesWhatItCanAndSaysWhenThatIsNotAll) {
    const auto first = makeCar();
    const auto second = makeCar();
    (*second)["Mass"].set(1.0);
    second->removeField("Name");
    axleOf(*second).add<int>("Brake", 1);
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);

    auto target = copyOf(*first);
    target->removeField("Front.Axle");
    EXPECT_FALSE(difference.apply(*target));
    EXPECT_THAT(namesOf(*target), ElementsAre("Mass", "Gears"));
    EXPECT_EQ((*target)["Mass"].get<double>(), 1.0);

    auto again = copyOf(*second);
    EXPECT_FALSE(difference.apply(*again)) << "the removed field is gone already";
    EXPECT_TRUE(again->isEqual(*second));

    Container leaf("Leaf");
    EXPECT_FALSE(difference.apply(leaf));
    EXPECT_TRUE(leaf.empty());
}

TEST(ContainerDiff, AnAddedFieldTakesThePlaceOfItsNamesake) {
    Container first("A");
    Container second("B");
    second.add<int>("X", 7);
    ContainerDiff difference("Diff");
    difference.diff(first, second);
    Container target("T");
    auto* old = target.add<double>("X", 1.0);
    target.add<int>("Y", 2);
    const auto number = old->getInternalIdentifier();
    EXPECT_TRUE(difference.apply(target));
    EXPECT_THAT(namesOf(target), ElementsAre("X", "Y"));
    EXPECT_EQ(target["X"].get<int>(), 7);
    EXPECT_EQ(target["X"].getInternalIdentifier(), number);
}

TEST(ContainerDiff, DeclaredFieldsGetValuesAndStay) {
    const auto first = makeCar();
    const auto second = makeCar();
    second->removeField("Name");
    (*second)["Mass"].set(1.0);
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);
    Container target("T");
    Field<double> mass("Mass", &target, 5.0);
    Field<std::string> name("Name", &target, "Mini");
    EXPECT_FALSE(difference.apply(target));
    EXPECT_EQ(mass.getValue(), 1.0);
    EXPECT_EQ(name.getParent(), &target);
}

TEST(ContainerDiff, AFullOrMinimalArrayRefusesEntriesAndTheRestIsApplied) {
    const auto first = makeCar();
    const auto second = makeCar();
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);
    auto& paths = static_cast<ContainerDiff::Paths&>(difference["RemovedFields"]);
    paths.append()->setValue("Gears.1");
    paths.append()->setValue("Name");
    paths.append()->setValue("");
    paths.append()->setValue("__Invalid__");
    auto target = copyOf(*first);
    auto& gears = static_cast<KrData::FieldArrayBase&>((*target)["Gears"]);
    gears.setSizeRange(3, 3);
    EXPECT_FALSE(difference.apply(*target));
    EXPECT_EQ(gears.size(), 3U);
    EXPECT_THAT(namesOf(*target), ElementsAre("Mass", "Front.Axle", "Gears"));
}

TEST(ContainerDiff, AContainerWithoutAPathHasNoPrefix) {
    auto first = makeCar("");
    auto second = makeCar("");
    axleOf(*second)["Load"].set(9);
    second->add<int>("Doors", 4);
    second->removeField("Name");
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);
    EXPECT_THAT(pathsOf(difference.getAddedFields()), ElementsAre("Doors"));
    EXPECT_THAT(pathsOf(difference.getRemovedFields()), ElementsAre("Name"));
    EXPECT_THAT(pathsOf(difference.getModifiedFields()), ElementsAre("Front.Axle.Load"));
    EXPECT_TRUE(difference.apply(*first));
    EXPECT_TRUE(first->isEqual(*second));
}

TEST(ContainerDiff, TellsFieldsWithOnePathApartByTheirIdentifiers) {
    Container first("A");
    first.addContainer("x")->add<int>("y", 1);
    first.add<int>("x.y", 1);
    Container second(first);
    second["x.y"].set(2);
    static_cast<Container&>(second["x"]).add<int>("z", 3);
    second.add<int>("x.z", 4);
    ContainerDiff difference("Diff");
    difference.diff(first, second);
    EXPECT_TRUE(difference.apply(first));
    EXPECT_TRUE(first.isEqual(second));
}

TEST(ContainerDiff, SurvivesATargetThatDiesUnderItsObservers) {
    const auto first = makeCar();
    const auto second = makeCar();
    second->removeField("Name");
    second->add<int>("Doors", 4);
    ContainerDiff difference("Diff");
    difference.diff(*first, *second);
    auto target = copyOf(*first);
    const auto observer = target->addObserver([&](const FieldBase&) { target.reset(); });
    EXPECT_FALSE(difference.apply(*target));
    EXPECT_EQ(target, nullptr);
}

/// Random trees over few names, so that two of them share much; any path can be cut into these names in one way only.
class TreeMaker {
public:
    explicit TreeMaker(unsigned seed) : _random(seed) {}

    Tree make(const char* id) {
        auto tree = std::make_unique<Container>(id);
        _fill(*tree, 3);
        return tree;
    }

private:
    unsigned _draw(unsigned count) { return static_cast<unsigned>(_random() % count); }

    void _fill(Container& parent, unsigned depth) {
        static const std::vector<std::string> names{"a", "b", "c.d", "e f", "ü.ö", " g", "..", "h\"/"};
        for (auto count = _draw(5); count > 0; --count) {
            const auto& name = names[_draw(static_cast<unsigned>(names.size()))];
            if (parent.find(name) == parent.end()) _addOne(parent, name, depth);
        }
    }

    void _addOne(Container& parent, const std::string& name, unsigned depth) {
        const auto value = static_cast<int>(_draw(2));
        switch (_draw(depth > 0 ? 9 : 6)) {
            case 0:
                parent.add<int>(name, value);
                break;
            case 1:
                parent.add<double>(name, value);
                break;
            case 2:
                parent.add<std::string>(name, std::to_string(value));
                break;
            case 3:
                (new Vector<int>(name, &parent, {value, value}))->_setDynamic(true);
                break;
            case 4:
                addArray(parent, name.c_str(), std::vector<int>(_draw(3), value));
                break;
            case 5:
                parent.addField(name, Types::kFilename);
                break;
            default:
                _fill(*parent.addContainer(name), depth - 1);
                break;
        }
    }

    std::mt19937 _random;
};

TEST(ContainerDiff, TurnsAnyTreeIntoAnyOther) {
    constexpr unsigned seed = 12020;
    SCOPED_TRACE("seed " + std::to_string(seed));
    TreeMaker maker(seed);
    ContainerDiff difference("Diff");
    for (int round = 0; round < 3000; ++round) {
        const auto first = maker.make(round % 3 == 0 ? "" : "First.Root");
        const auto second = maker.make(round % 5 == 0 ? "" : "Second");
        difference.diff(*first, *second);
        const auto target = copyOf(*first);
        ASSERT_TRUE(difference.apply(*target)) << "round " << round;
        ASSERT_TRUE(target->isEqual(*second)) << "round " << round;
        difference.diff(*target, *second);
        ASSERT_FALSE(difference.hasDifferences()) << "round " << round;
    }
}

TEST(ContainerDiff, HandlesAHundredThousandChildren) {
    constexpr int count = 100'000;
    Container first("First");
    Container second("Second");
    for (int i = 0; i < count; ++i)
        second.add<int>(std::to_string(i), i);
    ContainerDiff difference("Diff");
    difference.diff(first, second);
    EXPECT_TRUE(difference.apply(first));
    EXPECT_TRUE(first.isEqual(second));
    EXPECT_EQ(first["99999"].get<int>(), 99'999);
}

}  // namespace container_diff_test
