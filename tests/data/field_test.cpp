#include "kr/data/field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_internal.h"
#include "kr/data/field_listener.h"
#include "kr/data/field_reference.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace field_test {

using KrData::eMetadata;
using KrData::FieldInternal;
using test_support::Container;
using test_support::Events;
using test_support::FakeConnection;
using test_support::FakeOwner;
using test_support::Field;
using test_support::FieldBase;
using test_support::RefusingContainer;
using test_support::Types;
using testing::ElementsAre;
using testing::IsEmpty;
using Dimension = Kr::KrPhysicalDimension::ePhysicalDimension;
using Hint = Kr::KrPhysicalDimension::eDimensionHint;
using Vector2 = KrMath::Vector2T<double>;
using Vector3 = KrMath::Vector3T<double>;
using Vector4 = KrMath::Vector4T<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

int storeCount(const FieldBase& field) {
    const FieldInternal* internal = field._getInternalIfAny();
    return internal && internal->get() ? static_cast<int>(internal->get()->size()) : 0;
}

// --- Values --------------------------------------------------------------------------------------------------------

TEST(FieldValue, ReadingOrWritingAnotherTypeIsADefaultAndARefusal) {
    Field<double> speed("Speed", nullptr, 3.0);
    FieldBase& untyped = speed;
    EXPECT_EQ(untyped.get<double>(), 3.0);
    EXPECT_TRUE(untyped.set(4.0));
    EXPECT_EQ(untyped.get<int>(), 0);
    EXPECT_FALSE(untyped.set(7));
    EXPECT_EQ(untyped.as<float>(), nullptr);
    EXPECT_EQ(untyped.get<Kr::KrColor>(), Kr::KrColor());
    EXPECT_EQ(speed.getValue(), 4.0);

    Container group("Group");
    EXPECT_EQ(group["Missing"].get<std::string>(), "");
    EXPECT_FALSE(group["Missing"].set(1.0));
    EXPECT_EQ(group.as<double>(), nullptr);
}

TEST(FieldValue, RawAccessToNowhereIsRefused) {
    Field<int> count("Count", nullptr, 5);
    int value = 0;
    EXPECT_TRUE(count.getRawValue(&value));
    EXPECT_EQ(value, 5);
    value = 6;
    EXPECT_TRUE(count.setRawValue(&value));
    EXPECT_FALSE(count.getRawValue(nullptr));
    EXPECT_FALSE(count.setRawValue(nullptr));
    EXPECT_EQ(count.getValue(), 6);
    EXPECT_FALSE(Container("Group").setRawValue(&value));
}

struct ClampCase {
    const char* name;
    double before, set, stored;
    int notifications;
};
class FieldClamping : public testing::TestWithParam<ClampCase> {};

TEST_P(FieldClamping, ComparesThenStoresInsideTheRange) {
    Field<double> field("Value", nullptr, GetParam().before);
    ASSERT_TRUE(field.setRange(-1.0, 1.0));
    int notifications = 0;
    const auto connection = field.addObserver([&](const FieldBase&) { ++notifications; });
    EXPECT_TRUE(field.setValue(GetParam().set));
    EXPECT_THAT(field.getValue(), testing::NanSensitiveDoubleEq(GetParam().stored));
    EXPECT_EQ(notifications, GetParam().notifications);
}

