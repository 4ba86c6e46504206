#include "kr/data/container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kr/data/container_access.h"
#include "kr/data/field_access.h"
#include "kr/data/field_visitor.h"
#include "tests/support/case_name.h"
#include "tests/support/field_doubles.h"
#include "tests/support/growth.h"
#include "tests/support/log_capture.h"

namespace container_test {

using KrData::detail::ContainerAccess;
using KrData::detail::FieldAccess;
using namespace test_support;
using testing::ElementsAre;
using Numbers = std::vector<std::uint32_t>;

Numbers numbersOf(const Container& container) {
    Numbers numbers;
    for (const FieldBase* child : container)
        numbers.push_back(child->getInternalIdentifier());
    return numbers;
}

void addNumbered(Container& container, const Numbers& numbers) {
    for (const auto number : numbers) {
        FieldBase* field = Types::produce(Types::kInteger, std::to_string(number), nullptr);
        FieldAccess::setInternalIdentifier(*field, number);
        container._addField(field);
    }
}

void fill(Container& container, const std::vector<const char*>& ids) {
    for (const char* id : ids)
        container.addField(id, Types::kInteger);
}

TEST(InternalIdentifiers, StayUniqueAtTheEndOfTheirRange) {
    Container container("Container");
    addNumbered(container, {0xfffffffe, 0xffffffff, 0xffffffff, 0, 0, 1, 0xfffffffe});
    container.copyFieldsTo(&container);
    const auto numbers = numbersOf(container);
    EXPECT_EQ(std::set(numbers.begin(), numbers.end()).size(), numbers.size());
    EXPECT_EQ(container.getFieldByInternalIdentifier(0), nullptr);
}

TEST(InternalIdentifiers, AreKeptInCopiesAsFarAsTheyAreFree) {
    Container source("Source");
    fill(source, {"A", "B", "C"});
    source.removeField("A");
    const std::unique_ptr<Container> clone(source.clone(nullptr));
    EXPECT_EQ(numbersOf(*clone), (Numbers{2, 3}));
    EXPECT_EQ(ContainerAccess::getNextInternalIdentifier(*clone), 4U);
    EXPECT_EQ(source["B"].clone("B2", &source)->getInternalIdentifier(), 4U);
    EXPECT_EQ(ContainerAccess::getNextInternalIdentifier(source), 5U) << "no number is wasted";

    Container destination("Destination");
    fill(destination, {"X", "Y", "Z"});
    destination.removeField("Y");
    source.copyFieldsTo(&destination);
    EXPECT_THAT(idsOf(destination), ElementsAre("X", "Z", "B", "C", "B2"));
    EXPECT_EQ(numbersOf(destination), (Numbers{1, 3, 2, 4, 5}));
    source.copyFieldsTo(&source);
    EXPECT_THAT(idsOf(source), ElementsAre("B", "C", "B2", "B", "C", "B2"));
    EXPECT_EQ(numbersOf(source), (Numbers{2, 3, 4, 5, 6, 7}));
    source.copyFieldsTo(nullptr);
}

TEST(ContainerChildren, AreFoundByTheFirstNameOrNotAtAll) {
    Container container("Container");
    container.add<int>("Twin", 1);
    container.add<int>("Twin", 2);
    EXPECT_EQ(container["Twin"].get<int>(), 1);
    EXPECT_TRUE(container.removeField("Twin"));
    EXPECT_EQ(container["Twin"].get<int>(), 2);
    EXPECT_FALSE(container.at(1).isValid());
    EXPECT_FALSE(container[""].isValid());
    EXPECT_FALSE(container.removeField("B"));
    EXPECT_EQ(container.addField("B", Types::kUnknown), nullptr);
    EXPECT_EQ(container.insert(container.begin(), "B", typeid(long)), container.end());
}

TEST(ContainerChildren, AreInsertedBeforeAndErasedAtAPlace) {
    Container container("Container");
    EXPECT_EQ((*container.insert(container.end(), "C", Types::kDouble))->getDataType(), Types::kDouble);
    EXPECT_EQ((*container.insert(container.begin(), "A", typeid(bool)))->getDataType(), Types::kBoolean);
    const auto place = container.insertExtensionField(container.begin() + 1, "B", "KrDynamics::Part");
    EXPECT_EQ(place, container.begin() + 1);
    EXPECT_TRUE((*place)->isDynamic());
    EXPECT_THAT(idsOf(container), ElementsAre("A", "B", "C"));
    for (int left : {2, 1}) {
        const auto next = container.erase(container.begin() + 1);
        EXPECT_EQ(next - container.begin(), 1) << left;
    }
    EXPECT_EQ(container.erase(container.end()), container.end());
    EXPECT_THAT(idsOf(container), ElementsAre("A"));
}

TEST(MoveField, PutsTheFieldBehindTheOneAtThePosition) {
    struct Case {
        std::ptrdiff_t position;
        const char* id;
        Events order;
        std::ptrdiff_t answer;
    };
    for (const auto& [position, id, order, place] :
         {Case{1, "X", {"Y", "X", "Z"}, 1}, Case{0, "Z", {"X", "Z", "Y"}, 1}, Case{1, "Z", {"X", "Y", "Z"}, 2},
          Case{1, "Y", {"X", "Y", "Z"}, 1}, Case{3, "X", {"Y", "Z", "X"}, 2}, Case{0, "W", {"X", "Y", "Z"}, 3}}) {
        SCOPED_TRACE(id + (" behind " + std::to_string(position)));
        Container container("Container");
        fill(container, {"X", "Y", "Z"});
        const auto connection = container.addObserver([](const FieldBase&) { FAIL() << "only the order changes"; });
        const auto answer = container.moveField(container.begin() + position, id);
        EXPECT_EQ(idsOf(container), order);
        EXPECT_EQ(answer - container.begin(), place);
    }
}

TEST(UniqueFieldId, CountsFromTwoPastWhatIsTaken) {
    Container container("Container");
    const auto unique = [&](const char* id) { return container.getUniqueFieldId(id).str(); };
    EXPECT_EQ(unique("Wheel"), "Wheel");
    fill(container, {"Wheel", "Wheel 3", ""});
    EXPECT_EQ(unique("Wheel"), "Wheel 2");
    fill(container, {"Wheel 2"});
    EXPECT_EQ(unique("Wheel"), "Wheel 4");
    EXPECT_EQ(unique("Wheel 2"), "Wheel 2 2");
    EXPECT_FALSE(container[unique("").c_str()].isValid());
}

TEST(ContainerPlace, IsRefusedToTheInvalidTheTakenAndTheAncestors) {
    Container top("Top");
    Container* group = top.addContainer("Group");
    Container* deep = group->addContainer("Deep");
    FieldBase* field = top.addField("Field", Types::kInteger);
    EXPECT_FALSE(top._addField(nullptr));
    EXPECT_FALSE(group->_addField(field)) << "has a parent";
    EXPECT_FALSE(deep->_addField(&top));
    EXPECT_FALSE(top._removeField(deep)) << "not its own child";
    EXPECT_TRUE(group->setParent(nullptr));
    EXPECT_FALSE(deep->_addField(group)) << "still a cycle";
    EXPECT_TRUE(top._addField(group, top.begin()));
    EXPECT_THAT(idsOf(top), ElementsAre("Group", "Field"));

    Container* copy = top.clone("Copy", group);
    EXPECT_THAT(idsOf(*group), ElementsAre("Deep", "Copy")) << "a clone may stand inside its original";
    EXPECT_THAT(idsOf(*copy), ElementsAre("Group", "Field"));
    EXPECT_EQ((*copy)["Group"].getChildren().size(), 1U);
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
        new Mortal("A", &top, events);
        new Mortal("B", top.addContainer("Group"), events);
        new Mortal("C", &top, events);
    }
    EXPECT_THAT(events, ElementsAre("A", "B", "C"));
}

