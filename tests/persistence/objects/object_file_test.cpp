#include "kr/persistence/objects/object_file.h"

#include <gmock/gmock.h>

#include <set>

#include "kr/core/connections/connection_factory.h"
#include "kr/data/field_access.h"
#include "kr/data/field_array.h"
#include "kr/data/proxy.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object_access.h"
#include "kr/extension/versioning_registry.h"
#include "kr/persistence/objects/open_ends.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/replaced.h"
#include "tests/support/same_bytes.h"
#include "tests/support/temporary_folder.h"

namespace object_file_test {

using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::ObjectAccess;
using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrData::Types;
using test_support::areSame;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// "Name=mass/revolutions" of every extension, what is below an object in parentheses.
std::string describe(const KrExtension& extension) {
    auto text = extension.getName();
    if (const auto* mass = extension.getParameter("Mass")) text += "=" + mass->toString();
    if (const auto* motor = extension.getImplementationAs<Motor>()) text += "/" + std::to_string(motor->revolutions);
    const auto* object = dynamic_cast<const KrObject*>(&extension);
    if (object == nullptr) return text;
    text += "(";
    for (const auto& below : object->getExtensions())
        text += describe(*below) + (below == object->getExtensions().back() ? "" : " ");
    return text + ")";
}

KrSmartPtr<KrExtension> makeMotor(const char* name, std::uint64_t number, double mass, int revolutions) {
    auto motor = make(kMotorType, name, number);
    motorOf(motor).mass = mass;
    motorOf(motor).revolutions = revolutions;
    return motor;
}

/// A garage with two motors, one of them in a separate object, and a plain extension with its own field.
KrSmartPtr<KrObject> makeGarage() {
    auto top = makeObject(kGarageType, "Top", 1);
    top->remove(top->getExtension(0));
    auto box = makeObject({}, "Box", 2);
    const auto inner = makeMotor("Inner", 3, 2.5, 11);
    const auto outer = makeMotor("Outer", 4, 3.5, 12);
    const auto plain = make({}, "Plain", 5);
    auto* port = plain->addInput("Listening Port", Types::kInteger);
    Kr::KrConnectionFactory::connectUnitDelay(motorOf(inner).speed.getField(), port);
    port->set(80);
    Kr::KrConnectionFactory::connectInterpolated(motorOf(inner).speed.getField(),
                                                 plain->addInput("Smooth", Types::kDouble));
    plain->getInputContainer().setDescription("ports");
    plain->getFieldsContainer().getNameField().setVisible(false);
    auto* target = plain->addParameter("Target", Kr::KrID("Motor"));
    target->set<KrExtension*>(inner.get());
    box->add(inner.get());
    top->add(plain.get());
    top->add(box.get());
    ObjectAccess::savePosition(*top, outer->getContentID(), 40);
    top->add(outer.get());
    Kr::KrConnectionFactory::connect(motorOf(inner).speed.getField(), motorOf(outer).pedal.getField());
    Kr::KrConnectionFactory::connectQueued(motorOf(outer).speed.getField(), motorOf(inner).pedal.getField());
    return top;
}
const char* const kGarageText = "Top(Plain Box(Inner=2.5/11) Outer=3.5/12)";

class ObjectFiles : public testing::TestWithParam<int> {
protected:
    std::unique_ptr<TypeScope> _types = std::make_unique<TypeScope>();
};

TEST_P(ObjectFiles, ComeBackWholeAndSaveTheSameBytesAgain) {
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    auto top = makeGarage();
    const auto bytes = save({top}, GetParam());
    EXPECT_TRUE(areSame(save({top}, GetParam()), bytes));
    const KrContentID id = top->getContentID();
    top.reset();
    ASSERT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before);

    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.error, "");
    EXPECT_THAT(loaded.problems, IsEmpty());
    ASSERT_EQ(loaded.objects.size(), 1U);
    const auto& again = static_cast<const KrObject&>(*loaded.objects[0]);
    EXPECT_EQ(describe(again), kGarageText);
    EXPECT_EQ(again.getContentID(), id);
    EXPECT_EQ(again.getAllErrors(), "");
    EXPECT_EQ(again.getImplementationAs<Garage>()->builtCount, 3) << "what the constructor puts in does not come twice";
    const auto* plain = again.findExtensionByName("Plain", false);
    EXPECT_EQ(plain->getInput("Listening Port")->toInteger(), 80);
    const auto connections = FieldAccess::getIncomingConnections(*plain->getInput("Listening Port"));
    ASSERT_EQ(connections.size(), 1U);
    EXPECT_EQ(Kr::KrConnectionFactory::findKind(*connections[0]), Kr::eConnectionKind::kUnitDelay);
    const auto smooth = FieldAccess::getIncomingConnections(*plain->getInput("Smooth"));
    ASSERT_EQ(smooth.size(), 1U);
    EXPECT_EQ(Kr::KrConnectionFactory::findKind(*smooth[0]), Kr::eConnectionKind::kInterpolated);
    auto* inner = again.findExtensionByName("Inner", true);
    EXPECT_EQ(plain->getParameter("Target")->toExtension(), inner);
    inner->getImplementationAs<Motor>()->speed = 9.0;
    EXPECT_EQ(again.findExtensionByName("Outer", true)->getInput("Pedal")->toReal(), 9.0);
    inner->getImplementationAs<Motor>()->speed = 0.0;
    EXPECT_TRUE(areSame(save(loaded.objects, GetParam()), bytes));
}

