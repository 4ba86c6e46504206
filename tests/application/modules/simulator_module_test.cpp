#include "kr/application/modules/simulator_module.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/types.h"
#include "kr/extension/extension_factory.h"
#include "kr/extension/extension_sorter.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/factory_keys.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_extension.h"
#include "tests/support/recording_module.h"

namespace simulator_module_test {

using namespace test_support;
using KrSim::eApplicationMode;
using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrExtensionSorter;
using KrSim::KrSimulatorModule;
using testing::ElementsAre;

using Calls = RecordingModule::Calls;
using Extension = Kr::KrSmartPtr<KrExtension>;

Extension makeExtension(const char* name, Calls* calls = nullptr) {
    auto extension = Kr::makeSmart<KrExtension>();
    extension->setName(name);
    if (calls != nullptr) new RecordingExtension(extension.get(), *calls);
    return extension;
}

KrSim::KrApplication* someApplication() {
    static char place = 0;  // never looked into
    return reinterpret_cast<KrSim::KrApplication*>(&place);
}

unsigned timesManaged(const Extension& extension) {
    return extension->getFieldsContainer().getActivationCount();
}

// --- Callbacks that throw ------------------------------------------------------------------------------------------

struct ThrowCase {
    const char* callback;
    void (*call)(KrSimulatorModule& module, KrExtension* extension);
    const char* onException;
    const char* onNumber;
};

const ThrowCase kThrows[] = {
    {"onPreUpdate", [](auto& module, auto*) { module.preUpdate(eApplicationMode::kPlayback); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onPreUpdate mode=2 [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onPreUpdate mode=2\n"},
    {"onUpdate", [](auto& module, auto*) { module.update(eApplicationMode::kSimulating); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onUpdate mode=0 [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onUpdate mode=0\n"},
    {"onPostUpdate", [](auto& module, auto*) { module.postUpdate(eApplicationMode::kEditing); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onPostUpdate mode=1 [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onPostUpdate mode=1\n"},
    {"onExtensionAdded", [](auto& module, auto* extension) { module.addExtension(extension); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onExtensionAdded() 'Car' [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onExtensionAdded() 'Car' \n"},
    {"onExtensionRemoved", [](auto& module, auto* extension) { module.removeExtension(extension); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onExtensionRemoved() 'Car' [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onExtensionRemoved 'Car'\n"},
    {"onFillSimulationState",
     [](auto& module, auto*) { module.fillSimulationState(Kr::makeSmart<KrSim::KrSimulationState>()); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onFillSimulationState [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onFillSimulationState\n"},
    {"onStateSave", [](auto& module, auto*) { module.fillSimulationState(Kr::makeSmart<KrSim::KrSimulationState>()); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onStateSave() [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onStateSave()\n"},
    {"onAddToApplication", [](auto& module, auto*) { module._onAddToApplication(someApplication()); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onAddToApplication [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onAddToApplication\n"},
    {"onRemoveFromApplication", [](auto& module, auto*) { module._onRemoveFromApplication(someApplication()); },
     "3 KrSimulatorModule: fatal error in 'Traffic' onRemoveFromApplication [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onRemoveFromApplication\n"},
    {"onApplicationModeChange",
     [](auto& module, auto*) {
         module._onApplicationModeChange(eApplicationMode::kEditing, eApplicationMode::kSimulating);
     },
     "3 KrSimulatorModule: fatal error in 'Traffic' onApplicationModeChange [no]\n",
     "3 KrSimulatorModule: unhandled exception in 'Traffic' onApplicationModeChange\n"},
};

TEST(SimulatorModule, LogsWhatItsCallbacksThrow) {
    for (const auto& each : kThrows) {
        Calls calls;
        const auto module = makeModule("Traffic", calls);
        const auto car = makeExtension("Car");
        recording(module).throwsIn = each.callback;
        const LogCapture log;
        each.call(*module->_getModuleProxy(), car.get());
        recording(module).throwsExceptions = false;
        each.call(*module->_getModuleProxy(), car.get());
        EXPECT_THAT(log.lines(), ElementsAre(each.onException, each.onNumber)) << each.callback;
        const KrSim::KrExtension* placeholder = module.getExtension();
        const_cast<KrExtension*>(placeholder)->_createUnknownImplementation();
        each.call(*static_cast<KrSimulatorModule*>(module.getExtension()), car.get());
        EXPECT_EQ(log.lines().size(), 2U) << each.callback << " of a placeholder was called";
    }
}

// --- Managing ------------------------------------------------------------------------------------------------------

TEST(ManagedExtensions, AreActiveWhileAnyModuleManagesThem) {
    Calls calls, ignored;
    const auto first = makeModule("First", ignored), second = makeModule("Second", ignored);
    const auto car = makeExtension("Car", &calls);
    EXPECT_FALSE(recording(first)._removeManagedExtension(car.get()));
    EXPECT_TRUE(recording(first)._addManagedExtension(car.get()));
    EXPECT_TRUE(recording(first)._addManagedExtension(car.get())) << "twice counts twice";
    EXPECT_TRUE(recording(second)._addManagedExtension(car.get()));
    EXPECT_EQ(timesManaged(car), 3U);
    EXPECT_TRUE(recording(first)._removeManagedExtension(car.get()));
    EXPECT_TRUE(first->_getModuleProxy()->hasManagedExtension(car.get()));
    EXPECT_TRUE(recording(first)._removeManagedExtension(car.get()));
    EXPECT_FALSE(recording(first)._removeManagedExtension(car.get()));
    EXPECT_FALSE(first->_getModuleProxy()->hasManagedExtension(car.get()));
    EXPECT_EQ(timesManaged(car), 1U);
    EXPECT_THAT(calls, ElementsAre("onActive"));
    EXPECT_TRUE(recording(second)._removeManagedExtension(car.get()));
    EXPECT_THAT(calls, ElementsAre("onActive", "onInactive"));
}

TEST(ManagedExtensions, MayBeNullAndLoseTheirLastHolder) {
    Calls calls, ignored;
    const auto module = makeModule("Traffic", ignored);
    auto car = makeExtension("Car", &calls), bus = makeExtension("Bus");
    EXPECT_TRUE(recording(module)._addManagedExtension(nullptr));
    recording(module)._addManagedExtension(car.get());
    recording(module)._addManagedExtension(bus.get());
    auto* borrowed = car.get();
    car.reset();
    EXPECT_TRUE(recording(module)._removeManagedExtension(borrowed));
    EXPECT_THAT(calls, ElementsAre("onActive", "onInactive", "destroyed"));
    EXPECT_THAT(recording(module).getManagedExtensions(), ElementsAre(Extension(), bus));
    EXPECT_TRUE(recording(module)._removeManagedExtension(nullptr));
    EXPECT_FALSE(recording(module)._removeManagedExtension(nullptr));
}

TEST(ManagedExtensions, TellWhereSomebodyElseTookTheirCount) {
    Calls calls;
    const auto module = makeModule("Traffic", calls);
    const auto car = makeExtension("Car");
    recording(module)._addManagedExtension(car.get());
    car->getFieldsContainer()._deactivate();
    const LogCapture log;
    EXPECT_TRUE(recording(module)._removeManagedExtension(car.get()));
    EXPECT_THAT(log.lines(), ElementsAre("5 KrSimulatorModule: [Car] managed count is less than 0\n"));
    EXPECT_EQ(timesManaged(car), 0U);
}

TEST(ManagedExtensions, AreLetGoOfByAModuleThatLeavesOrDies) {
    const auto car = makeExtension("Car"), bus = makeExtension("Bus");
    for (const bool dies : {false, true}) {
        Calls calls;
        auto module = makeModule("Traffic", calls);
        auto* recorder = &recording(module);
        for (const auto& each : {car, car, bus})
            recorder->_addManagedExtension(each.get());
        // Its own attempts, the last of them in its destructor, meet a whole proxy; what it adds late is let go, too.
        recorder->onEachCall = [&](const std::string& callback) {
            recorder->_removeManagedExtension(bus.get());
            if (callback == "destructor") recorder->_addManagedExtension(bus.get());
        };
        if (dies) {
            module.reset();
        } else {
            module->_getModuleProxy()->_onRemoveFromApplication(someApplication());
            EXPECT_THAT(recorder->getManagedExtensions(), ElementsAre());
        }
        EXPECT_EQ(timesManaged(car), 0U) << dies;
        EXPECT_EQ(timesManaged(bus), 0U) << dies;
    }
}

TEST(ManagedExtensions, AreSortedAgainWhenTheyOrTheGraphChanged) {
    struct BuildCounter final : KrExtensionSorter::Listener {
        void onBuilt(std::uint32_t) override { ++builds; }
        int builds{0};
    } counter;
    auto& sorter = KrExtensionSorter::instance();
    sorter.reset();
    sorter.registerListener(&counter);
    const auto car = makeExtension("Car"), bus = makeExtension("Bus"), van = makeExtension("Van");
    for (const auto& each : {car, bus, van})
        sorter.addExtension(each.get());
    Calls calls;
    const auto module = makeModule("Traffic", calls);
    auto& recorder = recording(module);
    for (const auto& each : {van, car})
        recorder._addManagedExtension(each.get());
    recorder._sortManagedExtensions();
    recorder._sortManagedExtensions();
    EXPECT_THAT(recorder.getManagedExtensions(), ElementsAre(car, van));
    EXPECT_EQ(counter.builds, 1);
    recorder._addManagedExtension(bus.get());
    recorder._sortManagedExtensions();
    EXPECT_THAT(recorder.getManagedExtensions(), ElementsAre(car, bus, van));
    // Nobody else asks the sorter, so nothing but this call makes the new order.
    sorter.removeExtension(car.get());
    sorter.addExtension(car.get());
    recorder._sortManagedExtensions();
    EXPECT_THAT(recorder.getManagedExtensions(), ElementsAre(bus, van, car));
    EXPECT_EQ(counter.builds, 2);
    sorter.unregisterListener(&counter);
    sorter.reset();
}

// --- Place, types and copies ---------------------------------------------------------------------------------------

TEST(SimulatorModule, IsActiveInItsApplicationAndShowsItsErrors) {
    const ContextHost host;
    Calls calls;
    const auto module = makeModule("Traffic", calls);
    auto* proxy = module->_getModuleProxy();
    proxy->addError("jam", false);
    proxy->_setApplicationContext(host.context());
    EXPECT_FALSE(proxy->hasError());
    std::vector<KrSim::KrApplication*> seen;
    recording(module).onEachCall = [&](const std::string&) { seen.push_back(module->getApplication()); };
    proxy->_onAddToApplication(someApplication());
    proxy->_onAddToApplication(someApplication());
    EXPECT_TRUE(proxy->hasError());
    proxy->_onRemoveFromApplication(someApplication());
    EXPECT_FALSE(proxy->hasError());
    EXPECT_THAT(calls, ElementsAre("Traffic onActive", "Traffic onAddToApplication", "Traffic onAddToApplication",
                                   "Traffic onRemoveFromApplication", "Traffic onInactive"));
    EXPECT_THAT(seen, ElementsAre(someApplication(), someApplication(), someApplication(), nullptr, nullptr));
    recording(module).onEachCall = {};
}

TEST(SimulatorModule, IsCopiedWithItsPrioritiesButWithoutWhatItManages) {
    Calls calls;
    const auto module = makeModule("Traffic", calls, 1, 2, 3);
    const auto car = makeExtension("Car");
    recording(module)._addManagedExtension(car.get());
    const auto copy = Kr::dynamicPointerCast<KrSimulatorModule>(module.getExtension()->clone());
    ASSERT_TRUE(copy);
    EXPECT_THAT((std::vector{copy->getPreUpdatePriority(), copy->getUpdatePriority(), copy->getPostUpdatePriority()}),
                ElementsAre(1, 2, 3));
    EXPECT_THAT(copy->getManagedExtensions(), ElementsAre());
    EXPECT_EQ(timesManaged(car), 1U);
}

TEST(SimulatorModule, WithoutAProxyDoesNothing) {
    const LogCapture log;
    Calls calls;
    RecordingModule module(nullptr, calls, 1, 2, 3);
    const auto car = makeExtension("Car");
    EXPECT_FALSE(module._addManagedExtension(car.get()));
    EXPECT_FALSE(module._removeManagedExtension(car.get()));
    module._sortManagedExtensions();
    EXPECT_THAT(module.getManagedExtensions(), ElementsAre());
    EXPECT_EQ(module.getApplication(), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("2 IExtension can't be created with a NULL proxy.\n"));
}

TEST(SimulatorModule, IsMadeByTheFactoryForEachBuiltInKey) {
    using namespace KrSim::Keys;
    const auto keys = KrExtensionFactory::getAvailableTypes(KrExtensionFactory::eType::kSimulatorModule);
    const auto object = Kr::makeSmart<KrSim::KrObject>();
    for (const auto* key :
         {&Module::kInternalFactoryKey, &AnimationModule::kInternalFactoryKey, &ConnectionModule::kInternalFactoryKey,
          &ControlPresetModule::kInternalFactoryKey, &ConfigurationModule::kInternalFactoryKey,
          &ProcessMonitorModule::kInternalFactoryKey, &ProfilerModule::kInternalFactoryKey,
          &KeyFrameModule::kInternalFactoryKey, &RoleSeatModule::kInternalFactoryKey}) {
        EXPECT_TRUE(keys.contains(*key)) << key->toString();
        const auto made = KrExtensionFactory::create(*key);
        const auto module = Kr::dynamicPointerCast<KrSimulatorModule>(made);
        ASSERT_TRUE(module) << key->toString();
        EXPECT_NE(module->_getModuleImplementation(), nullptr);
        EXPECT_TRUE(KrData::Types::extensionIsInterfaceFieldType(made.get(), KrSim::ISimulatorModule::kFieldTypeId));
        EXPECT_FALSE(object->add(made.get())) << "modules are no content";
    }
    Calls calls;
    const auto car = makeExtension("Car", &calls);
    EXPECT_FALSE(KrData::Types::extensionIsInterfaceFieldType(car.get(), KrSim::ISimulatorModule::kFieldTypeId));
    EXPECT_EQ(KrData::Types::nameFor(KrSim::ISimulatorModule::kFieldTypeId), "Simulator Module");
}

}  // namespace simulator_module_test
