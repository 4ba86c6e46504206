#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>

#include "kr/core/connections/connection.h"
#include "kr/data/field_access.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object_access.h"
#include "kr/extension/own_record.h"
#include "tests/persistence/objects/garage.h"
#include "tests/support/log_capture.h"
#include "tests/support/same_bytes.h"

namespace instance_file_test {

using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::ObjectAccess;
using namespace garage;  // NOLINT(google-build-using-namespace): what the tests are about
using KrData::Types;
using test_support::areSame;
using test_support::LogCapture;
using testing::HasSubstr;
using testing::IsEmpty;

/// "Name=mass" of every extension with what else it has; what is below an object in parentheses, "?" behind a lost one.
std::string describe(const KrExtension& extension) {
    auto text = extension.getName();
    if (const auto* mass = extension.getParameter("Mass")) text += "=" + mass->toString();
    if (const auto* note = extension.getParameter("Note")) text += "+" + note->toString();
    if (ExtensionAccess::isUnknownPlaceholder(extension)) text += "?";
    const auto* object = dynamic_cast<const KrObject*>(&extension);
    if (object == nullptr) return text;
    text += "(";
    for (const auto& below : object->getExtensions())
        text += describe(*below) + (below == object->getExtensions().back() ? "" : " ");
    return text + ")";
}

void setMass(KrExtension* extension, double mass) {
    extension->getParameter("Mass")->set(mass);
}
void note(KrExtension* extension, const char* text) {
    extension->addParameter("Note", Types::kString)->set<std::string>(text);
}

/// What a file has of instances.
enum class eForm { kComplete, kOwnOnly };

/// A definition with a file is stored there: its instances need not be complete.
void choose(eForm form, KrObject& definition) {
    if (form == eForm::kComplete) return;
    auto id = definition.getContentID();
    id.setFile("site.kro");
    ExtensionAccess::setContentID(definition, id);
    definition._setDefinitionFileName(Kr::KrString<512>("site.kro"));
}

/// A garage of three motors, one of them in a box; "First" drives "Second".
class Site {
public:
    explicit Site(eForm form) {
        choose(form, *definition);
        definition->remove(definition->getExtension(0));
        const auto box = makeObject({}, "Box", 2);
        definition->add(make(kMotorType, "First", 3).get());
        definition->add(make(kMotorType, "Second", 4).get());
        definition->add(box.get());
        box->add(make(kMotorType, "Inner", 5).get());
        Kr::KrConnectionFactory::connect(part("First")->getOutput("Speed"), part("Second")->getInput("Pedal"));
        instance = definition->instantiate(KrContentID::createFromWords(8, 8));
    }

    TypeScope types;
    KrSmartPtr<KrObject> definition = makeObject(kGarageType, "Site", 1);
    KrSmartPtr<KrObject> instance;

    [[nodiscard]] KrExtension* part(const char* name) const { return definition->findExtensionByName(name, true); }
    [[nodiscard]] KrExtension* own(const char* name) const { return instance->findExtensionByName(name, true); }
    [[nodiscard]] bool isConnected() const {
        return !FieldAccess::getOutgoingConnections(*own("First")->getOutput("Speed")).empty();
    }
    void disconnect(bool inInstance) const {
        auto* first = inInstance ? own("First") : part("First");
        auto* second = inInstance ? own("Second") : part("Second");
        Kr::KrConnectionFactory::disconnect(first->getOutput("Speed"), second->getInput("Pedal"));
    }
    /// Saves the instance, and loads it after the definition has changed.
    Loaded reload(const std::function<void(Site&)>& change = {}) {
        const auto bytes = save({instance});
        instance.reset();
        if (change) change(*this);
        return take(load(bytes));
    }
    Loaded take(Loaded loaded) {
        if (loaded.objects.size() == 1)
            instance = KrSmartPtr<KrObject>(static_cast<KrObject*>(loaded.objects[0].get()));
        return loaded;
    }
};

using Edit = std::function<void(Site&)>;
void nothing(Site&) {}

using Form = std::pair<const char*, eForm>;
void PrintTo(const Form& form, std::ostream* out) {
    *out << form.first;
}
const auto kForms = testing::Values(Form{"Complete", eForm::kComplete}, Form{"OwnOnly", eForm::kOwnOnly});

struct LoadCase {
    friend void PrintTo(const LoadCase& each, std::ostream* out) { *out << each.name; }

