#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/simulator_module_sequence.h"
#include "kr/extension/smart_interface.h"

namespace module_sequence_test {

using KrSim::eApplicationMode;
using KrSim::KrSimulatorModule;
using KrSim::KrSimulatorModuleSequence;
using testing::ElementsAre;

using Calls = std::vector<std::string>;
using Module = KrSim::KrSmartInterface<KrSim::ISimulatorModule>;

class RecordingModule final : public KrSim::ISimulatorModule {
public:
    RecordingModule(KrSimulatorModule* proxy, Calls& calls, int preUpdate, int update, int postUpdate)
        : ISimulatorModule(proxy, 1, preUpdate, update, postUpdate), _calls(calls) {}

    void onPreUpdate(eApplicationMode mode) override { _record("pre ", mode); }
    void onUpdate(eApplicationMode mode) override { _record("update ", mode); }
    void onPostUpdate(eApplicationMode mode) override { _record("post ", mode); }

private:
    void _record(const char* pass, eApplicationMode mode) {
        _calls.push_back(pass + getName() + ' ' + std::to_string(static_cast<int>(mode)));
    }
    Calls& _calls;
};

Module make(const char* name, Calls& calls, int preUpdate, int update, int postUpdate) {
    auto proxy = Kr::makeSmart<KrSimulatorModule>();
    proxy->setName(name);
    return Module(new RecordingModule(proxy.get(), calls, preUpdate, update, postUpdate));
}

TEST(ModuleSequence, CallsEachPassByItsOwnPriorities) {
    Calls calls;
    KrSimulatorModuleSequence sequence;
    EXPECT_TRUE(sequence.insert(make("Late", calls, 0, 10, 7)));
    EXPECT_TRUE(sequence.insert(make("Early", calls, 1, 0, 7)));
    EXPECT_TRUE(sequence.insert(make("Middle", calls, -1, 5, -7)));
    sequence.preUpdate(KrSim::ApplicationContext());
    sequence.update(KrSim::ApplicationContext());
    sequence.postUpdate(KrSim::ApplicationContext());
    EXPECT_THAT(calls, ElementsAre("pre Middle 1", "pre Late 1", "pre Early 1", "update Early 1", "update Middle 1",
                                   "update Late 1", "post Middle 1", "post Late 1", "post Early 1"));
}

}  // namespace module_sequence_test