TEST(ContainerPlace, AnObserverOfTheOldParentMayDestroyTheNewOne) {
    Container old("Old");
    auto next = std::make_unique<Container>("New");
    auto* field = old.addField("Field", Types::kInteger);
    const auto killer = old.addObserver([&](const FieldBase&) { next.reset(); });
    EXPECT_FALSE(field->setParent(next.get()));
    EXPECT_EQ(field->getParent(), &old) << "a refused move changes nothing";
}

TEST(ContainerPlace, ADyingChildMayTakeItsSiblingOrItsContainerAlong) {
    for (const bool takesContainer : {false, true}) {
        auto group = std::make_unique<Container>("Group");
        auto* source = group->add<int>("Source");
        FieldBase* sibling = group->add<int>("Sibling");
        Field<int> sink("Sink");
        const FakeConnection connection(*source, sink);
        FakeListener listener(
            [&](auto...) { takesContainer ? group.reset() : delete std::exchange(sibling, nullptr); });
        sink.registerListener(&listener);
        group->clear();
        EXPECT_TRUE(takesContainer ? group == nullptr : group->empty());
        EXPECT_FALSE(connection.isValid());
    }
}

TEST(FindFieldFromPath, TakesAbsolutePathsOfFieldsBelow) {
    Container root("Root");
    Container* group = root.addContainer("Group");
    FieldBase* x = group->addField("x", Types::kInteger);
    FieldBase* dotted = root.addField("Group.z", Types::kInteger);
    EXPECT_EQ(root.findFieldFromPath("Root.Group"), group);
    EXPECT_EQ(group->findFieldFromPath("Root.Group.x"), x);
    EXPECT_EQ(root.findFieldFromPath("Root.Group.z"), dotted);
    for (const char* nothing : {"", "Root", "Group.x", "Root.Group.x.", ".Root.Group", "Root..Group", "Root.Grou"})
        EXPECT_EQ(root.findFieldFromPath(nothing), nullptr) << nothing;
    EXPECT_EQ(group->findFieldFromPath("Root.Group"), nullptr) << "below, not itself";
}

