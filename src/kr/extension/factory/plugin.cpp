#include "kr/extension/factory/plugin.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "kr/extension/factory/internal/type_registration.h"

namespace KrSim::detail {
namespace {

std::vector<KrExtensionFactory::TypeDescription> describe(const char* plugin, std::initializer_list<PluginType> types) {
    std::vector<KrExtensionFactory::TypeDescription> described;
    described.reserve(types.size());
    for (const PluginType& each : types) {
        described.push_back({KrFactoryKey(each.uuid, std::string(each.category), std::string(each.name), plugin),
                             each.create, nullptr, each.kind, each.type});
    }
    return described;
}

}  // namespace

void registerPluginTypes(const char* plugin, std::initializer_list<PluginType> types) {
    // The factory has logged the type and the reason; this text is part of the warning that names the file.
    if (!registerTypes(describe(plugin, types))) {
        throw std::runtime_error("a type was refused, so that none of its types is registered");
    }
}

bool unregisterPluginTypes(const char* plugin, std::initializer_list<PluginType> types) {
    return unregisterTypes(describe(plugin, types));
}

}  // namespace KrSim::detail
