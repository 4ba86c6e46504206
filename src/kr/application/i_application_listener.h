#pragma once

#include "kr/application/context/application_modes.h"
#include "kr/application/fwd.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Observes an application (KrApplication::registerListener). Override what is of interest.
///
/// Called on the application's thread, between two passes, without a lock: a callback may change content, modules and
/// listeners. One that throws is logged as a warning.
class KR_API IApplicationListener {
public:
    IApplicationListener() = default;
    IApplicationListener(const IApplicationListener&) = delete;
    IApplicationListener& operator=(const IApplicationListener&) = delete;
    virtual ~IApplicationListener();

    /// The extension has come into the application, and all modules were told. Objects come before what they hold.
    virtual void onExtensionAdded(KrApplication* application, KrExtension* extension);
    /// It has left; what an object holds leaves before the object.
    virtual void onExtensionRemoved(KrApplication* application, KrExtension* extension);
    virtual void onModuleInserted(KrApplication* application, KrSimulatorModule* module);
    virtual void onModuleRemoved(KrApplication* application, KrSimulatorModule* module);
    /// All modules were told of it.
    virtual void onApplicationModeChanged(KrApplication* application, eApplicationMode from, eApplicationMode to);
    /// A frame has ended, a paused one too.
    virtual void onFrameEnded(KrApplication* application);
    /// The main loop has ended; the application is not running any more.
    virtual void onRunEnded(KrApplication* application, int exitValue);
};

}  // namespace KrSim
