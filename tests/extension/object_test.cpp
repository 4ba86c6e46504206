#include "kr/extension/object.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kr/extension/content_registry.h"
#include "kr/extension/extension_access.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_extension.h"

namespace object_test {

using KrSim::detail::ExtensionAccess;
using namespace test_support;
using Kr::KrSmartPtr;
using KrSim::IObject;
using KrSim::KrExtension;
using KrSim::KrObject;
using testing::ElementsAre;

using Calls = std::vector<std::string>;

template <class T>
KrSmartPtr<T> make(const char* name) {
    auto made = Kr::makeSmart<T>();
    made->setName(name);
    return made;
}

/// Records its callbacks, and returns or throws as it was configured.
class RecordingObject final : public IObject {
public:
    RecordingObject(KrObject* proxy, Calls& recorded) : IObject(proxy, 1), calls(recorded) {}
    bool isCompatible(KrExtension* extension) const override {
        _throwIfAsked();
        return takesAll || IObject::isCompatible(extension);
    }
    bool onExtensionAdded(KrExtension*) override {
        calls.emplace_back("onExtensionAdded");
        _throwIfAsked();
        return true;
    }
    void onExtensionRemoved(KrExtension*) override {
        calls.emplace_back("onExtensionRemoved");
        _throwIfAsked();
    }

    Calls& calls;
    bool takesAll{false};
    RecordingExtension::Throws throws{RecordingExtension::Throws::kNothing};

private:
    void _throwIfAsked() const {
        if (throws == RecordingExtension::Throws::kException) throw std::runtime_error("no");
        if (throws == RecordingExtension::Throws::kNumber) throw 7;
    }
};

class RecordingListener final : public KrObject::Listener {
public:
    RecordingListener(Calls& recorded, bool recursive = false) : Listener(recursive), calls(recorded) {}
    void onExtensionAdded(KrObject* object, KrExtension* extension) override {
        calls.push_back(object->getName() + "+" + extension->getName());
        if (onEach) onEach();
    }
    void onExtensionRemoved(KrObject* object, KrExtension* extension) override {
        calls.push_back(object->getName() + "-" + extension->getName());
        if (onEach) onEach();
    }
    Calls& calls;
    std::function<void()> onEach;
};

std::vector<std::string> namesIn(const KrObject& object) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < object.getExtensionCount(); ++i)
        names.push_back(object.getExtension(i)->getName());
    return names;
}

TEST(ObjectRules, RefuseWithAReason) {
    struct Module final : KrExtension {
        [[nodiscard]] bool _isSimulatorModule() const noexcept override { return true; }
    };
    const LogCapture log;
    const auto car = make<KrObject>("Car"), other = make<KrObject>("Other");
    const auto wheel = make<KrExtension>("Wheel"), module = KrSmartPtr<KrExtension>(make<Module>("Module"));
    EXPECT_FALSE(car->add(static_cast<KrExtension*>(nullptr)));
    EXPECT_TRUE(car->add(wheel.get()));
    EXPECT_TRUE(car->add(other.get())) << "without implementations anything goes";
    EXPECT_FALSE(car->add(wheel.get()));
    EXPECT_FALSE(other->add(wheel.get()));
    EXPECT_FALSE(car->add(module.get()));
    EXPECT_FALSE(other->add(car.get()));
    EXPECT_FALSE(car->add(car.get()));
    EXPECT_EQ(wheel->getOwner(), car.get());
    EXPECT_EQ(wheel->getPath(), "Car/Wheel");
    EXPECT_THAT(log.lines(), ElementsAre("5 KrObject: 'Wheel' already in 'Car'\n",
                                         "5 KrObject: Can't add 'Wheel' to 'Other' because it already in 'Car'\n",
                                         "5 KrObject: Cannot add a ISimulatorModule 'Module' to 'Car'.\n",
                                         "5 KrObject: Can't add 'Car' to 'Other' because it would hold itself\n",
                                         "5 KrObject: Can't add 'Car' to 'Car' because it would hold itself\n"));
}

