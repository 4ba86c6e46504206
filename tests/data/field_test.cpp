#include "kr/data/field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/data/container.h"
#include "kr/data/field_access.h"
#include "kr/data/field_internal.h"
#include "kr/data/not_finite.h"
#include "kr/data/value_conversion.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace field_test {

using KrData::detail::FieldAccess;
using namespace test_support;
using KrData::eMetadata;
using KrData::FieldInternal;
using testing::ElementsAre;
using Dimension = Kr::KrPhysicalDimension::ePhysicalDimension;
using Hint = Kr::KrPhysicalDimension::eDimensionHint;
using Vector3 = KrMath::Vector3T<double>;
using Vector4 = KrMath::Vector4T<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

Events hiddenFieldsOf(FieldBase& field) {
    const Container* hidden = field.getInternal().get();
    return hidden ? idsOf(*hidden) : Events();
}

TEST(FieldValue, ReadingOrWritingAnotherTypeIsADefaultAndARefusal) {
    Field<double> speed("Speed", nullptr, 3.0);
    EXPECT_FALSE(speed.set(7));
    EXPECT_EQ(speed.get<int>(), 0);
    double raw = 0.0;
    EXPECT_TRUE(speed.getRawValue(&raw));
    EXPECT_EQ(raw, 3.0);
    EXPECT_FALSE(speed.getRawValue(nullptr));
    EXPECT_FALSE(speed.setRawValue(nullptr));
    EXPECT_FALSE(Container("Group").setRawValue(&raw));
}

TEST(FieldRange, ValuesAreComparedThenStoredInsideIt) {
    struct Case {
        double before, set, stored;
        int notifications;
    };
    for (const auto& [before, set, stored, expected] :
         {Case{0.0, kInfinity, 1.0, 1}, Case{0.0, -9.0, -1.0, 1}, Case{1.0, 9.0, 1.0, 1}, Case{5.0, 5.0, 5.0, 0},
          Case{kNaN, kNaN, kNaN, 1}}) {
        SCOPED_TRACE(set);
        Field<double> field("Value", nullptr, before);
        ASSERT_TRUE(field.setRange(-1.0, 1.0));
        int notifications = 0;
        const auto connection = field.addObserver([&](const FieldBase&) { ++notifications; });
        EXPECT_TRUE(field.setValue(set));
        EXPECT_THAT(field.getValue(), testing::NanSensitiveDoubleEq(stored));
        EXPECT_EQ(notifications, expected);
    }
}

TEST(FieldRange, RefusesBoundsInTheWrongOrderAndClampsEachComponent) {
    Field<double> field("Value", nullptr, 50.0);
    EXPECT_FALSE(field.setRange(kNaN, 1.0));
    EXPECT_TRUE(field.setRange(0.0, 10.0));
    EXPECT_FALSE(field.setRange(20.0, 10.0));
    EXPECT_EQ(field.getValue(), 50.0) << "a range leaves the stored value";
    field.clearRange();
    field.setValue(60.0);
    EXPECT_EQ(field.getValue(), 60.0);
    Field<Vector4> vector("Vector");
    EXPECT_FALSE(vector.setRange({0, 1, 0, 0}, {1, 0, 1, 1})) << "one component in the wrong order";
    EXPECT_TRUE(vector.setRange({0, -1, 5, -8}, {1, 0, 6, -7}));
    vector.setValue({0.5, -2, 7, kInfinity});
    EXPECT_EQ(vector.getValue(), (Vector4{0.5, -1, 6, -7}));

    int notifications = 0;
    const auto connection = vector.addObserver([&](const FieldBase&) { ++notifications; });
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(vector.copyValue(Field<Vector4>("Source", nullptr, {9, 9, 9, 9})));
    EXPECT_EQ(vector.getValue(), (Vector4{9, 9, 9, 9})) << "a copy is not clamped";
    EXPECT_EQ(notifications, 1);
}

