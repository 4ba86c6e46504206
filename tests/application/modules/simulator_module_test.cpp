#include "kr/application/modules/simulator_module.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/types.h"
#include "kr/extension/extension_access.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/factory/extension_factory.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_extension.h"
#include "tests/support/recording_module.h"

namespace simulator_module_test {

using KrSim::detail::ExtensionAccess;
using KrSim::detail::FieldsAccess;
using namespace test_support;
using KrSim::eApplicationMode;
using KrSim::KrExtension;
using KrSim::KrExtensionFactory;
using KrSim::KrExtensionSorter;
using KrSim::KrSimulatorModule;
using testing::ElementsAre;
using testing::ElementsAreArray;

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

struct ThrowCase {
    std::string callback;
    void (*call)(KrSimulatorModule& module, KrExtension* extension);
    std::string end;                // what follows the name of the module and of the callback
    std::string endForNumber{end};  // if no standard exception is thrown
};

/// Operations whose pointers are taken here.
struct Protected : KrSimulatorModule {
    using KrSimulatorModule::_onApplicationModeChange;
};

const ThrowCase kThrows[] = {
    {"onPreUpdate", [](auto& module, auto*) { module.preUpdate(eApplicationMode::kPlayback); }, " mode=2"},
    {"onUpdate", [](auto& module, auto*) { module.update(eApplicationMode::kSimulating); }, " mode=0"},
    {"onPostUpdate", [](auto& module, auto*) { module.postUpdate(eApplicationMode::kEditing); }, " mode=1"},
    {"onExtensionAdded", [](auto& module, auto* extension) { module.addExtension(extension); }, "() 'Car'",
     "() 'Car' "},
    {"onExtensionRemoved", [](auto& module, auto* extension) { module.removeExtension(extension); }, "() 'Car'",
     " 'Car'"},
    {"onFillSimulationState",
     [](auto& module, auto*) { module.fillSimulationState(Kr::makeSmart<KrSim::KrSimulationState>()); }, ""},
    {"onStateSave", [](auto& module, auto*) { module.fillSimulationState(Kr::makeSmart<KrSim::KrSimulationState>()); },
     "()"},
    {"onAddToApplication", [](auto& module, auto*) { module._onAddToApplication(someApplication()); }, ""},
    {"onRemoveFromApplication", [](auto& module, auto*) { module._onRemoveFromApplication(someApplication()); }, ""},
    {"onApplicationModeChange", [](auto& module, auto*) { (module.*&Protected::_onApplicationModeChange)({}, {}); },
     ""},
};

TEST(SimulatorModule, LogsWhatItsCallbacksThrow) {
    for (const auto& each : kThrows) {
        Calls calls;
        const auto module = makeModule("Traffic", calls);
        auto& proxy = *module->_getModuleProxy();
        const auto car = makeExtension("Car");
        recording(module).throwsIn = each.callback;
        const LogCapture log;
        each.call(proxy, car.get());
        recording(module).throwsExceptions = false;
        each.call(proxy, car.get());
        ExtensionAccess::createUnknownImplementation(proxy);
        each.call(proxy, car.get());
        EXPECT_THAT(log.lines(),
                    ElementsAre("3 KrSimulatorModule: fatal error in 'Traffic' " + each.callback + each.end + " [no]\n",
                                "3 KrSimulatorModule: unhandled exception in 'Traffic' " + each.callback +
                                    each.endForNumber + "\n"));
    }
}

TEST(ManagedExtensions, AreActiveWhileAnyModuleManagesThem) {
    Calls calls, ignored;
    const auto firstModule = makeModule("First", ignored), secondModule = makeModule("Second", ignored);
    auto &first = recording(firstModule), &second = recording(secondModule);
    const auto car = makeExtension("Car", &calls);
    EXPECT_FALSE(first._removeManagedExtension(car.get()));
    for (auto* module : {&first, &first, &second})
        EXPECT_TRUE(module->_addManagedExtension(car.get())) << "twice counts twice";
    EXPECT_EQ(timesManaged(car), 3U);
    EXPECT_TRUE(first._removeManagedExtension(car.get()));
    EXPECT_TRUE(first._removeManagedExtension(car.get()));
    EXPECT_FALSE(first._removeManagedExtension(car.get()));
    EXPECT_EQ(timesManaged(car), 1U);
    EXPECT_THAT(calls, ElementsAre("onActive"));
    EXPECT_TRUE(second._removeManagedExtension(car.get()));
    EXPECT_THAT(calls, ElementsAre("onActive", "onInactive"));
}

TEST(ManagedExtensions, MayLoseTheirLastHolderOrTheirCount) {
    Calls calls, ignored;
    const auto module = makeModule("Traffic", ignored);
    auto car = makeExtension("Car", &calls), bus = makeExtension("Bus");
    recording(module)._addManagedExtension(car.get());
    recording(module)._addManagedExtension(bus.get());
    auto* borrowed = car.get();
    car.reset();
    EXPECT_TRUE(recording(module)._removeManagedExtension(borrowed));
    EXPECT_THAT(calls, ElementsAre("onActive", "onInactive", "destroyed"));
    FieldsAccess::deactivate(bus->getFieldsContainer());
    const LogCapture log;
    EXPECT_TRUE(recording(module)._removeManagedExtension(bus.get()));
    EXPECT_THAT(log.lines(), ElementsAre("5 KrSimulatorModule: [Bus] managed count is less than 0\n"));
}

TEST(ManagedExtensions, StandInOrderWhateverIsTakenOut) {
    Calls calls;
    const auto module = makeModule("Traffic", calls);
    std::vector<Extension> extensions(100);  // the first is null
    for (std::size_t i = 1; i < extensions.size(); ++i)
        extensions[i] = makeExtension("Car");
    std::vector<Extension> model;
    std::mt19937 random(7);
    for (int step = 0; step < 6000; ++step) {
        // Fills up and empties by turns, so that many are taken in a row.
        const bool adds = step / 300 % 2 == 0 && random() % 100 < 97;
        const auto& picked = extensions[random() % extensions.size()];
        const auto found = std::find(model.begin(), model.end(), picked);
        if (adds) {
            recording(module)._addManagedExtension(picked.get());
            model.push_back(picked);
        } else {
            ASSERT_EQ(recording(module)._removeManagedExtension(picked.get()), found != model.end()) << step;
            if (found != model.end()) model.erase(found);
        }
        if (step % 17 == 0) {
            ASSERT_EQ(module->_getModuleProxy()->hasManagedExtension(picked.get()),
                      std::find(model.begin(), model.end(), picked) != model.end())
                << step;
        }
        if (step % 170 != 0) continue;
        ASSERT_THAT(recording(module).getManagedExtensions(), ElementsAreArray(model)) << step;
    }
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
            if (callback != "destructor") return;
            EXPECT_EQ(timesManaged(car), 0U) << "let go of while the implementation lives";
            recorder->_addManagedExtension(bus.get());
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
    auto& sorter = KrExtensionSorter::instance();
    sorter.reset();
    const auto car = makeExtension("Car"), bus = makeExtension("Bus"), van = makeExtension("Van");
    for (const auto& each : {car, bus, van})
        sorter.addExtension(each.get());
    const auto builds = sorter.getLastBuildNumber();
    Calls calls;
    const auto module = makeModule("Traffic", calls);
    auto& recorder = recording(module);
    for (const auto& each : {van, car, bus}) {
        recorder._addManagedExtension(each.get());
        recorder._sortManagedExtensions();
    }
    EXPECT_THAT(recorder.getManagedExtensions(), ElementsAre(car, bus, van));
    EXPECT_EQ(sorter.getLastBuildNumber(), builds + 1);
    // No other code uses the sorter, so only this call makes the new order.
    sorter.removeExtension(car.get());
    sorter.addExtension(car.get());
    recorder._sortManagedExtensions();
    EXPECT_THAT(recorder.getManagedExtensions(), ElementsAre(bus, van, car));
    sorter.reset();
}

TEST(SimulatorModule, IsActiveInItsApplicationAndShowsItsErrors) {
    const ContextHost host;
    Calls calls;
    const auto module = makeModule("Traffic", calls);
    auto* proxy = module->_getModuleProxy();
    proxy->addError("jam", false);
    ExtensionAccess::setApplicationContext(*proxy, host.context());
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
        EXPECT_NE(module->getModuleImplementation(), nullptr);
        EXPECT_TRUE(KrData::Types::extensionIsInterfaceFieldType(made.get(), KrSim::ISimulatorModule::kFieldTypeId));
        EXPECT_FALSE(object->add(made.get())) << "modules are no content";
    }
    Calls calls;
    const auto car = makeExtension("Car", &calls);
    EXPECT_FALSE(KrData::Types::extensionIsInterfaceFieldType(car.get(), KrSim::ISimulatorModule::kFieldTypeId));
}

}  // namespace simulator_module_test