INSTANTIATE_TEST_SUITE_P(Double, FieldClamping,
                         testing::Values(ClampCase{"Inside", 0.0, 0.5, 0.5, 1}, ClampCase{"Above", 0.0, 9.0, 1.0, 1},
                                         ClampCase{"Below", 0.0, -9.0, -1.0, 1}, ClampCase{"OnMax", 0.0, 1.0, 1.0, 1},
                                         ClampCase{"Equal", 0.5, 0.5, 0.5, 0},
                                         ClampCase{"MinusZeroEqualsZero", 0.0, -0.0, 0.0, 0},
                                         ClampCase{"ClampsBackToTheStoredOne", 1.0, 9.0, 1.0, 1},
                                         ClampCase{"StoredOutsideAndEqual", 5.0, 5.0, 5.0, 0},
                                         ClampCase{"NaNIsNeitherBelowNorAbove", 0.0, kNaN, kNaN, 1},
                                         ClampCase{"NaNDiffersFromItself", kNaN, kNaN, kNaN, 1},
                                         ClampCase{"Infinity", 0.0, kInfinity, 1.0, 1},
                                         ClampCase{"SmallestNumber", 0.0, DBL_TRUE_MIN, DBL_TRUE_MIN, 1}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(FieldClamping, TakesEachComponentForItself) {
    Field<Vector2> two("Two");
    Field<Vector3> three("Three");
    Field<Vector4> four("Four");
    Field<KrMath::Vector3T<float>> floats("Floats");
    two.setRange({0, -1}, {1, 0});
    three.setRange({0, -1, 5}, {1, 0, 6});
    four.setRange({0, 0, 0, -8}, {1, 1, 1, -7});
    floats.setRange({0, 0, 0}, {1, 1, 1});
    two.setValue({-5, 5});
    three.setValue({0.5, kNaN, 7});
    four.setValue({2, -2, 0.25, 0});
    floats.setValue({-1, 0.5F, 2});
    EXPECT_EQ(two.getValue(), (Vector2{0, 0}));
    EXPECT_EQ(three.getValue().x, 0.5);
    EXPECT_NE(three.getValue().y, three.getValue().y);
    EXPECT_EQ(three.getValue().z, 6);
    EXPECT_EQ(four.getValue(), (Vector4{1, 0, 0.25, -7}));
    EXPECT_EQ(floats.getValue(), (KrMath::Vector3T<float>{0, 0.5F, 1}));
}

TEST(FieldClamping, CoversTheWholeRangeOfIntegers) {
    Field<short> narrow("Narrow");
    Field<unsigned int> wide("Wide");
    narrow.setRange(SHRT_MIN, -1);
    wide.setRange(1, UINT_MAX);
    narrow.setValue(SHRT_MAX);
    wide.setValue(UINT_MAX);
    EXPECT_EQ(narrow.getValue(), -1);
    EXPECT_EQ(wide.getValue(), UINT_MAX);
}

TEST(FieldRange, RefusesBoundsInTheWrongOrderAndLeavesTheStoredValue) {
    Field<double> field("Value", nullptr, 50.0);
    EXPECT_FALSE(field.setRange(1.0, -1.0));
    EXPECT_FALSE(field.setRange(kNaN, 1.0));
    EXPECT_FALSE(field.hasRange());
    EXPECT_TRUE(field.setRange(0.0, 10.0));
    EXPECT_FALSE(field.setRange(20.0, 10.0));
    EXPECT_EQ(field.getMaximum(), 10.0);
    EXPECT_EQ(field.getValue(), 50.0);
    field.clearRange();
    field.setValue(60.0);
    EXPECT_EQ(field.getValue(), 60.0);

    Field<Vector2> vector("Vector");
    EXPECT_FALSE(vector.setRange({0, 1}, {1, 0})) << "one component in the wrong order";
}

TEST(FieldCopy, StoresUnclampedAndNotifiesOnlyOfAChange) {
    Field<double> source("Source", nullptr, 50.0);
    Field<double> sink("Sink");
    sink.setRange(0.0, 10.0);
    int notifications = 0;
    const auto connection = sink.addObserver([&](const FieldBase&) { ++notifications; });
    EXPECT_TRUE(sink.copyValue(source));
    EXPECT_TRUE(sink.copyValue(source));
    EXPECT_EQ(sink.getValue(), 50.0);
    EXPECT_EQ(notifications, 1);
    EXPECT_TRUE(sink.copyValue(sink));
    EXPECT_EQ(notifications, 1);
}

TEST(FieldCopy, BetweenOtherTypesIsRefusedWithADebugLine) {
    const test_support::LogCapture log;
    FakeOwner owner;
    auto* speed = owner.addContainer("Inputs")->add<double>("Speed", 1.0);
    Field<bool> flag("100%s Flag", nullptr, true);
    EXPECT_FALSE(speed->copyValue(flag));
    EXPECT_FALSE(flag.copyValue(owner));
    EXPECT_FALSE(speed->copyValue(FieldBase::getInvalidField()));
    EXPECT_FALSE(FieldBase::getInvalidField().copyValue(flag));
    EXPECT_EQ(speed->getValue(), 1.0);
    EXPECT_THAT(log.lines(),
                testing::Contains("5 Field::copyValue: unable to copy value from 100%s Flag to Inputs.Speed.\n"));
}

TEST(FieldCopy, TheTwoKindsOfTextConvertAndCutAtAWholeCharacter) {
    Field<std::string> text("Text", nullptr, std::string(510, 'x') + "\xC3\xA9");
    Field<Kr::KrString<512>> file("File");
    EXPECT_TRUE(file.canConvertTo(text));
    EXPECT_TRUE(file.copyValue(text));
    EXPECT_EQ(file.getValue().str(), std::string(510, 'x'));
    text.setValue("other");
    EXPECT_TRUE(text.copyValue(file));
    EXPECT_EQ(text.getValue(), std::string(510, 'x'));
}

TEST(FieldCopy, AnEnumerationOfAnotherTypeIsRefused) {
    const test_support::LogCapture log;
    Field<Kr::KrEnum> dimension("Dimension", nullptr, Kr::KrEnum(Dimension::kForce));
    Field<Kr::KrEnum> hint("Hint", nullptr, Kr::KrEnum(Hint::kMetre));
    int notifications = 0;
    const auto connection = dimension.addObserver([&](const FieldBase&) { ++notifications; });
    EXPECT_FALSE(dimension.setValue(hint.getValue()));
    EXPECT_FALSE(dimension.copyValue(hint));
    EXPECT_EQ(dimension.getValue(), Kr::KrEnum(Dimension::kForce));
    EXPECT_EQ(notifications, 0);
    EXPECT_TRUE(dimension.setValue(Kr::KrEnum(Dimension::kMass)));
    EXPECT_EQ(notifications, 1);
}

TEST(FieldValuePointer, WritesTheClampedValueBeforeObserversRun) {
    double variable = 0.0;
    Field<double> field("Bound");
    field.setRange(0.0, 10.0);
    field.bindVariable(&variable);
    double seen = -1.0;
    const auto connection = field.addObserver([&](const FieldBase&) { seen = variable; });
    field.setValue(99.0);
    EXPECT_EQ(variable, 10.0);
    EXPECT_EQ(seen, 10.0);
    field.copyValue(Field<double>("Other", nullptr, 99.0));
    EXPECT_EQ(variable, 99.0) << "a copy is not clamped";
    EXPECT_EQ(field.getValue(), 10.0) << "reading through the getter clamps";
    variable = -4.0;
    EXPECT_EQ(field.toReal(), 0.0);
    variable = 7.0;
    Field<double> sink("Sink");
    sink.copyValue(field);
    EXPECT_EQ(sink.getValue(), 7.0) << "the source is read through its getter";
    field.unbindValue();
    variable = 8.0;
    EXPECT_EQ(field.getValue(), 7.0);
}

TEST(FieldValuePointer, WithoutAGetterTheStoredValueIsReadAsItIs) {
    std::vector<int> written;
    Field<int> field("Bound", nullptr, 50);
    field.setRange(0, 10);
    field.bindValue({nullptr, [&](const int& value) { written.push_back(value); }});
    EXPECT_EQ(field.getValue(), 50);
    field.setValue(50);
    field.setValue(60);
    EXPECT_THAT(written, ElementsAre(10));
}

TEST(FieldValuePointer, FunctionsThatThrowAreReportedAndChangeNothing) {
    const test_support::LogCapture log;
    Field<int> field("Bound", nullptr, 3);
    field.bindValue({[]() -> int { throw std::runtime_error("no reading"); }, [](const int&) { throw 1; }});
    EXPECT_EQ(field.getValue(), 3);
    EXPECT_NO_THROW(field.setValue(4));
    EXPECT_THAT(log.lines(), testing::Contains(testing::AllOf(testing::StartsWith("3 "), testing::HasSubstr("'Bound'"),
                                                              testing::HasSubstr("[no reading]"))));
}

TEST(FieldValuePointer, FunctionsMayEndTheirOwnBinding) {
    Field<int> field("Bound");
    const auto witness = std::make_shared<int>(42);
    field.bindValue({[&field, witness] {
                         field.unbindValue();
                         return *witness;
                     },
                     nullptr});
    EXPECT_EQ(field.getValue(), 42);
    EXPECT_FALSE(field.isBound());
    int written = 0;
    field.bindValue({nullptr, [&field, &written, witness](const int& value) {
                         field.unbindValue();
                         written = value + *witness;
                     }});
    field.setValue(1);
    EXPECT_EQ(written, 43);
    EXPECT_EQ(field.getValue(), 1);
}

// --- Identity and place --------------------------------------------------------------------------------------------

TEST(FieldIdentity, OnlyAProducedFieldTakesANewNameOrPlace) {
    Container first("First");
    Container second("Second");
    Field<double> declared("Declared");
    EXPECT_FALSE(declared.setID("Other"));
    EXPECT_FALSE(declared.setParent(&first));
    EXPECT_EQ(declared.getID().str(), "Declared");
    EXPECT_TRUE(first.empty());

    FieldBase* produced = first.addField("Produced", Types::kDouble);
    first.addField("Later", Types::kDouble);
    EXPECT_TRUE(produced->setID("Renamed"));
    EXPECT_TRUE(produced->setParent(&first)) << "unchanged";
    EXPECT_THAT(test_support::idsOf(first), ElementsAre("Renamed", "Later"));
    EXPECT_TRUE(produced->setParent(&second));
    EXPECT_THAT(test_support::idsOf(first), ElementsAre("Later"));
    EXPECT_EQ(&second["Renamed"], produced);
    EXPECT_TRUE(produced->setParent(nullptr));
    EXPECT_EQ(produced->getParent(), nullptr);
    EXPECT_TRUE(second.empty());
    delete produced;
}

TEST(FieldIdentity, ARefusedMoveChangesNothing) {
    FakeOwner owner;
    Container* top = owner.addContainer("Top");
    Container* inner = top->addContainer("Group")->addContainer("Inner");
    FieldBase* field = top->addField("Field", Types::kInteger);
    RefusingContainer refusing("Refusing");
    int told = 0;
    const auto connection = owner.addPropertyObserver([&](const FieldBase&) { ++told; });
    EXPECT_FALSE(field->setParent(&refusing));
    EXPECT_FALSE(top->setParent(inner));
    EXPECT_FALSE(top->setParent(top));
    EXPECT_THAT(test_support::idsOf(*top), ElementsAre("Group", "Field"));
    EXPECT_EQ(field->getParent(), top);
    EXPECT_EQ(top->getParent(), &owner);
    EXPECT_EQ(told, 0);
}

struct PathCase {
    const char* name;
    bool hasOwner;  // the outermost container belongs to an extension
    std::vector<const char*> ids;
    const char* path;
};
void PrintTo(const PathCase& each, std::ostream* out) {
    *out << each.name;
}
class FieldPath : public testing::TestWithParam<PathCase> {};

TEST_P(FieldPath, JoinsTheIdentifiers) {
    const auto& ids = GetParam().ids;
    auto top =
        GetParam().hasOwner ? std::make_unique<FakeOwner>(ids.front()) : std::make_unique<Container>(ids.front());
    Container* last = top.get();
    for (std::size_t i = 1; i < ids.size(); ++i)
        last = last->addContainer(ids[i]);
    EXPECT_EQ(last->getPath(), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(Chains, FieldPath,
                         testing::Values(PathCase{"Alone", false, {"Root"}, "Root"},
                                         PathCase{"Nested", false, {"Root", "G", "x"}, "Root.G.x"},
                                         PathCase{"OwnerItself", true, {"Top"}, ""},
                                         PathCase{"InOwner", true, {"Top", "x"}, "x"},
                                         PathCase{"NestedInOwner", true, {"Top", "Group", "x"}, "Group.x"},
                                         PathCase{"Periods", true, {"Top", "a.b", ".c."}, "a.b..c."},
                                         PathCase{"EmptyInside", false, {"Root", "", "x"}, "Root.x"},
                                         PathCase{"EmptyAtTheEnds", false, {"", "x", ""}, "x"},
                                         PathCase{"AllEmpty", false, {"", ""}, ""},
                                         PathCase{"EmptyOwner", true, {"", "x", "y"}, "x.y"},
                                         PathCase{"OddTexts",
                                                  false,
                                                  {"Gr\xC3\xB6\xC3\x9F"
                                                   "e",
                                                   "a/b \"c\"", "%s"},
                                                  "Gr\xC3\xB6\xC3\x9F"
                                                  "e.a/b \"c\".%s"}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(FieldPath, OfALeafInTheTopContainerIsItsIdentifier) {
    FakeOwner owner;
    const auto* field = owner.add<double>("Speed");
    EXPECT_EQ(field->getPath(), "Speed");
    EXPECT_EQ(field->getOwnerExtension(), owner._asExtension());
    EXPECT_EQ(Field<int>("Lonely").getOwnerExtension(), nullptr);
}

// --- Properties ----------------------------------------------------------------------------------------------------

TEST(FieldProperties, WhatHasNoEffectCreatesNoHiddenFields) {
    Field<double> field("Field");
    int told = 0;
    const auto connection = field.addPropertyObserver([&](const FieldBase&) { ++told; });
    field.setVisible(true);
    field.setReadOnlyHint(false);
    field.setMetadata(eMetadata::kNone, true);
    field.setMetadata(eMetadata::kHidden | eMetadata::kReadOnlyHint, false);
    field.setPhysicalDimensionHint(Hint::kNone);
    field.setDescription("");
    field.setPhysicalDimension(Dimension::kNone);
    EXPECT_EQ(field.getPhysicalDimensionHint(), Hint::kNone);
    EXPECT_FALSE(field.getMetadataAsBool(eMetadata::kNone));
    EXPECT_FALSE(field.getMetadataAsBool(eMetadata::kHidden));
    EXPECT_TRUE(field.isVisible());
    EXPECT_EQ(storeCount(field), 0);
    EXPECT_EQ(told, 0);
}

TEST(FieldProperties, LiveInHiddenFieldsOfFixedNames) {
    Field<double> field("Field");
    field.setVisible(false);
    EXPECT_TRUE(field.getMetadataAsBool(eMetadata::kHidden));
    EXPECT_FALSE(field.getMetadataAsBool(eMetadata::kHidden | eMetadata::kReadOnlyHint));
    field.setMetadata(static_cast<eMetadata>(128 | 1), true);
    EXPECT_TRUE(field.getMetadataAsBool(eMetadata::kHidden | eMetadata::kReadOnlyHint));
    EXPECT_TRUE(field.isReadOnlyHint());
    EXPECT_EQ(field.getInternal().getField("MetaData").get<int>(), 64 | 128 | 1);
    field.setVisible(true);
    EXPECT_EQ(field.getInternal().getField("MetaData").get<int>(), 128 | 1);

    field.setPhysicalDimensionHint(Hint::kKilometrePerHour);
    EXPECT_EQ(field.getPhysicalDimensionHint(), Hint::kKilometrePerHour);
    EXPECT_EQ(field.getInternal().getField("PhysicalDimensionDisplayHint").get<Kr::KrEnum>(),
              Kr::KrEnum(Hint::kKilometrePerHour));
    field.setPhysicalDimensionHint(Hint::kKnot);
    EXPECT_EQ(field.getPhysicalDimensionHint(), Hint::kKnot);
    field.setPhysicalDimensionHint(Hint::kNone);
    EXPECT_FALSE(field.getInternal().getField("PhysicalDimensionDisplayHint").isValid());
    EXPECT_EQ(field.getPhysicalDimensionHint(), Hint::kNone);
}

TEST(FieldProperties, AHiddenFieldOfAWrongTypeIsNoMetadata) {
    Field<double> field("Field");
    field.getInternal().addField("MetaData", Types::kString)->set<std::string>("junk");
    field.getInternal().addField("PhysicalDimensionDisplayHint", Types::kDouble);
    EXPECT_FALSE(field.getMetadataAsBool(eMetadata::kHidden));
    field.setVisible(false);
    field.setPhysicalDimensionHint(Hint::kMetre);
    EXPECT_NO_FATAL_FAILURE((void)field.getPhysicalDimensionHint());
}

TEST(FieldProperties, EachChangeTellsTheFieldThenItsContainersOnce) {
    Container top("Top");
    Container* group = top.addContainer("Group");
    FieldBase* field = group->addField("Field", Types::kDouble);
    Events events;
    const auto note = [&](const char* who) {
        return [&events, who](const FieldBase& changed) { events.push_back(who + (": " + changed.getID().str())); };
    };
    const auto onTop = top.addPropertyObserver(note("top"));
    const auto onGroup = group->addPropertyObserver(note("group"));
    const auto onField = field->addPropertyObserver(note("field"));
    const auto value = field->addObserver(note("value"));

    const auto eventsOf = [&](auto change) {
        events.clear();
        change();
        const Events first = events;
        change();  // unchanged now: nobody is told
        EXPECT_EQ(events, first);
        return first;
    };
    const auto upward = ElementsAre("field: Field", "group: Field", "top: Field");
    EXPECT_THAT(eventsOf([&] { field->setVisible(false); }), upward);
    EXPECT_THAT(eventsOf([&] { field->setReadOnlyHint(true); }), upward);
    EXPECT_THAT(eventsOf([&] { field->setDescription("text"); }), upward);
    EXPECT_THAT(eventsOf([&] { field->setPhysicalDimension(Dimension::kForce); }), upward);
    EXPECT_THAT(eventsOf([&] { field->setPhysicalDimensionHint(Hint::kKilonewton); }), upward);
    EXPECT_THAT(eventsOf([&] { field->setPhysicalDimensionHint(Hint::kNone); }), upward);
    EXPECT_THAT(eventsOf([&] { field->setVisible(true); }), upward);
    EXPECT_THAT(eventsOf([&] { group->setDescription("text"); }), ElementsAre("group: Group", "top: Group"))
        << "only names and places are told downward";
    EXPECT_THAT(eventsOf([&] { group->setID("Renamed"); }),
                ElementsAre("group: Renamed", "top: Renamed", "field: Renamed"));
}

TEST(FieldProperties, AMoveIsToldInTheNewPlaceAndBelow) {
    Container from("From");
    Container to("To");
    Container* group = from.addContainer("Group");
    FieldBase* first = group->addContainer("Deep")->addField("First", Types::kInteger);
    FieldBase* second = group->addField("Second", Types::kInteger);
    Events events;
    const auto note = [&](const char* who) { return [&events, who](const FieldBase&) { events.emplace_back(who); }; };
    const auto onTo = to.addPropertyObserver(note("to"));
    const auto onGroup = group->addPropertyObserver(note("group"));
    const auto onFirst = first->addPropertyObserver(note("first"));
    const auto onSecond = second->addPropertyObserver(note("second"));
    EXPECT_TRUE(group->setParent(&to));
    EXPECT_THAT(events, ElementsAre("group", "to", "first", "second"));
}

TEST(FieldProperties, AnObserverMayDestroyTheFieldItIsToldOf) {
    Container top("Top");
    FieldBase* field = top.addContainer("Group")->addField("Field", Types::kDouble);
    int later = 0;
    const auto onField = field->addPropertyObserver([&](const FieldBase&) { top.clear(); });
    const auto onTop = top.addPropertyObserver([&](const FieldBase&) { ++later; });
    field->setDescription("the last thing heard of it");
    EXPECT_TRUE(top.empty());
}

TEST(FieldReadOnly, FollowsRoleConnectionHintAndContainers) {
    FakeOwner owner;
    auto* outputs = new Container("Outputs", &owner, Types::kOutput);
    auto* inputs = new Container("Inputs", &owner, Types::kInput);
    FieldBase* output = outputs->addField("Output", Types::kDouble);
    FieldBase* belowOutputs = (new Container("Plain", outputs))->addField("Field", Types::kDouble);
    FieldBase* input = inputs->addContainer("Group")->addField("Input", Types::kDouble);
    EXPECT_TRUE(output->isReadOnlyHint());
    EXPECT_TRUE(belowOutputs->isReadOnlyHint());
    output->setReadOnlyHint(false);
    EXPECT_TRUE(output->isReadOnlyHint());

    EXPECT_FALSE(input->isReadOnlyHint());
    {
        const FakeConnection connection(*output, *input);
        EXPECT_TRUE(input->isReadOnlyHint());
    }
    EXPECT_FALSE(input->isReadOnlyHint());
    inputs->setReadOnlyHint(true);
    EXPECT_TRUE(input->isReadOnlyHint());
    EXPECT_FALSE(input->getMetadataAsBool(eMetadata::kReadOnlyHint));
}

TEST(FieldDescription, OfFiveMillionCharactersIsStoredOnce) {
    const std::string text(5'000'000, 'd');
    Field<int> first("First");
    Field<int> second("Second");
    first.setDescription(text);
    second.setDescription(std::string(text));
    EXPECT_EQ(second.getDescription(), text);
    EXPECT_EQ(&first.getDescription(), &second.getDescription());
    const Field<int> copy(first);
    EXPECT_EQ(&copy.getDescription(), &first.getDescription());
    first.setDescription("");
    EXPECT_EQ(&first.getDescription(), &Field<int>("Fresh").getDescription());
    EXPECT_EQ(second.getDescription().size(), text.size());
}

// --- Conversions ---------------------------------------------------------------------------------------------------

template <class T>
std::shared_ptr<FieldBase> with(const T& value) {
    return std::make_shared<Field<T>>("Field", nullptr, value);
}

struct NumberCase {
    const char* name;
    std::shared_ptr<FieldBase> field;
    int integer;
    double real;
    bool boolean;
    const char* text;
};
void PrintTo(const NumberCase& each, std::ostream* out) {
    *out << each.name;
}
class FieldConversion : public testing::TestWithParam<NumberCase> {};

TEST_P(FieldConversion, ToNumberBooleanAndText) {
    const FieldBase& field = *GetParam().field;
    EXPECT_EQ(field.toInteger(), GetParam().integer);
    EXPECT_THAT(field.toReal(), testing::NanSensitiveDoubleEq(GetParam().real));
    EXPECT_EQ(field.toBoolean(), GetParam().boolean);
    EXPECT_EQ(field.toString(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Values, FieldConversion,
    testing::Values(
        NumberCase{"Integer", with(-7), -7, -7.0, true, "-7"}, NumberCase{"Zero", with(0), 0, 0.0, false, "0"},
        NumberCase{"Unsigned", with(7U), 7, 7.0, true, "7"},
        NumberCase{"UnsignedBeyondInteger", with(UINT_MAX), INT_MAX, 4294967295.0, true, "4294967295"},
        NumberCase{"Short", with(short{-3}), -3, -3.0, true, "-3"},
        NumberCase{"UnsignedShort", with(static_cast<unsigned short>(65535)), 65535, 65535.0, true, "65535"},
        NumberCase{"True", with(true), 1, 1.0, true, "true"}, NumberCase{"False", with(false), 0, 0.0, false, "false"},
        NumberCase{"Double", with(0.1), 0, 0.1, true, "0.1"},
        NumberCase{"HalfDownToEven", with(2.5), 2, 2.5, true, "2.5"},
        NumberCase{"HalfUpToEven", with(-3.5), -4, -3.5, true, "-3.5"},
        NumberCase{"TooLarge", with(1e20), INT_MAX, 1e20, true, "1e+20"},
        NumberCase{"TooSmall", with(-kInfinity), INT_MIN, -kInfinity, true, "-inf"},
        NumberCase{"NotANumber", with(kNaN), 0, kNaN, false, "nan"},
        NumberCase{"BelowTheSmallRealEpsilon", with(-1e-300), 0, -1e-300, false, "-1e-300"},
        NumberCase{"Float", with(0.1F), 0, static_cast<double>(0.1F), false, "0.1"},
        NumberCase{"Text", with(std::string("0")), 0, 0.0, true, "0"},
        NumberCase{"EmptyText", with(std::string()), 0, 0.0, false, ""},
        NumberCase{"Filename", with(Kr::KrString<512>("a.txt")), 0, 0.0, false, "a.txt"},
        NumberCase{"Enumeration", with(Kr::KrEnum(Dimension::kMass)), 2, 2.0, false, "Mass"},
        NumberCase{"Vector", with(Vector3{1, 2.5, -0.125}), 0, 0.0, false, "1 2.5 -0.125"},
        NumberCase{"Color", with(Kr::KrColor(1, 0.5, 0, 1)), 0, 0.0, false, "1 0.5 0 1"},
        NumberCase{"NoExtension", with<KrSim::KrExtension*>(nullptr), 0, 0.0, false, ""},
        NumberCase{"Container", std::make_shared<Container>("Field"), 0, 0.0, false, ""},
        NumberCase{"Invalid", {std::shared_ptr<void>(), &FieldBase::getInvalidField()}, 0, 0.0, false, ""}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(FieldConversion, ToAStructureNeedsExactlyItsType) {
    const auto vector = with(Vector3{1, 2, 3});
    const auto floats = with(KrMath::Vector3T<float>{1, 2, 3});
    const auto turn = with(KrMath::QuaternionT<double>{1, 0, 0, 0});
    Kr::KrTransform placed;
    placed.m[3] = 5.0;
    auto* extension = reinterpret_cast<KrSim::KrExtension*>(&placed);

    EXPECT_EQ(vector->toVector3(), (Vector3{1, 2, 3}));
    EXPECT_EQ(floats->toVector3(), Vector3());
    EXPECT_EQ(vector->toVector2(), Vector2());
    EXPECT_EQ(vector->toVector4(), Vector4());
    EXPECT_EQ(turn->toQuaternion(), (KrMath::QuaternionT<double>{1, 0, 0, 0}));
    EXPECT_EQ(vector->toQuaternion(), KrMath::QuaternionT<double>());
    EXPECT_EQ(vector->toMatrix44(), KrMath::Matrix44T<double>());
    EXPECT_EQ(with(placed)->toTransform(), placed);
    EXPECT_EQ(vector->toTransform(), Kr::KrTransform());
    EXPECT_EQ(vector->toColor(), Kr::KrColor(1, 1, 1, 1));
    EXPECT_EQ(with(Kr::KrColor(0, 0, 0, 0))->toColor(), Kr::KrColor(0, 0, 0, 0));
    EXPECT_EQ(vector->toEnum(), Kr::KrEnum());
    EXPECT_EQ(with(extension)->toExtension(), extension);
    EXPECT_EQ(vector->toExtension(), nullptr);
}

// --- The invalid field ---------------------------------------------------------------------------------------------

TEST(InvalidField, TakesNoStateFromAnyEntry) {
    struct Listener final : KrData::FieldListener {
        void onOutgoingConnectionAdded(Kr::KrConnectionBase*) override { ++told; }
        int told{0};
    };
    const test_support::LogCapture log;
    FieldBase& invalid = FieldBase::getInvalidField();
    Container container("Container");
    Field<double> sink("Sink", nullptr, 1.0);
    double raw = 2.0;
    int called = 0;
    Listener listener;

    EXPECT_FALSE(invalid.isValid());
    EXPECT_FALSE(invalid.copyValue(sink));
    EXPECT_FALSE(invalid.initializeFrom(sink));
    EXPECT_FALSE(invalid.getRawValue(&raw));
    EXPECT_FALSE(invalid.setRawValue(&raw));
    invalid._setDynamic(true);
    EXPECT_FALSE(invalid.setID("Other"));
    EXPECT_FALSE(invalid.setParent(&container));
    EXPECT_FALSE(container._addField(&invalid));
    invalid._cloneFrom(sink);
    invalid.setVisible(false);
    invalid.setReadOnlyHint(true);
    invalid.setDescription("text");
    invalid.setPhysicalDimension(Dimension::kForce);
    invalid.setPhysicalDimensionHint(Hint::kNewton);
    invalid.setMetadata(eMetadata::kHidden, true);
    EXPECT_EQ(invalid.getInternal().addField("Tool", Types::kInteger), nullptr);
    FieldInternal::copyFieldInternals(sink, invalid, false);
    invalid._replaceInternal(&sink.getInternal());
    invalid._setInternalIdentifier(5);
    invalid._setOwnerIsActive(true);
    invalid._setApplicationModeIsEditing(false);
    invalid._setAlwaysNotifyLocally(true);
    Container::_setAlwaysCallObservers(invalid, true);
    const auto value = invalid.addObserver([&](const FieldBase&) { ++called; });
    const auto property = invalid.addPropertyObserver([&](const FieldBase&) { ++called; });
    invalid.registerListener(&listener);
    {
        const FakeConnection out(invalid, sink);
        const FakeConnection in(sink, invalid);
        EXPECT_FALSE(invalid._hasOutgoingConnections());
        EXPECT_FALSE(invalid._hasIncomingConnections());
        invalid._notifyChanged(invalid);
        invalid._notifyPropertyChanged();
        EXPECT_EQ(out.transfers(), 0);
    }
    EXPECT_EQ(listener.told, 0);
    invalid.unregisterListener(&listener);

    EXPECT_EQ(invalid.getID().str(), "__Invalid__");
    EXPECT_EQ(invalid.getDataType(), 255);
    EXPECT_EQ(invalid.getParent(), nullptr);
    EXPECT_EQ(invalid.getInternalIdentifier(), 0U);
    EXPECT_FALSE(invalid.isDynamic());
    EXPECT_TRUE(invalid.isVisible());
    EXPECT_FALSE(invalid.isReadOnlyHint());
    EXPECT_EQ(invalid.getDescription(), "");
    EXPECT_EQ(invalid.getPhysicalDimension(), Dimension::kNone);
    EXPECT_EQ(invalid.getPhysicalDimensionHint(), Hint::kNone);
    EXPECT_EQ(storeCount(invalid), 0);
    EXPECT_FALSE(value.isConnected());
    EXPECT_FALSE(property.isConnected());
    EXPECT_FALSE(invalid.hasWatchers());
    EXPECT_FALSE(invalid._isOwnerActive());
    EXPECT_FALSE(invalid._isForcingObservers());
    EXPECT_EQ(called, 0);
    EXPECT_TRUE(container.empty());
    EXPECT_FALSE(invalid["Child"].isValid());
    EXPECT_THAT(invalid.getChildren(), IsEmpty());
}

// --- Copies --------------------------------------------------------------------------------------------------------

TEST(FieldCopies, ACopyConstructedFieldIsADeclaredLikeness) {
    Container container("Container");
    auto* source = container.add<double>("Source", 3.0);
    source->setRange(0.0, 5.0);
    source->setDescription("text");
    source->setPhysicalDimension(Dimension::kForce);
    source->setVisible(false);
    const auto connection = source->addObserver([](const FieldBase&) { FAIL() << "observers are not copied"; });

    Field<double> copy(*source);
    EXPECT_EQ(copy.getID(), source->getID());
    EXPECT_EQ(copy.getInternalIdentifier(), source->getInternalIdentifier());
    EXPECT_EQ(copy.getDescription(), "text");
    EXPECT_EQ(copy.getPhysicalDimension(), Dimension::kForce);
    EXPECT_FALSE(copy.isVisible());
    EXPECT_EQ(copy.getParent(), nullptr);
    EXPECT_FALSE(copy.isDynamic());
    EXPECT_FALSE(copy.hasWatchers());
    copy.setVisible(true);
    EXPECT_FALSE(source->isVisible()) << "the hidden fields are a copy, too";
    copy.setValue(9.0);
    EXPECT_EQ(copy.getValue(), 5.0) << "the range came along";
    EXPECT_EQ(source->getValue(), 3.0);
}

TEST(FieldCopies, AClonedOneIsDynamicAndReplacesItsHiddenFields) {
    Field<double> source("Source", nullptr, 3.0);
    source.setReadOnlyHint(true);
    source._setInternalIdentifier(17);
    Field<double> clone("Clone");
    clone.getInternal().addField("Stale", Types::kInteger);
    clone._cloneFrom(source);
    EXPECT_EQ(clone.getID().str(), "Clone");
    EXPECT_TRUE(clone.isDynamic());
    EXPECT_EQ(clone.getInternalIdentifier(), 17U);
    EXPECT_FALSE(clone.getInternal().getField("Stale").isValid());
    EXPECT_TRUE(clone.getMetadataAsBool(eMetadata::kReadOnlyHint));
    clone._cloneFrom(clone);
    EXPECT_TRUE(clone.getMetadataAsBool(eMetadata::kReadOnlyHint)) << "of itself";

    Container container("Container");
    const std::unique_ptr<FieldBase> detached(source.clone(nullptr));
    EXPECT_TRUE(detached->isDynamic());
    EXPECT_EQ(source.clone("New", &container)->getID().str(), "New");
    RefusingContainer refusing("Refusing");
    EXPECT_EQ(source.clone(&refusing), nullptr);
}

TEST(FieldCopies, InitializingTakesValueAndHiddenFieldsOrNothing) {
    const test_support::LogCapture log;
    Field<double> source("Source", nullptr, 3.0);
    source.setVisible(false);
    Field<double> sink("Sink");
    Field<int> other("Other");
    sink.getInternal().addField("Stale", Types::kInteger);
    EXPECT_TRUE(sink.initializeFrom(source));
    EXPECT_EQ(sink.getValue(), 3.0);
    EXPECT_FALSE(sink.isVisible());
    EXPECT_FALSE(sink.getInternal().getField("Stale").isValid());
    EXPECT_FALSE(other.initializeFrom(source));
    EXPECT_TRUE(other.isVisible());
}

TEST(FieldInternal, CopiesReplaceOrMerge) {
    Field<int> source("Source");
    Field<int> sink("Sink");
    source.getInternal().addField("Shared", Types::kInteger)->set(1);
    source.getInternal().addField("New", Types::kInteger)->set(2);
    sink.getInternal().addField("Shared", Types::kInteger)->set(8);
    sink.getInternal().addField("Own", Types::kInteger)->set(9);
    FieldInternal::copyFieldInternals(source, sink, false);
    EXPECT_EQ(sink.getInternal().getField("Shared").get<int>(), 1);
    EXPECT_EQ(sink.getInternal().getField("New").get<int>(), 2);
    EXPECT_EQ(sink.getInternal().getField("Own").get<int>(), 9);
    FieldInternal::copyFieldInternals(source, sink, true);
    EXPECT_FALSE(sink.getInternal().getField("Own").isValid());
    FieldInternal::copyFieldInternals(sink, sink, true);
    EXPECT_EQ(storeCount(sink), 2);
    EXPECT_TRUE(sink.getInternal().removeField("New"));
    EXPECT_FALSE(sink.getInternal().removeField("New"));
    EXPECT_EQ(sink.getInternal().addField("Shared", Types::kString), nullptr);
    EXPECT_EQ(sink.getInternal().addField("Odd", Types::kUnknown), nullptr);
}

TEST(FieldReference, TurnsNullWithTheField) {
    auto field = std::make_unique<Field<int>>("Field");
    const KrData::FieldReference reference(field.get());
    const KrData::FieldReference copy = reference;
    EXPECT_EQ(reference.get(), field.get());
    field.reset();
    EXPECT_EQ(copy.get(), nullptr);
    EXPECT_FALSE(KrData::FieldReference(nullptr).isAlive());
}

}  // namespace field_test