TEST_P(ObjectFiles, KeepEverythingWhereAPluginIsMissing) {
    auto top = makeGarage();
    ExtensionAccess::setVersions(*top->findExtensionByName("Inner", true), {{"Tyres", 2}});
    const auto bytes = save({top}, GetParam());
    top.reset();
    _types.reset();
    ASSERT_FALSE(KrSim::KrExtensionFactory::isValid(kMotorType));
    std::string withoutPlugin;
    {
        const LogCapture log;
        const auto loaded = load(bytes);
        EXPECT_THAT(loaded.problems, ElementsAre(HasSubstr("1 extension keeps"), HasSubstr("2 extensions keep")));
        EXPECT_EQ(log.lines().size(), 2U) << "each type is looked for once";
        ASSERT_EQ(loaded.objects.size(), 1U);
        const auto* object = loaded.objects[0].get();
        EXPECT_EQ(object->getAllErrors().find("Top: Unable to create " + kGarageType.toString()), 0U);
        withoutPlugin = save(loaded.objects, GetParam());
    }
    EXPECT_TRUE(areSame(withoutPlugin, bytes));
    _types = std::make_unique<TypeScope>();
    const auto loaded = load(withoutPlugin);
    EXPECT_EQ(describe(*loaded.objects[0]), kGarageText);
}

/// A motor with a second "Mass", which stands before that of the implementation, and a plain extension with two fields
/// of one identifier.
Extensions makeTwins() {
    const auto motor = makeMotor("Motor", 1, 2.5, 0);
    auto& parameters = motor->getParameterContainer();
    (*parameters.insert(parameters.begin(), "Mass", Types::kDouble))->set(7.0);
    const auto plain = make({}, "Plain", 2);
    plain->getInputContainer().add<int>("Port", 80);
    plain->getInputContainer().add<std::string>("Port", "eighty");
    plain->getInputContainer().add<int>("Port", 81);
    return {motor, plain};
}

/// The values of a group, in order.
std::vector<std::string> valuesOf(const KrData::Container& group) {
    std::vector<std::string> values;
    for (const auto* field : group)
        values.push_back(field->toString());
    return values;
}

TEST_P(ObjectFiles, KeepFieldsOfOneIdentifierApart) {
    auto twins = makeTwins();
    const auto bytes = save(twins, GetParam());
    twins.clear();
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.error, "");
    ASSERT_EQ(loaded.objects.size(), 2U);
    EXPECT_THAT(valuesOf(loaded.objects[0]->getParameterContainer()), ElementsAre("7", "2.5"));
    EXPECT_EQ(motorOf(loaded.objects[0]).mass, 2.5);
    EXPECT_THAT(valuesOf(loaded.objects[1]->getInputContainer()), ElementsAre("80", "eighty", "81"));
    EXPECT_TRUE(areSame(save(loaded.objects, GetParam()), bytes));
}

