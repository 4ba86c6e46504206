#pragma once

#include "kr/application/modules/i_simulator_module.h"
#include "kr/platform/export.h"

namespace KrSim {

/// Connects what the ConnectionContainers of an application hold, as long as they are in it. Connections whose ends are
/// missing are tried again after content has come, edited lists in the next frame, before the other passes. The type
/// "Application.ConnectionModule".
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