TEST(FindFieldFromPath, CopesWithAwkwardNames) {
    for (const char* rootId : {"", "a", "."}) {
        Container root(rootId);
        for (const char* groupId : {"", ".", "a", "a.", "b.a"}) {
            for (const char* id : {"", "b", ".b", "a.b", "."})
                root.addContainer(groupId)->addField(id, Types::kBoolean);
        }
        for (const FieldBase* group : root) {
            const std::string path = group->getChildren().front()->getPath();
            const FieldBase* found = root.findFieldFromPath(path);
            ASSERT_EQ(found != nullptr, !path.empty()) << '"' << path << '"';
            EXPECT_EQ(found ? found->getPath() : "", path);
        }
        EXPECT_EQ(root.findFieldFromPath("a.b.a.b.c"), nullptr);
    }
}

TEST(ContainerCopy, ACloneIsDeepEqualDynamicAndIndependent) {
    Container original("Original", nullptr, Types::kParameter);
    original.setDescription("text");
    Container* group = original.addContainer("Group");
    group->setVisible(false);
    auto* mass = group->add<double>("Mass", 3.0);
    mass->setRange(0.0, 5.0);
    const Field<int> declared("Declared", group, 7);

    Container target("Target");
    Container* copy = original.clone("Copy", &target);
    EXPECT_EQ(&target["Copy"], copy);
    EXPECT_EQ(copy->getFieldType(), Types::kParameter);
    EXPECT_EQ(copy->getDescription(), "text");
    EXPECT_TRUE(copy->isEqual(original));
    FieldBase& copiedGroup = (*copy)["Group"];
    EXPECT_FALSE(copiedGroup.isVisible());
    EXPECT_TRUE(copiedGroup["Declared"].isDynamic());
    copiedGroup["Mass"].set(99.0);
    EXPECT_EQ(copiedGroup["Mass"].get<double>(), 5.0) << "with its range";
    EXPECT_FALSE(copy->isEqual(original));

    Container likeness("Likeness");
    likeness._cloneFrom(*copy);
    likeness._cloneFrom(likeness);
    EXPECT_TRUE(likeness.isEqual(*copy));
    EXPECT_EQ(likeness.getFieldType(), Types::kParameter);
    EXPECT_EQ(original.clone(std::make_unique<RefusingContainer>("Refusing").get()), nullptr);
}

TEST(ContainerCopy, AContainerMayBecomeTheLikenessOfADescendant) {
    Container top("Top");
    top.addContainer("Group")->add<int>("X", 7);
    top._cloneFrom(top["Group"]);
    ASSERT_EQ(top.size(), 1U);
    EXPECT_EQ(top["X"].get<int>(), 7);
}

