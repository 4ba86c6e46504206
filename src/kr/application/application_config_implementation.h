#pragma once

#include "kr/application/application_config.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The setup that the factory creates. Plug-ins with their own kind of setup derive from ApplicationConfig.
/// Thread: application. Ownership: owned by its proxy.
class KR_API ApplicationConfigImplementation final : public ApplicationConfig {
public:
    explicit ApplicationConfigImplementation(KrObject* proxy, int version = kVersion);
    ~ApplicationConfigImplementation() override;
};

}  // namespace KrSim
