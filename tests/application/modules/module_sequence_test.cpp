#include "kr/application/modules/simulator_module_sequence.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kr/application/modules/i_simulator_module.h"
#include "tests/support/context_host.h"
#include "tests/support/log_capture.h"
#include "tests/support/recording_module.h"

namespace module_sequence_test {

using namespace test_support;
using KrSim::ApplicationContext;
using KrSim::eApplicationMode;
using KrSim::KrSimulatorModule;
using KrSim::KrSimulatorModuleSequence;
using testing::ElementsAre;

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
    host.state->mode = eApplicationMode::kPlayback;
    calls.clear();
    sequence.update(host.context());
    EXPECT_THAT(calls, ElementsAre("Early onUpdate 2", "Middle onUpdate 2", "Late onUpdate 2"));
}

TEST(ModuleSequence, GoesOnAfterAModuleThatThrowsInEveryFrame) {
    struct ThrowingProxy final : KrSimulatorModule {
        void preUpdate(eApplicationMode mode) override { update(mode); }
        void update(eApplicationMode mode) override {
            if (mode == eApplicationMode::kEditing) throw std::runtime_error("no");
            throw 7;
        }
        void postUpdate(eApplicationMode mode) override { update(mode); }
    };
    Calls calls;
    KrSimulatorModuleSequence sequence;
    sequence.insert(makeModule<ThrowingProxy>("Proxy", calls));
    sequence.insert(makeModule("Next", calls, 1, 1, 1));
    const ContextHost host;
    host.state->mode = eApplicationMode::kSimulating;
    for (const auto& pass : kPasses) {
        calls.clear();
        const LogCapture log;
        (sequence.*pass.run)(ApplicationContext());
        (sequence.*pass.run)(host.context());
        const std::string name(pass.name), text = "3 KrSimulatorModuleSequence::" + name + " Caught ",
                                           called = " while calling " + name + "(KrSim::eApplicationMode)";
        EXPECT_THAT(log.lines(), ElementsAre(text + "exception" + called + " on Proxy: no\n",
                                             text + "unknown exception" + called + "() on Proxy\n"));
        EXPECT_EQ(calls.size(), 2U) << name;
    }
}

using Change = void (*)(KrSimulatorModuleSequence& sequence, std::vector<Module>& modules);

struct ChangeCase {
    Change change;       // by B, of A, B and C; D is at hand
    const char* during;  // who is called in that pass
    const char* after;   // and in the next one
};

const ChangeCase kChanges[] = {
    {[](auto& sequence, auto& modules) { sequence.remove(modules[1]); }, "ABC", "AC"},
    {[](auto& sequence, auto& modules) { sequence.remove(modules[0]), sequence.remove(modules[2]); }, "AB", "B"},
    {[](auto& sequence, auto& modules) { sequence.insert(modules[3]); }, "ABC", "ABCD"},
    {[](auto& sequence, auto& modules) {
         sequence.remove(modules[2]);
         modules[2]->_getModuleProxy()->_setPriorities(-1, -1, -1);
         sequence.insert(modules[2]);
     },
     "ABC", "CAB"},
    {[](auto& sequence, auto& modules) { sequence.remove(modules[2]), runAll(sequence); }, "ABAB", "AB"},
    {[](auto& sequence, auto& modules) {
         for (const auto& each : modules)
             sequence.remove(each);
         modules.clear();  // the running module is held by nobody else
     },
     "AB", ""}};

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
            for (const std::string expected : {changed.during, changed.after}) {
                calls.clear();
                (sequence.*pass.run)(ApplicationContext());
                std::string called;
                for (const auto& call : calls) {
                    if (call.find(pass.callback) != std::string::npos) called += call[0];
                }
                EXPECT_EQ(called, expected) << pass.callback << " " << &changed - kChanges;
            }
        }
    }
}

}  // namespace module_sequence_test
