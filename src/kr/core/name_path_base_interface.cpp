#include "kr/core/name_path_base_interface.h"

#include <mutex>
#include <unordered_map>

#include "kr/core/base.h"
#include "kr/core/internal/type_key.h"

namespace Kr {

namespace {

struct Registration {
    KrNamePathBaseInterfaceRegistry::Factory factory;
    std::shared_ptr<const KrNamePathBaseInterface> instance;
};

struct Registry {
    std::mutex mutex;  // guards the registrations
    std::unordered_map<std::string, Registration> byTypeKey;

    static Registry& instance() {
        static auto& registry = *new Registry;
        return registry;
    }
};

}  // namespace

KrNamePathBaseInterface::~KrNamePathBaseInterface() = default;

KrBase* KrNamePathBaseInterface::findChild(KrBase& parent, const std::string& className,
                                           const std::string& objectName) const {
    for (KrBase* child : getChildren(parent)) {
        if (child->getName() == objectName && child->getClassName() == className) return child;
    }
    return nullptr;
}

std::shared_ptr<const KrNamePathBaseInterface> KrNamePathBaseInterface::find(KrBase* object) {
    if (!object) return nullptr;
    const std::string key = detail::typeKey(typeid(*object));
    Registry& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    const auto it = registry.byTypeKey.find(key);
    return it == registry.byTypeKey.end() ? nullptr : it->second.instance;
}

bool KrNamePathBaseInterfaceRegistry::registerInterface(const std::type_info& type, Factory factory) {
    if (!factory) return false;
    // Made without the lock: the factory is foreign code.
    std::shared_ptr<const KrNamePathBaseInterface> instance = factory();
    if (!instance) return false;
    Registry& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    return registry.byTypeKey.try_emplace(detail::typeKey(type), Registration{factory, std::move(instance)}).second;
}

bool KrNamePathBaseInterfaceRegistry::unregisterInterface(const std::type_info& type, Factory factory) {
    Registry& registry = Registry::instance();
    Registration removed{};  // destroyed after the lock is released
    const std::lock_guard lock(registry.mutex);
    const auto it = registry.byTypeKey.find(detail::typeKey(type));
    if (it == registry.byTypeKey.end() || it->second.factory != factory) return false;
    removed = std::move(it->second);
    registry.byTypeKey.erase(it);
    return true;
}

}  // namespace Kr
