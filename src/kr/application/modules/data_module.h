#pragma once

#include "kr/application/modules/i_simulator_module.h"

namespace KrSim {

/// Implementation of a module type that only has data: the code that creates the module adds its fields. It manages
/// nothing and does nothing in a frame. See KrDataExtension.
///
/// \tparam Type  any class, to distinguish the implementation classes of several types.
template <class Type>
class KrDataModule : public ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    explicit KrDataModule(KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}
};

}  // namespace KrSim
