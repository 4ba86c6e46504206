#include "kr/extension/extension.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kr/data/extension_field.h"
#include "kr/data/field_access.h"
#include "kr/data/vector.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/state_access.h"
#include "kr/extension/typed_field.h"
#include "tests/support/context_host.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_extension.h"
#include "tests/support/stress.h"

namespace extension_test {

using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::FieldsAccess;
using KrSim::detail::StateAccess;
using namespace test_support;
using KrSim::IExtension;
using KrSim::KrExtension;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using ExtensionPtr = Kr::KrSmartPtr<KrExtension>;

ExtensionPtr makeNamed(const char* name) {
    auto extension = Kr::makeSmart<KrExtension>();
    extension->setName(name);
    return extension;
}

TEST(ExtensionName, IsOneWithItsFieldAndNeverTakenAway) {
    auto extension = Kr::makeSmart<KrExtension>();
    ExtensionAccess::setCreationKey(*extension, {"5ed65d41-c168-483f-8c4b-9c57598e9262", "Test", "Wheel"});
    EXPECT_THAT(extension->getName(), StartsWith("Wheel_default_"));
    auto& field = extension->getFieldsContainer().getNameField();
    EXPECT_EQ(field.getValue(), extension->getName());

    field = "Left";
    EXPECT_EQ(extension->getName(), "Left");
    std::vector<std::string> heard;
    const auto observer = field.addObserver([&](const FieldBase& changed) { heard.push_back(changed.toString()); });
    extension->setName("Right");
    extension->setName("Right");
    for (const char* nothing : {static_cast<const char*>(nullptr), ""})
        extension->setName(nothing);
    EXPECT_THAT(heard, ElementsAre("Right"));
    field = "";
    EXPECT_EQ(field.getValue(), "Right");
    EXPECT_EQ(extension->getName(), "Right");
}

TEST(Implementation, ReplacedByAnotherDiesAndLeavesItsFields) {
    Events events;
    auto extension = makeNamed("Wheel");
    new RecordingExtension(extension.get(), events);
    ExtensionAccess::setExtensionData(*extension, "bytes");
    new RecordingExtension(extension.get(), events, 7);
    EXPECT_THAT(events, ElementsAre("destroyed"));
    EXPECT_EQ(extension->getImplementationVersion(), 7);
    EXPECT_EQ(ExtensionAccess::getExtensionData(*extension), "");
}

TEST(Implementation, OfTheReservedVersionIsReachedByNothing) {
    Events events;
    const LogCapture log;
    auto extension = makeNamed("Wheel");
    auto* implementation = new RecordingExtension(extension.get(), events, IExtension::kNoImplementationVersion);
    auto object = Kr::makeSmart<KrSim::KrObject>();
    object->add(extension.get());
    FieldsAccess::activate(extension->getFieldsContainer());
    object->remove(extension.get());
    KrData::Container saved("Saved");
    ExtensionAccess::loadImplementation(*extension, &saved);
    EXPECT_FALSE(extension->hasImplementation());
    EXPECT_FALSE(implementation->hasImplementation());
    EXPECT_EQ(extension->getImplementation(), implementation);
    EXPECT_THAT(events, IsEmpty());
}

TEST(Implementation, WithoutAProxyIsHarmless) {
    const LogCapture log;
    Events events;
    RecordingExtension stray(nullptr, events);
    EXPECT_THAT(log.lines(), ElementsAre("2 IExtension can't be created with a NULL proxy.\n"));
    stray.speed = 3.0;
    stray.setName("Nobody");
    EXPECT_EQ(stray.speed.get(), 0.0);
    EXPECT_EQ(stray.getName(), "");
    EXPECT_FALSE(stray.getParent());
    EXPECT_FALSE(stray.getApplicationContext().isValid());
}

KrSim::KrObject& someObject() {
    static auto& object = *new KrSim::KrObject;
    return object;
}

/// Operations whose pointers are taken here.
struct Protected : KrExtension {
    using KrExtension::_onPostLoadImplementation;
    using KrExtension::_onPreLoadImplementation;
    using KrExtension::_setOwner;
    using KrExtension::_synchronizeImplementation;
};

struct ThrowCase {
    const char* callback;
    std::function<void(KrExtension&)> provoke;
    const char* end;  // of the text, after the name of the extension
    const char* begin{"3 KrExtension"};
};

const ThrowCase kThrows[] = {
    {"onAddToOwner", [](auto& extension) { (extension.*&Protected::_setOwner)(&someObject()); }, " onAddToOwner"},
    {"onRemoveFromOwner",
     [](auto& extension) {
         (extension.*&Protected::_setOwner)(nullptr);
         EXPECT_EQ(extension.getOwner(), nullptr);
     },
     " onRemoveFromOwner"},
    {"onLoading",
     [](auto& extension) {
         KrData::Container saved("Saved");
         EXPECT_TRUE((extension.*&Protected::_onPreLoadImplementation)(&saved));
     },
     " onLoading()"},
    {"onLoaded", [](auto& extension) { (extension.*&Protected::_onPostLoadImplementation)(nullptr); }, " onLoaded()"},
    {"onStateSave", [](auto& extension) { extension.fillSimulationState(Kr::makeSmart<KrSim::KrSimulationState>()); },
     " onStateSave()"},
    {"onStateRestore",
     [](auto& extension) {
         KrSim::KrExtensionState state(extension);
         StateAccess::setImplementationData(state, "");
         ExtensionAccess::restoreState(extension, state);
     },
     " onStateRestore()"},
    {"onSynchronized",
     [](auto& extension) { (extension.*&Protected::_synchronizeImplementation)(extension.getImplementation()); },
     " ::onSynchronized()"},
    {"onActive", [](auto& extension) { FieldsAccess::activate(extension.getFieldsContainer()); }, " onActive.",
     "5 KrInputOutputContainer"},
    {"onInactive", [](auto& extension) { FieldsAccess::deactivate(extension.getFieldsContainer()); }, " onInactive.",
     "5 KrInputOutputContainer"},
};

TEST(ThrowingCallbacks, AreLoggedAndTheFrameworkGoesOn) {
    using Throws = RecordingExtension::Throws;
    for (const auto& each : kThrows) {
        for (const auto thrown : {Throws::kException, Throws::kNumber}) {
            Events events;
            auto extension = makeNamed("Wheel");
            auto* implementation = new RecordingExtension(extension.get(), events);
            const std::string callback(each.callback);
            if (callback == "onInactive") FieldsAccess::activate(extension->getFieldsContainer());
            if (callback == "onRemoveFromOwner") ((*extension).*&Protected::_setOwner)(&someObject());
            events.clear();
            ((*extension).*&Protected::_setOwner)(extension->getOwner());  // tells nobody
            implementation->throws = thrown;
            const LogCapture log;
            each.provoke(*extension);
            EXPECT_THAT(events, ElementsAre(callback));
            const bool isException = thrown == Throws::kException;
            EXPECT_THAT(log.lines(), ElementsAre(std::string(each.begin) +
                                                 (isException ? ": fatal error" : ": unhandled exception") +
                                                 " in 'Wheel'" + each.end + (isException ? " [no]\n" : "\n")));
            implementation->throws = Throws::kNothing;
        }
    }
}

TEST(Activation, ReachesFieldsBeforeTheCallbackAndCountsModules) {
    ContextHost host;
    Events events;
    auto extension = makeNamed("Wheel");
    auto* implementation = new RecordingExtension(extension.get(), events);
    auto& fields = extension->getFieldsContainer();
    extension->addError("worn", false);
    EXPECT_TRUE(extension->isActive()) << "outside an application";
    ExtensionAccess::setApplicationContext(*extension, host.context());
    EXPECT_FALSE(extension->isActive());
    EXPECT_FALSE(extension->hasError(false)) << "what is not active has nothing to report";

    implementation->onEachCall = [&](const char* call) {
        EXPECT_EQ(FieldAccess::isOwnerActive(*extension->getOutput("Speed")), std::string(call) == "onActive") << call;
    };
    FieldsAccess::deactivate(fields);
    FieldsAccess::activate(fields);
    FieldsAccess::activate(fields);
    EXPECT_TRUE(extension->isActive());
    EXPECT_TRUE(extension->hasError(false));
    FieldsAccess::deactivate(fields);
    EXPECT_THAT(events, ElementsAre("onActive"));
    FieldsAccess::deactivate(fields);
    EXPECT_THAT(events, ElementsAre("onActive", "onInactive"));
}

TEST(Errors, AreKeptOnceAndLoggedOnce) {
    const LogCapture log;
    auto wheel = makeNamed("Wheel");
    Events heard;
    const auto observer = wheel->addObserver([&](const FieldBase& changed) { heard.push_back(changed.getID().str()); });
    for (const char* message : {"a", "a", "", "b %s"})
        wheel->addError(message, true);
    wheel->addInfo("a", false);
    wheel->addInfo("b", false);
    EXPECT_THAT(log.lines(), ElementsAre("3 Wheel: a\n", "3 Wheel: b %s\n"));
    EXPECT_THAT(heard, ElementsAre("Errors", "Errors", "Infos", "Infos"));
    EXPECT_EQ(wheel->getAllErrors(true), "Wheel: a\nWheel: b %s\n");
    EXPECT_EQ(wheel->getAllInfos(false), "a\nb\n");
    EXPECT_EQ(wheel->getError(5), "");

    wheel->removeError(7);
    wheel->removeError("no such", false);
    wheel->removeError("a", false);
    wheel->removeInfo(0);
    EXPECT_EQ(wheel->getError(), "Wheel: b %s\n");
    EXPECT_EQ(wheel->getInfo(0), "b");
    wheel->clearErrors();
    wheel->clearInfos();
    EXPECT_FALSE(wheel->hasError(true));
    EXPECT_FALSE(wheel->hasInfo(true));
}

TEST(Errors, MayEndTheExtensionThatTheyAreAddedTo) {
    const LogCapture log;
    for (const bool isNamed : {true, false}) {
        auto held = isNamed ? makeNamed("Wheel") : Kr::makeSmart<KrExtension>();
        auto& fields = held->getFieldsContainer();
        auto& watched = isNamed ? static_cast<FieldBase&>(fields.getErrors()) : fields.getNameField();
        const auto observer = watched.addObserver([&](const FieldBase&) { held.reset(); });
        held->addError("a", true);
        EXPECT_FALSE(held);
    }
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST(Errors, MayComeWhileTheExtensionIsCopied) {
    auto wheel = makeNamed("Wheel");
    runStress(
        stressRounds(100, 10),
        [&](int thread, int) {
            wheel->addError("all", false);
            wheel->addError(std::to_string(thread), false);
            wheel->removeError(std::to_string(thread), false);
        },
        [&] {
            const auto copy = wheel->clone();
            const std::unique_ptr<FieldBase> list(wheel->getFieldsContainer().getErrors().clone(nullptr));
            EXPECT_LE(copy->getErrorCount(), kStressThreads + 1U);
        });
    EXPECT_EQ(wheel->clone()->getError(), "Wheel: all\n");
}

TEST(ExtensionFields, AreAddedWhereTheyAreAskedFor) {
    auto extension = makeNamed("Wheel");
    auto* last = extension->addInput("Force", Types::kDouble);
    auto* first = extension->addInput("Force", typeid(bool), 0);
    EXPECT_EQ(extension->addInput("Far", Types::kDouble, 3), nullptr);
    EXPECT_EQ(extension->addInput("Odd", Types::kUnknown, 0), nullptr);
    EXPECT_EQ(extension->getInputContainer().at(0).getID(), Kr::KrID("Force 2"));
    EXPECT_EQ(&extension->getInputContainer().at(0), first);
    EXPECT_EQ(extension->getInput("Force"), last);
    EXPECT_EQ(extension->addParameter("Tyre", Kr::KrID("Part"), KrExtension::kLastIndex)->getDataType(),
              Types::kExtension);
    EXPECT_EQ(extension->findFieldFromPath("Inputs.Force"), last);
    EXPECT_EQ(last->getOwnerExtension(), extension.get());
    EXPECT_EQ(extension->removeInput("Force"), 1U);
    EXPECT_EQ(extension->removeInput("Force"), 0U);
    EXPECT_EQ(extension->getOutput("Force"), nullptr);
}

TEST(ExtensionFields, OfTheFirstLevelCannotBeLost) {
    auto extension = makeNamed("Wheel");
    auto& fields = extension->getFieldsContainer();
    fields.clear();
    EXPECT_FALSE(fields.removeField("Inputs"));
    EXPECT_EQ(fields.addField("More", Types::kDouble), nullptr);
    EXPECT_EQ(fields.size(), 6U);
}

TEST(TypedFields, DescribeReadAndWriteTheirField) {
    struct Described final : IExtension {
        explicit Described(KrExtension* proxy) : IExtension(proxy, 1) {}
        KrSim::Parameter<double> mass{
            this, "Mass", {.value = 2.0, .min = 1.0, .max = 5.0, .dimension = Kr::kMass, .description = "In all."}};
        KrSim::Parameter<int> gears{this, "Gears", {.value = 5, .min = 1}};
        KrSim::Output<std::string> label{this, "Label", {.value = "?"}};
    };
    auto extension = makeNamed("Wheel");
    auto* implementation = new Described(extension.get());
    auto* mass = extension->getParameter("Mass")->as<double>();
    ASSERT_EQ(mass, implementation->mass.getField());
    EXPECT_FALSE(mass->isDynamic());
    EXPECT_EQ(mass->getPhysicalDimension(), Kr::kMass);
    EXPECT_EQ(mass->getDescription(), "In all.");
    EXPECT_EQ(implementation->mass, 2.0);
    mass->setValue(9.0);
    EXPECT_EQ(implementation->mass.get(), 5.0);
    implementation->gears = -3;
    EXPECT_EQ(implementation->gears, 1);
    implementation->label = "left";
    EXPECT_EQ(extension->getOutput("Label")->toString(), "left");

    extension->removeParameter("Mass");
    EXPECT_FALSE(implementation->mass.set(4.0));
    EXPECT_EQ(implementation->mass.get(), 0.0) << "a removed field reads as its type's default";
}

TEST(TypedFields, TakeTheValueOfAFieldThatIsThereAlready) {
    struct Declaring final : IExtension {
        explicit Declaring(KrExtension* proxy) : IExtension(proxy, 1) {}
        KrSim::Input<double> force{this, "Force", {.value = 1.0}};
        KrSim::Input<double> torque{this, "Torque", {.value = 1.0}};
    };
    const LogCapture log;
    auto extension = makeNamed("Wheel");
    extension->addInput("Force", Types::kDouble)->set(4.0);
    extension->addInput("Torque", Types::kString);
    auto* implementation = new Declaring(extension.get());
    EXPECT_EQ(implementation->force, 4.0);
    EXPECT_EQ(extension->getInput("Torque")->getDataType(), Types::kString) << "what was there stays";
    EXPECT_EQ(implementation->torque.getField()->getID(), Kr::KrID("Torque 2"));
    EXPECT_EQ(log.lines().size(), 1U);
}

/// A field that refers to an extension, and the expected result.
struct ReferenceCase {
    const char* name;
    std::unique_ptr<FieldBase> (*refer)(KrExtension* target);
    KrExtension* (*read)(const FieldBase& field);
};

using References = KrData::Vector<KrExtension*>;

KrExtension* readField(const FieldBase& field) {
    return field.toExtension();
}
KrExtension* readItems(const FieldBase& field) {
    return References::from(field)->getItems().at(0);
}
KrExtension* readItem(const FieldBase& field) {
    return References::from(field)->getItem(0);
}
KrExtension* readCopy(const FieldBase& field) {
    Field<KrExtension*> copy("Copy");
    copy.copyValue(field);
    return copy.getValue();
}
std::unique_ptr<FieldBase> makeField(KrExtension* target) {
    return std::make_unique<Field<KrExtension*>>("Field", nullptr, target);
}
std::unique_ptr<FieldBase> makeInterfaceField(KrExtension* target) {
    auto field = std::make_unique<KrData::ExtensionField>("Field", "Interface");
    field->setValue(target);
    return field;
}
std::unique_ptr<FieldBase> makeVector(KrExtension* target) {
    return std::make_unique<References>("Vector", nullptr, std::vector{target});
}

class ReferenceToAnExtension : public testing::TestWithParam<ReferenceCase> {};

TEST_P(ReferenceToAnExtension, IsNullAfterItsDeathAndForAnotherInItsPlace) {
    std::optional<KrExtension> place;
    Kr::KrBase::resetKrBaseCounter();
    auto* first = &place.emplace();
    const auto field = GetParam().refer(first);
    ASSERT_EQ(GetParam().read(*field), first);
    place.reset();
    EXPECT_EQ(GetParam().read(*field), nullptr);
    EXPECT_EQ(field->toString(), "");
    Kr::KrBase::resetKrBaseCounter();
    ASSERT_EQ(&place.emplace(), first);
    EXPECT_EQ(GetParam().read(*field), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Table, ReferenceToAnExtension,
                         testing::Values(ReferenceCase{"Field", makeField, readField},
                                         ReferenceCase{"FieldOfAnInterface", makeInterfaceField, readField},
                                         ReferenceCase{"CopiedFromAField", makeField, readCopy},
                                         ReferenceCase{"ItemOfAVector", makeVector, readItem},
                                         ReferenceCase{"AllItemsOfAVector", makeVector, readItems}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(ReferenceFields, TellNobodyThatADeadReferenceBecomesNull) {
    auto target = makeNamed("Target");
    Field<KrExtension*> field("Field", nullptr, target.get());
    int notified = 0;
    const auto observer = field.addObserver([&](const FieldBase&) { ++notified; });
    target.reset();
    field.setValue(nullptr);
    EXPECT_EQ(notified, 0);
    const auto other = makeNamed("Other");
    field.setValue(other.get());
    EXPECT_EQ(notified, 1);
    EXPECT_EQ(field.toString(), "Other");
}

TEST(ReferenceFields, KeepExtensionsThatWereMadeWhileMemoryTrackingWasOff) {
    Kr::KrBase::setEnableMemoryTracking(false);
    const auto target = makeNamed("Target");
    Field<KrExtension*> field("Field", nullptr, target.get());
    Kr::KrBase::setEnableMemoryTracking(true);
    EXPECT_EQ(field.getValue(), target.get());
}

TEST(ExtensionDeath, SilencesObserversBeforeTheImplementationGoes) {
    struct Leaving final : IExtension {
        explicit Leaving(KrExtension* proxy) : IExtension(proxy, 1) {}
        ~Leaving() override { speed = 99.0; }
        KrSim::Output<double> speed{this, "Speed"};
    };
    auto extension = makeNamed("Wheel");
    new Leaving(extension.get());
    auto* speed = extension->getOutput("Speed");
    int calls = 0;
    const auto observer = speed->addObserver([&](const FieldBase&) { ++calls; });
    Container other("Other", nullptr, Types::kInput);
    auto* sink = other.add<double>("Sink");
    FakeConnection connection(*speed, *sink, [&](const FieldBase&) { ++calls; });
    extension.reset();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(connection.getSource(), nullptr);
}

}  // namespace extension_test
