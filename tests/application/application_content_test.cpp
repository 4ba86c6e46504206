#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/i_application_listener.h"
#include "kr/content/paths/content_path.h"
#include "kr/core/base_reference.h"
#include "kr/data/field.h"
#include "kr/data/field_access.h"
#include "kr/data/proxy.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_state.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/object.h"
#include "kr/extension/order/extension_sorter.h"
#include "tests/support/dispatcher_scope.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_module.h"
#include "tests/support/stress.h"

namespace application_content_test {

using KrData::detail::FieldAccess;
using KrSim::eApplicationMode;
using KrSim::KrApplication;
using KrSim::KrExtension;
using KrSim::KrObject;
using test_support::makeModule;
using test_support::recording;
using testing::ElementsAre;

template <class T = KrExtension>
Kr::KrSmartPtr<T> make(const char* name) {
    auto extension = Kr::makeSmart<T>();
    extension->setName(name);
    return extension;
}

/// Car with Engine with Piston, and Wheel; car and engine are objects.
Kr::KrSmartPtr<KrObject> makeCar() {
    auto car = make<KrObject>("Car");
    const auto engine = make<KrObject>("Engine");
    car->add(engine.get());
    engine->add(make("Piston").get());
    car->add(make("Wheel").get());
    return car;
}

struct Host {
    Host() { application->setSyncMode(KrSim::eSynchronizationMode::kSyncOff); }

