#pragma once

#include "kr/application/modules/i_simulator_module.h"

namespace KrSim {

/// Implementation of a module type that carries data only: the code that makes the module gives it its fields. It
/// manages nothing and does nothing in a frame. See KrDataExtension.
///
/// \tparam Type  any class; it makes one implementation class of each type.
template <class Type>
class KrDataModule : public ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    explicit KrDataModule(KrSimulatorModule* proxy) : ISimulatorModule(proxy, kVersion) {}
};

}  // namespace KrSim
