#include "kr/data/container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kr/data/field_visitor.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"

namespace container_test {

using KrData::eMetadata;
using test_support::Container;
using test_support::Events;
using test_support::FakeOwner;
using test_support::Field;
using test_support::FieldBase;
using test_support::idsOf;
using test_support::RefusingContainer;
using test_support::Types;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::uint32_t> numbersOf(const Container& container) {
    std::vector<std::uint32_t> numbers;
    for (const FieldBase* child : container)
        numbers.push_back(child->getInternalIdentifier());
    return numbers;
}

/// A produced field that nobody owns yet, with this internal identifier.
FieldBase* loose(const char* id, std::uint32_t number) {
    FieldBase* field = Types::produce(Types::kInteger, id, nullptr);
    field->_setInternalIdentifier(number);
    return field;
}

void fill(Container& container, const std::vector<const char*>& ids) {
    for (const char* id : ids)
        container.addField(id, Types::kInteger);
}

// --- Internal identifiers ------------------------------------------------------------------------------------------

TEST(InternalIdentifiers, AreKeptWhereFreeAndElseTheNext) {
    Container container("Container");
    fill(container, {"1", "2", "3", "4", "5", "6"});
    container.removeField("5");
    ASSERT_EQ(container._getNextInternalIdentifier(), 7U);
    container._addField(loose("First", 5));
    EXPECT_EQ(container["First"].getInternalIdentifier(), 5U);
    EXPECT_EQ(container._getNextInternalIdentifier(), 7U);
    container._addField(loose("Second", 5));
    EXPECT_EQ(container["Second"].getInternalIdentifier(), 7U);
    EXPECT_EQ(container._getNextInternalIdentifier(), 8U);
    container._addField(loose("Far", 20));
    container._addField(loose("After", 0));
    EXPECT_EQ(container["After"].getInternalIdentifier(), 21U);
    EXPECT_EQ(container.getFieldByInternalIdentifier(20), &container["Far"]);
    EXPECT_EQ(container.getFieldByInternalIdentifier(0), nullptr);
}

TEST(InternalIdentifiers, OfRemovedChildrenAreNotGivenAgain) {
    Container container("Container");
    fill(container, {"A", "B"});
    container.removeField("B");
    container.addField("C", Types::kInteger);
    EXPECT_THAT(numbersOf(container), ElementsAre(1U, 3U));
    container["C"].setID("Renamed");
    EXPECT_EQ(container.getFieldByInternalIdentifier(3)->getID().str(), "Renamed");
}

TEST(InternalIdentifiers, StayUniqueAtTheEndOfTheirRange) {
    Container container("Container");
    for (const std::uint32_t number : {0xfffffffeU, 0xffffffffU, 0xffffffffU, 0U, 0U, 1U, 0xfffffffeU})
        container._addField(loose("Field", number));
    container.copyFieldsTo(&container);
    const auto numbers = numbersOf(container);
    EXPECT_EQ(std::set(numbers.begin(), numbers.end()).size(), numbers.size());
    EXPECT_EQ(container.getFieldByInternalIdentifier(0), nullptr);
}

TEST(InternalIdentifiers, AreTheSameInACloneAndNewBesideTheOriginal) {
    Container container("Container");
    fill(container, {"A", "B", "C"});
    container.removeField("A");
    const std::unique_ptr<Container> clone(container.clone(nullptr));
    EXPECT_THAT(numbersOf(*clone), ElementsAre(2U, 3U));
    EXPECT_EQ(clone->_getNextInternalIdentifier(), 4U);

    EXPECT_EQ(container["B"].clone("B2", &container)->getInternalIdentifier(), 4U);
    EXPECT_EQ(container._getNextInternalIdentifier(), 5U) << "no number is wasted";
    FieldBase* later = container.addField("Later", Types::kInteger);
    EXPECT_EQ(later->clone(clone.get())->getInternalIdentifier(), 5U);
}

TEST(InternalIdentifiers, StayUniqueWhereFieldsAreCopiedTo) {
    Container source("Source");
    Container destination("Destination");
    fill(source, {"A", "B", "C"});
    fill(destination, {"X", "Y", "Z"});
    destination.removeField("Y");
    source.copyFieldsTo(&destination);
    EXPECT_THAT(idsOf(destination), ElementsAre("X", "Z", "A", "B", "C"));
    EXPECT_THAT(numbersOf(destination), ElementsAre(1U, 3U, 4U, 2U, 5U));
    source.copyFieldsTo(&source);
    EXPECT_THAT(idsOf(source), ElementsAre("A", "B", "C", "A", "B", "C"));
    EXPECT_THAT(numbersOf(source), ElementsAre(1U, 2U, 3U, 4U, 5U, 6U));
    source.copyFieldsTo(nullptr);
}

// --- Adding, removing, finding -------------------------------------------------------------------------------------

TEST(ContainerChildren, OfOneNameAnswerInOrder) {
    Container container("Container");
    container.add<int>("Twin", 1);
    container.add<int>("Twin", 2);
    EXPECT_EQ(container["Twin"].get<int>(), 1);
    EXPECT_TRUE(container.removeField("Twin"));
    EXPECT_EQ(container["Twin"].get<int>(), 2);
    EXPECT_TRUE(container.removeField("Twin"));
    EXPECT_FALSE(container.removeField("Twin"));
}

TEST(ContainerChildren, ThatAreNotThereAreTheInvalidField) {
    Container container("Container");
    const Container& constant = container;
    fill(container, {"A"});
    EXPECT_TRUE(container.at(0).isValid());
    EXPECT_FALSE(container.at(1).isValid());
    EXPECT_FALSE(constant[std::size_t(-1)].isValid());
    EXPECT_FALSE(constant["B"].isValid());
    EXPECT_FALSE(container[""].isValid());
    EXPECT_EQ(container.find("B"), container.end());
    EXPECT_EQ(container.addField("B", Types::kUnknown), nullptr);
    EXPECT_EQ(container.addField("B", Types::kProxy), nullptr);
    EXPECT_EQ(container.insert(container.begin(), "B", typeid(long)), container.end());
    EXPECT_EQ(container.size(), 1U);
}

TEST(ContainerChildren, AreInsertedBeforeAndErasedAtAPlace) {
    Container container("Container");
    EXPECT_EQ((*container.insert(container.end(), "C", Types::kDouble))->getDataType(), Types::kDouble);
    EXPECT_EQ((*container.insert(container.begin(), "A", typeid(bool)))->getDataType(), Types::kBoolean);
    const auto place = container.insertExtensionField(container.begin() + 1, "B", "KrDynamics::Part");
    EXPECT_EQ(place, container.begin() + 1);
    EXPECT_EQ((*place)->getDataType(), Types::kExtension);
    EXPECT_TRUE((*place)->isDynamic());
    EXPECT_THAT(idsOf(container), ElementsAre("A", "B", "C"));
    EXPECT_EQ((*container.erase(container.begin() + 1))->getID().str(), "C");
    const auto behindTheLast = container.erase(container.begin() + 1);
    EXPECT_EQ(behindTheLast, container.end());
    EXPECT_EQ(container.erase(container.end()), container.end());
    EXPECT_THAT(idsOf(container), ElementsAre("A"));
}

struct MoveCase {
    const char* name;
    std::ptrdiff_t position;
    const char* id;
    Events order;
    std::ptrdiff_t answer;
};
void PrintTo(const MoveCase& each, std::ostream* out) {
    *out << each.name;
}
class MoveField : public testing::TestWithParam<MoveCase> {};

TEST_P(MoveField, PutsTheFieldBehindTheOneAtThePosition) {
    Container container("Container");
    fill(container, {"X", "Y", "Z"});
    int told = 0;
    const auto connection = container.addObserver([&](const FieldBase&) { ++told; });
    const auto answer = container.moveField(container.begin() + GetParam().position, GetParam().id);
    EXPECT_EQ(idsOf(container), GetParam().order);
    EXPECT_EQ(answer - container.begin(), GetParam().answer);
    EXPECT_EQ(told, 0);
}

INSTANTIATE_TEST_SUITE_P(Places, MoveField,
                         testing::Values(MoveCase{"ForwardToTheLast", 2, "X", {"Y", "Z", "X"}, 2},
                                         MoveCase{"ForwardByOne", 1, "X", {"Y", "X", "Z"}, 1},
                                         MoveCase{"BackBehindTheFirst", 0, "Z", {"X", "Z", "Y"}, 1},
                                         MoveCase{"BehindItsNeighbour", 1, "Z", {"X", "Y", "Z"}, 2},
                                         MoveCase{"OntoItself", 1, "Y", {"X", "Y", "Z"}, 1},
                                         MoveCase{"ToTheEnd", 3, "X", {"Y", "Z", "X"}, 2},
                                         MoveCase{"TheLastToTheEnd", 3, "Z", {"X", "Y", "Z"}, 2},
                                         MoveCase{"Nobody", 0, "W", {"X", "Y", "Z"}, 3}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(UniqueFieldId, CountsFromTwoPastWhatIsTaken) {
    Container container("Container");
    const auto unique = [&](const char* id) { return container.getUniqueFieldId(id).str(); };
    EXPECT_EQ(unique("Wheel"), "Wheel");
    fill(container, {"Wheel"});
    EXPECT_EQ(unique("Wheel"), "Wheel 2");
    fill(container, {"Wheel 3"});
    EXPECT_EQ(unique("Wheel"), "Wheel 2");
    fill(container, {"Wheel 2"});
    EXPECT_EQ(unique("Wheel"), "Wheel 4");
    EXPECT_EQ(unique("Wheel 2"), "Wheel 2 2");
    EXPECT_EQ(unique("wheel"), "wheel");
    fill(container, {"",
                     "R\xC3\xA4"
                     "der 9"});
    EXPECT_FALSE(container[unique("").c_str()].isValid());
    EXPECT_EQ(unique("R\xC3\xA4"
                     "der 9"),
              "R\xC3\xA4"
              "der 9 2");
}

TEST(ContainerPlace, IsRefusedToTheInvalidTheTakenAndTheAncestors) {
    Container top("Top");
    Container* group = top.addContainer("Group");
    Container* deep = group->addContainer("Deep");
    FieldBase* field = top.addField("Field", Types::kInteger);
    EXPECT_FALSE(top._addField(nullptr));
    EXPECT_FALSE(top._addField(field)) << "already a child";
    EXPECT_FALSE(group->_addField(field)) << "has a parent";
    EXPECT_FALSE(top._addField(&top));
    EXPECT_FALSE(deep->_addField(&top));
    EXPECT_FALSE(deep->_addField(&top, deep->begin()));
    EXPECT_FALSE(group->setParent(deep));
    EXPECT_FALSE(group->setParent(group));
    EXPECT_FALSE(top._removeField(deep)) << "not its own child";
    EXPECT_FALSE(top._removeField(nullptr));
    EXPECT_TRUE(group->setParent(nullptr));
    EXPECT_FALSE(deep->_addField(group)) << "still a cycle";
    EXPECT_TRUE(top._addField(group, top.begin()));
    EXPECT_THAT(idsOf(top), ElementsAre("Group", "Field"));
}

TEST(ContainerPlace, ACloneMayStandInsideItsOriginal) {
    Container top("Top");
    Container* group = top.addContainer("Group");
    fill(*group, {"A"});
    Container* copy = top.clone("Copy", group);
    ASSERT_NE(copy, nullptr);
    EXPECT_THAT(idsOf(*group), ElementsAre("A", "Copy"));
    EXPECT_THAT(idsOf(*copy), ElementsAre("Group"));
    EXPECT_EQ((*copy)["Group"].getChildren().size(), 1U);
}

struct MemberFields {
    Container inputs{"Inputs"};
    Field<double> force{"Force", &inputs};
    Field<double> mass{"Mass", &inputs};
};

TEST(ContainerPlace, MembersLeaveTheirContainerBeforeItDies) {
    MemberFields members{};
    EXPECT_THAT(idsOf(members.inputs), ElementsAre("Force", "Mass"));
    EXPECT_FALSE(members.force.setParent(nullptr)) << "declared, not produced";
    const auto watched = members.inputs.addObserver([](const FieldBase&) {});
}

TEST(ContainerPlace, ChildrenDieInOrder) {
    struct Mortal final : Field<int> {
        Mortal(const char* id, Container* parent, Events& theEvents) : Field(Detached{}, id), events(theEvents) {
            _attachTo(parent);
        }
        ~Mortal() override { events.push_back(getID().str()); }
        Events& events;
    };
    Events events;
    {
        Container top("Top");
        for (const char* id : {"A", "B", "C"})
            new Mortal(id, &top, events);
        new Mortal("D", top.addContainer("Group"), events);
        new Mortal("E", &top, events);
    }
    EXPECT_THAT(events, ElementsAre("A", "B", "C", "D", "E"));
}

TEST(ContainerPlace, ObserversMayDestroyTheContainerAsAChildGoes) {
    for (const bool clears : {false, true}) {
        auto top = std::make_unique<Container>("Top");
        Container* group = top->addContainer("Group");
        fill(*group, {"A", "B"});
        const auto killer = group->addObserver([&](const FieldBase&) { top.reset(); });
        if (clears) {
            group->clear();
        } else {
            group->removeField("A");
        }
        EXPECT_EQ(top, nullptr);
    }
}

// --- Paths ---------------------------------------------------------------------------------------------------------

TEST(FindFieldFromPath, TakesAbsolutePathsOfFieldsBelow) {
    Container root("Root");
    Container* group = root.addContainer("Group");
    Container* second = root.addContainer("Group 2");
    FieldBase* x = group->addField("x", Types::kInteger);
    FieldBase* y = second->addField("y", Types::kInteger);
    FieldBase* dotted = root.addField("Group.z", Types::kInteger);
    EXPECT_EQ(root.findFieldFromPath("Root.Group"), group);
    EXPECT_EQ(root.findFieldFromPath("Root.Group.x"), x);
    EXPECT_EQ(group->findFieldFromPath("Root.Group.x"), x);
    EXPECT_EQ(root.findFieldFromPath("Root.Group 2.y"), y);
    EXPECT_EQ(root.findFieldFromPath("Root.Group.z"), dotted);
    for (const char* nothing :
         {"", "Root", "x", "Group.x", "Root.Group.", "Root.Group.x.", ".Root.Group", "Root..Group", "Root.Group.y",
          "Root.Group 2.x", "Root.Grou", "Root.Group.xx", "Root.Group.x.x"})
        EXPECT_EQ(root.findFieldFromPath(nothing), nullptr) << nothing;
    EXPECT_EQ(group->findFieldFromPath("Root.Group"), nullptr) << "below, not itself";
    EXPECT_EQ(second->findFieldFromPath("Root.Group.x"), nullptr) << "elsewhere";

    FakeOwner owner;
    FieldBase* speed = owner.addContainer("Inputs")->addField("Speed", Types::kDouble);
    EXPECT_EQ(owner.findFieldFromPath("Inputs.Speed"), speed);
    EXPECT_EQ(owner.findFieldFromPath("Owner.Inputs.Speed"), nullptr);
    EXPECT_EQ(owner.findFieldFromPath(""), nullptr);
}

/// The rule itself, with every path written out.
FieldBase* findByFullPaths(const Container& container, const std::string& path) {
    if (path.empty()) return nullptr;
    for (FieldBase* child : container) {
        const std::string childPath = child->getPath();
        if (childPath == path) return child;
        if (child->getDataType() != Types::kContainer || !path.starts_with(childPath)) continue;
        if (auto* found = findByFullPaths(static_cast<Container&>(*child), path)) return found;
    }
    return nullptr;
}

void grow(Container& container, int depth, std::mt19937& random, std::vector<FieldBase*>& all) {
    constexpr const char* kIds[] = {"a", "b", "a.b", "", ".", "b.", "ab", "a.a"};
    for (int i = 0; i < 4; ++i) {
        const char* id = kIds[random() % std::size(kIds)];
        if (depth > 0 && random() % 2 == 0) {
            all.push_back(container.addContainer(id));
            grow(static_cast<Container&>(*all.back()), depth - 1, random, all);
        } else {
            all.push_back(container.addField(id, Types::kBoolean));
        }
    }
}

TEST(FindFieldFromPath, AgreesWithFullPathsOnTreesOfAwkwardNames) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto root =
            seed % 3 == 0 ? std::make_unique<FakeOwner>("a") : std::make_unique<Container>(seed % 3 == 1 ? "" : "a");
        std::vector<FieldBase*> all;
        grow(*root, 3, random, all);
        for (const FieldBase* each : all) {
            for (const std::string& path : {each->getPath(), each->getPath() + ".b", "a." + each->getPath()}) {
                ASSERT_EQ(root->findFieldFromPath(path), findByFullPaths(*root, path)) << '"' << path << '"';
                if (const Container* parent = each->getParent(); parent != root.get()) {
                    ASSERT_EQ(parent->findFieldFromPath(path), findByFullPaths(*parent, path)) << '"' << path << '"';
                }
            }
        }
    }
}

TEST(FindFieldFromPath, ReachesTheBottomOfADeepTree) {
    Container root("Root");
    Container* last = &root;
    for (int i = 0; i < 2'000; ++i)
        last = last->addContainer("Down");
    FieldBase* leaf = last->addField("Leaf", Types::kInteger);
    EXPECT_EQ(root.findFieldFromPath(leaf->getPath()), leaf);
    const std::unique_ptr<Container> copy(root.clone(nullptr));
    EXPECT_TRUE(copy->isEqual(root));
    EXPECT_FALSE(leaf->setParent(&root) && root.setParent(last));
}

// --- Copying and comparing -----------------------------------------------------------------------------------------

TEST(ContainerCopy, ACloneIsDeepEqualDynamicAndIndependent) {
    Container original("Original", nullptr, Types::kParameter);
    original.setDescription("text");
    Container* group = original.addContainer("Group");
    group->setVisible(false);
    auto* mass = group->add<double>("Mass", 3.0);
    mass->setRange(0.0, 5.0);
    mass->setReadOnlyHint(true);
    Field<int> declared("Declared", group, 7);
    original.addExtensionField("Wheel", "KrDynamics::Part");
    const auto watched = mass->addObserver([](const FieldBase&) { FAIL() << "observers are not cloned"; });

    Container target("Target");
    Container* copy = original.clone("Copy", &target);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getParent(), &target);
    EXPECT_EQ(copy->getFieldType(), Types::kParameter);
    EXPECT_EQ(copy->getDescription(), "text");
    EXPECT_TRUE(copy->isEqual(original));
    EXPECT_TRUE(copy->isDynamic());
    auto& copiedGroup = static_cast<Container&>((*copy)["Group"]);
    EXPECT_THAT(idsOf(copiedGroup), ElementsAre("Mass", "Declared"));
    EXPECT_FALSE(copiedGroup.isVisible());
    FieldBase& copiedMass = copiedGroup["Mass"];
    EXPECT_TRUE(copiedMass.isReadOnlyHint());
    EXPECT_TRUE(copiedGroup["Declared"].isDynamic());
    EXPECT_FALSE(copiedMass.hasWatchers());
    copiedMass.set(99.0);
    EXPECT_EQ(copiedMass.get<double>(), 5.0) << "with its range";
    EXPECT_EQ(mass->getValue(), 3.0);
    EXPECT_FALSE(copy->isEqual(original));

    Container copied(original);
    EXPECT_FALSE(copied.isDynamic());
    EXPECT_TRUE(copied.isEqual(original));
    RefusingContainer refusing("Refusing");
    EXPECT_EQ(original.clone(&refusing), nullptr);
    copied._cloneFrom(*copy);
    EXPECT_TRUE(copied.isEqual(*copy));
    copied._cloneFrom(copied);
    EXPECT_TRUE(copied.isEqual(*copy));
}

TEST(ContainerEquality, CountsNamesAndValuesNotOrder) {
    Container first("First");
    first.add<int>("A", 1);
    first.add<double>("B", 2.0);
    Container second("Second", nullptr, Types::kInput);
    second.add<double>("B", 2.0);
    second.add<int>("A", 1);
    EXPECT_TRUE(first.isEqual(second));
    second["A"].setID("C");
    EXPECT_FALSE(first.isEqual(second));
    second["C"].setID("A");
    second["A"].set(5);
    EXPECT_FALSE(first.isEqual(second));
    second["A"].set(1);
    second.addField("More", Types::kInteger);
    EXPECT_FALSE(first.isEqual(second));
    EXPECT_FALSE(second.isEqual(first));
    EXPECT_FALSE(first.isEqual(Field<int>("First")));
    EXPECT_FALSE(Field<int>("First").isEqual(first));
    second.removeField("More");
    second.removeField("B");
    second.add<int>("B", 2);
    EXPECT_FALSE(first.isEqual(second)) << "another type";
}

TEST(ContainerEquality, ChildrenOfOneNameDoNotMakeACloneUnequal) {
    Container twins("Twins");
    twins.add<int>("Twin", 1);
    twins.add<int>("Twin", 2);
    EXPECT_TRUE(twins.isEqual(*std::unique_ptr<Container>(twins.clone(nullptr))));
    Container others("Others");
    others.add<int>("Twin", 1);
    others.add<int>("Twin", 3);
    EXPECT_FALSE(twins.isEqual(others));
    others["Twin"].set(2);
    EXPECT_FALSE(twins.isEqual(others)) << "2 and 3";
    others.at(1).set(1);
    EXPECT_TRUE(twins.isEqual(others)) << "in another order";
}

TEST(ContainerCopy, AssignmentSetsChildrenOfOneNameAndNoMore) {
    const test_support::LogCapture log;
    Container source("Source");
    source.add<int>("Same", 1);
    source.add<int>("Other type", 2);
    source.add<int>("Only there", 3);
    source.addContainer("Group")->add<int>("Deep", 4);
    source["Same"].setVisible(false);
    Container sink("Sink");
    sink.addContainer("Group")->add<int>("Deep", 0);
    sink.add<bool>("Other type", true);
    sink.add<int>("Same", 0);
    sink.add<int>("Only here", 9);
    sink = source;
    EXPECT_THAT(idsOf(sink), ElementsAre("Group", "Other type", "Same", "Only here"));
    EXPECT_EQ(sink["Same"].get<int>(), 1);
    EXPECT_EQ(sink["Group"]["Deep"].get<int>(), 4);
    EXPECT_EQ(sink["Other type"].get<bool>(), true);
    EXPECT_EQ(sink["Only here"].get<int>(), 9);
    EXPECT_TRUE(sink["Same"].isVisible());
    EXPECT_TRUE(sink.initializeFrom(source));
    EXPECT_FALSE(sink["Same"].isVisible());
    EXPECT_TRUE(sink.copyValue(sink));

    EXPECT_FALSE(sink.copyValue(Field<int>("Number")));
    EXPECT_FALSE(sink.initializeFrom(FieldBase::getInvalidField()));
    EXPECT_THAT(log.lines(), testing::IsSupersetOf({"5 Container: unable to copy value from Number to Sink.\n",
                                                    "5 Container: unable to copy value from __Invalid__ to Sink.\n"}));
}

TEST(ContainerCopy, ObserversMayChangeOrDestroyEitherSide) {
    for (const char* what : {"shrink the source", "empty the sink", "destroy the sink", "destroy the source"}) {
        SCOPED_TRACE(what);
        auto source = std::make_unique<Container>("Source");
        auto sink = std::make_unique<Container>("Sink");
        for (int i = 0; i < 40; ++i) {
            source->add<int>(std::to_string(i), i + 1);
            sink->add<int>(std::to_string(i));
        }
        const auto meddler = sink->at(3).addObserver([&](const FieldBase&) {
            if (what == std::string("shrink the source")) source->erase(source->begin());
            if (what == std::string("empty the sink")) sink->clear();
            if (what == std::string("destroy the sink")) sink.reset();
            if (what == std::string("destroy the source")) source.reset();
        });
        EXPECT_TRUE(sink->initializeFrom(*source));
        if (source && sink && !sink->empty()) {
            EXPECT_EQ(sink->at(39).get<int>(), 40);
        }
    }
}

TEST(ContainerCopy, ResetGoesToAllChildren) {
    Container container("Container");
    container.add<int>("Number", 5);
    container.addContainer("Group")->add<std::string>("Text", "text");
    container.reset();
    EXPECT_EQ(container["Number"].get<int>(), 0);
    EXPECT_EQ(container["Group"]["Text"].get<std::string>(), "");
    EXPECT_EQ(container.size(), 2U);
}

TEST(ContainerBulk, AHundredThousandChildrenAreBuiltClonedComparedAndCleared) {
    constexpr int kCount = 100'000;
    FakeOwner owner;
    Container* outputs = new Container("Outputs", &owner, Types::kOutput);
    int told = 0;
    const auto watched = outputs->addObserver([&](const FieldBase&) { ++told; });
    for (int i = 0; i < kCount; ++i)
        outputs->add<int>("Field " + std::to_string(i), i);
    EXPECT_GE(told, kCount);
    const std::unique_ptr<Container> clone(outputs->clone(nullptr));
    EXPECT_TRUE(clone->isEqual(*outputs));
    clone->moveField(clone->end(), "Field 0");
    EXPECT_TRUE(outputs->isEqual(*clone));
    clone->at(kCount - 1).set(-1);
    EXPECT_FALSE(outputs->isEqual(*clone));
    *outputs = *clone;
    EXPECT_TRUE(outputs->isEqual(*clone));
    clone->copyFieldsTo(outputs);
    EXPECT_EQ(outputs->size(), 2U * kCount);
    outputs->clear();
    EXPECT_TRUE(outputs->empty());
}

TEST(ContainerVisit, GoesDepthFirstInOrder) {
    struct Names final : KrData::FieldVisitor {
        void visitContainer(Container& container) override { names.push_back("[" + container.getID().str() + "]"); }
        void visitField(FieldBase& field) override { names.push_back(field.getID().str()); }
        Events names;
    };
    Container top("Top");
    fill(top, {"A"});
    fill(*top.addContainer("Group"), {"B", "C"});
    top.addContainer("Empty");
    fill(top, {"D"});
    Names names;
    top.accept(names);
    EXPECT_THAT(names.names, ElementsAre("[Top]", "A", "[Group]", "B", "C", "[Empty]", "D"));
}

}  // namespace container_test
