#include "kr/platform/plugins/resource_manager.h"

#include <filesystem>
#include <mutex>
#include <system_error>

#include "kr/platform/log.h"

namespace KrPluginSystem {

struct KrResourceManager::State {
    mutable std::mutex mutex;  // guards the directories
    Kr::KrArray<std::string> directories;
};

KrResourceManager::KrResourceManager() : _state(std::make_unique<State>()) {}
KrResourceManager::~KrResourceManager() = default;

KrResourceManager& KrResourceManager::instance() {
    static auto& manager = *new KrResourceManager;
    return manager;
}

std::string KrResourceManager::findResource(const std::string& resource) const {
    if (resource.empty() || resource.find('/') != std::string::npos) return {};
    for (const std::string& directory : getResourceSearchDirs()) {
        auto path = std::filesystem::path(directory) / (resource + ".krr");
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error)) return path.string();
    }
    return {};
}

void KrResourceManager::addResourceSearchDir(const std::string& directory) {
    if (directory.empty() || directory.find('\0') != std::string::npos) {
        Kr::logMessage(Kr::eLogLevel::kWarn,
                       "KrResourceManager: Cannot add a resource directory: it is empty or has a zero byte in it\n");
        return;
    }
    const std::lock_guard lock(_state->mutex);
    if (!_state->directories.contains(directory)) _state->directories.append(directory);
}

void KrResourceManager::resetResourceSearchDirs() {
    const std::lock_guard lock(_state->mutex);
    _state->directories = {};
}

Kr::KrArray<std::string> KrResourceManager::getResourceSearchDirs() const {
    const std::lock_guard lock(_state->mutex);
    return _state->directories;
}

}  // namespace KrPluginSystem