TEST(ObjectRules, AreThoseOfTheImplementationWhereBothHaveOne) {
    Calls calls;
    const LogCapture log;
    const auto car = make<KrObject>("Car"), trailer = make<KrObject>("Trailer");
    auto* implementation = new RecordingObject(car.get(), calls);
    new RecordingObject(trailer.get(), calls);
    EXPECT_FALSE(car->add(trailer.get())) << "objects are not taken by default";
    implementation->takesAll = true;
    implementation->throws = RecordingExtension::Throws::kException;
    EXPECT_FALSE(car->add(trailer.get()));
    implementation->throws = RecordingExtension::Throws::kNumber;
    EXPECT_FALSE(car->add(trailer.get()));
    implementation->throws = RecordingExtension::Throws::kNothing;
    EXPECT_TRUE(car->add(trailer.get()));
    EXPECT_THAT(log.lines(),
                ElementsAre("3 KrObject: fatal error in 'Car' isCompatible while adding 'Trailer'. [no]\n",
                            "3 KrObject: unhandled exception in 'Car' isCompatible while adding 'Trailer'.\n"));
}

TEST(ObjectCallbacks, ComeInOrder) {
    Calls calls;
    const auto car = make<KrObject>("Car");
    auto wheel = make<KrExtension>("Wheel");
    new RecordingObject(car.get(), calls);
    new RecordingExtension(wheel.get(), calls);
    RecordingListener listener(calls);
    car->registerListener(&listener);
    car->registerListener(&listener);
    car->add(wheel.get());
    auto* borrowed = wheel.get();
    wheel.reset();
    car->remove(borrowed);
    EXPECT_THAT(calls, ElementsAre("onAddToOwner", "onExtensionAdded", "Car+Wheel", "onExtensionRemoved",
                                   "onRemoveFromOwner", "Car-Wheel", "destroyed"));
    car->unregisterListener(&listener);
}

TEST(ObjectCallbacks, ThatThrowAreLoggedAndChangeNothing) {
    Calls calls;
    const LogCapture log;
    const auto car = make<KrObject>("Car");
    const auto wheel = make<KrExtension>("Wheel");
    auto* implementation = new RecordingObject(car.get(), calls);
    RecordingListener listener(calls);
    listener.onEach = [] { throw std::runtime_error("no"); };
    car->registerListener(&listener);
    implementation->throws = RecordingExtension::Throws::kException;
    car->add(wheel.get());
    implementation->throws = RecordingExtension::Throws::kNumber;
    car->remove(wheel.get());
    EXPECT_EQ(wheel->getOwner(), nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre("5 KrObject: fatal error in 'Car' onExtensionAdded while adding 'Wheel'. [no]\n",
                            "3 KrObject: fatal error in 'Car' listener [no]\n",
                            "5 KrObject: unhandled exception in 'Car' onExtensionRemoved while removing 'Wheel'.\n",
                            "3 KrObject: fatal error in 'Car' listener [no]\n"));
}

TEST(ObjectCallbacks, MayTakeTheExtensionOutAgain) {
    Calls calls;
    const auto car = make<KrObject>("Car");
    const auto wheel = make<KrExtension>("Wheel");
    auto* implementation = new RecordingExtension(wheel.get(), calls);
    implementation->onEachCall = [&](const char*) { car->remove(wheel.get()); };
    RecordingListener listener(calls);
    car->registerListener(&listener);
    car->add(wheel.get());
    EXPECT_THAT(calls, ElementsAre("onAddToOwner", "onRemoveFromOwner", "Car-Wheel"));
    EXPECT_EQ(car->getExtensionCount(), 0U);
    implementation->onEachCall = nullptr;
}

TEST(ObjectListeners, RecursiveOnesFollowTheTree) {
    Calls calls;
    RecordingListener listener(calls, true), leaving(calls);
    leaving.onEach = [&] { calls.emplace_back("leaving"); };
    const auto car = make<KrObject>("Car"), axle = make<KrObject>("Axle"), hub = make<KrObject>("Hub");
    car->add(axle.get());
    listener.onEach = [&] { car->unregisterListener(&leaving); };
    car->registerListener(&listener);
    car->registerListener(&leaving);
    axle->add(hub.get());
    hub->add(make<KrExtension>("Bolt").get());
    car->remove(axle.get());
    axle->add(make<KrExtension>("Nut").get());
    hub->add(make<KrExtension>("Pin").get());
    EXPECT_THAT(calls, ElementsAre("Axle+Hub", "Hub+Bolt", "Car-Axle"))
        << "and one that an earlier listener unregistered is not called";
}

