#include "apps/krsim/simulated_extensions.h"

#include <cstddef>

#include "kr/application/application.h"
#include "kr/application/content_dispatcher.h"
#include "kr/application/modules/simulator_module.h"
#include "kr/extension/extension.h"

namespace krsim {

std::vector<KrSim::KrExtension*> getSimulatedExtensions(const KrSim::KrApplication& application) {
    std::vector<KrSim::KrExtension*> extensions;
    for (const auto& each : application.getContentDispatcher().getExtensions())
        extensions.push_back(each.get());
    for (std::size_t i = 0; i < application.getModuleCount(); ++i)
        extensions.push_back(application.getModule(i));
    return extensions;
}

}  // namespace krsim
