#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "kr/data/proxy.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"

namespace object_instance_test {

using Kr::KrSmartPtr;
using KrData::Types;
using KrSim::KrContentID;
using KrSim::KrExtension;
using KrSim::KrObject;
using KrSim::detail::ExtensionAccess;
using KrSim::detail::ObjectAccess;
using test_support::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

KrSmartPtr<KrExtension> addTo(const KrSmartPtr<KrObject>& object, const char* name, double grip) {
    auto extension = Kr::makeSmart<KrExtension>();
    extension->setName(name);
    extension->addParameter("Grip", Types::kDouble)->set(grip);
    object->add(extension.get());
    return extension;
}

/// "Name=Grip" of every extension, those of child objects in parentheses.
std::string describe(const KrObject& object) {
    std::string text;
    for (const auto& extension : object.getExtensions()) {
        text += text.empty() ? "" : " ";
        text += extension->getName();
        if (const auto* grip = extension->getParameter("Grip")) text += "=" + grip->toString();
        if (const auto* child = dynamic_cast<const KrObject*>(extension.get())) text += "(" + describe(*child) + ")";
    }
    return text;
}

class Instances : public testing::Test {
protected:
    Instances() {
        _definition->setName("Axle");
        _definition->addParameter("Width", Types::kDouble)->set(1.5);
        _left = addTo(_definition, "Left", 0.8);
        _hub->setName("Hub");
        _definition->add(_hub.get());
        addTo(_hub, "Bolt", 0.1);
        addTo(_definition, "Right", 0.8);
    }
    static void setOwn(KrObject& instance, const char* name, double grip) {
        auto* field = instance.findExtensionByName(name, true)->getParameter("Grip");
        field->set(grip);
        KrObject::setInstanceData(*field);
    }

