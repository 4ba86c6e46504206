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
        std::optional<KrFactoryKey> replacing;  // the type that takes its place
        KrVersioningRegistry::Replacement replacement;
    };

    std::mutex mutex;  // guards the types
    std::unordered_map<KrUuid, Type> types;

    static Registry& instance() {
        static auto& registry = *new Registry;
        return registry;
    }

    /// The type if it is obsolete, or null. With the registry locked.
    [[nodiscard]] const Type* findObsolete(const KrFactoryKey& key) const {
        const auto found = types.find(key.uuid.isNull() ? key.completed().uuid : key.uuid);
        return found != types.end() && found->second.replacing ? &found->second : nullptr;
    }
};

constexpr Kr::GuardTexts kUpgrade{Kr::eLogLevel::kWarn, "KrVersioningRegistry: fatal error in '%s' upgrade step [%s]\n",
                                  "KrVersioningRegistry: unhandled exception in '%s' upgrade step\n", "upgrade step"};

constexpr Kr::GuardTexts kReplaceObsoleteExtension{
    Kr::eLogLevel::kWarn, "KrExtension: fatal error in '%s' replaceObsoleteExtension() [%s]\n",
    "KrExtension: unhandled exception in '%s' replaceObsoleteExtension()\n", "replaceObsoleteExtension"};

/// The uuid of the type's versions; null when nothing can be registered.
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

bool KrVersioningRegistry::registerReplacement(const KrFactoryKey& obsolete, const KrFactoryKey& replacing,
                                               Replacement function) {
    const auto before = obsolete.completed();
    const auto after = replacing.completed();
    if (before.uuid.isNull() || after.uuid.isNull()) return false;
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    if (registry.findObsolete(before) != nullptr || before.uuid == after.uuid) return false;
    for (const auto* next = registry.findObsolete(after); next != nullptr;
         next = registry.findObsolete(*next->replacing)) {
        if (next->replacing->uuid == before.uuid) return false;
    }
    auto& type = registry.types[before.uuid];
    type.replacing = after;
    type.replacement = std::move(function);
    return true;
}

void KrVersioningRegistry::unregisterType(const KrFactoryKey& type) {
    auto& registry = Registry::instance();
    Registry::Type gone;  // functions may come from a plug-in: destroyed after unlocking
    std::vector<Replacement> replacements;
    const auto uuid = type.completed().uuid;
    const std::lock_guard lock(registry.mutex);
    for (auto& [obsolete, each] : registry.types) {
        if (!each.replacing || each.replacing->uuid != uuid) continue;
        each.replacing.reset();
        replacements.push_back(std::exchange(each.replacement, nullptr));
    }
    const auto found = registry.types.find(uuid);
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
            },
            extension);
        if (failure) std::rethrow_exception(failure);
    }
}

std::optional<KrFactoryKey> KrVersioningRegistry::findReplacement(const KrFactoryKey& type) {
    auto& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    std::optional<KrFactoryKey> last;
    for (const auto* next = registry.findObsolete(type); next != nullptr; next = registry.findObsolete(*last))
        last = next->replacing;
    return last;
}

bool KrVersioningRegistry::replaceObsoleteExtension(const std::string& name, const KrFactoryKey& obsolete,
                                                    SavedExtension& saved) {
    std::vector<Replacement> functions;
    {
        auto& registry = Registry::instance();
        const std::lock_guard lock(registry.mutex);
        for (const auto* next = registry.findObsolete(obsolete); next != nullptr;
             next = registry.findObsolete(*next->replacing)) {
            if (next->replacement) functions.push_back(next->replacement);
        }
    }
    for (const auto& function : functions) {
        if (!Kr::callGuarded(
                kReplaceObsoleteExtension, [&] { return name; }, [&] { function(saved); })) {
            return false;
        }
    }
    return true;
}

}  // namespace KrSim