TEST(ContainerEquality, CountsNamesTypesAndValuesNotOrder) {
    using Values = std::vector<std::pair<const char*, int>>;
    const auto areEqual = [](const Values& left, const Values& right) {
        Container first("First");
        Container second("Second", nullptr, Types::kInput);
        for (const auto& [id, value] : left)
            first.add<int>(id, value);
        for (const auto& [id, value] : right)
            second.add<int>(id, value);
        EXPECT_EQ(first.isEqual(second), second.isEqual(first));
        return first.isEqual(second);
    };
    EXPECT_TRUE(areEqual({{"A", 1}, {"B", 2}}, {{"B", 2}, {"A", 1}}));
    EXPECT_FALSE(areEqual({{"A", 1}, {"B", 2}}, {{"B", 2}, {"C", 1}})) << "another name";
    EXPECT_FALSE(areEqual({{"A", 1}, {"B", 2}}, {{"B", 2}, {"A", 5}})) << "another value";
    EXPECT_FALSE(areEqual({{"A", 1}, {"B", 2}}, {{"B", 2}})) << "one less";
    EXPECT_TRUE(areEqual({{"Twin", 1}, {"Twin", 2}}, {{"Twin", 2}, {"Twin", 1}}));
    EXPECT_FALSE(areEqual({{"Twin", 1}, {"Twin", 2}}, {{"Twin", 1}, {"Twin", 3}}));
    EXPECT_FALSE(areEqual({{"Twin", 1}, {"Twin", 2}}, {{"Twin", 2}, {"Twin", 3}}));
    EXPECT_FALSE(Container("First").isEqual(Field<int>("First")));
}

TEST(ContainerCopy, AssignmentSetsChildrenOfOneNameAndNoMore) {
    const LogCapture log;
    Container source("Source");
    source.add<int>("Same", 1)->setVisible(false);
    source.add<int>("Other type", 2);
    source.add<int>("Only there", 3);
    source.addContainer("Group")->add<int>("Deep", 4);
    source.setVisible(false);
    Container sink("Sink");
    sink.addContainer("Group")->add<int>("Deep", 0);
    sink.add<bool>("Other type", true);
    sink.add<int>("Same", 0);
    sink = source;
    EXPECT_THAT(idsOf(sink), ElementsAre("Group", "Other type", "Same"));
    EXPECT_EQ(sink["Same"].get<int>(), 1);
    EXPECT_EQ(sink["Group"]["Deep"].get<int>(), 4);
    EXPECT_TRUE(sink.isVisible() && sink["Same"].isVisible()) << "values only";
    EXPECT_TRUE(sink.initializeFrom(source));
    EXPECT_FALSE(sink.isVisible());
    EXPECT_FALSE(sink["Same"].isVisible());
    EXPECT_FALSE(sink.copyValue(Field<int>("Number")));
    EXPECT_THAT(log.lines(), testing::Contains("5 Container: unable to copy value from Number to Sink.\n"));
    sink.reset();
    EXPECT_EQ(sink["Group"]["Deep"].get<int>(), 0);
}

TEST(ContainerCopy, ObserversMayChangeOrDestroyEitherSide) {
    for (const std::string what : {"shrink the source", "empty the sink", "destroy the sink", "destroy the source"}) {
        SCOPED_TRACE(what);
        auto source = std::make_unique<Container>("Source");
        auto sink = std::make_unique<Container>("Sink");
        for (int i = 0; i < 40; ++i) {
            source->add<int>(std::to_string(i), i + 1);
            sink->add<int>(std::to_string(i));
        }
        source->add<int>("39", 99);  // behind its namesake
        const auto meddler = sink->at(3).addObserver([&](const FieldBase&) {
            if (what == "shrink the source") source->erase(source->begin());
            if (what == "empty the sink") sink->clear();
            if (what == "destroy the sink") sink.reset();
            if (what == "destroy the source") source.reset();
        });
        EXPECT_TRUE(sink->initializeFrom(*source));
        EXPECT_TRUE(what != "shrink the source" || sink->at(39).get<int>() == 40);
    }
}

