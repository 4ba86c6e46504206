#pragma once

#include "kr/application/modules/i_simulator_module.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Connects the ConnectionContainers of an application as long as they are part of it. Connections with missing ends
/// are tried again after content was added, changed lists in the next frame, before the other passes. The type
/// "Application.ConnectionModule".
/// Thread: application. Ownership: owned by its proxy.
class KR_API ConnectionModule final : public ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    /// Runs before modules of the usual priority.
    static constexpr int kPriority = -1000;

    explicit ConnectionModule(KrSimulatorModule* proxy);
    ~ConnectionModule() override;

    void onExtensionAdded(KrExtension* extension) override;
    void onExtensionRemoved(KrExtension* extension) override;
    void onPreUpdate(eApplicationMode mode) override;

private:
    bool _hasContentCome{false};
};

}  // namespace KrSim
