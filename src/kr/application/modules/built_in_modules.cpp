// The module types that need no plug-in. What they do is not settled yet; until then they carry data only, so that
// setups which name them are shown, copied and saved whole.

#include "kr/application/modules/data_module.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/registration.h"

namespace KrSim {
namespace {

template <class... Types>
bool registerDataModules() {
    return (registerExtensionType<KrDataModule<Types>>(Types::kInternalFactoryKey) && ...);
}

// While the library is loaded, before any program can ask for a type.
[[maybe_unused]] const bool areRegistered =
    registerDataModules<Keys::Module, Keys::AnimationModule, Keys::ControlPresetModule, Keys::ConfigurationModule,
                        Keys::ProcessMonitorModule, Keys::ProfilerModule, Keys::KeyFrameModule, Keys::RoleSeatModule>();

}  // namespace
}  // namespace KrSim