TEST(ObjectNames, StayUniqueThroughRenamingAndLeaving) {
    const auto car = make<KrObject>("Car");
    const auto first = make<KrExtension>("Wheel"), second = make<KrExtension>("Wheel");
    car->add(first.get());
    car->add(second.get());
    EXPECT_THAT(namesIn(*car), ElementsAre("Wheel", "Wheel 2"));
    second->setName("Wheel");
    EXPECT_EQ(second->getName(), "Wheel 2");
    first->setName("Tyre");
    second->setName("Wheel");
    EXPECT_THAT(namesIn(*car), ElementsAre("Tyre", "Wheel"));
    car->remove(second.get());
    first->setName("Wheel");
    EXPECT_EQ(first->getName(), "Wheel") << "the name came back with the one that left";
}

TEST(ObjectNames, StayUniqueWhenObserversRename) {
    const auto car = make<KrObject>("Car");
    const auto wheel = make<KrExtension>("Wheel"), tyre = make<KrExtension>("Tyre"), added = make<KrExtension>("Wheel");
    car->add(wheel.get());
    car->add(tyre.get());
    const auto observed = added->addObserver([&](const KrData::FieldBase&) {
        if (added->getName() == "Wheel 2") tyre->setName("Hub");
        if (added->getName() == "Hub 2") added->setName("Last");
    });
    car->add(added.get());
    EXPECT_THAT(namesIn(*car), ElementsAre("Wheel", "Hub", "Wheel 2"));
    added->setName("Hub");
    EXPECT_THAT(namesIn(*car), ElementsAre("Wheel", "Hub", "Last"));
    car->add(make<KrExtension>("Last").get());
    car->add(make<KrExtension>("Hub").get());
    EXPECT_THAT(namesIn(*car), ElementsAre("Wheel", "Hub", "Last", "Last 2", "Hub 2"));
}

TEST(ObjectLookup, FindsOwnOnesFirstThenThoseBelow) {
    const KrSim::KrFactoryKey vhl("51A92D19-ABCB-41FD-AE79-7F1EAAFDCE47", "Simulation", "VHLInterface");
    const LogCapture log;
    const auto car = make<KrObject>("Car"), axle = make<KrObject>("Axle");
    const auto below = make<KrExtension>("Steering"), own = make<KrExtension>("Steering");
    for (const auto& each : {below, own})
        ExtensionAccess::setCreationKey(*each, vhl);
    axle->add(below.get());
    car->add(axle.get());
    EXPECT_EQ(car->findExtensionByName("Steering", true), below.get());
    car->add(own.get());
    EXPECT_EQ(car->findExtensionByName("Steering", true), own.get());
    EXPECT_EQ(car->findExtensionByName("Nothing", true), nullptr);
    EXPECT_THAT(car->findExtensionsByKey(vhl, true), ElementsAre(below.get(), own.get()));
    EXPECT_THAT(car->findExtensionsByKey(vhl, false), ElementsAre(own.get()));
    EXPECT_TRUE(car->findExtensionsByKey({}, true).isEmpty());
    EXPECT_EQ(car->findInterface("Steering"), own.get());
    EXPECT_EQ(car->findInterface("Brakes"), nullptr);
    EXPECT_EQ(car->getVHLInterface(1), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("5 KrObject::findInterface did not find 'Brakes' in 'Car'\n"));
}

TEST(ObjectMessages, AreThoseOfTheWholeTree) {
    const auto car = make<KrObject>("Car");
    const auto wheel = make<KrExtension>("Wheel");
    car->add(wheel.get());
    EXPECT_FALSE(car->hasError(true));
    EXPECT_FALSE(car->hasInfo(true));
    car->addError("a", false);
    wheel->addError("b", false);
    wheel->addInfo("c", false);
    EXPECT_EQ(car->getAllErrors(true), "Car: a\nWheel: b\n");
    EXPECT_EQ(car->getAllInfos(true), "c\n");
    EXPECT_TRUE(car->hasInfo(true));
}