    std::vector<std::string> calls;
    test_support::DispatcherScope dispatcher;
    Kr::KrSmartPtr<KrApplication> application = KrApplication::create();
};

bool isInSorter(const KrExtension& extension) {
    return KrSim::KrExtensionSorter::instance().getExtensions().contains(const_cast<KrExtension*>(&extension));
}

TEST(Content, IsOfferedParentsFirstAndWithdrawnTheOtherWay) {
    Host host;
    auto& application = *host.application;
    const auto early = makeModule("A", host.calls);
    const auto late = makeModule("B", host.calls);
    application.insertModule(early);
    host.calls.clear();
    const auto car = makeCar();
    const auto engine = car->findExtensionByName("Engine", true);
    EXPECT_TRUE(application.add(car.get()));
    EXPECT_THAT(host.calls, ElementsAre("A onExtensionAdded Car", "A onExtensionAdded Engine",
                                        "A onExtensionAdded Piston", "A onExtensionAdded Wheel"));
    EXPECT_TRUE(isInSorter(*engine));
    EXPECT_EQ(engine->getPath(), "Car/Engine");
    EXPECT_EQ(KrSim::KrContentPath("kr://Car/Engine", &application).getExtension(), engine);
    EXPECT_EQ(KrSim::KrContentPath(engine, nullptr).toString(), "kr://Car/Engine");
    host.calls.clear();
    EXPECT_TRUE(application.insertModule(late));
    EXPECT_FALSE(application.insertModule(late));
    EXPECT_EQ(application.getModuleCount(), 2U);
    static_cast<KrObject*>(engine)->add(make("Valve").get());
    EXPECT_THAT(host.calls,
                ElementsAre("B onActive", "B onAddToApplication", "B onExtensionAdded Car", "B onExtensionAdded Engine",
                            "B onExtensionAdded Piston", "B onExtensionAdded Wheel", "A onExtensionAdded Valve",
                            "B onExtensionAdded Valve"));
    host.calls.clear();
    recording(late)._addManagedExtension(car.get());
    EXPECT_TRUE(application.removeModule(late));
    EXPECT_FALSE(application.removeModule(late));
    EXPECT_EQ(car->getFieldsContainer().getActivationCount(), 0U);
    EXPECT_TRUE(application.remove(car.get()));
    EXPECT_FALSE(application.remove(car.get()));
    EXPECT_THAT(host.calls,
                ElementsAre("B onExtensionRemoved Wheel", "B onExtensionRemoved Valve", "B onExtensionRemoved Piston",
                            "B onExtensionRemoved Engine", "B onExtensionRemoved Car", "B onRemoveFromApplication",
                            "B onInactive", "A onExtensionRemoved Wheel", "A onExtensionRemoved Valve",
                            "A onExtensionRemoved Piston", "A onExtensionRemoved Engine", "A onExtensionRemoved Car"));
    EXPECT_FALSE(isInSorter(*engine));
    static_cast<KrObject*>(engine)->add(make("Late").get());  // tells nobody
    EXPECT_EQ(host.calls.size(), 12U);
    EXPECT_EQ(application.getContentDispatcher().getExtensionCount(), 0U);
}

TEST(Content, CarriesTheEditingFlagOfTheApplication) {
    Host host;
    auto& application = *host.application;
    const auto module = makeModule("M", host.calls);
    const auto car = makeCar();
    auto& fields = car->findExtensionByName("Piston", true)->getFieldsContainer();
    std::string seen;
    const auto note = [&](const std::string&) {
        seen += std::to_string(FieldAccess::isApplicationModeEditing(fields)) +
                std::to_string(static_cast<int>(application.getApplicationMode())) + ' ';
    };
    application.add(car.get());
    application.insertModule(module);
    recording(module).onEachCall = note;
    host.calls.clear();
    EXPECT_TRUE(application.setApplicationMode(eApplicationMode::kSimulating));
    EXPECT_TRUE(application.setApplicationMode(eApplicationMode::kSimulating));
    EXPECT_TRUE(application.setApplicationMode(eApplicationMode::kPlayback));
    EXPECT_TRUE(application.setApplicationMode(eApplicationMode::kEditing));
    EXPECT_EQ(seen, "00 02 11 ");
    EXPECT_THAT(host.calls, ElementsAre("M onApplicationModeChange 0", "M onApplicationModeChange 2",
                                        "M onApplicationModeChange 1"));
    const test_support::LogCapture log;
    EXPECT_FALSE(application.setApplicationMode(static_cast<eApplicationMode>(7)));
    EXPECT_THAT(log.lines(), ElementsAre("3 KrApplication: There is no application mode 7\n"));
    application.setApplicationMode(eApplicationMode::kSimulating);
    application.remove(car.get());
    EXPECT_TRUE(FieldAccess::isApplicationModeEditing(fields));
    application.add(car.get());
    EXPECT_FALSE(FieldAccess::isApplicationModeEditing(fields));
    recording(module).onEachCall = {};  // also called by its destructor
    host.application.reset();
    EXPECT_TRUE(FieldAccess::isApplicationModeEditing(fields));
}

TEST(Content, ThatIsChangedDuringThePassesWaitsForTheirEnd) {
    Host host;
    auto& application = *host.application;
    const auto module = makeModule("M", host.calls);
    const auto other = makeModule("Other", host.calls);
    const auto car = makeCar();
    std::string seen;
    recording(module).onEachCall = [&](const std::string& callback) {
        if (callback != "onUpdate") return;
        EXPECT_TRUE(application.add(car.get()));
        EXPECT_TRUE(application.insertModule(other));
        EXPECT_TRUE(application.setApplicationMode(eApplicationMode::kSimulating));
        seen += std::to_string(application.getExtensionCount()) + std::to_string(application.getModuleCount()) +
                std::to_string(static_cast<int>(application.getApplicationMode()));
        recording(module).onEachCall = {};
    };
    application.insertModule(module);
    application.update();
    EXPECT_EQ(seen, "011");
    EXPECT_EQ(application.getExtensionCount(), 1U);
    EXPECT_EQ(application.getModuleCount(), 2U);
    EXPECT_EQ(application.getApplicationMode(), eApplicationMode::kSimulating);
    const auto state = Kr::makeSmart<KrSim::KrSimulationState>();
    application.fillSimulationState(state);
    EXPECT_EQ(state->getExtensionStates().size(), 6U);
}

TEST(Content, LetsProxiesFindWhatComesAfterThem) {
    Host host;
    const auto panel = make("Panel");
    const auto car = make("Car");
    auto* speed = car->addOutput("Speed", KrData::Types::kDouble);
    auto* proxy = static_cast<KrData::Proxy*>(panel->addOutput("Shown", KrData::Types::kProxy));
    KrSim::KrContentRegistry::instance().unregisterExtension(car.get());
    proxy->addLink(KrSim::KrContentReference(car->getContentID()), "Outputs.Speed");
    int changes = 0;
    const auto watch = proxy->addObserver([&](const KrData::FieldBase&) { ++changes; });
    host.application->add(panel.get());
    host.application->update();
    EXPECT_FALSE(proxy->getLink(0).isValid());
    KrSim::KrContentRegistry::instance().registerExtension(car.get());
    host.application->add(car.get());
    host.application->update();
    EXPECT_TRUE(proxy->getLink(0).isValid());
    changes = 0;
    static_cast<KrData::Field<double>*>(speed)->setValue(3.0);
    EXPECT_EQ(changes, 1);
}

/// The calls of each module for each extension: 1 while it is present.
struct Balance final : KrSim::ISimulatorModule {
    Balance(KrSim::KrSimulatorModule* proxy, std::function<void(const std::string&, Balance&)> then)
        : ISimulatorModule(proxy, 1), _then(std::move(then)) {}