TEST(FieldCopy, BetweenOtherTypesIsRefusedWithADebugLine) {
    const LogCapture log;
    FakeOwner owner;
    auto* speed = owner.addContainer("Inputs")->add<double>("Speed", 1.0);
    const Field<Kr::KrColor> flag("100%s Flag");
    EXPECT_FALSE(speed->copyValue(flag));
    EXPECT_THAT(log.lines(),
                ElementsAre("5 Field::copyValue: unable to copy value from 100%s Flag to Inputs.Speed.\n"));
    EXPECT_FALSE(speed->copyValue(owner));
    EXPECT_FALSE(speed->copyValue(FieldBase::getInvalidField()));
    EXPECT_EQ(speed->getValue(), 1.0);
}

TEST(FieldCopy, AnEnumerationKeepsItsType) {
    const LogCapture log;
    Field<Kr::KrEnum> dimension("Dimension", nullptr, Kr::KrEnum(Dimension::kForce));
    const Field<Kr::KrEnum> hint("Hint", nullptr, Kr::KrEnum(Hint::kMetre));
    int notifications = 0;
    const auto connection = dimension.addObserver([&](const FieldBase&) { ++notifications; });
    EXPECT_FALSE(dimension.setValue(hint.getValue()));
    EXPECT_FALSE(dimension.copyValue(hint));
    EXPECT_EQ(dimension.getValue(), Kr::KrEnum(Dimension::kForce));
    EXPECT_EQ(notifications, 0);
    dimension.reset();
    EXPECT_EQ(dimension.getValue(), Kr::KrEnum(Dimension{}));
}

TEST(FieldValuePointer, WritesTheClampedValueBeforeObserversRun) {
    double variable = 0.0;
    Field<double> field("Bound");
    field.setRange(0.0, 10.0);
    field.bindVariable(&variable);
    double seen = -1.0;
    const auto connection = field.addObserver([&](const FieldBase&) { seen = variable; });
    field.setValue(99.0);
    EXPECT_EQ(seen, 10.0);
    field.copyValue(Field<double>("Other", nullptr, 99.0));
    EXPECT_EQ(variable, 99.0) << "a copy is not clamped";
    EXPECT_EQ(field.getValue(), 10.0) << "reading through the getter clamps";
    variable = 7.0;
    Field<double> sink("Sink");
    sink.copyValue(field);
    EXPECT_EQ(sink.getValue(), 7.0) << "the source is read through its getter";
}

/// A way to give a sink the value 5 of another field.
struct BoundSinkCase {
    const char* name;
    void (*transfer)(Field<double>& sink);
};

class BoundSink : public testing::TestWithParam<BoundSinkCase> {};

TEST_P(BoundSink, TakesTheValueThatItHadBeforeItsVariableChanged) {
    double variable = 0.0;
    Field<double> sink("Sink");
    sink.bindVariable(&variable);
    GetParam().transfer(sink);
    ASSERT_EQ(variable, 5.0);
    variable = 7.0;
    int notifications = 0;
    const auto observer = sink.addObserver([&](const FieldBase&) { ++notifications; });
    GetParam().transfer(sink);
    EXPECT_EQ(variable, 5.0);
    EXPECT_EQ(notifications, 1);
}

