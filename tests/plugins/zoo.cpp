#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "kr/platform/log.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/version.h"

#ifdef ZOO_LIBRARY_VERSION
#undef KR_VERSION
#define KR_VERSION ZOO_LIBRARY_VERSION
#endif
#include "kr/platform/plugins/plugin_manifest.h"

#ifndef ZOO_NO_MANIFEST
KR_PLUGIN_MANIFEST(ZOO_NAME, "1.2", "Animal.Horse", "Animal.Ox");
#endif

void notThere();  // defined nowhere

namespace {

/// Tells the test what the plug-in does, through the log, the one thing that both see. The test objects by letting its
/// handler throw a number.
bool tell(const std::string& what) {
    try {
        Kr::logMessage(Kr::eLogLevel::kInfo, "%s %s\n", ZOO_NAME, what.c_str());
        return true;
    } catch (int) {
        return false;
    }
}

[[maybe_unused]] void load(const std::string& plugin) {
    tell((KrPluginSystem::KrPluginManager::instance().load(plugin) ? "has " : "lacks ") + plugin);
}

[[maybe_unused]] void hang() {
    for (;;)
        ::pause();
}

#ifdef ZOO_AT_START
const bool hasStarted [[maybe_unused]] = (ZOO_AT_START, true);
#endif

}  // namespace

extern "C" KR_API void kr_plugin_register_v1() {
    tell("registers");
#ifdef ZOO_WHEN_REGISTERING
    ZOO_WHEN_REGISTERING;
#endif
}

#ifndef ZOO_NO_ENTRY
extern "C" KR_API bool kr_plugin_unregister_v1() {
    return tell("unregisters");
}
#endif
