// The types that need no plug-in. What they do is not settled yet; until then they carry data only, so that content
// which holds them is shown, copied and saved whole. Modules have a file of their own, built_in_modules.cpp.

#include "kr/extension/data_extension.h"
#include "kr/extension/factory/factory_keys.h"
#include "kr/extension/factory/registration.h"

namespace KrSim {
namespace {

template <class Type>
bool registerDataExtension() {
    return registerExtensionType<KrDataExtension<Type>>(Type::kInternalFactoryKey);
}

// While the library is loaded, before any program can ask for a type.
[[maybe_unused]] const bool areRegistered = [] {
    registerExtensionType<KrDataObject<Keys::Object>>(Keys::Object::kInternalFactoryKey);
    registerDataExtension<Keys::ConfigurationModuleSequenceController>();
    registerDataExtension<Keys::ExecuteLaterManager>();
    registerDataExtension<Keys::MetricsManager>();
    registerDataExtension<Keys::SystemProcessesMonitor>();
    return true;
}();

}  // namespace
}  // namespace KrSim