TEST(ContainerBulk, AHundredThousandChildrenAreBuiltClonedComparedAndCleared) {
    constexpr int kCount = 100'000;
    Container outputs("Outputs");
    for (int i = 0; i < kCount; ++i)
        outputs.add<int>("Field " + std::to_string(i), i);
    const std::unique_ptr<Container> clone(outputs.clone(nullptr));
    clone->moveField(clone->end(), "Field 0");
    EXPECT_TRUE(outputs.isEqual(*clone));
    clone->at(kCount - 1).set(-1);
    outputs = *clone;
    EXPECT_TRUE(outputs.isEqual(*clone));
    clone->copyFieldsTo(&outputs);
    EXPECT_EQ(outputs.size(), 2U * kCount);
    outputs.clear();
}

void nest(Container& top, int depth) {
    Container* lowest = &top;
    for (int i = 0; i < depth; ++i)
        lowest = lowest->addContainer("Group");
}

TEST(ContainerBulk, TimeToCloneAndDestroyATreeGrowsWithItsDepth) {
    constexpr int kDepth = 60;
    Container low("Top"), high("Top");
    nest(low, kDepth);
    nest(high, 4 * kDepth);
    const auto cloneTree = [&](int depth) { delete (depth == kDepth ? low : high).clone(nullptr); };
    EXPECT_LT(test_support::measureGrowth(kDepth, cloneTree), 10.0);
}

TEST(ContainerVisit, GoesDepthFirstInOrder) {
    struct Names final : KrData::FieldVisitor {
        void visitContainer(Container& container) override { names.push_back("[" + container.getID().str() + "]"); }
        void visitField(FieldBase& field) override { names.push_back(field.getID().str()); }
        Events names;
    };
    Container top("Top");
    fill(*top.addContainer("Group"), {"A", "B"});
    top.addContainer("Empty");
    fill(top, {"C"});
    Names names;
    top.accept(names);
    EXPECT_THAT(names.names, ElementsAre("[Top]", "[Group]", "A", "B", "[Empty]", "C"));
}

// --- Lookup among many children, against a search through all of them -----------------------------------------------

const FieldBase* findByLooking(const Container& container, const std::string& path) {
    for (const FieldBase* child : container) {
        if (child->getPath() == path) return child;
        if (child->getDataType() != Types::kContainer) continue;
        if (const auto* found = findByLooking(static_cast<const Container&>(*child), path)) return found;
    }
    return nullptr;
}

Container::iterator findFirst(const Container& container, const Kr::KrID& id) {
    return std::find_if(container.begin(), container.end(), [&](const FieldBase* each) { return each->getID() == id; });
}

/// Most identifiers are unique; some are used twice, are empty, or contain dots.
Kr::KrID anyID(std::mt19937& random) {
    switch (random() % 24) {
        case 0:
            return "Group";
        case 1:
            return "Group.Leaf";
        case 2:
            return random() % 8 == 0 ? "" : "Leaf";
        default:
            return "Child " + std::to_string(random() % 400);
    }
}

void changeAnywhere(Container& container, std::mt19937& random) {
    const auto place = container.begin() + static_cast<std::ptrdiff_t>(random() % (container.size() + 1));
    const auto id = anyID(random);
    switch (random() % 16) {
        case 0:
            container.insert(place, id, Types::kInteger);
            break;
        case 1:
            container.erase(place);
            break;
        case 2:
            container.moveField(place, id);
            break;
        case 3:
            if (place != container.end()) (*place)->setID(id);
            break;
        case 4:
            if (random() % 64 == 0) container.clear();
            break;
        case 5:
        case 6:
            container.removeField(container.empty() ? id : container.getChildren().back()->getID());
            break;
        case 7:
            container.addContainer("Group")->addField("Leaf", Types::kInteger);
            break;
        default:
            container.addField(id, Types::kInteger);
            break;
    }
}

TEST(Container, FindsTheFirstOfManyChildrenWhateverChanged) {
    constexpr std::uint_fast32_t kSeed = 20260113;
    std::mt19937 random(kSeed);
    Container top("Top");
    for (int i = 0; i < 100; ++i)
        top.addField("Child " + std::to_string(i), Types::kInteger);
    for (int step = 0; step < 5'000; ++step) {
        if (random() % 4 == 0) changeAnywhere(top, random);
        const auto id = anyID(random);
        ASSERT_EQ(top.find(id), findFirst(top, id)) << "seed " << kSeed << ", step " << step << ", " << id.str();
        const auto path = "Top." + (random() % 8 == 0 ? "Group.Leaf" : id.str());
        ASSERT_EQ(top.findFieldFromPath(path), findByLooking(top, path))
            << "seed " << kSeed << ", step " << step << ", " << path;
    }
}