    const char* name;
    Edit inDefinition;
    Edit inInstance;
    const char* expected;
};

class SavedSyncs : public testing::TestWithParam<std::tuple<Form, LoadCase>> {
protected:
    Site _site{std::get<0>(GetParam()).second};
};

TEST_P(SavedSyncs, ComeToWhatASyncInMemoryComesTo) {
    const LogCapture log;
    const auto& each = std::get<1>(GetParam());
    each.inInstance(_site);
    const auto loaded = _site.reload(each.inDefinition);
    ASSERT_EQ(loaded.error, "");
    EXPECT_EQ(describe(*_site.instance), each.expected);
    // What was own is own after the load.
    _site.reload();
    EXPECT_EQ(describe(*_site.instance), each.expected);
    ASSERT_TRUE(_site.instance->sync());
    EXPECT_EQ(describe(*_site.instance), each.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Own, SavedSyncs,
    testing::Combine(
        kForms,
        testing::Values(
            LoadCase{"Nothing", nothing, nothing, "Site(First=1 Second=1 Box(Inner=1))"},
            LoadCase{"ValueOfTheDefinition", [](Site& site) { setMass(site.part("First"), 2.0); }, nothing,
                     "Site(First=2 Second=1 Box(Inner=1))"},
            LoadCase{"ValueOfTheUser", [](Site& site) { setMass(site.part("First"), 2.0); },
                     [](Site& site) { setMass(site.own("First"), 5.0); }, "Site(First=5 Second=1 Box(Inner=1))"},
            LoadCase{"ValueThatTheDefinitionTookOver", [](Site& site) { setMass(site.part("First"), 5.0); },
                     [](Site& site) { setMass(site.own("First"), 5.0); }, "Site(First=5 Second=1 Box(Inner=1))"},
            LoadCase{"MarkOnAnEqualValue", [](Site& site) { setMass(site.part("First"), 2.0); },
                     [](Site& site) { KrObject::setInstanceData(*site.own("First")->getParameter("Mass")); },
                     "Site(First=1 Second=1 Box(Inner=1))"},
            LoadCase{"FieldOfTheUser", nothing, [](Site& site) { note(site.own("Inner"), "mine"); },
                     "Site(First=1 Second=1 Box(Inner=1+mine))"},
            LoadCase{"FieldOfTheDefinition", [](Site& site) { note(site.part("Inner"), "new"); }, nothing,
                     "Site(First=1 Second=1 Box(Inner=1+new))"},
            LoadCase{"NameOfTheUser", [](Site& site) { site.part("First")->setName("Old"); },
                     [](Site& site) { site.own("First")->setName("Mine"); }, "Site(Mine=1 Second=1 Box(Inner=1))"},
            LoadCase{"NameOfTheDefinition", [](Site& site) { site.part("First")->setName("New"); }, nothing,
                     "Site(New=1 Second=1 Box(Inner=1))"},
            LoadCase{
                "PartOfTheUser", nothing,
                [](Site& site) { static_cast<KrObject*>(site.own("Box"))->add(make(kMotorType, "Mine", 20).get()); },
                "Site(First=1 Second=1 Box(Inner=1 Mine=1))"},
            LoadCase{"LostPart", [](Site& site) { site.definition->remove(site.part("Box")); },
                     [](Site& site) {
                         setMass(site.own("Inner"), 5.0);
                         static_cast<KrObject*>(site.own("Box"))->add(make(kMotorType, "Mine", 20).get());
                     },
                     "Site(First=1 Second=1 Box?(Inner=5? Mine=1))"})),
    [](const auto& each) { return std::string(std::get<0>(each.param).first) + std::get<1>(each.param).name; });

class SavedInstanceData : public testing::TestWithParam<Form> {
protected:
    Site _site{GetParam().second};
};
INSTANTIATE_TEST_SUITE_P(Form, SavedInstanceData, kForms, [](const auto& each) { return each.param.first; });

TEST_P(SavedInstanceData, IsSavedAgainByteForByte) {
    setMass(_site.own("First"), 5.0);
    note(_site.own("Second"), "mine");
    _site.own("Second")->getParameter("Mass")->setDescription("tons");
    _site.disconnect(true);
    const auto bytes = save({_site.definition, _site.instance});
    _site.instance.reset();
    _site.definition.reset();
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 2U);
    EXPECT_THAT(loaded.problems, IsEmpty());
    EXPECT_TRUE(areSame(save(loaded.objects), bytes));
}

TEST_P(SavedInstanceData, WaitsWithTheInstanceForItsDefinition) {
    setMass(_site.own("First"), 5.0);
    const auto definition = save({_site.definition});
    const auto bytes = save({_site.instance});
    _site.instance.reset();
    _site.definition.reset();
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_TRUE(areSame(save(loaded.objects), bytes));
    const auto found = load(definition);
    auto& instance = static_cast<KrObject&>(*loaded.objects[0]);
    setMass(static_cast<KrObject&>(*found.objects[0]).findExtensionByName("First", true), 2.0);
    setMass(static_cast<KrObject&>(*found.objects[0]).findExtensionByName("Second", true), 2.0);
    ASSERT_TRUE(instance.sync());
    EXPECT_EQ(describe(instance), "Site(First=5 Second=2 Box(Inner=1))");
}

TEST_P(SavedInstanceData, ComesBackFromLostPartsAfterALoad) {
    const LogCapture log;
    const KrSmartPtr<KrExtension> box(_site.part("Box"));
    setMass(_site.own("Inner"), 5.0);
    _site.definition->remove(box.get());
    ASSERT_TRUE(_site.instance->sync());
    const auto loaded = _site.reload([&](Site& site) { site.definition->add(box.get()); });
    EXPECT_EQ(describe(*_site.instance), "Site(First=1 Second=1 Box(Inner=5))");
    EXPECT_EQ(_site.instance->getAllErrors(), "");
}

TEST_P(SavedInstanceData, KeepsTheStateOfTheInstance) {
    auto& motor = *_site.own("First")->getImplementationAs<Motor>();
    motor.speed = 30.0;
    motor.revolutions = 700;
    const auto loaded = _site.reload([](Site& site) { setMass(site.part("First"), 2.0); });
    EXPECT_EQ(_site.own("First")->getImplementationAs<Motor>()->revolutions, 700);
    EXPECT_EQ(_site.own("First")->getOutput("Speed")->toReal(), 30.0);
    EXPECT_EQ(_site.own("Second")->getInput("Pedal")->toReal(), 30.0) << "a driven input has what it had";
}

TEST_P(SavedInstanceData, HasTheConnectionsThatTheUserEnded) {
    _site.disconnect(true);
    _site.reload();
    EXPECT_FALSE(_site.isConnected());
    setMass(_site.part("First"), 2.0);
    ASSERT_TRUE(_site.instance->sync());
    EXPECT_FALSE(_site.isConnected());
}

TEST_P(SavedInstanceData, HasTheConnectionsThatTheUserMade) {
    _site.disconnect(false);
    ASSERT_TRUE(_site.instance->sync());
    ASSERT_FALSE(_site.isConnected());
    Kr::KrConnectionFactory::connect(_site.own("First")->getOutput("Speed"), _site.own("Second")->getInput("Pedal"));
    _site.reload();
    EXPECT_TRUE(_site.isConnected());
    ASSERT_TRUE(_site.instance->sync());
    EXPECT_TRUE(_site.isConnected());
}

TEST_P(SavedInstanceData, HasTheConnectionsThatTheUserMadeWithAPartThatIsLost) {
    const LogCapture log;
    Kr::KrConnectionFactory::connect(_site.own("Inner")->getOutput("Speed"), _site.own("Second")->getInput("Pedal"));
    const KrSmartPtr<KrExtension> box(_site.part("Box"));
    _site.definition->remove(box.get());
    ASSERT_TRUE(_site.instance->sync());
    _site.reload();
    _site.definition->add(box.get());
    ASSERT_TRUE(_site.instance->sync());
    _site.own("Inner")->getOutput("Speed")->set(9.0);
    EXPECT_EQ(_site.own("Second")->getInput("Pedal")->toReal(), 9.0);
    _site.reload([&](Site& site) { site.definition->remove(box.get()); });
    const auto loaded = _site.reload([&](Site& site) { site.definition->add(box.get()); });
    _site.own("Inner")->getOutput("Speed")->set(8.0);
    EXPECT_EQ(_site.own("Second")->getInput("Pedal")->toReal(), 8.0) << "the load makes it";
}

TEST_P(SavedInstanceData, KeepsFieldsOfOneIdentifierApart) {
    for (const double size : {1.0, 2.0})
        _site.part("First")->getParameterContainer().add<double>("Size", size);
    ASSERT_TRUE(_site.instance->sync());
    auto& own = _site.own("First")->getParameterContainer();
    own[2].set(5.0);
    _site.reload([](Site& site) {
        for (const std::size_t place : {1U, 2U})
            site.part("First")->getParameterContainer()[place].set(7.0);
    });
    const auto& parameters = _site.own("First")->getParameterContainer();
    ASSERT_EQ(parameters.size(), 3U);
    EXPECT_EQ(parameters[1].toReal(), 7.0);
    EXPECT_EQ(parameters[2].toReal(), 5.0);
}

TEST_P(SavedInstanceData, HasTheFunctionsThatTheUserGaveToConnections) {
    const auto setGain = [](const KrExtension* source, double gain) {
        auto* connection = FieldAccess::getOutgoingConnections(*source->getOutput("Speed")).front();
        static_cast<Kr::KrConnection*>(connection)->setTransferFunction(KrData::TransferFunction::gain(gain));
    };
    const auto transfer = [&] {
        _site.own("First")->getOutput("Speed")->set(0.0);
        _site.own("First")->getOutput("Speed")->set(1.0);
        return _site.own("Second")->getInput("Pedal")->toReal();
    };
    _site.reload([&](Site& site) { setGain(site.part("First"), 2.0); });
    EXPECT_EQ(transfer(), 2.0) << "that of the definition";
    setGain(_site.own("First"), 3.0);
    _site.reload([&](Site& site) { setGain(site.part("First"), 4.0); });
    EXPECT_EQ(transfer(), 3.0) << "that of the user";
    ASSERT_TRUE(_site.instance->sync());
    EXPECT_EQ(transfer(), 3.0);
    _site.reload();
    EXPECT_EQ(transfer(), 3.0);
}

TEST_P(SavedInstanceData, LeavesOtherConnectionsToTheDefinition) {
    ASSERT_TRUE(_site.isConnected());
    _site.reload([](Site& site) { site.disconnect(false); });
    EXPECT_FALSE(_site.isConnected());
    const auto loaded = _site.reload([](Site& site) {
        Kr::KrConnectionFactory::connect(site.part("First")->getOutput("Speed"),
                                         site.part("Second")->getInput("Pedal"));
    });
    EXPECT_TRUE(_site.isConnected());
}

TEST_P(SavedInstanceData, GoesAlongWithFieldsThatAnUpgradeRenames) {
    _site.own("First")->addParameter("Weight", Types::kDouble)->set(7.0);
    const auto bytes = save({_site.instance});
    _site.instance.reset();
    Motor::whenLoading = [](KrData::Container& fields) {
        static_cast<KrData::Container&>(fields["Parameters"])["Weight"].setID("Load");
    };
    _site.take(load(bytes));
    Motor::whenLoading = {};
    ASSERT_NE(_site.own("First")->getParameter("Load"), nullptr);
    EXPECT_EQ(_site.own("First")->getParameter("Load")->toReal(), 7.0);
    EXPECT_EQ(_site.own("First")->getParameter("Weight"), nullptr);
}

TEST_P(SavedInstanceData, OfReleasesBeforeIsWhatIsMarked) {
    setMass(_site.own("First"), 5.0);
    setMass(_site.own("Second"), 5.0);
    KrObject::setInstanceData(*_site.own("First")->getParameter("Mass"));
    ObjectAccess::base(*_site.instance).reset();  // then nothing but marks is written, as by those releases
    const auto loaded = _site.reload();
    EXPECT_EQ(describe(*_site.instance), "Site(First=5 Second=1 Box(Inner=1))");
    EXPECT_TRUE(_site.isConnected());
}

/// A town holds a site, which is an instance; a second town is an instance of the first.
class SavedInnerInstances : public SavedInstanceData {
protected:
    SavedInnerInstances() {
        choose(GetParam().second, *_town);
        _town->add(_site.instance.get());
        setMass(_site.own("First"), 5.0);
        _copy = _town->instantiate(KrContentID::createFromWords(9, 9));
        setMass(_copy->findExtensionByName("Second", true), 6.0);
    }
    KrSmartPtr<KrObject> _town = makeObject({}, "Town", 50);
    KrSmartPtr<KrObject> _copy;
};

INSTANTIATE_TEST_SUITE_P(Form, SavedInnerInstances, kForms, [](const auto& each) { return each.param.first; });

TEST_P(SavedInnerInstances, FollowTheOuterDefinitionAfterALoad) {
    const auto bytes = save({_copy});
    _copy.reset();
    setMass(_site.own("First"), 7.0);
    const auto loaded = load(bytes);
    ASSERT_EQ(loaded.objects.size(), 1U);
    EXPECT_EQ(describe(*loaded.objects[0]), "Town(Site(First=7 Second=6 Box(Inner=1)))");
}

TEST_P(SavedInnerInstances, KeepTheirOwnValuesWhenTheInnerDefinitionComesLate) {
    const auto inner = save({_site.definition});
    const auto outer = save({_town, _copy});
    _copy.reset();
    _town.reset();
    _site.instance.reset();
    _site.definition.reset();
    const auto loaded = load(outer);
    ASSERT_EQ(loaded.objects.size(), 2U);
    const auto late = load(inner);
    ASSERT_EQ(late.objects.size(), 1U);
    EXPECT_EQ(describe(*loaded.objects[0]), "Town(Site(First=5 Second=1 Box(Inner=1)))");
    EXPECT_EQ(describe(*loaded.objects[1]), "Town(Site(First=5 Second=6 Box(Inner=1)))");
    setMass(static_cast<KrObject&>(*late.objects[0]).findExtensionByName("First", true), 2.0);
    setMass(static_cast<KrObject&>(*late.objects[0]).findExtensionByName("Inner", true), 2.0);
    auto& site = static_cast<KrObject&>(*static_cast<KrObject&>(*loaded.objects[0]).getExtension(0));
    ASSERT_TRUE(site.sync());
    ASSERT_TRUE(static_cast<KrObject&>(*loaded.objects[1]).sync());
    EXPECT_EQ(describe(*loaded.objects[1]), "Town(Site(First=5 Second=6 Box(Inner=2)))");
}

}  // namespace instance_file_test
