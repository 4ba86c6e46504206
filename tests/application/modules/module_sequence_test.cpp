#include "kr/application/modules/simulator_module_sequence.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/allocation_counter.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/extension/extension_sorter.h"
#include "kr/extension/extension_state.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_module.h"

namespace module_sequence_test {

using namespace test_support;
using KrSim::ApplicationContext;
using KrSim::eApplicationMode;
using KrSim::KrExtension;
using KrSim::KrSimulatorModule;
using KrSim::KrSimulatorModuleSequence;
using testing::ElementsAre;
using testing::ElementsAreArray;

using Calls = RecordingModule::Calls;
using Module = RecordingModule::Holder;

struct Pass {
    const char* name;
    const char* callback;
    void (KrSimulatorModuleSequence::*run)(const ApplicationContext&) const;
};
const Pass kPasses[] = {{"preUpdate", "onPreUpdate", &KrSimulatorModuleSequence::preUpdate},
                        {"update", "onUpdate", &KrSimulatorModuleSequence::update},
                        {"postUpdate", "onPostUpdate", &KrSimulatorModuleSequence::postUpdate}};

void runAll(const KrSimulatorModuleSequence& sequence, const ApplicationContext& context = ApplicationContext()) {
    for (const auto& pass : kPasses)
        (sequence.*pass.run)(context);
}

TEST(ModuleSequence, CallsEachPassByItsOwnPrioritiesWithTheModeOfTheApplication) {
    Calls calls;
    KrSimulatorModuleSequence sequence;
    for (const auto& module : {makeModule("Late", calls, 0, 10, 7), makeModule("Early", calls, 1, 0, 7),
                               makeModule("Middle", calls, -1, 5, -7)})
        EXPECT_TRUE(sequence.insert(module));
    runAll(sequence);
    EXPECT_THAT(calls, ElementsAre("Middle onPreUpdate 1", "Late onPreUpdate 1", "Early onPreUpdate 1",
                                   "Early onUpdate 1", "Middle onUpdate 1", "Late onUpdate 1", "Middle onPostUpdate 1",
                                   "Late onPostUpdate 1", "Early onPostUpdate 1"));
    const ContextHost host;
    host.state->_setApplicationMode(eApplicationMode::kPlayback);
    calls.clear();
    sequence.update(host.context());
    EXPECT_THAT(calls, ElementsAre("Early onUpdate 2", "Middle onUpdate 2", "Late onUpdate 2"));
}

TEST(ModuleSequence, HoldsAModuleOnce) {
    Calls calls;
    KrSimulatorModuleSequence sequence;
    auto module = makeModule("", calls);
    EXPECT_FALSE(sequence.remove(module));
    EXPECT_TRUE(sequence.insert(module));
    EXPECT_EQ(module->getName().rfind("default", 0), 0U) << "a module without a name got one: " << module->getName();
    EXPECT_FALSE(sequence.insert(module));
    EXPECT_FALSE(sequence.insert(nullptr));
    EXPECT_FALSE(sequence.remove(nullptr));
    auto* proxy = module->_getModuleProxy();
    module.reset();
    EXPECT_EQ(sequence.getModule(0), proxy) << "the sequence alone holds it";
    EXPECT_EQ(sequence.getModule(1), nullptr);
    module = Module(proxy->_getModuleImplementation());
    EXPECT_TRUE(sequence.remove(module));
    EXPECT_FALSE(sequence.remove(module));
    EXPECT_EQ(sequence.getModuleCount(), 0U);
    runAll(sequence);
    EXPECT_THAT(calls, ElementsAre());
}

TEST(ModuleSequence, GoesOnAfterAModuleThatThrowsInEveryFrame) {
    struct ThrowingProxy final : KrSimulatorModule {
        void preUpdate(eApplicationMode) override { throw std::runtime_error("no"); }
        void update(eApplicationMode) override { throw 7; }
        void postUpdate(eApplicationMode mode) override {
            if (mode == eApplicationMode::kEditing) throw std::runtime_error("no");
            throw 7;
        }
    };
    Calls calls;
    KrSimulatorModuleSequence sequence;
    const auto first = makeModule("First", calls, 0, 0, 0);
    recording(first).throwsIn = "onUpdate";
    sequence.insert(first);
    sequence.insert(makeModule<ThrowingProxy>("Proxy", calls, 1, 1, 1));
    sequence.insert(makeModule("Last", calls, 2, 2, 2));
    const LogCapture log;
    runAll(sequence);
    EXPECT_THAT(calls, ElementsAre("First onPreUpdate 1", "Last onPreUpdate 1", "First onUpdate 1", "Last onUpdate 1",
                                   "First onPostUpdate 1", "Last onPostUpdate 1"));
    sequence.update(ApplicationContext());
    const ContextHost host;
    host.state->_setApplicationMode(eApplicationMode::kSimulating);
    sequence.postUpdate(host.context());
    const auto* const update =
        "3 KrSimulatorModuleSequence::update Caught unknown exception while calling "
        "update(KrSim::eApplicationMode)() on Proxy\n";
    const auto* const onUpdate = "3 KrSimulatorModule: fatal error in 'First' onUpdate mode=1 [no]\n";
    EXPECT_THAT(log.lines(), ElementsAre("3 KrSimulatorModuleSequence::preUpdate Caught exception while calling "
                                         "preUpdate(KrSim::eApplicationMode) on Proxy: no\n",
                                         onUpdate, update,
                                         "3 KrSimulatorModuleSequence::postUpdate Caught exception while calling "
                                         "postUpdate(KrSim::eApplicationMode) on Proxy: no\n",
                                         onUpdate, update,
                                         "3 KrSimulatorModuleSequence::postUpdate Caught unknown exception while "
                                         "calling postUpdate(KrSim::eApplicationMode)() on Proxy\n"));
}

// --- Changes from inside a pass -------------------------------------------------------------------------------------

struct ChangeCase {
    const char* name;
    std::function<void(KrSimulatorModuleSequence&, std::vector<Module>&)> change;  // by the module in the middle
    std::vector<std::string> during;                                               // who is called in that pass
    std::vector<std::string> after;                                                // and in the next one
};

const ChangeCase kChanges[] = {
    {"removes itself", [](auto& sequence, auto& modules) { sequence.remove(modules[1]); }, {"A", "B", "C"}, {"A", "C"}},
    {"removes its neighbours",
     [](auto& sequence, auto& modules) {
         sequence.remove(modules[0]);
         sequence.remove(modules[2]);
     },
     {"A", "B"},
     {"B"}},
    {"inserts",
     [](auto& sequence, auto& modules) { sequence.insert(modules[3]); },
     {"A", "B", "C"},
     {"A", "B", "C", "D"}},
    {"puts its neighbour in front",
     [](auto& sequence, auto& modules) {
         sequence.remove(modules[2]);
         modules[2]->_getModuleProxy()->_setPriorities(-1, -1, -1);
         sequence.insert(modules[2]);
     },
     {"A", "B", "C"},
     {"C", "A", "B"}},
    {"steps a pass within the pass",
     [](auto& sequence, auto& modules) {
         sequence.remove(modules[2]);
         runAll(sequence);
         modules.erase(modules.begin() + 2);
     },
     {"A", "B", "A", "B"},
     {"A", "B"}},
    {"drops all holders",
     [](auto& sequence, auto& modules) {
         for (const auto& each : modules)
             sequence.remove(each);
         modules.clear();
     },
     {"A", "B"},
     {}}};

TEST(ModuleSequence, StandsChangesFromInsideEachPass) {
    for (const auto& pass : kPasses) {
        for (const auto& changed : kChanges) {
            Calls calls;
            KrSimulatorModuleSequence sequence;
            std::vector<Module> modules;
            for (const char* name : {"A", "B", "C", "D"})
                modules.push_back(makeModule(name, calls));
            for (std::size_t i = 0; i < 3; ++i)
                sequence.insert(modules[i]);
            bool isDone = false;
            recording(modules[1]).onEachCall = [&](const std::string& callback) {
                if (callback != pass.callback || std::exchange(isDone, true)) return;
                changed.change(sequence, modules);
            };
            for (const auto* expected : {&changed.during, &changed.after}) {
                calls.clear();
                (sequence.*pass.run)(ApplicationContext());
                std::vector<std::string> called;
                for (const auto& call : calls) {
                    if (call.find(pass.callback) != std::string::npos) called.push_back(call.substr(0, 1));
                }
                EXPECT_THAT(called, ElementsAreArray(*expected)) << pass.name << " " << changed.name;
            }
        }
    }
}

// --- A frame --------------------------------------------------------------------------------------------------------

TEST(ModuleSequence, AllocatesNothingInASteadyFrameOfTenThousandExtensions) {
    class Counter final : public KrSim::ISimulatorModule {
    public:
        explicit Counter(KrSimulatorModule* proxy) : ISimulatorModule(proxy, 1) {}
        void onExtensionAdded(KrExtension* extension) override { _addManagedExtension(extension); }
        void onUpdate(eApplicationMode) override {
            _sortManagedExtensions();
            for (const auto& each : getManagedExtensions())
                outOfOrder += each->_getPosition() != updates++ % 10000 ? 1U : 0U;
        }
        std::size_t updates{0};
        std::size_t outOfOrder{0};
    };
    auto& sorter = KrSim::KrExtensionSorter::instance();
    sorter.reset();
    const auto proxy = Kr::makeSmart<KrSimulatorModule>();
    auto* counter = new Counter(proxy.get());
    std::vector<Kr::KrSmartPtr<KrExtension>> extensions(10000);
    for (std::size_t i = 0; i < extensions.size(); ++i) {
        extensions[i] = Kr::makeSmart<KrExtension>();
        extensions[i]->_setPosition(i);
        sorter.addExtension(extensions[i].get());
    }
    for (std::size_t i = extensions.size(); i-- > 0;)
        proxy->addExtension(extensions[i]);
    KrSimulatorModuleSequence sequence;
    sequence.insert(Module(counter));
    const ContextHost host;
    runAll(sequence, host.context());
    const auto before = kr_benchmark::allocations();
    for (int frame = 0; frame < 10; ++frame)
        runAll(sequence, host.context());
    EXPECT_EQ(kr_benchmark::allocations() - before, 0U);
    EXPECT_EQ(counter->updates, 110000U);
    EXPECT_EQ(counter->outOfOrder, 0U);
}

TEST(ModuleSequence, AddsTheStatesOfItsModulesToASnapshot) {
    Calls calls;
    KrSimulatorModuleSequence sequence;
    const auto module = makeModule("A", calls);
    sequence.insert(module);
    const auto state = Kr::makeSmart<KrSim::KrSimulationState>();
    sequence.fillSimulationState(state);
    sequence.fillSimulationState(nullptr);
    const auto* own = state->findExtensionState(module.getExtension()->getContentID());
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->getImplementationData(), "saved");
    EXPECT_THAT(calls, ElementsAre("A onStateSave", "A onFillSimulationState"));
}

}  // namespace module_sequence_test