TEST_P(ObjectFiles, LeadToTheSameOfTwoFieldsOfOneIdentifier) {
    std::string bytes;
    {
        const auto source = make({}, "Source", 1);
        const auto sink = make({}, "Sink", 2);
        auto* speed = source->addOutput("Speed", Types::kDouble);
        auto& inputs = sink->getInputContainer();
        for (const char* id : {"In", "In", "In{2}"})
            inputs.add<double>(id);
        ASSERT_NE(Kr::KrConnectionFactory::connect(speed, &inputs[1]), nullptr);
        ASSERT_NE(Kr::KrConnectionFactory::connect(source->addOutput("Other", Types::kDouble), &inputs[2]), nullptr);
        auto* proxy = static_cast<KrData::Proxy*>(source->addInput("Both", Types::kProxy));
        ASSERT_TRUE(proxy->addLink(&inputs[1]));
        auto& references = sink->getParameterContainer();
        references.addExtensionField("Target", "Any");
        references.addExtensionField("Target", "Any")->set<KrExtension*>(source.get());
        bytes = save({source, sink}, GetParam());
    }
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.error, "");
    EXPECT_THAT(loaded.problems, IsEmpty());
    ASSERT_EQ(loaded.objects.size(), 2U);
    const auto &source = loaded.objects[0], &sink = loaded.objects[1];
    source->getOutput("Speed")->set(3.0);
    source->getOutput("Other")->set(4.0);
    EXPECT_THAT(valuesOf(sink->getInputContainer()), ElementsAre("0", "3", "4"));
    EXPECT_TRUE(source->getInput("Both")->copyValue(KrData::Field<double>("Value", nullptr, 5.0)));
    EXPECT_THAT(valuesOf(sink->getInputContainer()), ElementsAre("0", "5", "4"));
    EXPECT_EQ(sink->getParameterContainer()[0].toExtension(), nullptr);
    EXPECT_EQ(sink->getParameterContainer()[1].toExtension(), source.get());
}

TEST_P(ObjectFiles, KeepFieldsOfOneIdentifierApartWhereAPluginIsMissing) {
    auto twins = makeTwins();
    const auto bytes = save(twins, GetParam());
    twins.clear();
    _types.reset();
    const LogCapture log;
    EXPECT_TRUE(areSame(save(load(bytes).objects, GetParam()), bytes));
}

/// An object in an object and so on, with a motor in the innermost.
KrSmartPtr<KrObject> makeNested(std::uint64_t depth) {
    auto top = makeObject({}, "Level", 1);
    auto* innermost = top.get();
    for (std::uint64_t number = 2; number <= depth; ++number) {
        const auto below = makeObject({}, "Level", number);
        innermost->add(below.get());
        innermost = below.get();
    }
    innermost->add(makeMotor("Motor", depth + 1, 2.5, 11).get());
    return top;
}

