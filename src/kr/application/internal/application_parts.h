#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/context/application_state.h"
#include "kr/application/frame_meter.h"
#include "kr/application/frame_pacer.h"
#include "kr/application/internal/application_listeners.h"
#include "kr/application/internal/application_name_path.h"
#include "kr/application/modules/simulator_module_sequence.h"
#include "kr/core/connections/step_boundary.h"
#include "kr/events/errors/error_manager.h"
#include "kr/events/event_listener.h"
#include "kr/events/event_manager_implementation.h"
#include "kr/extension/object.h"
#include "kr/signals/delegate_connection.h"

namespace KrSim {

struct KrApplication::Parts final : KrContentDispatcher::Observer {
    Parts(KrApplication& itsApplication, Kr::IClock& clock)
        : application(itsApplication), pacer(clock, &exitRequested) {}

    void _onExtensionEntered(KrExtension& extension) override {
        listeners.notify([&](IApplicationListener& each) { each.onExtensionAdded(&application, &extension); });
    }
    void _onExtensionLeft(KrExtension& extension) override {
        listeners.notify([&](IApplicationListener& each) { each.onExtensionRemoved(&application, &extension); });
    }

    /// A module that is being removed, and the enclosing removal.
    struct LeavingModule {
        const KrSimulatorModule* module;
        LeavingModule* outer;
    };
    [[nodiscard]] bool isLeaving(const KrSimulatorModule& module) const noexcept {
        const auto* each = leavingModules;
        while (each != nullptr && each->module != &module)
            each = each->outer;
        return each != nullptr;
    }

    KrApplication& application;
    Kr::StepBoundary stepBoundary;  // dies after the content
    EventManagerImplementation events{EventManagerImplementation::eQueue::kOwn};
    ErrorManager errors{&events};
    EventListenerList subscriptions;
    detail::ApplicationListeners listeners;
    KrSimulatorModuleSequence modules;
    LeavingModule* leavingModules{nullptr};
    Kr::KrSmartPtr<KrObject> root{Kr::makeSmart<KrObject>()};
    Kr::KrSmartPtr<KrExtension> simulationFileManager;
    KrData::DelegateConnection configurationWatch;
    std::function<void(const ApplicationContext&)> masterStep;
    std::optional<detail::ProcessRoot::Entry> rootEntry;  // while references find the application

    // Of the main loop, in seconds of the pacer's clock
    FramePacer pacer;
    FrameMeter meter;
    std::optional<double> startTime;   // of the first update, moved on by pauses
    std::optional<double> frameStart;  // of the last frame
    double updateSeconds{0.0};         // of the last frame, without its waiting
    double stepSeconds{0.0};           // of the frame that is under way
    SimulatedTime time;                // at the beginning of the next frame
    double waitedSeconds{0.0};         // in the frame that is under way
    std::uint64_t frames{0};           // the number of the next frame; a restored state may decrease it
    std::uint64_t framesRun{0};        // finished
    double simulatedSeconds{0.0};      // their time steps

    // Set by any thread
    std::atomic<bool> exitRequested{false};
    std::atomic<bool> pauseRequested{false};
    std::atomic<std::uint32_t> stepsLeft{0};

    bool pacesWithVSync{true};
    std::uint32_t changedSettings{0};  // of the configuration, a bit for each; they take effect after the passes
    bool isChangingMode{false};
    Kr::KrSmartPtr<ApplicationState> state{Kr::makeSmart<ApplicationState>()};
    ApplicationContext context{state};
    KrSmartInterface<ApplicationConfig> configuration;
    std::unique_ptr<KrContentDispatcher> content;
};

}  // namespace KrSim
