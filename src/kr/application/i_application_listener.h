#pragma once

#include "kr/application/context/application_modes.h"
#include "kr/application/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Observes an application (KrApplication::registerListener). Override what you need; the defaults do nothing.
///
/// Thread: application, between two passes, without a lock: a callback may change content, modules and listeners. An
/// exception is logged as a warning.
/// Ownership: borrowed, or shared by holdListener.
class KR_API IApplicationListener {
public:
    IApplicationListener() = default;
    IApplicationListener(const IApplicationListener&) = delete;
    IApplicationListener& operator=(const IApplicationListener&) = delete;
    virtual ~IApplicationListener();

    /// The extension was added to the application and offered to all modules. Objects are reported before the
    /// extensions below them.
    virtual void onExtensionAdded(KrApplication* application, KrExtension* extension);
    /// It was removed; extensions below an object are reported before the object.
    virtual void onExtensionRemoved(KrApplication* application, KrExtension* extension);
    virtual void onModuleInserted(KrApplication* application, KrSimulatorModule* module);
    virtual void onModuleRemoved(KrApplication* application, KrSimulatorModule* module);
    /// All modules have been called before.
    virtual void onApplicationModeChanged(KrApplication* application, eApplicationMode from, eApplicationMode to);
    /// A frame has ended, also a paused one.
    virtual void onFrameEnded(KrApplication* application);
    /// The main loop has ended; the application is not running any more.
    virtual void onRunEnded(KrApplication* application, int exitValue);
};

}  // namespace KrSim
