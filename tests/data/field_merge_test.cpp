#include "kr/data/field_merge.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "kr/data/field_array.h"
#include "kr/data/vector.h"
#include "tests/support/case_name.h"

namespace field_merge_test {

using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::MergeRules;
using KrData::OwnFields;
using KrData::Types;
using testing::ElementsAre;
using testing::IsEmpty;
using Gears = KrData::FieldArray<Field<int>>;
using Edit = std::function<void(Container&)>;

std::string describe(const FieldBase& field) {
    auto text = field.getID().str();
    if (field.getDataType() == Types::kContainer) {
        text += field.isFieldArray() ? "[" : "(";
        for (const auto* child : field.getChildren())
            text += describe(*child) + (child == field.getChildren().back() ? "" : " ");
        text += field.isFieldArray() ? "]" : ")";
    } else {
        text += "=" + field.toString();
    }
    if (!field.getDescription().empty()) text += "'" + field.getDescription() + "'";
    const auto* real = field.as<double>();
    if (real != nullptr && real->hasRange()) text += "<" + std::to_string(static_cast<int>(real->getMaximum()));
    if (!field.isVisible()) text += "~";
    if (field.getMetadataAsBool(KrData::kMarkedAsLost)) text += "?";
    return text;
}

Container& group(Container& car) {
    return static_cast<Container&>(car["Axle"]);
}
Gears& gears(Container& car) {
    return static_cast<Gears&>(car["Gears"]);
}
Gears& limited(Container& car) {
    return static_cast<Gears&>(car["Doors"]);
}

/// One that declares what code declares; "Extra" and all below "Axle" was made at run time.
struct Car : Container {
    Car() : Container("") {
        doors.setSizeRange(2, 2);
        doors.resize(2);
        gears.resize(3);
        for (std::size_t i = 0; i < 3; ++i)
            gears.item(i)->setValue(static_cast<int>(i) + 1);
        add<int>("Extra", 7);
        auto* axle = addContainer("Axle");
        axle->add<double>("Load", 3.0);
        axle->add<std::string>("Tyre", "wet");
    }
    Field<double> mass{"Mass", this, 1.0};
    Gears gears{"Gears", this};
    Gears doors{"Doors", this};
};
const char* const kCar = "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))";

// --- The table -----------------------------------------------------------------------------------------------------

struct MergeCase {
    friend void PrintTo(const MergeCase& each, std::ostream* out) { *out << each.name; }