    void onPreUpdate(eApplicationMode) override { _then("onPreUpdate", *this); }
    void onUpdate(eApplicationMode) override { _then("onUpdate", *this); }
    void onPostUpdate(eApplicationMode) override { _then("onPostUpdate", *this); }
    void onExtensionAdded(KrExtension* extension) override {
        EXPECT_EQ(++there[extension], 1) << extension->getName();
        _addManagedExtension(extension);
        _then("onExtensionAdded", *this);
    }
    void onExtensionRemoved(KrExtension* extension) override {
        EXPECT_EQ(--there[extension], 0) << extension->getName();
        _removeManagedExtension(extension);
        _then("onExtensionRemoved", *this);
    }
    void onAddToApplication(KrApplication*) override { _then("onAddToApplication", *this); }
    void onRemoveFromApplication(KrApplication*) override { _then("onRemoveFromApplication", *this); }
    void onApplicationModeChange(eApplicationMode, eApplicationMode) override {
        _then("onApplicationModeChange", *this);
    }

    std::map<KrExtension*, int> there;

private:
    std::function<void(const std::string&, Balance&)> _then;
};
using Holder = KrSim::KrSmartInterface<KrSim::ISimulatorModule>;

using Actions = std::map<std::string, std::function<void(KrApplication&, Balance& self, const std::vector<Holder>&)>>;

const Actions& actions() {
    static const Actions all{
        {"removes itself", [](auto& application, auto& self, auto&) { application.removeModule(Holder(&self)); }},
        {"removes the next one", [](auto& application, auto&, auto& modules) { application.removeModule(modules[2]); }},
        {"removes the one before",
         [](auto& application, auto&, auto& modules) { application.removeModule(modules[0]); }},
        {"removes all modules", [](auto& application, auto&, auto&) { application.removeAllModules(); }},
        {"removes all content", [](auto& application, auto&, auto&) { application.removeAllExtensions(); }},
        {"comes back",
         [](auto& application, auto& self, auto&) {
             application.removeModule(Holder(&self));
             application.insertModule(Holder(&self));
         }},
        {"adds content", [](auto& application, auto&, auto&) { application.add(make("New").get()); }},
        {"adds below", [](auto& application, auto&, auto&) {
             if (auto* car = dynamic_cast<KrObject*>(application.getExtension(0))) car->add(make("New").get());
         }}};
    return all;
}

TEST(Module, ThatChangesContentOrModulesInAnyCallbackLeavesAllCountsRight) {
    const test_support::LogCapture log;
    for (const char* callback : {"onPreUpdate", "onUpdate", "onPostUpdate", "onExtensionAdded", "onExtensionRemoved",
                                 "onAddToApplication", "onRemoveFromApplication", "onApplicationModeChange"}) {
        for (const auto& [name, act] : actions()) {
            SCOPED_TRACE(std::string(callback) + ": " + name);
            Host host;
            auto& application = *host.application;
            std::vector<Holder> modules;
            bool isDone = false;
            for (int i = 0; i < 3; ++i) {
                const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
                modules.emplace_back(new Balance(proxy.get(), [&, i](const std::string& told, Balance& self) {
                    if (i != 1 || told != callback || std::exchange(isDone, true)) return;
                    act(application, self, modules);
                }));
            }
            const auto car = makeCar();
            application.insertModule(modules[0]);
            application.insertModule(modules[1]);
            application.add(car.get());
            application.insertModule(modules[2]);
            application.add(make("Road").get());
            application.update();
            application.setApplicationMode(eApplicationMode::kSimulating);
            application.remove(car.get());
            application.add(car.get());
            application.update();
            const auto present = application.getContentDispatcher().getExtensions();
            const auto expectAllRight = [&] {
                const auto extensionCount = application.getContentDispatcher().getExtensionCount();
                std::size_t managing = 0;
                for (const auto& module : modules) {
                    std::size_t count = 0;
                    for (const auto& [extension, there] : static_cast<Balance&>(*module).there)
                        count += static_cast<std::size_t>(there);
                    EXPECT_EQ(count, module->getApplication() != nullptr ? extensionCount : 0U);
                    if (module->getApplication() != nullptr) ++managing;
                }
                for (const auto& each : present) {
                    EXPECT_EQ(each->getFieldsContainer().getActivationCount(), extensionCount > 0 ? managing : 0U);
                }
            };
            expectAllRight();
            application.removeModule(modules[1]);
            expectAllRight();
            application.removeAllExtensions();
            application.update();
            EXPECT_EQ(application.getContentDispatcher().getExtensionCount(), 0U);
            expectAllRight();
            EXPECT_TRUE(isDone);
        }
    }
}

/// For the thread sanitizer, too.
TEST(Content, ComesAndGoesFromEightThreadsWhileFramesRun) {
    Host host;
    auto& application = *host.application;
    const auto proxy = Kr::makeSmart<KrSim::KrSimulatorModule>();
    const Holder module(new Balance(proxy.get(), [](const std::string&, Balance&) {}));
    application.insertModule(module);
    application.update();                          // running from here on
    std::vector<std::string>& calls = host.calls;  // of modules, on this thread
    test_support::runStress(
        test_support::stressRounds(100, 100),
        [&](int, int round) {
            const auto car = makeCar();
            EXPECT_TRUE(application.add(car.get()));
            if (round % 20 == 5) {
                const auto extra = makeModule("Extra", calls);
                application.insertModule(extra);
                application.removeModule(extra);
            }
            if (round % 10 == 0) application.setApplicationMode(static_cast<eApplicationMode>(round / 10 % 3));
            if (round % 2 == 0) {
                application.getContext().executeLater([&application, car] { application.remove(car.get()); });
            }
        },
        [&] { application.update(); });
    application.update();
    EXPECT_EQ(application.getExtensionCount(), 8U * 50);
    EXPECT_EQ(proxy->getManagedExtensions().size(), 4U * 8 * 50);
}

TEST(Listener, HearsOfContentModulesAndModes) {
    struct Listener final : KrSim::IApplicationListener {
        explicit Listener(std::vector<std::string>& log) : _log(log) {}
        void onExtensionAdded(KrApplication* application, KrExtension* extension) override {
            _log.push_back('+' + extension->getName());
            if (extension->getName() == "Last") application->unregisterListener(this);
            throw 7;
        }
        void onExtensionRemoved(KrApplication*, KrExtension* extension) override {
            _log.push_back('-' + extension->getName());
        }
        void onModuleInserted(KrApplication*, KrSim::KrSimulatorModule* module) override {
            _log.push_back('+' + module->getName());
        }
        void onModuleRemoved(KrApplication*, KrSim::KrSimulatorModule* module) override {
            _log.push_back('-' + module->getName());
        }
        void onApplicationModeChanged(KrApplication*, eApplicationMode from, eApplicationMode to) override {
            _log.push_back(std::to_string(static_cast<int>(from)) + std::to_string(static_cast<int>(to)));
        }
        std::vector<std::string>& _log;
    };
    const test_support::LogCapture log;
    Host host;
    std::vector<std::string> told;
    Listener first(told);
    Listener second(told);
    host.application->registerListener(&first);
    host.application->registerListener(&first);
    const auto module = makeModule("M", host.calls);
    host.application->insertModule(module);
    host.application->add(makeCar().get());
    host.application->setApplicationMode(eApplicationMode::kPlayback);
    host.application->removeAllModules();
    host.application->removeAllExtensions();
    EXPECT_THAT(told, ElementsAre("+M", "+Car", "+Engine", "+Piston", "+Wheel", "12", "-M", "-Wheel", "-Piston",
                                  "-Engine", "-Car"));
    EXPECT_EQ(log.lines().front(), "3 KrApplication: unhandled exception in a listener\n");
    told.clear();
    host.application->registerListener(&second);
    host.application->add(make("Last").get());
    host.application->add(make("Later").get());
    EXPECT_THAT(told, ElementsAre("+Last", "+Last"));
}

TEST(Content, IsFoundByReferencesFromTheProcessDown) {
    Host host;
    auto& application = *host.application;
    application.setName("Rig");
    const auto module = makeModule("Traffic", host.calls);
    application.insertModule(module);
    const auto car = makeCar();
    application.add(car.get());
    auto* engine = static_cast<KrObject*>(car->findExtensionByName("Engine", false));
    auto* piston = car->findExtensionByName("Piston", true);
    const auto& root = KrApplication::getReferenceRoot();
    const struct {
        const char* text;
        const Kr::KrBase* context;
        const Kr::KrBase* expected;
    } rows[] = {
        {"base:///KrApplication/Rig", &root, &application},
        {"base:///KrApplication/Other", &root, nullptr},
        {"base:///KrApplication/Rig/KrSimulatorModule/Traffic", &root, application.getModule(0)},
        {"base:///KrApplication/Rig/KrObject/Car", &root, car.get()},
        {"base:///KrApplication/Rig/KrObject/Car/KrObject/Engine/KrExtension/Piston", &root, piston},
        {"base:///KrExtension/Wheel", car.get(), car->findExtensionByName("Wheel", false)},
        {"base:///KrObject/Wheel", car.get(), nullptr},
        {"base:///KrExtension/Piston/KrExtension/Ring", engine, nullptr},
    };
    for (const auto& row : rows) {
        auto* context = const_cast<Kr::KrBase*>(row.context);
        EXPECT_EQ(Kr::KrBaseReference(row.text, context).getBase(), row.expected) << row.text;
    }
    Kr::KrBaseReference chain({&application, car.get(), engine, piston});
    EXPECT_EQ(chain.getText(), rows[4].text);
    host.application.reset();
    EXPECT_EQ(Kr::KrBaseReference(rows[0].text, &KrApplication::getReferenceRoot()).getBase(), nullptr);
}

}  // namespace application_content_test
