#include "kr/extension/versioning_registry.h"

#include <exception>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/extension/extension.h"
#include "kr/extension/factory_key.h"
#include "kr/platform/guard.h"
#include "kr/platform/uuid.h"

namespace KrSim {

namespace {

struct Registry {
    using Steps = std::map<std::int32_t, KrVersioningRegistry::UpgradeStep>;
    struct Type {
        KrVersioningRegistry::Versions versions;
        std::map<std::string, Steps> steps;
    };

    std::mutex mutex;  // guards the types
    std::unordered_map<KrUuid, Type> types;

    static Registry& instance() {
        static auto& registry = *new Registry;
        return registry;
    }
};

constexpr Kr::GuardTexts kUpgrade{Kr::eLogLevel::kWarn, "KrVersioningRegistry: fatal error in '%s' upgrade step [%s]\n",
                                  "KrVersioningRegistry: unhandled exception in '%s' upgrade step\n"};

/// The uuid under which the type's versions stand; null where nothing can be registered.
KrUuid typeOf(const KrFactoryKey& key, const std::string& versionKey) {
    return versionKey.empty() ? KrUuid() : key.completed().uuid;
}

}  // namespace

bool KrVersioningRegistry::registerVersion(const KrFactoryKey& type, const std::string& versionKey,
                                           std::int32_t version) {
    const auto uuid = typeOf(type, versionKey);
    if (uuid.isNull()) return false;
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    registry.types[uuid].versions[versionKey] = version;
    return true;
}

bool KrVersioningRegistry::registerUpgrade(const KrFactoryKey& type, const std::string& versionKey,
                                           std::int32_t fromVersion, UpgradeStep step) {
    const auto uuid = typeOf(type, versionKey);
    if (uuid.isNull() || !step) return false;
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    return registry.types[uuid].steps[versionKey].try_emplace(fromVersion, std::move(step)).second;
}

void KrVersioningRegistry::unregisterType(const KrFactoryKey& type) {
    auto& registry = Registry::instance();
    Registry::Type gone;  // its functions may come from a plug-in: destroyed after unlocking
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.types.find(type.completed().uuid);
    if (found == registry.types.end()) return;
    std::swap(gone, found->second);
    registry.types.erase(found);
}

KrVersioningRegistry::Versions KrVersioningRegistry::getVersions(const KrExtension* extension) {
    if (extension == nullptr || extension->getCreationKey().isNull()) return {};
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.types.find(extension->getCreationKey().uuid);
    return found != registry.types.end() ? found->second.versions : Versions();
}

void KrVersioningRegistry::onLoadingExtension(const KrExtension* extension, KrData::Container* fields,
                                              const Versions& saved) {
    if (extension == nullptr || fields == nullptr) return;
    std::vector<UpgradeStep> steps;  // in the order in which they run
    {
        auto& registry = Registry::instance();
        const std::lock_guard lock(registry.mutex);
        const auto type = registry.types.find(extension->getCreationKey().uuid);
        if (type == registry.types.end()) return;
        for (const auto& [versionKey, version] : type->second.versions) {
            const auto known = type->second.steps.find(versionKey);
            if (known == type->second.steps.end()) continue;
            const auto before = saved.find(versionKey);
            const auto from = before != saved.end() ? before->second : 0;
            for (auto step = known->second.lower_bound(from); step != known->second.end() && step->first < version;
                 ++step) {
                steps.push_back(step->second);
            }
        }
    }
    for (const auto& step : steps) {
        std::exception_ptr failure;
        Kr::callGuarded(
            kUpgrade, [&] { return extension->getName(); },
            [&] {
                try {
                    step(*fields);
                } catch (...) {
                    failure = std::current_exception();
                    throw;
                }
            });
        if (failure) std::rethrow_exception(failure);
    }
}

}  // namespace KrSim
