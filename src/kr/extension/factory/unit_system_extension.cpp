#include "kr/extension/factory/unit_system_extension.h"

#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/registration.h"

namespace KrSim {
namespace {

// While the library is loaded, before any program can ask for the type.
[[maybe_unused]] const bool isRegistered = registerExtensionType<KrUnitSystem>(Keys::UnitSystem::kInternalFactoryKey);

}  // namespace

KrUnitSystem::KrUnitSystem(KrExtension* proxy) : IExtension(proxy, kVersion) {}
KrUnitSystem::~KrUnitSystem() = default;

Kr::eUnitSystem KrUnitSystem::getSystem() const {
    return system.get().get<Kr::eUnitSystem>().value_or(Kr::eUnitSystem::kSI);
}

}  // namespace KrSim