// --- Deprecated names ----------------------------------------------------------------------------------------------

/// Deeper fields could not be destroyed, as that takes stack for each level.
TEST(Container, LiesAThousandLevelsDeepAndNoDeeper) {
    const auto nest = [](Container& top, int levels) {
        auto* lowest = &top;
        for (int i = 1; i < levels; ++i)
            lowest = lowest->addContainer("Level");
        return lowest;
    };
    Container top("Top");
    auto& lowest = *nest(top, 1000);
    const test_support::LogCapture log;
    EXPECT_EQ(lowest.add<double>("Value"), nullptr);
    const std::vector<std::string> refused{
        "3 Container: 'Value' is not added to 'Level': fields lie more than 1000 levels deep inside one another.\n"};
    EXPECT_EQ(log.lines(), refused);

    Container other("Other");
    auto branch = std::make_unique<Container>("Branch");
    nest(*branch, 1000);
    EXPECT_FALSE(other._addField(branch.get()));
    branch->clear();
    nest(*branch, 999);
    EXPECT_TRUE(other._addField(branch.release()));
}

TEST(DeprecatedNames, FindThePresentChildAndWarnOnce) {
    Container top("Top");
    auto* group = top.addContainer("Group");
    auto* force = group->add<double>("Force", 2.0);
    ASSERT_TRUE(group->addDeprecatedName("Push", "Force"));
    ASSERT_TRUE(group->addDeprecatedName("Shove", "Push"));
    ASSERT_TRUE(top.addDeprecatedName("Old group", "Group"));
    const LogCapture log;
    EXPECT_EQ(&(*group)["Push"], force);
    EXPECT_EQ(*group->find("Push"), force);
    EXPECT_EQ(&(*group)["Shove"], force);
    EXPECT_EQ(top.findFieldFromPath("Top.Group.Push"), force);
    EXPECT_EQ(top.findFieldFromPath("Top.Old group.Push"), force);
    EXPECT_THAT(log.lines(), ElementsAre("3 Container: field 'Top.Group.Push' is deprecated; use 'Top.Group.Force'.\n",
                                         "3 Container: field 'Top.Group.Shove' is deprecated; use 'Top.Group.Force'.\n",
                                         "3 Container: field 'Top.Old group' is deprecated; use 'Top.Group'.\n"));
}

TEST(DeprecatedNames, YieldToAChildOfThatNameAndAreNoNamesToRemoveOrCopy) {
    Container group("Group");
    group.add<double>("Force", 2.0);
    ASSERT_TRUE(group.addDeprecatedName("Push", "Force"));
    EXPECT_FALSE(group.removeField("Push"));
    EXPECT_EQ(group.getUniqueFieldId("Push"), Kr::KrID("Push"));
    const std::unique_ptr<Container> copy(group.clone(nullptr));
    EXPECT_FALSE((*copy)["Push"].isValid());
    auto* own = group.add<double>("Push", 3.0);
    EXPECT_EQ(&group["Push"], own);
}

struct RefusedName {
    const char* name;
    const char* former;
    const char* present;
};
class RefusedDeprecatedNames : public testing::TestWithParam<RefusedName> {};

TEST_P(RefusedDeprecatedNames, ChangeNothing) {
    Container group("Group");
    group.add<double>("C", 2.0);
    ASSERT_TRUE(group.addDeprecatedName("B", "C"));
    ASSERT_TRUE(group.addDeprecatedName("A", "B"));
    EXPECT_FALSE(group.addDeprecatedName(GetParam().former, GetParam().present));
    EXPECT_EQ(group["A"].toReal(), 2.0);
}

const RefusedName kRefusedNames[] = {
    {"EmptyFormerName", "", "C"}, {"EmptyPresentName", "D", ""}, {"Itself", "D", "D"},
    {"AnotherMeaning", "A", "C"}, {"ACircle", "C", "A"},
};
INSTANTIATE_TEST_SUITE_P(Container, RefusedDeprecatedNames, testing::ValuesIn(kRefusedNames), test_support::caseName);

}  // namespace container_test
