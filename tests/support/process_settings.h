#pragma once

#include "kr/events/errors/error_handler.h"
#include "kr/platform/log.h"
#include "kr/platform/plugins/plugin_manager.h"
#include "kr/platform/plugins/resource_manager.h"
#include "tests/support/dispatcher_scope.h"

namespace test_support {

/// Puts back, at its end, what setups change in the process.
struct ProcessSettings {
    ~ProcessSettings() {
        KrPluginSystem::KrPluginManager::instance().resetPluginSearchDirs();
        KrPluginSystem::KrResourceManager::instance().resetResourceSearchDirs();
        KrSim::KrErrorHandler::setLogFile({});
        KrSim::KrErrorHandler::enableConsoleLog(true);
        Kr::LogSetLevel(level);
    }
    DispatcherScope dispatcher;
    Kr::eLogLevel level = Kr::LogGetLevel();
};

}  // namespace test_support
