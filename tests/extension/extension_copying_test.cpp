#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "kr/content/content_reference.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/extension/extension.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/registration.h"
#include "kr/extension/i_object.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/versioning_registry.h"
#include "tests/support/field_doubles.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_extension.h"

namespace extension_copying_test {

using KrData::detail::FieldAccess;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::FieldsAccess;
using namespace test_support;
using KrSim::KrExtension;
using KrSim::KrFactoryKey;
using KrSim::KrVersioningRegistry;
using testing::ElementsAre;
using testing::IsEmpty;

const KrFactoryKey kVersionedType("0a1b2c3d-0000-4000-8000-000000000002", "Test", "Versioned");

/// What a file holds of an extension with an input 3.5, a parameter "old name" and a message.
void fillSaved(Container& saved) {
    saved.add<std::string>("Name", "Saved wheel");
    auto* inputs = new Container("Inputs", &saved, Types::kInput);
    inputs->add<double>("Force", 3.5);
    auto* parameters = new Container("Parameters", &saved, Types::kParameter);
    parameters->add<double>("Weight", 12.0);
    new KrData::Vector<std::string>("Errors", &saved, {"old"});
}

TEST(Loading, LetsTheImplementationChangeWhatWasSavedFirst) {
    RecordingExtension::Calls calls;
    auto extension = Kr::makeSmart<KrExtension>();
    auto* implementation = new RecordingExtension(extension.get(), calls);
    implementation->whenLoading = [](Container& fields) {
        (*fields.find("Parameters"))->operator[]("Weight").setID("Mass");
    };
    Container saved("Saved");
    fillSaved(saved);
    ExtensionAccess::setDataVersion(*extension, 3);
    ExtensionAccess::setExtensionData(*extension, std::string("by\0tes", 6));
    ExtensionAccess::loadImplementation(*extension, &saved);
    EXPECT_THAT(calls, ElementsAre("onLoading", "onLoaded"));
    EXPECT_EQ(implementation->loaded, std::string("by\0tes/3", 8));
    EXPECT_EQ(ExtensionAccess::getExtensionData(*extension), "");
    EXPECT_EQ(extension->getName(), "Saved wheel");
    EXPECT_EQ(implementation->force, 3.5);
    EXPECT_EQ(implementation->mass, 12.0);
    EXPECT_EQ(extension->getErrorCount(), 0U) << "messages of the run that saved them are not loaded";
}

class Upgrading : public testing::Test {
protected:
    Upgrading() {
        KrVersioningRegistry::registerVersion(kVersionedType, "Tyres", 3);
        for (const int from : {0, 1, 2, 3}) {
            KrVersioningRegistry::registerUpgrade(kVersionedType, "Tyres", from,
                                                  [this, from](Container&) { _steps.push_back(from); });
        }
        ExtensionAccess::setCreationKey(*_extension, kVersionedType);
        new RecordingExtension(_extension.get(), _calls);
        fillSaved(_saved);
    }
    ~Upgrading() override { KrVersioningRegistry::unregisterType(kVersionedType); }

