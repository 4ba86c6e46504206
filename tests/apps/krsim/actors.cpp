// Modules that do something to the run that they are in.

#include <unistd.h>

#include <stdexcept>

#include "kr/application/application.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/plugin.h"
#include "kr/extension/typed_field.h"
#include "kr/platform/log.h"

namespace {

struct ThrowingListener final : KrSim::KrSimEventListener {
    void onSimEvent(const KrSim::KrSimEvent&) override { throw std::runtime_error("out of order"); }
};

[[maybe_unused]] void endSimulation(KrSim::ISimulatorModule& module) {
    if (module.getApplicationContext().getFrame() == 2) module.getApplication()->sendExitApplicationRequest();
}

[[maybe_unused]] void failFrame(KrSim::ISimulatorModule&) {
    constexpr int kEvent = 77;
    static ThrowingListener listener;
    KrSim::KrEventDispatcher::registerListener(kEvent, &listener);
    KrSim::KrSimEvent event(kEvent);
    event.setDelay(-1.0);  // with the next frame
    KrSim::KrEventDispatcher::sendEventLocally(event);
}

[[maybe_unused]] void hang(KrSim::ISimulatorModule&) {
    Kr::logMessage(Kr::eLogLevel::kInfo, "Actors: hanging\n");
    for (;;)
        ::pause();
}

[[maybe_unused]] void chat(KrSim::ISimulatorModule& module) {
    constexpr int kPeriod = 20;
    const auto frame = module.getApplicationContext().getFrame();
    if (frame % kPeriod == kPeriod - 1) Kr::logMessage(Kr::eLogLevel::kWarn, "Actors: frame %u\n", frame);
}

class [[maybe_unused]] Stage final : public KrSim::IExtension {
public:
    static constexpr int kVersion = 1;
    explicit Stage(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {}

    KrSim::Output<double> width{this, "Width", {.value = 2.5, .dimension = Kr::kLength}};
    KrSim::Output<float> weight{this, "Weight", {.value = 3.5F, .dimension = Kr::kMass}};
    KrSim::Output<bool> open{this, "Open", {.value = true}};
};

template <void (*Act)(KrSim::ISimulatorModule&)>
class Actor final : public KrSim::ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    explicit Actor(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}

    void onUpdate(KrSim::eApplicationMode) override { Act(*this); }
    void onApplicationModeChange(KrSim::eApplicationMode from, KrSim::eApplicationMode to) override {
        Kr::logMessage(Kr::eLogLevel::kInfo, "Actors: mode %d to %d\n", static_cast<int>(from), static_cast<int>(to));
    }
    void onRemoveFromApplication(KrSim::KrApplication*) override {
        Kr::logMessage(Kr::eLogLevel::kInfo, "Actors: saved\n");
    }
};

}  // namespace

#ifdef ACTORS_WITH_FAULTS
KR_PLUGIN("FaultyActors", "1.0",
          KR_EXTENSION(Actor<&failFrame>, "Actor", "Failer", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f2"),
          KR_EXTENSION(Actor<&hang>, "Actor", "Hanger", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f3"))
#else
KR_PLUGIN("Actors", "1.0", KR_EXTENSION(Stage, "Actor", "Stage", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f0"),
          KR_EXTENSION(Actor<&endSimulation>, "Actor", "Ender", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f1"),
          KR_EXTENSION(Actor<&chat>, "Actor", "Chatter", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f4"))
#endif
