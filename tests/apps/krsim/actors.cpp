// Modules that do something to the run that they are in.

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>

#include "kr/application/application.h"
#include "kr/application/modules/i_simulator_module.h"
#include "kr/application/modules/module_of.h"
#include "kr/core/color.h"
#include "kr/events/event_dispatcher.h"
#include "kr/events/sim_event.h"
#include "kr/events/sim_event_listener.h"
#include "kr/extension/factory/plugin.h"
#include "kr/extension/i_extension.h"
#include "kr/extension/typed_field.h"
#include "kr/math/vector3.h"
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

[[maybe_unused]] void throwHeat(KrSim::ISimulatorModule&) {
    throw std::runtime_error("too hot");
}

[[maybe_unused]] void ail(KrSim::ISimulatorModule& module) {
    module._getProxy()->addError("no fuel", false);
}

class [[maybe_unused]] Stage final : public KrSim::IExtension {
public:
    static constexpr int kVersion = 1;
    explicit Stage(KrSim::KrExtension* proxy) : IExtension(proxy, kVersion) {}

    KrSim::Output<double> width{this, "Width", {.value = 2.5, .dimension = Kr::kLength}};
    KrSim::Output<float> weight{this, "Weight", {.value = 3.5F, .dimension = Kr::kMass}};
    KrSim::Output<bool> open{this, "Open", {.value = true}};
};

/// A field of each kind of value.
class [[maybe_unused]] Palette final : public KrSim::IExtension {
public:
    explicit Palette(KrSim::KrExtension* proxy) : IExtension(proxy, 1) {}

    KrSim::Output<Kr::KrColor> color{this, "Color", {.value = Kr::KrColor(0.25F, 0.5F, 0.75F, 1.0F)}};
    KrSim::Output<KrMath::Vector3T<double>> place{this, "Place", {.value = {1.0, -2.0, 0.125}}};
    KrSim::Output<int> below{this, "Below Zero", {.value = -70'000}};
    KrSim::Output<unsigned int> above{this, "Above", {.value = 4'000'000'000U}};
    KrSim::Output<short> little{this, "Little", {.value = short{-3}}};
    KrSim::Output<float> half{this, "Half", {.value = 0.5F}};
    KrSim::Output<bool> isOn{this, "On", {.value = true}};
    KrSim::Output<std::string> note{this, "Note", {.value = "gr\xC3\xBCn"}};
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

[[maybe_unused]] void crash(KrSim::ISimulatorModule& module) {
    static volatile std::uintptr_t place = 64;  // no page of any process
    if (module.getApplicationContext().getFrame() == 2) *reinterpret_cast<volatile int*>(place) = 1;
}

[[maybe_unused]] int recurse(volatile int* above) {
    volatile int here[256]{*above + 1};
    return *above >= 0 ? recurse(here) + here[1] : 0;
}

[[maybe_unused]] void overflow(KrSim::ISimulatorModule&) {
    volatile int depth = 0;
    recurse(&depth);
}

[[maybe_unused]] void quitQuickly(KrSim::ISimulatorModule& module) {
    if (module.getApplicationContext().getFrame() == 2) std::quick_exit(0);
}

[[maybe_unused]] void quit(KrSim::ISimulatorModule& module) {
    if (module.getApplicationContext().getFrame() == 2) std::exit(0);
}

/// Sets outputs that are no numbers any more.
class [[maybe_unused]] Spoiler final : public KrSim::ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    explicit Spoiler(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}

    void onUpdate(KrSim::eApplicationMode) override {
        const bool isEven = getApplicationContext().getFrame() % 2 == 0;
        power.set(isEven ? 1.0 : std::numeric_limits<double>::infinity());
        if (getApplicationContext().getFrame() >= 2) speed.set(std::numeric_limits<double>::quiet_NaN());
    }

    KrSim::Output<double> speed{this, "Speed", {.dimension = Kr::kSpeed}};
    KrSim::Output<double> power{this, "Power"};
};

/// Has an output whose getter returns NaN in frames 3 to 5.
class [[maybe_unused]] Dipper final : public KrSim::ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    explicit Dipper(KrSim::KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {
        const auto getter = [this] {
            const auto frame = getApplicationContext().getFrame();
            return frame >= 2 && frame < 5 ? std::numeric_limits<double>::quiet_NaN() : depth.get();
        };
        level.getField()->bindValue({getter, {}});
    }

    KrSim::Parameter<double> depth{this, "Depth", {.value = 1.0, .min = 0.0, .max = 10.0}};
    KrSim::Output<double> level{this, "Level"};
};

/// Steps units of which there are none, at a rate that content chooses.
class [[maybe_unused]] Stepper final : public KrSim::ModuleOf<Stage> {
public:
    static constexpr int kVersion = 1;
    explicit Stepper(KrSim::KrSimulatorModule* proxy) : ModuleOf(proxy, kVersion) {
        addRateParameter("RateHz");
        addRateParameter("SlowHz", addStepGroup("Slow", KrSim::StepRate::hertz(25.0)));
    }
    void onStep(Stage&, double) override {}
};

}  // namespace

#ifdef ACTORS_WITH_FAULTS
KR_PLUGIN("FaultyActors", "1.0",
          KR_EXTENSION(Actor<&failFrame>, "Actor", "Failer", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f2"),
          KR_EXTENSION(Actor<&hang>, "Actor", "Hanger", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f3"),
          KR_EXTENSION(Actor<&throwHeat>, "Actor", "Thrower", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f5"),
          KR_EXTENSION(Actor<&ail>, "Actor", "Ailing", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f6"),
          KR_EXTENSION(Actor<&crash>, "Actor", "Crasher", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f8"),
          KR_EXTENSION(Actor<&overflow>, "Actor", "Overflower", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f9"),
          KR_EXTENSION(Actor<&quit>, "Actor", "Quitter", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fa"),
          KR_EXTENSION(Actor<&quitQuickly>, "Actor", "QuickQuitter", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fc"),
          KR_EXTENSION(Stepper, "Actor", "Stepper", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fd"),
          KR_EXTENSION(Dipper, "Actor", "Dipper", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fb"),
          KR_EXTENSION(Spoiler, "Actor", "Spoiler", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f7"))
#else
KR_PLUGIN("Actors", "1.0", KR_EXTENSION(Stage, "Actor", "Stage", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f0"),
          KR_EXTENSION(Palette, "Actor", "Palette", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5fe"),
          KR_EXTENSION(Actor<&endSimulation>, "Actor", "Ender", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f1"),
          KR_EXTENSION(Actor<&chat>, "Actor", "Chatter", "87a4d38c-dd64-4d7c-8c7c-6b0a4df5a5f4"))
#endif