TEST_P(BoundSink, LeavesAVariableAloneThatHasTheValueAlready) {
    double variable = 5.0;
    int writes = 0;
    Field<double> sink("Sink");
    sink.bindValue({[&] { return variable; }, [&](const double&) { ++writes; }});
    GetParam().transfer(sink);
    EXPECT_EQ(writes, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, BoundSink,
    testing::Values(BoundSinkCase{"Copied", [](auto& sink) { sink.copyValue(Field<double>("Source", nullptr, 5.0)); }},
                    BoundSinkCase{"ConvertedFromANumber",
                                  [](auto& sink) { sink.copyValue(Field<int>("Source", nullptr, 5)); }},
                    BoundSinkCase{"ConvertedFromText",
                                  [](auto& sink) { sink.copyValue(Field<std::string>("Source", nullptr, "5")); }},
                    BoundSinkCase{"ThroughATransferFunction",
                                  [](auto& sink) {
                                      const Field<double> source("Source", nullptr, 4.0);
                                      KrData::ApplyTransferFunction(source, sink, [](double x) { return x + 1.0; });
                                  }}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(FieldValuePointer, FunctionsMayThrowOrEndTheirOwnBinding) {
    const LogCapture log;
    Field<int> field("Bound", nullptr, 3);
    field.bindValue({[]() -> int { throw std::runtime_error("no reading"); }, [](const int&) { throw 1; }});
    EXPECT_EQ(field.getValue(), 3);
    EXPECT_NO_THROW(field.setValue(4));
    EXPECT_THAT(log.lines(), testing::Contains("3 Field: fatal error in 'Bound' value pointer [no reading]\n"));
    const auto witness = std::make_shared<int>(42);
    const auto end = [&field, witness] {
        field.unbindValue();
        return *witness;
    };
    field.bindValue({end, nullptr});
    EXPECT_EQ(field.getValue(), 42);
    field.bindValue({nullptr, [end](const int&) { (void)end(); }});
    field.setValue(1);
    EXPECT_FALSE(field.isBound());
}

TEST(FieldIdentity, OnlyAProducedFieldTakesANewNameOrPlace) {
    Container first("First");
    Container second("Second");
    Field<double> declared("Declared");
    EXPECT_FALSE(declared.setID("Other"));
    EXPECT_FALSE(declared.setParent(&first));
    FieldBase* produced = first.addField("Produced", Types::kDouble);
    first.addField("Later", Types::kDouble);
    EXPECT_TRUE(produced->setID("Renamed"));
    EXPECT_TRUE(produced->setParent(&first)) << "unchanged";
    EXPECT_THAT(idsOf(first), ElementsAre("Renamed", "Later"));
    EXPECT_TRUE(produced->setParent(&second));
    EXPECT_THAT(idsOf(first), ElementsAre("Later"));
    EXPECT_THAT(idsOf(second), ElementsAre("Renamed"));
}

TEST(FieldPath, LeavesOutOwnersAndEmptyIdentifiers) {
    FakeOwner owner("Top");
    Container root("Root");
    Container nameless("");
    EXPECT_EQ(owner.getPath(), "");
    EXPECT_EQ(owner.addContainer("a.b")->addContainer(".c.")->getPath(), "a.b..c.");
    EXPECT_EQ(root.addContainer("")->addContainer("x")->getPath(), "Root.x");
    EXPECT_EQ(nameless.addContainer("x")->addContainer("")->getPath(), "x");
}

TEST(FieldProperties, LiveInHiddenFieldsMadeOnNeed) {
    Field<double> field("Field");
    field.setVisible(true);
    field.setMetadata(eMetadata::kHidden | eMetadata::kReadOnlyHint, false);
    field.setPhysicalDimensionHint(Hint::kNone);
    EXPECT_FALSE(field.getMetadataAsBool(eMetadata::kNone));
    EXPECT_EQ(FieldAccess::getInternalIfAny(field), nullptr);

    field.setVisible(false);
    EXPECT_FALSE(field.getMetadataAsBool(eMetadata::kHidden | eMetadata::kReadOnlyHint));
    field.setMetadata(static_cast<eMetadata>(128 | 1), true);
    EXPECT_TRUE(field.isReadOnlyHint());
    EXPECT_EQ(field.getInternal().getField("MetaData").get<int>(), 64 | 128 | 1);
    field.setVisible(true);
    EXPECT_EQ(field.getInternal().getField("MetaData").get<int>(), 128 | 1);

    field.setPhysicalDimensionHint(Hint::kKnot);
    EXPECT_EQ(field.getPhysicalDimensionHint(), Hint::kKnot);
    EXPECT_EQ(field.getInternal().getField("PhysicalDimensionDisplayHint").toEnum(), Kr::KrEnum(Hint::kKnot));
    field.setPhysicalDimensionHint(Hint::kNone);
    EXPECT_THAT(hiddenFieldsOf(field), ElementsAre("MetaData"));
}

/// A tree whose property observers write down who heard of what, once.
class FieldPropertyChanges : public testing::Test {
protected:
    FieldPropertyChanges() {
        for (FieldBase* each : std::vector<FieldBase*>{&top, &other, group, field, second})
            observers.push_back(each->addPropertyObserver([this, id = each->getID().str()](const FieldBase& changed) {
                events.push_back(id + " of " + changed.getID().str());
            }));
    }
    /// Who hears of a change; a second time it changes nothing, and nobody hears.
    Events eventsOf(const std::function<void()>& change) {
        events.clear();
        change();
        const Events first = events;
        change();
        EXPECT_EQ(events, first);
        return first;
    }

    Container top{"Top"};
    Container other{"Other"};
    Container* group{top.addContainer("Group")};
    FieldBase* field{group->addContainer("Deep")->addField("Field", Types::kDouble)};
    FieldBase* second{group->addField("Second", Types::kDouble)};
    Events events;
    std::vector<KrData::DelegateConnection> observers;
};

TEST_F(FieldPropertyChanges, TellTheFieldThenItsContainersOnce) {
    const std::function<void()> changes[] = {
        [&] { second->setVisible(false); },
        [&] { second->setDescription("text"); },
        [&] { second->setPhysicalDimension(Dimension::kForce); },
        [&] { second->setPhysicalDimensionHint(Hint::kNewton); },
        [&] { second->setPhysicalDimensionHint(Hint::kNone); },
    };
    for (const auto& change : changes)
        EXPECT_THAT(eventsOf(change), ElementsAre("Second of Second", "Group of Second", "Top of Second"));
}

TEST_F(FieldPropertyChanges, OfNameAndPlaceAreToldDownwardToo) {
    EXPECT_THAT(eventsOf([&] { group->setID("New"); }),
                ElementsAre("Group of New", "Top of New", "Field of New", "Second of New"));
    EXPECT_THAT(eventsOf([&] { group->setParent(&other); }),
                ElementsAre("Group of New", "Other of New", "Field of New", "Second of New"));
}

TEST_F(FieldPropertyChanges, MayDestroyTheField) {
    const auto killer = field->addPropertyObserver([&](const FieldBase&) { top.clear(); });
    field->setDescription("the last thing heard of it");
    EXPECT_THAT(events, ElementsAre("Field of Field"));
}

TEST(FieldReadOnly, FollowsRoleConnectionHintAndContainers) {
    Container outputs("Outputs", nullptr, Types::kOutput);
    Container inputs("Inputs", nullptr, Types::kInput);
    FieldBase* output = outputs.addField("Output", Types::kDouble);
    FieldBase* belowOutputs = (new Container("Plain", &outputs))->addField("Field", Types::kDouble);
    FieldBase* input = inputs.addContainer("Group")->addField("Input", Types::kDouble);
    EXPECT_TRUE(output->isReadOnlyHint());
    EXPECT_TRUE(belowOutputs->isReadOnlyHint());
    {
        const FakeConnection connection(*output, *input);
        EXPECT_TRUE(input->isReadOnlyHint());
    }
    EXPECT_FALSE(input->isReadOnlyHint());
    inputs.setReadOnlyHint(true);
    EXPECT_TRUE(input->isReadOnlyHint());
}

template <class T>
std::shared_ptr<FieldBase> with(const T& value) {
    return std::make_shared<Field<T>>("Field", nullptr, value);
}

TEST(FieldConversion, ToNumberBooleanAndText) {
    struct Case {
        std::shared_ptr<FieldBase> field;
        int integer;
        double real;
        bool boolean;
        const char* text;
    };
    const Case cases[] = {
        {with(-7), -7, -7.0, true, "-7"},
        {with(UINT_MAX), INT_MAX, 4294967295.0, true, "4294967295"},
        {with(static_cast<unsigned short>(65535)), 65535, 65535.0, true, "65535"},
        {with(true), 1, 1.0, true, "true"},
        {with(2.5), 2, 2.5, true, "2.5"},
        {with(-3.5), -4, -3.5, true, "-3.5"},
        {with(1e20), INT_MAX, 1e20, true, "1e+20"},
        {with(kNaN), 0, kNaN, false, "nan"},
        {with(-1e-300), 0, -1e-300, false, "-1e-300"},
        {with(0.1F), 0, static_cast<double>(0.1F), false, "0.1"},
        {with(std::string("0")), 0, 0.0, true, "0"},
        {with(std::string()), 0, 0.0, false, ""},
        {with(Kr::KrEnum(Dimension::kMass)), 2, 2.0, false, "Mass"},
        {with(Vector3{1, 2.5, -0.125}), 0, 0.0, false, "1 2.5 -0.125"},
        {with<KrSim::KrExtension*>(nullptr), 0, 0.0, false, ""},
        {std::make_shared<Container>("Field"), 0, 0.0, false, ""},
    };
    for (const auto& [field, integer, real, boolean, text] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(field->toInteger(), integer);
        EXPECT_THAT(field->toReal(), testing::NanSensitiveDoubleEq(real));
        EXPECT_EQ(field->toBoolean(), boolean);
        EXPECT_EQ(field->toString(), text);
    }
}

TEST(InvalidField, TakesNoStateFromAnyEntry) {
    FieldBase& invalid = FieldBase::getInvalidField();
    Container container("Container");
    Field<double> source("Source", nullptr, 1.0);
    const auto fail = [](const FieldBase&) { FAIL() << "nobody observes it"; };

    EXPECT_FALSE(invalid.copyValue(source));
    invalid._setDynamic(true);
    EXPECT_FALSE(invalid.setID("Other"));
    EXPECT_FALSE(invalid.setParent(&container));
    EXPECT_FALSE(container._addField(&invalid));
    invalid._cloneFrom(source);
    invalid.setReadOnlyHint(true);
    invalid.setDescription("text");
    invalid.setPhysicalDimension(Dimension::kForce);
    invalid.setPhysicalDimensionHint(Hint::kNewton);
    EXPECT_EQ(invalid.getInternal().addField("Tool", Types::kInteger), nullptr);
    source.setVisible(false);
    FieldInternal::copyFieldInternals(source, invalid, false);
    FieldAccess::replaceInternal(invalid, &source.getInternal());
    FieldAccess::setInternalIdentifier(invalid, 5);
    invalid._setOwnerIsActive(true);
    EXPECT_FALSE(invalid.addObserver(fail).isConnected());
    EXPECT_FALSE(invalid.addPropertyObserver(fail).isConnected());
    const FakeConnection out(invalid, source);
    const FakeConnection in(source, invalid);

    EXPECT_FALSE(FieldAccess::hasOutgoingConnections(invalid) || FieldAccess::hasIncomingConnections(invalid));
    EXPECT_EQ(invalid.getID().str(), "__Invalid__");
    EXPECT_EQ(invalid.getInternalIdentifier(), 0U);
    EXPECT_FALSE(invalid.isDynamic() || invalid.isReadOnlyHint() || FieldAccess::isOwnerActive(invalid));
    EXPECT_EQ(invalid.getDescription(), "");
    EXPECT_EQ(invalid.getPhysicalDimension(), Dimension::kNone);
    EXPECT_EQ(hiddenFieldsOf(invalid), Events());
    EXPECT_TRUE(container.empty());
    EXPECT_FALSE(invalid["Child"].isValid());
}

TEST(FieldCopies, AreLikenessesWithRangeAndHiddenFieldsOfTheirOwn) {
    Container container("Container");
    auto* source = container.add<double>("Source", 3.0);
    source->setRange(0.0, 5.0);
    source->setDescription("text");
    source->setPhysicalDimension(Dimension::kForce);
    source->setVisible(false);
    FieldAccess::setInternalIdentifier(*source, 17);
    const auto connection = source->addObserver([](const FieldBase&) { FAIL() << "observers are not copied"; });

    Field<double> copy(*source);
    EXPECT_FALSE(copy.isDynamic());
    Field<double> likeness("Likeness");
    likeness.getInternal().addField("Stale", Types::kInteger);
    likeness._cloneFrom(*source);
    likeness._cloneFrom(likeness);
    EXPECT_TRUE(likeness.isDynamic());
    for (Field<double>* each : {&copy, &likeness}) {
        EXPECT_EQ(each->getParent(), nullptr);
        EXPECT_EQ(each->getInternalIdentifier(), 17U);
        EXPECT_EQ(each->getDescription(), "text");
        EXPECT_EQ(each->getPhysicalDimension(), Dimension::kForce);
        EXPECT_THAT(hiddenFieldsOf(*each), ElementsAre("MetaData"));
        each->setVisible(true);
        EXPECT_FALSE(source->isVisible()) << "the hidden fields are a copy, too";
        each->setValue(9.0);
        EXPECT_EQ(each->getValue(), 5.0) << "the range came along";
    }
    EXPECT_TRUE(source->clone("New", &container)->isDynamic());
    EXPECT_EQ(idsOf(container), (Events{"Source", "New"}));
    EXPECT_EQ(source->clone(std::make_unique<RefusingContainer>("Refusing").get()), nullptr);
}

TEST(FieldInternal, CopiesReplaceOrMerge) {
    Field<int> source("Source");
    Field<int> sink("Sink");
    source.getInternal().addField("Shared", Types::kInteger)->set(1);
    source.getInternal().addField("New", Types::kInteger);
    sink.getInternal().addField("Own", Types::kInteger);
    sink.getInternal().addField("Shared", Types::kInteger)->set(8);
    FieldInternal::copyFieldInternals(source, sink, false);
    EXPECT_THAT(hiddenFieldsOf(sink), ElementsAre("Own", "Shared", "New"));
    EXPECT_EQ(sink.getInternal().getField("Shared").get<int>(), 1);
    FieldInternal::copyFieldInternals(source, sink, true);
    FieldInternal::copyFieldInternals(sink, sink, true);
    EXPECT_THAT(hiddenFieldsOf(sink), ElementsAre("Shared", "New"));
    EXPECT_EQ(sink.getInternal().addField("Shared", Types::kString), nullptr);
}

// --- Values that are not finite ------------------------------------------------------------------------------------

/// Takes what is reported while it lives.
struct NotFiniteReports {
    NotFiniteReports() { KrData::setNotFiniteObserver(&observe); }
    ~NotFiniteReports() {
        KrData::setNotFiniteObserver(nullptr);
        all.clear();
    }
    static void observe(const FieldBase& field, KrData::eRealRank rank) noexcept {
        all.push_back(field.getPath() + (rank == KrData::eRealRank::kNaN ? " NaN" : " infinite"));
    }
    static inline std::vector<std::string> all;
};

TEST(FieldNotFinite, ReportsAValueThatBecomesWorseThanTheStoredOne) {
    const NotFiniteReports reports;
    Field<double> field("F");
    for (const double each : {1.0, kInfinity, -kInfinity, kNaN, kNaN, kInfinity, 2.0, kNaN})
        field = each;
    EXPECT_THAT(NotFiniteReports::all, ElementsAre("F infinite", "F NaN", "F NaN"));
}

TEST(FieldNotFinite, ReportsAGetterOnceItsValueIsRead) {
    const NotFiniteReports reports;
    double answer = kNaN;
    Field<double> field("F");
    field.bindValue({.getter = [&] { return answer; }, .setter = {}});
    EXPECT_TRUE(NotFiniteReports::all.empty());
    for (const double each : {kNaN, kNaN, 1.0, kInfinity}) {
        answer = each;
        static_cast<void>(field.getValue());
    }
    EXPECT_THAT(NotFiniteReports::all, ElementsAre("F NaN", "F infinite"));
}

TEST(FieldNotFinite, LooksAtEachNumberOfAValueAndAtWhatARangeLeaves) {
    const NotFiniteReports reports;
    Field<float>("Float") = std::numeric_limits<float>::quiet_NaN();
    Field<Vector3>("Vector") = Vector3{1.0, 2.0, kNaN};
    Field<KrMath::QuaternionT<double>>("Turn") = KrMath::QuaternionT<double>{kInfinity, 0.0, 0.0, 1.0};
    Field<Kr::KrTransform> place("Place");
    Kr::KrTransform broken;
    broken.m[15] = kNaN;
    place = broken;
    Field<double> clamped("Clamped");
    ASSERT_TRUE(clamped.setRange(-1.0, 1.0));
    clamped = kInfinity;
    Field<double> copy("Copy");
    copy.copyValue(Field<double>("Source", nullptr, kNaN));
    EXPECT_THAT(NotFiniteReports::all,
                ElementsAre("Float NaN", "Vector NaN", "Turn infinite", "Place NaN", "Copy NaN"));
}

}  // namespace field_test
