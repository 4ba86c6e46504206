#include "kr/application/i_application_listener.h"

namespace KrSim {

IApplicationListener::~IApplicationListener() = default;
void IApplicationListener::onExtensionAdded(KrApplication*, KrExtension*) {}
void IApplicationListener::onExtensionRemoved(KrApplication*, KrExtension*) {}
void IApplicationListener::onModuleInserted(KrApplication*, KrSimulatorModule*) {}
void IApplicationListener::onModuleRemoved(KrApplication*, KrSimulatorModule*) {}
void IApplicationListener::onApplicationModeChanged(KrApplication*, eApplicationMode, eApplicationMode) {}
void IApplicationListener::onFrameEnded(KrApplication*) {}
void IApplicationListener::onRunEnded(KrApplication*, int) {}

}  // namespace KrSim