    const char* name;
    Edit inSource;
    Edit inInstance;
    const char* expected;
    std::vector<std::string> lost{};
};

class FieldMerges : public testing::TestWithParam<MergeCase> {};

OwnFields ownOf(const Container& tree, const Container& base, const MergeRules& rules = {}) {
    OwnFields own;
    findOwnFields(tree, base, rules, own);
    return own;
}

std::vector<std::string> merge(Container& instance, const Container& base, const Container& source) {
    return followFields(instance, source, ownOf(instance, base), {});
}

TEST_P(FieldMerges, TakeOverWhatTheSourceChangedAndOnlyThat) {
    Car source, instance;
    const std::unique_ptr<Container> base(source.clone(nullptr));
    GetParam().inInstance(instance);
    GetParam().inSource(source);
    EXPECT_EQ(merge(instance, *base, source), GetParam().lost);
    EXPECT_EQ(describe(instance), GetParam().expected);
    // What follows from now on is compared with the source as it is.
    EXPECT_EQ(merge(instance, source, source), GetParam().lost);
    EXPECT_EQ(describe(instance), GetParam().expected);
}

/// What is own, saved by path and laid over the source as it is loaded, comes to the same.
TEST_P(FieldMerges, ComeToTheSameWithoutABaseWhenOwnPathsWereSaved) {
    Car source, instance;
    const std::unique_ptr<Container> base(source.clone(nullptr));
    GetParam().inInstance(instance);
    GetParam().inSource(source);
    const auto paths = ownOf(instance, *base).toPaths();
    OwnFields own;
    own.addMarked(instance);
    own.addPaths(instance, paths);
    EXPECT_EQ(followFields(instance, source, own, {.keepsState = true}), GetParam().lost);
    EXPECT_EQ(describe(instance), GetParam().expected);
}

void nothing(Container&) {}

INSTANTIATE_TEST_SUITE_P(
    Values, FieldMerges,
    testing::Values(MergeCase{"NothingChanged", nothing, nothing, kCar},
                    MergeCase{"ChangedInTheSource", [](Container& car) { car["Mass"].set(2.0); }, nothing,
                              "(Mass=2 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"ChangedByTheHolder", nothing, [](Container& car) { group(car)["Load"].set(9.0); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=9 Tyre=wet))"},
                    MergeCase{"ChangedByBoth",
                              [](Container& car) {
                                  group(car)["Load"].set(5.0);
                                  group(car)["Tyre"].set<std::string>("dry");
                              },
                              [](Container& car) { group(car)["Load"].set(9.0); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=9 Tyre=dry))"},
                    MergeCase{"MarkedWithTheSameValue", [](Container& car) { car["Mass"].set(2.0); },
                              [](Container& car) { car["Mass"].setMetadata(KrData::kMarkedAsOwn, true); }, kCar},
                    MergeCase{"MarkedGroup", [](Container& car) { group(car)["Load"].set(2.0); },
                              [](Container& car) { car["Axle"].setMetadata(KrData::kMarkedAsOwn, true); }, kCar}),
    test_support::caseName);

INSTANTIATE_TEST_SUITE_P(
    Properties, FieldMerges,
    testing::Values(MergeCase{"AllOfTheSource",
                              [](Container& car) {
                                  car["Mass"].setDescription("kg");
                                  car["Mass"].as<double>()->setRange(0.0, 8.0);
                                  car["Extra"].setVisible(false);
                              },
                              nothing,
                              "(Mass=1'kg'<8 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7~ Axle(Load=3 Tyre=wet))"},
                    MergeCase{"EachForItself",
                              [](Container& car) {
                                  car["Mass"].setDescription("kg");
                                  car["Mass"].as<double>()->setRange(0.0, 8.0);
                                  car["Mass"].set(2.0);
                              },
                              [](Container& car) {
                                  car["Mass"].setDescription("pounds");
                                  car["Mass"].as<double>()->setRange(0.0, 9.0);
                              },
                              "(Mass=2'pounds'<9 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"HiddenByTheHolder", [](Container& car) { car["Extra"].set(8); },
                              [](Container& car) { car["Extra"].setVisible(false); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=8~ Axle(Load=3 Tyre=wet))"}),
    test_support::caseName);

INSTANTIATE_TEST_SUITE_P(
    Structure, FieldMerges,
    testing::Values(MergeCase{"AddedInTheSource",
                              [](Container& car) { group(car).insert(group(car).begin(), "Camber", Types::kInteger); },
                              nothing,
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Camber=0 Load=3 Tyre=wet))"},
                    MergeCase{"AddedByTheHolder", [](Container& car) { car["Extra"].set(8); },
                              [](Container& car) { group(car).add<int>("Own", 1); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=8 Axle(Load=3 Tyre=wet Own=1))"},
                    MergeCase{"RemovedInTheSource", [](Container& car) { car.removeField("Axle"); }, nothing,
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7)"},
                    MergeCase{"RemovedByTheHolder", [](Container& car) { car["Extra"].set(8); },
                              [](Container& car) { car.removeField("Extra"); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Axle(Load=3 Tyre=wet))"},
                    MergeCase{"RemovedUnderAnOwnValue",
                              [](Container& car) { group(car).removeField("Load"); },
                              [](Container& car) { group(car)["Load"].set(9.0); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=9? Tyre=wet))",
                              {"Axle.Load"}},
                    MergeCase{"ReorderedInTheSource",
                              [](Container& car) { group(car).moveField(group(car).end(), "Load"); },
                              [](Container& car) { group(car).add<int>("Own", 1); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Tyre=wet Load=3 Own=1))"},
                    MergeCase{"ReorderedByTheHolder", [](Container& car) { group(car).add<int>("New", 1); },
                              [](Container& car) { group(car).moveField(group(car).end(), "Load"); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=7 Axle(Tyre=wet New=1 Load=3))"}),
    test_support::caseName);

void makeExtra(Container& car, const char* value) {
    car.removeField("Extra");
    car.insert(car.begin() + 3, "Extra", Types::kString);
    car["Extra"].set<std::string>(value);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FieldMerges,
    testing::Values(MergeCase{"OtherTypeInTheSource", [](Container& car) { makeExtra(car, "ten"); }, nothing,
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=ten Axle(Load=3 Tyre=wet))"},
                    MergeCase{"OtherTypeForAnOwnValue", [](Container& car) { makeExtra(car, "ten"); },
                              [](Container& car) { car["Extra"].set(8); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=8 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"OtherTypeByTheHolder", [](Container& car) { car["Extra"].set(8); },
                              [](Container& car) { makeExtra(car, "own"); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=own Axle(Load=3 Tyre=wet))"},
                    MergeCase{"GroupInThePlaceOfAnOwnValue",
                              [](Container& car) {
                                  car.removeField("Extra");
                                  car.addContainer("Extra");
                              },
                              [](Container& car) { car["Extra"].set(8); },
                              "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Axle(Load=3 Tyre=wet) Extra=8?)",
                              {"Extra"}}),
    test_support::caseName);

INSTANTIATE_TEST_SUITE_P(
    Items, FieldMerges,
    testing::Values(MergeCase{"OwnAndFollowing", [](Container& car) { gears(car).item(0)->setValue(5); },
                              [](Container& car) { gears(car).item(1)->setValue(6); },
                              "(Mass=1 Gears[1=5 2=6 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"Marked", [](Container& car) { gears(car).item(1)->setValue(5); },
                              [](Container& car) { gears(car).item(1)->setMetadata(KrData::kMarkedAsOwn, true); },
                              kCar},
                    MergeCase{"FirstRemovedBesideAnOwnOne", [](Container& car) { gears(car).remove(0); },
                              [](Container& car) { gears(car).item(1)->setValue(6); },
                              "(Mass=1 Gears[2=6 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"AddedByBoth", [](Container& car) { gears(car).insert(0)->setValue(9); },
                              [](Container& car) {
                                  gears(car).append()->setValue(8);
                                  gears(car).item(3)->setID("Own");
                              },
                              "(Mass=1 Gears[4=9 1=1 2=2 3=3 Own=8] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"RemovedByTheHolder", [](Container& car) { gears(car).item(0)->setValue(9); },
                              [](Container& car) { gears(car).remove(1); },
                              "(Mass=1 Gears[1=9 3=3] Doors[1=0 2=0] Extra=7 Axle(Load=3 Tyre=wet))"},
                    MergeCase{"ExchangedInAFixedNumber",
                              [](Container& car) {
                                  limited(car).clearSizeRange();
                                  limited(car).remove(0);
                                  limited(car).append()->setValue(4);
                                  limited(car).setSizeRange(2, 2);
                              },
                              nothing, "(Mass=1 Gears[1=1 2=2 3=3] Doors[2=0 3=4] Extra=7 Axle(Load=3 Tyre=wet))"}),
    test_support::caseName);

// --- Stories -------------------------------------------------------------------------------------------------------

TEST(FieldMerge, GivesALostValueBackToItsField) {
    Car source, instance;
    const std::unique_ptr<Container> before(source.clone(nullptr));
    instance["Extra"].set(8);
    source.removeField("Extra");
    const std::unique_ptr<Container> between(source.clone(nullptr));
    EXPECT_THAT(merge(instance, *before, source), ElementsAre("Extra"));
    source.add<int>("Extra", 1)->setDescription("again");
    EXPECT_THAT(merge(instance, *between, source), IsEmpty());
    EXPECT_EQ(describe(instance["Extra"]), "Extra=8'again'");
}

struct TwinCase {
    friend void PrintTo(const TwinCase& each, std::ostream* out) { *out << each.name; }

    const char* name;
    Edit inInstance;
    const char* expected;
};

class TwinMerges : public testing::TestWithParam<TwinCase> {
protected:
    static void fill(Container& fields, int first, int second) {
        fields.add<int>("Size", first);
        fields.add<int>("Size", second);
    }
};

TEST_P(TwinMerges, AddressEachOneByItsStoredPath) {
    Container source(""), instance("");
    fill(source, 1, 2);
    fill(instance, 1, 2);
    GetParam().inInstance(instance);
    const auto paths = ownOf(instance, source).toPaths();
    source[0].set(10);
    source[1].set(20);
    OwnFields own;
    own.addPaths(instance, paths);
    EXPECT_THAT(followFields(instance, source, own, {.keepsState = true}), IsEmpty());
    EXPECT_EQ(describe(instance), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Changed, TwinMerges,
    testing::Values(TwinCase{"First", [](Container& fields) { fields[0].set(5); }, "(Size=5 Size=20)"},
                    TwinCase{"Second", [](Container& fields) { fields[1].set(5); }, "(Size=10 Size=5)"},
                    TwinCase{"SecondRemoved", [](Container& fields) { fields.erase(fields.begin() + 1); }, "(Size=10)"},
                    TwinCase{"FirstRemovedAndSecondSet",
                             [](Container& fields) {
                                 fields.erase(fields.begin());
                                 fields[0].set(5);
                             },
                             "(Size=5)"}),
    test_support::caseName);

TEST(FieldMerge, LeavesValuesThatAreState) {
    Car source, instance;
    const std::unique_ptr<Container> base(source.clone(nullptr));
    source["Mass"].set(2.0);
    source.add<int>("New", 1);
    instance["Extra"].set(8);
    const MergeRules rules{.withValues = false};
    EXPECT_THAT(followFields(instance, source, ownOf(instance, *base, rules), rules), IsEmpty());
    EXPECT_EQ(describe(instance), "(Mass=1 Gears[1=1 2=2 3=3] Doors[1=0 2=0] Extra=8 Axle(Load=3 Tyre=wet) New=1)");
}

TEST(FieldMerge, TakesNaNForTheSameAsNaN) {
    Car source, instance;
    source.mass.setValue(std::numeric_limits<double>::quiet_NaN());
    instance.mass.setValue(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(ownOf(instance, source).empty());
    EXPECT_TRUE(areSameFields(instance, source, {}));
}

TEST(FieldMerge, TellsAMarkOfItsOwnFromOneThatCameWithTheCopy) {
    Car source;
    source["Extra"].setMetadata(KrData::kMarkedAsOwn, true);
    const MergeRules inner{.isInner = true};
    Car instance;
    settleCopy(instance, source, true);
    followFields(instance, source, {}, inner);
    EXPECT_FALSE(instance["Extra"].getMetadataAsBool(KrData::kMarkedAsOwn));
    EXPECT_TRUE(ownOf(instance, source, inner).empty());
    const Car unmarked;
    EXPECT_FALSE(ownOf(instance, unmarked, inner).empty()) << "own where the mark did not come from";
}

TEST(FieldMerge, EndsWhereAnObserverDestroysTheTree) {
    Car source;
    auto instance = std::make_unique<Container>(source);
    const std::unique_ptr<Container> base(source.clone(nullptr));
    source["Mass"].set(2.0);
    source["Extra"].set(9);
    auto* watched = instance.get();
    const auto observer = (*watched)["Mass"].addObserver([&](const FieldBase&) { instance.reset(); });
    followFields(*watched, source, ownOf(*watched, *base), {});
    EXPECT_EQ(instance, nullptr);
}

}  // namespace field_merge_test