    KrSmartPtr<KrObject> _definition = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrObject> _hub = Kr::makeSmart<KrObject>();
    KrSmartPtr<KrExtension> _left;
};

TEST_F(Instances, AreCopiesWithDerivedIDs) {
    const auto id = KrContentID::createFromWords(7, 7);
    const auto instance = _definition->instantiate(id);
    ASSERT_TRUE(instance);
    EXPECT_EQ(instance->getContentID(), id);
    EXPECT_EQ(instance->getName(), "Axle");
    EXPECT_EQ(instance->getDefinition(), _definition.get());
    EXPECT_EQ(instance->getParameter("Width")->toReal(), 1.5);
    EXPECT_EQ(describe(*instance), "Left=0.8 Hub(Bolt=0.1) Right=0.8");
    const auto& derived = instance->getExtension(0)->getContentID();
    EXPECT_EQ(derived, KrContentID::createFromParentInstance(id, _left->getContentID()));
    const auto second = _definition->instantiate();
    EXPECT_NE(second->getExtension(0)->getContentID(), derived);

    ExtensionAccess::setContentID(*instance, KrContentID::createFromWords(8, 8));
    EXPECT_EQ(instance->getExtension(0)->getContentID(),
              KrContentID::createFromParentInstance(KrContentID::createFromWords(8, 8), _left->getContentID()));
}

TEST_F(Instances, AreRefusedWithAnError) {
    const auto instance = _definition->instantiate();
    KrObject replacement;
    const LogCapture log;
    EXPECT_FALSE(instance->instantiate());
    EXPECT_FALSE(_definition->instantiate(_left->getContentID()));
    EXPECT_FALSE(_definition->sync());
    instance->replaceDefinition(nullptr);
    instance->replaceDefinition(instance.get());
    _definition->replaceDefinition(&replacement);
    EXPECT_THAT(log.lines(), ElementsAre("2 KrObject: Trying to instantiate 'Axle' which is an object instance.\n",
                                         "2 KrObject: Trying to instantiate 'Axle' with an id already used.\n",
                                         "2 KrObject::replaceDefinition: given object pointer is nullptr.\n",
                                         "2 KrObject::replaceDefinition: given object is not a definition.\n",
                                         "2 KrObject::replaceDefinition: object is not an instance.\n"));
}

TEST_F(Instances, FollowTheirDefinitionButForTheirOwnValues) {
    const auto instance = _definition->instantiate();
    setOwn(*instance, "Right", 0.3);
    setOwn(*instance, "Bolt", 0.2);
    addTo(instance, "Local", 0.5);
    instance->findExtensionByName("Left", false)->getParameter("Grip")->set(99.0);

    _left->getParameter("Grip")->set(0.7);
    _left->setName("Left tyre");
    addTo(_hub, "Nut", 0.4);
    addTo(_definition, "Spare", 0.6);
    _definition->getParameter("Width")->set(1.7);
    const auto* before = instance->findExtensionByName("Right", false);
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(describe(*instance), "Left tyre=99 Hub(Bolt=0.2 Nut=0.4) Right=0.3 Local=0.5 Spare=0.6");
    EXPECT_EQ(instance->getParameter("Width")->toReal(), 1.7);
    EXPECT_EQ(instance->findExtensionByName("Right", false), before) << "what is there stays the same object";
}

TEST_F(Instances, KeepOwnValuesOfWhatTheDefinitionLost) {
    const auto instance = _definition->instantiate();
    setOwn(*instance, "Left", 0.3);
    setOwn(*instance, "Bolt", 0.2);
    const KrSmartPtr<KrExtension> bolt(_hub->getExtension(0));
    _definition->remove(_left.get());
    _hub->remove(bolt.get());
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(describe(*instance), "Left=0.3 Hub(Bolt=0.2) Right=0.8");
    EXPECT_NE(instance->getAllErrors(true).find("Left: Lost extension"), std::string::npos);
    EXPECT_TRUE(instance->sync()) << "and through the next one";
    EXPECT_EQ(describe(*instance), "Left=0.3 Hub(Bolt=0.2) Right=0.8");

    _definition->add(_left.get());
    _hub->add(bolt.get());
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(instance->getAllErrors(true), "");
    EXPECT_EQ(instance->findExtensionByName("Left", false)->getParameter("Grip")->toReal(), 0.3);
    _left->getParameter("Grip")->set(0.6);
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(describe(*instance), "Hub(Bolt=0.2) Right=0.8 Left=0.3") << "and are own values as before";
}

TEST_F(Instances, ReportExtensionsThatTheirProxiesMiss) {
    const auto control = Kr::makeSmart<KrExtension>();
    control->setName("Control");
    _definition->add(control.get());
    auto* grips = static_cast<KrData::Proxy*>(control->addParameter("Grips", Types::kProxy));
    ASSERT_TRUE(grips->addLink(_left->getParameter("Grip")));
    ASSERT_TRUE(grips->addLink(control->addParameter("Own", Types::kDouble)));
    const auto instance = _definition->instantiate();
    const LogCapture log;
    EXPECT_TRUE(instance->sync());
    EXPECT_THAT(log.lines(), IsEmpty());

    const auto id = _left->getContentID().toString();
    _definition->remove(_left.get());
    _left.reset();
    EXPECT_TRUE(instance->sync());
    const std::string missing = "3 KrObject: extension '" + id + "' not found when syncing proxy of 'Control'.\n";
    EXPECT_THAT(log.lines(), testing::Contains(missing).Times(1));
    EXPECT_TRUE(instance->sync());
    EXPECT_THAT(log.lines(), testing::Contains(missing).Times(1)) << "only when it is new";
    EXPECT_TRUE(_definition->instantiate());
    EXPECT_THAT(log.lines(), testing::Contains(missing).Times(2)) << "also of a new instance";
}

TEST_F(Instances, KeepWhatWasTakenFromElsewhere) {
    const auto instance = _definition->instantiate(), other = _definition->instantiate();
    const KrSmartPtr<KrExtension> taken(other->getExtension(0));
    other->remove(taken.get());
    taken->setName("Taken");
    instance->add(taken.get());
    ExtensionAccess::setContentID(*instance, KrContentID::createUnique());
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(describe(*instance), "Left=0.8 Hub(Bolt=0.1) Right=0.8 Taken=0.8");
}

TEST_F(Instances, FollowNamesThatChangePlaces) {
    const auto instance = _definition->instantiate();
    auto* own = instance->findExtensionByName("Bolt", true);
    own->setName("Screw");
    KrObject::setInstanceData(own->getFieldsContainer().getNameField());
    _left->setName("Other");
    _definition->getExtension(2)->setName("Left");
    _left->setName("Right");
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(describe(*instance), "Right=0.8 Hub(Screw=0.1) Left=0.8");
}

TEST_F(Instances, ComeBackWholeWhenAnErrorEndsTheSync) {
    const auto car = Kr::makeSmart<KrObject>();
    const auto instance = _definition->instantiate();
    car->add(instance.get());
    setOwn(*instance, "Left", 0.3);
    const auto wrong = Kr::makeSmart<KrObject>();
    wrong->setName("Wrong");
    ExtensionAccess::setCreationKey(*wrong, KrSim::Keys::UnitSystem::kInternalFactoryKey);
    _definition->add(wrong.get());
    const LogCapture log([](const std::string& message) {
        if (message.front() == '2') throw std::runtime_error("no");
    });
    EXPECT_THROW(static_cast<void>(instance->sync()), std::runtime_error);
    EXPECT_EQ(instance->getOwner(), car.get());
    EXPECT_EQ(describe(*instance), "Left=0.3 Hub(Bolt=0.1) Right=0.8");
}

TEST_F(Instances, MoveToADefinitionOfTheSameItems) {
    const auto instance = _definition->instantiate();
    setOwn(*instance, "Left", 0.3);
    // The same content, loaded from another file: other runtime IDs, the same raw ones.
    const auto other = Kr::makeSmart<KrObject>();
    other->setName("Axle");
    const auto tyre = addTo(other, "Left", 0.9);
    auto id = _left->getContentID();
    id.setFile("other.file");
    ExtensionAccess::setContentID(*tyre, id);
    instance->replaceDefinition(other.get());
    EXPECT_EQ(instance->getDefinition(), other.get());
    EXPECT_EQ(describe(*instance), "Left=0.3");
}

TEST_F(Instances, LeaveTheirOwnerDuringASyncAndComeBackInPlace) {
    const auto car = Kr::makeSmart<KrObject>();
    const auto instance = _definition->instantiate();
    car->add(instance.get());
    addTo(car, "Last", 0.0);
    struct Recorder final : KrObject::Listener {
        std::vector<std::string> heard;
        void onExtensionAdded(KrObject*, KrExtension*) override { heard.emplace_back("back"); }
        void onExtensionRemoved(KrObject*, KrExtension*) override { heard.emplace_back("out"); }
    } recorder;
    car->registerListener(&recorder);
    EXPECT_TRUE(instance->sync());
    EXPECT_EQ(car->getExtension(0), instance.get());
    EXPECT_EQ(instance->getName(), "Axle");
    EXPECT_THAT(recorder.heard, ElementsAre("out", "back"));
    car->unregisterListener(&recorder);
}

TEST_F(Instances, AreNotSyncedWhileBusy) {
    test_support::ContextHost host;
    const auto instance = _definition->instantiate();
    ExtensionAccess::setApplicationContext(*instance, host.context());
    const LogCapture log;
    host.frame([&] { EXPECT_FALSE(instance->sync()); });
    EXPECT_THAT(log.lines(), ElementsAre("2 KrObject::sync() was called in the wrong thread or when KrApplication is "
                                         "updating the modules.\n"));
}

TEST_F(Instances, WaitForADefinitionThatIsGone) {
    const auto instance = _definition->instantiate();
    setOwn(*instance, "Left", 0.3);
    _definition.reset();
    const LogCapture log;
    EXPECT_FALSE(instance->sync());
    EXPECT_TRUE(instance->isInstance());
    EXPECT_EQ(describe(*instance), "Left=0.3 Hub(Bolt=0.1) Right=0.8");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(Instances, CloneAsInstances) {
    const auto instance = _definition->instantiate();
    setOwn(*instance, "Left", 0.3);
    const auto copy = instance->clone();
    auto* object = dynamic_cast<KrObject*>(copy.get());
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->getDefinition(), _definition.get());
    EXPECT_TRUE(object->sync());
    EXPECT_EQ(describe(*object), "Left=0.3 Hub(Bolt=0.1) Right=0.8");
    EXPECT_EQ(object->getExtension(0)->getContentID(),
              KrContentID::createFromParentInstance(object->getContentID(), _left->getContentID()));
}

TEST_F(Instances, RegenerateTheIDsOfPlainContent) {
    const auto left = _left->getContentID();
    const auto instance = _definition->instantiate();
    _hub->add(instance.get());
    const auto* placed = instance->getExtension(0);
    ObjectAccess::regenerateIDs(*_definition);
    EXPECT_NE(_left->getContentID(), left);
    EXPECT_NE(_hub->getContentID(), _definition->getContentID());
    EXPECT_EQ(placed->getContentID(), KrContentID::createFromParentInstance(instance->getContentID(), left))
        << "the chain keeps what it was made from";
}

}  // namespace object_instance_test
