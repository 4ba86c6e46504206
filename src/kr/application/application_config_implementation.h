#pragma once

#include "kr/application/application_config.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The setup that the factory makes. Plug-ins that bring a kind of setup of their own derive from ApplicationConfig.
class KR_API ApplicationConfigImplementation final : public ApplicationConfig {
public:
    explicit ApplicationConfigImplementation(KrObject* proxy, int version = kVersion);
    ~ApplicationConfigImplementation() override;
};

}  // namespace KrSim