    RecordingExtension::Calls _calls;
    Kr::KrSmartPtr<KrExtension> _extension = Kr::makeSmart<KrExtension>();
    Container _saved{"Saved"};
    std::vector<int> _steps;
};

TEST_F(Upgrading, RunsTheStepsFromTheSavedVersionToTheRegisteredOne) {
    const std::vector<std::pair<KrVersioningRegistry::Versions, std::vector<int>>> cases{
        {{{"Tyres", 1}}, {1, 2}}, {{{"Tyres", 3}}, {}}, {{{"Tyres", 9}}, {}}, {{{"Other", 1}}, {0, 1, 2}}};
    for (const auto& [saved, steps] : cases) {
        _steps.clear();
        ExtensionAccess::setVersions(*_extension, saved);
        ExtensionAccess::loadImplementation(*_extension, &_saved);
        EXPECT_EQ(_steps, steps);
        EXPECT_EQ(_extension->getVersions(), (KrVersioningRegistry::Versions{{"Tyres", 3}}));
    }
}

TEST_F(Upgrading, ThatFailsKeepsTheData) {
    const LogCapture log;
    KrVersioningRegistry::registerVersion(kVersionedType, "Engine", 1);
    KrVersioningRegistry::registerUpgrade(kVersionedType, "Engine", 0,
                                          [](Container&) { throw std::runtime_error("no engine"); });
    _extension->setName("Wheel");
    ExtensionAccess::setVersions(*_extension, {{"Tyres", 3}});
    ExtensionAccess::loadImplementation(*_extension, &_saved);
    EXPECT_THAT(_calls, IsEmpty());
    EXPECT_EQ(_extension->getInput("Force")->toReal(), 3.5);
    EXPECT_THAT(log.lines(), ElementsAre("3 KrVersioningRegistry: fatal error in 'Wheel' upgrade step [no engine]\n"));
}

TEST(Cloning, CopiesFieldsMessagesAndConnectionsWithin) {
    auto source = Kr::makeSmart<KrExtension>();
    source->setName("Wheel");
    auto* out = source->addOutput("Speed", Types::kDouble);
    auto* in = source->addInput("Force", Types::kDouble);
    out->as<double>()->setRange(0.0, 5.0);
    out->set(4.0);
    in->setDescription("At the hub.");
    source->addInfo("note", false);
    FakeConnection within(*out, *in);
    Container elsewhere("Elsewhere", nullptr, Types::kInput);
    FakeConnection leaving(*out, *elsewhere.add<double>("Sink"));

    const auto copy = source->clone();
    EXPECT_NE(copy->getContentID(), source->getContentID());
    EXPECT_EQ(copy->getName(), "Wheel");
    EXPECT_EQ(copy->getOutput("Speed")->toReal(), 4.0);
    EXPECT_EQ(copy->getOutput("Speed")->as<double>()->getMaximum(), 5.0);
    EXPECT_EQ(copy->getInput("Force")->getDescription(), "At the hub.");
    EXPECT_EQ(copy->getInfo(0), "note");
    EXPECT_EQ(copy->getOwner(), nullptr);
    EXPECT_EQ(FieldsAccess::getConnectedOutputCount(copy->getFieldsContainer()), 1) << "only the one within";
    EXPECT_TRUE(FieldAccess::hasIncomingConnections(*copy->getInput("Force")));

    const auto id = KrSim::KrContentID::createFromWords(1, 2);
    EXPECT_EQ(source->clone(id)->getContentID(), id);
    EXPECT_FALSE(source->clone([](const KrExtension*) { return false; }));
}

struct Grouping : KrSim::IExtension {
    explicit Grouping(KrExtension* proxy) : IExtension(proxy, 1) {
        static_cast<Container*>(proxy->addParameter("Group", Types::kContainer))->add<double>("Own");
    }
    KrSim::Parameter<double> last{this, "Last"};
};

TEST(Cloning, CopiesWhatWasAddedToTheFieldsOfTheImplementation) {
    const KrFactoryKey key("0a1b2c3d-0000-4000-8000-000000000003", "Test", "Grouping");
    ASSERT_TRUE(KrSim::registerExtensionType<Grouping>(key));
    auto source = KrSim::KrExtensionFactory::create(key);
    static_cast<Container*>(source->getParameter("Group"))->add<double>("Added", 5.0);
    source->addParameter("First", Types::kDouble, 0)->set(4.0);
    EXPECT_TRUE(source->clone()->getParameterContainer().isEqual(source->getParameterContainer()));
    EXPECT_EQ(source->clone()->getParameterContainer()[0].toReal(), 4.0) << "and at its place";
    source.reset();
    EXPECT_TRUE(KrSim::KrExtensionFactory::unregisterType(key));
}

struct Clearing : KrSim::IObject {
    explicit Clearing(KrSim::KrObject* proxy) : IObject(proxy, 1), object(*proxy) {}
    bool isCompatible(KrExtension*) const override { return true; }
    void onSynchronized(const IExtension&) override {
        while (object.getExtensionCount() != 0)
            object.remove(object.getExtension(0));
    }
    KrSim::KrObject& object;
};

TEST(Cloning, LetsACopyDropOthersBeforeTheyAreTold) {
    const KrFactoryKey key("0a1b2c3d-0000-4000-8000-000000000004", "Test", "Clearing");
    ASSERT_TRUE(KrSim::registerExtensionType<Clearing>(key));
    auto source = KrSim::KrExtensionFactory::create(key);
    auto& object = static_cast<KrSim::KrObject&>(*source);
    for (int i = 0; i < 2; ++i)
        object.add(Kr::makeSmart<KrExtension>().get());
    EXPECT_EQ(static_cast<KrSim::KrObject&>(*source->clone()).getExtensionCount(), 0U);
    source.reset();
    EXPECT_TRUE(KrSim::KrExtensionFactory::unregisterType(key));
}

TEST(ExtensionCopies, HaveProxiesThatLinkTheirOwnFields) {
    const auto engine = Kr::makeSmart<KrExtension>();
    const auto pump = Kr::makeSmart<KrExtension>();
    auto* proxy = static_cast<KrData::Proxy*>(engine->addInput("Throttle", Types::kProxy));
    auto* valve = engine->addInput("Valve", Types::kDouble);
    auto* flow = pump->addInput("Flow", Types::kInteger);
    EXPECT_TRUE(proxy->addLink(valve));
    EXPECT_TRUE(proxy->addLink(KrSim::KrContentReference(pump.get()), "Inputs.Flow"));
    const auto copy = engine->clone();
    EXPECT_TRUE(copy->getInput("Throttle")->copyValue(Field<double>("Source", nullptr, 3.0)));
    EXPECT_EQ(copy->getInput("Valve")->toReal(), 3.0);
    EXPECT_EQ(valve->toReal(), 0.0);
    EXPECT_EQ(flow->toReal(), 3.0) << "in another extension";
    EXPECT_EQ(proxy->getLink(1).toString(), "Extension: " + std::string(pump->getName()) + " - " +
                                                pump->getContentID().toString() + " - " + pump->getTypeName() +
                                                " Field: Inputs.Flow (valid)");
}

}  // namespace extension_copying_test