TEST(ObjectInAnApplication, DefersWhileItIsBusyAndAsksAgain) {
    ContextHost host;
    const LogCapture log;
    const auto car = make<KrObject>("Car"), other = make<KrObject>("Other");
    ExtensionAccess::setApplicationContext(*car, host.context());
    const auto wheel = make<KrExtension>("Wheel"), stolen = make<KrExtension>("Stolen");
    host.frame([&] {
        EXPECT_TRUE(car->add(wheel.get()));
        EXPECT_TRUE(car->add(stolen.get()));
        EXPECT_TRUE(other->add(stolen.get())) << "an object outside the application is never busy";
        EXPECT_EQ(car->getExtensionCount(), 0U);
    });
    EXPECT_THAT(namesIn(*car), ElementsAre("Wheel"));
    EXPECT_TRUE(wheel->getApplicationContext() == host.context());
    EXPECT_THAT(log.lines(), ElementsAre("3 KrObject: Adding 'Stolen' to 'Car' has failed.\n"));
    host.frame([&] {
        car->remove(wheel.get());
        EXPECT_EQ(wheel->getOwner(), car.get());
    });
    EXPECT_EQ(wheel->getOwner(), nullptr);
    EXPECT_FALSE(wheel->getApplicationContext().isValid());
}

TEST(ObjectInAnApplication, ThatDiesWhileAnAdditionWaitsTakesNothing) {
    ContextHost host;
    auto car = make<KrObject>("Car");
    ExtensionAccess::setApplicationContext(*car, host.context());
    const auto wheel = make<KrExtension>("Wheel");
    host.frame([&] {
        car->add(wheel.get());
        car.reset();
    });
    EXPECT_EQ(wheel->getOwner(), nullptr);
}

TEST(ObjectDeath, LeavesWhatOthersHold) {
    Calls calls;
    auto car = make<KrObject>("Car"), axle = make<KrObject>("Axle");
    RecordingListener listener(calls, true);
    car->registerListener(&listener);
    const auto wheel = make<KrExtension>("Wheel");
    auto* borrowed = car.get();
    const auto late = make<KrExtension>("Late");
    (new RecordingExtension(wheel.get(), calls))->onEachCall = [&](const char* call) {
        if (std::string(call) != "onRemoveFromOwner") return;
        borrowed->remove(wheel.get());
        EXPECT_FALSE(borrowed->add(late.get()));
    };
    car->add(wheel.get());
    car->add(axle.get());
    calls.clear();
    car.reset();
    EXPECT_EQ(wheel->getOwner(), nullptr);
    axle->add(make<KrExtension>("Hub").get());
    EXPECT_THAT(calls, ElementsAre("onRemoveFromOwner")) << "the listener is not on what outlives the tree";
}

// More levels than the stack of a thread has room for, if each took its share of it.
TEST(DeepObjects, AreCopiedAndDestroyedWithAllBelowThem) {
    constexpr int kDepth = 10'000;
    const auto before = KrSim::KrContentRegistry::instance().getExtensionCount();
    const auto top = make<KrObject>("O");
    auto* innermost = top.get();
    for (int level = 1; level < kDepth; ++level) {
        const auto below = make<KrObject>("O");
        innermost->add(below.get());
        innermost = below.get();
    }
    EXPECT_EQ(innermost->getPath().size(), std::size_t{2} * kDepth - 1);

    auto copy = top->clone();
    EXPECT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before + 2 * kDepth);
    const KrExtension* lowest = copy.get();
    for (int level = 1; level < kDepth; ++level)
        lowest = static_cast<const KrObject*>(lowest)->getExtension(0);
    EXPECT_EQ(static_cast<const KrObject*>(lowest)->getExtensionCount(), 0U);

    // One in the middle that others hold is left with all below it.
    auto* middle = static_cast<KrObject*>(copy.get());
    for (int level = 1; level <= kDepth / 2; ++level)
        middle = static_cast<KrObject*>(middle->getExtension(0));
    KrSmartPtr<KrObject> held(middle);
    copy.reset();
    EXPECT_EQ(held->getOwner(), nullptr);
    EXPECT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before + kDepth + kDepth / 2);
    held.reset();
    EXPECT_EQ(KrSim::KrContentRegistry::instance().getExtensionCount(), before + kDepth);
}

}  // namespace object_test