// More levels than the stack of a thread has room for, if each took its share of it.
TEST_P(ObjectFiles, HoldObjectsAsDeepInsideOneAnotherAsTheyLike) {
    constexpr std::uint64_t kDepth = 10'000;
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    auto top = makeNested(kDepth);
    const auto bytes = save({top}, GetParam());
    EXPECT_LT(bytes.size(), std::size_t{2'000} * kDepth);
    top.reset();
    ASSERT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before);

    auto loaded = load(bytes, 0, bytes.size());
    ASSERT_EQ(loaded.error, "");
    ASSERT_EQ(loaded.objects.size(), 1U);
    const auto* level = loaded.objects[0].get();
    for (std::uint64_t number = 1; number <= kDepth; ++number) {
        ASSERT_EQ(level->getContentID(), KrContentID::createFromWords(7, number));
        level = static_cast<const KrObject&>(*level).getExtension(0);
    }
    EXPECT_EQ(describe(*level), "Motor=2.5/11");
    EXPECT_TRUE(areSame(save(loaded.objects, GetParam()), bytes));
    loaded.objects.clear();
    EXPECT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ObjectFiles, testing::Values(0, KrFile::kJson, KrFile::kXml), [](const auto& each) {
    return each.param == KrFile::kXml ? "Xml" : each.param == KrFile::kJson ? "Json" : "Binary";
});

class Content : public testing::Test {
protected:
    TypeScope _types;
};

TEST_F(Content, IsCopiedWithItsReferencesToContentThatIsNotThere) {
    std::string source, target;
    {
        const auto motor = makeMotor("Motor", 1, 1.0, 0);
        const auto plain = make({}, "Plain", 2);
        plain->addParameter("Target", Kr::KrID("Motor"))->set<KrExtension*>(motor.get());
        source = save({plain});
        target = save({motor});
    }
    const auto plain = load(source);
    ASSERT_EQ(plain.objects.size(), 1U);
    const auto copy = plain.objects[0]->clone();
    const auto motor = load(target);
    ASSERT_EQ(motor.objects.size(), 1U);
    EXPECT_EQ(copy->getParameter("Target")->toExtension(), motor.objects[0].get());
}

TEST_F(Content, IsNamedByTheLowerPartOfALongPath) {
    std::string bytes;
    {
        const auto away = makeMotor("Away", 999, 1.0, 1);
        auto top = makeNested(100);
        auto* motor = top->findExtensionByName("Motor", true);
        motor->addParameter("Target", Kr::KrID("Motor"))->set<KrExtension*>(away.get());
        bytes = save({top});
    }
    std::string path = "'...";
    for (int i = 0; i < 64; ++i)
        path += "/Level";
    EXPECT_THAT(load(bytes).problems, ElementsAre(HasSubstr(path + "/Motor' refers to")));
}

TEST_F(Content, IsUpgradedByItsImplementation) {
    KrSim::KrVersioningRegistry::registerVersion(kMotorType, "Motor", 1);
    std::string bytes;
    {
        const auto motor = makeMotor("Old", 1, 4.0, 1);
        motor->addParameter("Weight", Types::kDouble)->set(12.0);
        ExtensionAccess::setVersions(*motor, {});
        bytes = save({motor});
    }
    KrSim::KrVersioningRegistry::registerUpgrade(kMotorType, "Motor", 0, [](KrData::Container& saved) {
        auto& parameters = static_cast<KrData::Container&>(saved["Parameters"]);
        parameters["Mass"].copyValue(parameters["Weight"]);
        parameters.removeField("Weight");
    });
    const auto loaded = load(bytes);
    KrSim::KrVersioningRegistry::unregisterType(kMotorType);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_EQ(describe(*loaded.objects[0]), "Old=12/1");
    EXPECT_EQ(loaded.objects[0]->getParameter("Weight"), nullptr);
    EXPECT_EQ(motorOf(loaded.objects[0]).loadedVersion, Motor::kVersion);
}

/// An item of an array with a range.
struct Load final : KrData::Field<double> {
    explicit Load(const Kr::KrID& id) : Field(id) { setRange(0.0, 5.0); }
};
struct Wheel final : KrData::Container {
    explicit Wheel(const Kr::KrID& id) : Container(id, nullptr, Types::kParameter) {
        (new KrData::Field<float>("Radius", this, 0.5F))->setRange(0.1F, 2.0F);
    }
};
struct CarelessWheel final : KrData::Container {
    explicit CarelessWheel(const Kr::KrID& id) : Container(id, nullptr, Types::kParameter) {
        new KrData::Field<float>("Radius", this, 3.0F);
        new KrData::Field<float>("Radios", this, 3.0F);
    }
};

/// A type whose fields were written without care, and what it declares.
class CarelessMotor final : public KrSim::IExtension {
public:
    explicit CarelessMotor(KrExtension* proxy) : IExtension(proxy, 1) {
        auto& parameters = proxy->getParameterContainer();
        auto* loads = new KrData::FieldArray<KrData::Field<double>>("Loads", &parameters, Types::kParameter);
        loads->resize(2);
        loads->item(1)->set(7.0);
        auto* spares = new KrData::FieldArray<KrData::Field<double>>("Spares", &parameters, Types::kParameter);
        spares->resize(3);
        auto* wheels = new KrData::FieldArray<CarelessWheel>("Wheels", &parameters, Types::kParameter);
        wheels->resize(1);
        proxy->addParameter("Own", Types::kDouble);
    }
    KrSim::Parameter<double> mass{this, "Mass", {.value = -300.0}};
    KrSim::Parameter<double> maas{this, "Maas", {.value = 2.0}};
    KrSim::Parameter<int> gears{this, "Gears", {.value = 5}};
    KrSim::Parameter<Kr::KrEnum> level{this, "Level", {.value = Kr::KrEnum(Kr::eLogLevel::kInfo)}};
    KrSim::Parameter<KrMath::Vector3T<double>> centre{this, "Centre", {.value = {1.0, -4.0, 2.0}}};
};
template <int version>
class CarefulMotor final : public KrSim::IExtension {
public:
    explicit CarefulMotor(KrExtension* proxy) : IExtension(proxy, version) {
        auto& parameters = proxy->getParameterContainer();
        new KrData::FieldArray<Load>("Loads", &parameters, Types::kParameter);
        auto* spares = new KrData::FieldArray<KrData::Field<double>>("Spares", &parameters, Types::kParameter);
        spares->setSizeRange(1, 2);
        new KrData::FieldArray<Wheel>("Wheels", &parameters, Types::kParameter);
    }
    KrSim::Parameter<double> mass{this, "Mass", {.value = 2.0, .min = 1.0, .max = 5.0}};
    KrSim::Parameter<int> gears{this, "Gears", {.value = 5, .min = 1, .max = 5}};
    KrSim::Parameter<Kr::KrEnum> level{this, "Level", {.value = Kr::KrEnum(KrSim::eApplicationMode::kEditing)}};
    KrSim::Parameter<KrMath::Vector3T<double>> centre{
        this,
        "Centre",
        {.value = {}, .min = KrMath::Vector3T<double>{-1, -1, -1}, .max = KrMath::Vector3T<double>{3, 3, 3}}};
};

struct CarelessCase {
    const char* name;
    std::function<void()> registerLoaded;
    std::vector<std::string> findings;
};

class CarelessFields : public testing::TestWithParam<CarelessCase> {};

TEST_P(CarelessFields, AreFindingsUnlessTheirTypePutsThemRight) {
    KrSim::registerExtensionType<CarelessMotor>(kMotorType);
    const auto bytes = save({make(kMotorType, "Old", 1)}, KrFile::kXml);
    KrSim::KrExtensionFactory::unregisterType(kMotorType);
    GetParam().registerLoaded();
    EXPECT_EQ(load(bytes).findings, GetParam().findings);
    KrSim::KrExtensionFactory::unregisterType(kMotorType);
    KrSim::KrVersioningRegistry::unregisterType(kMotorType);
}

const std::string kHeavy = "line 24: parameter 'Mass' of 'Old' is -300, outside its range from 1 to 5";
const std::string kMaas = "line 29: parameter 'Maas' of 'Old' does not exist in its type; did you mean 'Mass'?";
const std::string kLevel =
    "line 39: parameter 'Level' of 'Old' is 'Info', which its enumeration does not have; the "
    "choices are 'Simulating mode', 'Editing mode', 'Playback mode'";
const std::string kCentre = "line 48: component Y of parameter 'Centre' of 'Old' is -4, outside its range from -1 to 3";
const std::string kLoad = "line 64: parameter 'Loads.2' of 'Old' is 7, outside its range from 0 to 5";
const std::string kSpares =
    "line 72: number of items of parameter 'Spares' of 'Old' is 3, outside its range from 1 to 2";
const std::string kRadius = "line 107: parameter 'Wheels.1.Radius' of 'Old' is 3, outside its range from 0.1 to 2";
const std::string kRadios =
    "line 112: parameter 'Wheels.1.Radios' of 'Old' does not exist in its type; did you mean 'Radius'?";

INSTANTIATE_TEST_SUITE_P(
    Table, CarelessFields,
    testing::Values(CarelessCase{"SameVersion",
                                 [] { KrSim::registerExtensionType<CarefulMotor<1>>(kMotorType); },
                                 {kHeavy, kMaas, kLevel, kCentre, kLoad, kSpares, kRadius, kRadios}},
                    // Other versions have other fields.
                    CarelessCase{"NewerVersion",
                                 [] { KrSim::registerExtensionType<CarefulMotor<2>>(kMotorType); },
                                 {kHeavy, kLevel, kCentre, kLoad, kSpares, kRadius}},
                    CarelessCase{"PutRight",
                                 [] {
                                     KrSim::registerExtensionType<CarefulMotor<1>>(kMotorType);
                                     KrSim::KrVersioningRegistry::registerVersion(kMotorType, "Motor", 1);
                                     KrSim::KrVersioningRegistry::registerUpgrade(
                                         kMotorType, "Motor", 0, [](auto& saved) {
                                             auto& parameters = static_cast<KrData::Container&>(saved["Parameters"]);
                                             for (const char* each : {"Mass", "Level"})
                                                 parameters.removeField(each);
                                             parameters["Maas"].setID("Mass");
                                         });
                                 },
                                 {kLevel, kCentre, kLoad, kSpares, kRadius, kRadios}},
                    CarelessCase{"WithoutType", [] {}, {}}),
    [](const auto& each) { return std::string(each.param.name); });

/// What a motor was before its fields got other names.
class OldMotor final : public KrSim::IExtension {
public:
    explicit OldMotor(KrExtension* proxy) : IExtension(proxy, 1) {
        auto* tuning = new KrData::Container("Tuning", &proxy->getParameterContainer());
        new KrData::Field<double>("Boost", tuning, 1.25);
    }
    KrSim::Input<double> throttle{this, "Throttle", {.value = 0.5}};
    KrSim::Output<double> rate{this, "Rate", {.value = 70.0}};
    KrSim::Parameter<double> weight{this, "Weight", {.value = 12.0}};
};

void renameFields(KrData::Container& saved) {
    EXPECT_TRUE(saved["Inputs"]["Throttle"].setID("Pedal"));
    EXPECT_TRUE(saved["Outputs"]["Rate"].setID("Speed"));
    EXPECT_TRUE(saved["Parameters"]["Weight"].setID("Mass"));
}

class Renaming : public testing::TestWithParam<bool> {};

TEST_P(Renaming, KeepsTheValuesOfDeclaredFields) {
    const auto& inUpgradeStep = GetParam();
    std::string bytes;
    {
        KrSim::registerExtensionType<OldMotor>(kMotorType);
        bytes = save({make(kMotorType, "Old", 1)});
        KrSim::KrExtensionFactory::unregisterType(kMotorType);
    }
    const TypeScope types;
    KrSim::KrVersioningRegistry::registerVersion(kMotorType, "Motor", 1);
    if (inUpgradeStep) {
        KrSim::KrVersioningRegistry::registerUpgrade(kMotorType, "Motor", 0, renameFields);
    } else {
        Motor::whenLoading = renameFields;
    }
    const auto loaded = load(bytes);
    KrSim::KrVersioningRegistry::unregisterType(kMotorType);
    ASSERT_EQ(loaded.objects.size(), 1U);
    auto& extension = *loaded.objects[0];
    auto& motor = motorOf(loaded.objects[0]);
    EXPECT_EQ(motor.pedal, 0.5);
    EXPECT_EQ(motor.speed, 70.0);
    EXPECT_EQ(motor.mass, 12.0);
    EXPECT_EQ(extension.getInputContainer().size() + extension.getOutputContainer().size(), 2U) << "no orphans";
    EXPECT_EQ(extension.getParameter("Weight"), nullptr);
    EXPECT_FALSE(extension.getParameter("Mass")->setID("Weight")) << "it is declared again";
    auto* group = extension.getParameter("Tuning");
    ASSERT_NE(group, nullptr) << "what no implementation knows any more is kept";
    EXPECT_FALSE((*group)["Boost"].isDynamic()) << "as it was when it was saved";
}

INSTANTIATE_TEST_SUITE_P(While, Renaming, testing::Bool(),
                         [](const auto& each) { return each.param ? "UpgradeStepsRun" : "OnLoadingRuns"; });

TEST_F(Content, OfANewerVersionThanItsTypeIsTold) {
    const LogCapture log;
    const auto bytes = save({makeMotor("New", 1, 4.0, 1), makeMotor("Newer", 2, 4.0, 1)}, KrFile::kXml);
    const auto newer = load(test_support::replaced(bytes, "<DataVersion>3<", "<DataVersion>4<"));
    EXPECT_THAT(newer.problems,
                ElementsAre(testing::AllOf(HasSubstr("was saved in version 4, and here it is of version 3"),
                                           HasSubstr("in 2 extensions"))));
    EXPECT_THAT(load(bytes).problems, testing::Each(HasSubstr("content ID")));
}

/// Without the ends of objects, so that the text before a break begins like the complete text.
std::string withoutEnds(std::string text) {
    std::erase(text, ')');
    return text;
}

class Recovery : public testing::TestWithParam<int> {
    garage::TypeScope _types;
};

TEST_P(Recovery, ReadsWhatIsWholeBeforeTheBreak) {
    const LogCapture log;
    const auto bytes = save({makeGarage(), makeMotor("Alone", 9, 4.0, 1)}, GetParam());
    const std::string whole = std::string(kGarageText) + "Alone=4/1";
    std::vector<std::string> texts;
    std::set<std::size_t> connectionCounts;
    const std::size_t step = GetParam() == 0 ? 1 : 7;  // texts are longer
    for (std::size_t size = 0; size < bytes.size(); size += step) {
        KrFile file;
        std::istringstream stream(bytes.substr(0, size));
        if (!file.load(stream, "", KrFile::kRecover)) {
            EXPECT_THAT(texts, IsEmpty()) << "less is read of " << size << " bytes";
            continue;
        }
        const auto& section = dynamic_cast<const KrObjectSection&>(*file.getSections().front());
        std::string text;
        for (const auto& each : section.getObjects())
            text += describe(*each);
        connectionCounts.insert(section.getLoadedConnectionCount());
        if (!texts.empty() && texts.back() == text) continue;
        EXPECT_TRUE(texts.empty() || text.size() > texts.back().size()) << "less is read of " << size << " bytes";
        texts.push_back(text);
        EXPECT_EQ(withoutEnds(whole).find(withoutEnds(text)), 0U) << text;
    }
    ASSERT_GT(texts.size(), 5U) << "one extension after the other";
    EXPECT_EQ(texts.back(), whole);
    EXPECT_THAT(connectionCounts, ElementsAre(0, 1, 2, 3, 4));
}

INSTANTIATE_TEST_SUITE_P(Of, Recovery, testing::Values(0, KrFile::kXml, KrFile::kJson), [](const auto& each) {
    return each.param == KrFile::kXml ? "Xml" : each.param == KrFile::kJson ? "Json" : "Binary";
});

TEST_F(Content, SurvivesImplementationsThatThrow) {
    auto top = makeGarage();
    const auto whole = save({top});
    {
        const LogCapture log;
        Motor::isFailing = true;
        EXPECT_TRUE(areSame(save({top}), whole)) << "what was written before the exception counts";
        EXPECT_THAT(log.lines(), testing::Contains("3 IExtension: 'Inner' fatal error onSaving() [no oil]\n"));
    }
    top.reset();
    const LogCapture log;
    const auto loaded = load(whole);
    Motor::isFailing = false;
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_EQ(describe(*loaded.objects[0]), kGarageText);
    EXPECT_THAT(log.lines(), testing::IsSupersetOf({"3 KrExtension: fatal error in 'Inner' onLoading() [no oil]\n",
                                                    "3 KrExtension: fatal error in 'Inner' onLoaded() [no oil]\n",
                                                    "3 KrObject: fatal error in 'Top' buildHierarchy() [no oil]\n"}));
}

TEST_F(Content, ThatIsThereAlreadyComesASecondTimeWithAWarning) {
    const auto top = makeGarage();
    const auto loaded = load(save({top}));
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_THAT(loaded.problems,
                ElementsAre(HasSubstr("'Top' has the content ID 0000000000000007-0000000000000001 of 'Top'"),
                            "4 more extensions have content IDs that are in use"));
    EXPECT_EQ(describe(*loaded.objects[0]), kGarageText);
    // Within one file references mean the content of that file.
    const auto& again = static_cast<const KrObject&>(*loaded.objects[0]);
    EXPECT_EQ(again.findExtensionByName("Plain", false)->getParameter("Target")->toExtension(),
              again.findExtensionByName("Inner", true));
    EXPECT_EQ(KrSim::KrContentRegistry::instance().find(top->getContentID()), top.get());
}

TEST_F(Content, ReportsItsProgressAndNeedsAFileOfObjects) {
    const test_support::TemporaryFolder folder;
    const auto path = (folder / "top.kro").string();
    std::vector<std::string> steps;
    const auto note = [&](std::size_t done, std::size_t total) {
        steps.push_back(std::to_string(done) + "/" + std::to_string(total));
    };
    const auto top = makeGarage();
    KrObject* const objects[] = {top.get()};
    const auto saved = KrPersistence::saveObjects(path, objects, 0, note);
    ASSERT_TRUE(saved) << saved.toString();
    const auto loaded = KrPersistence::loadObjects(path, {.referringFile = {}, .progress = note});
    ASSERT_TRUE(loaded) << loaded.toString();
    EXPECT_THAT(steps, ElementsAre("5/5", "9/9"));
    EXPECT_EQ(loaded->extensionCount, 5U);
    EXPECT_EQ(loaded->connectionCount, 4U);
    EXPECT_EQ(loaded->getObject(0)->getDefinitionFileName().str(), path);

    KrFile empty;
    ASSERT_TRUE(empty.save(path));
    EXPECT_EQ(KrPersistence::loadObjects(path).toString(), "'" + path + "' holds no objects");
    EXPECT_THAT(KrPersistence::loadObjects((folder / "none.kro").string()).text, HasSubstr("cannot open"));
}

class SavedInstances : public Content {
protected:
    SavedInstances() {
        _definition = makeGarage();
        _instance = _definition->instantiate(KrContentID::createFromWords(8, 8));
        auto* mass = _instance->findExtensionByName("Inner", true)->getParameter("Mass");
        mass->set(99.0);
        KrObject::setInstanceData(*mass);
    }

    KrSmartPtr<KrObject> _definition;
    KrSmartPtr<KrObject> _instance;
};

TEST_F(SavedInstances, FollowADefinitionThatHasChanged) {
    const auto bytes = save({_instance});
    const auto both = save({_definition, _instance});
    _instance.reset();
    _definition->findExtensionByName("Outer", false)->getParameter("Mass")->set(77.0);
    _definition->add(makeMotor("New", 20, 5.0, 0).get());
    auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_EQ(describe(*loaded.objects[0]), "Top(Plain Box(Inner=99/11) Outer=77/12 New=5/0)");
    EXPECT_EQ(static_cast<KrObject&>(*loaded.objects[0]).getDefinition(), _definition.get());

    _definition.reset();
    loaded = load(both);
    ASSERT_EQ(loaded.objects.size(), 2U);
    EXPECT_EQ(describe(*loaded.objects[1]), "Top(Plain Box(Inner=99/11) Outer=3.5/12)");
    EXPECT_TRUE(areSame(save(loaded.objects), both));
}

TEST_F(SavedInstances, StayWholeWithoutTheirDefinitionAndFollowItWhenItComes) {
    const auto bytes = save({_instance});
    const auto definition = save({_definition});
    _instance.reset();
    _definition.reset();
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_EQ(describe(*loaded.objects[0]), "Top(Plain Box(Inner=99/11) Outer=3.5/12)");
    const auto missing = loaded.objects[0]->getAllErrors();
    EXPECT_THAT(missing, HasSubstr("is not there; the content is as it was saved"));
    EXPECT_THAT(KrPersistence::describeOpenEnds(*loaded.objects[0]),
                testing::Contains(testing::ResultOf([&](const auto& each) { return missing.find(each); },
                                                    testing::Ne(std::string::npos))));
    const auto& id = static_cast<KrObject&>(*loaded.objects[0]).getDefinitionReference().getContentID();
    EXPECT_THAT(missing, HasSubstr("The definition " + id.getRawID().toString()));
    EXPECT_TRUE(areSame(save(loaded.objects), bytes));
    const auto found = load(definition);
    EXPECT_EQ(static_cast<KrObject&>(*loaded.objects[0]).getDefinition(), found.objects[0].get());
    EXPECT_EQ(loaded.objects[0]->getAllErrors(), "");
}

TEST_F(SavedInstances, KeepValuesOfExtensionsThatTheDefinitionHasLost) {
    const KrSmartPtr<KrExtension> box(_definition->findExtensionByName("Box", false));
    _definition->remove(box.get());
    ASSERT_TRUE(_instance->sync());
    const auto errors = _instance->getAllErrors();
    EXPECT_THAT(errors, HasSubstr("has no 'Inner' any more"));
    const auto bytes = save({_instance});
    _instance.reset();
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_EQ(loaded.objects[0]->getAllErrors(), errors);
    EXPECT_TRUE(areSame(save(loaded.objects), bytes));
}

}  // namespace object_file_test
