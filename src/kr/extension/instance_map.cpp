#include "kr/extension/instance_map.h"

#include "kr/platform/ref_count_access.h"

namespace KrSim::detail {

ObjectMap& ObjectMap::instance() {
    static auto& map = *new ObjectMap;
    return map;
}

void ObjectMap::announce(Instances& instances) {
    const std::lock_guard lock(_mutex);
    ++instances.count;
}

void ObjectMap::add(Instances& instances, KrExtension* extension) {
    const std::lock_guard lock(_mutex);
    if (extension == nullptr || extension->_instanceLink.list != nullptr) {
        --instances.count;
        return;
    }
    extension->_instanceLink = {&instances, instances.last, nullptr};
    (instances.last != nullptr ? instances.last->_instanceLink.next : instances.first) = extension;
    instances.last = extension;
}

void ObjectMap::remove(KrExtension& extension) noexcept {
    const std::lock_guard lock(_mutex);
    auto& link = extension._instanceLink;
    auto& instances = *static_cast<Instances*>(link.list);
    (link.previous != nullptr ? link.previous->_instanceLink.next : instances.first) = link.next;
    (link.next != nullptr ? link.next->_instanceLink.previous : instances.last) = link.previous;
    link = {};
    --instances.count;
}

std::size_t ObjectMap::getCount(const Instances& instances) const {
    const std::lock_guard lock(_mutex);
    return instances.count;
}

Kr::KrArray<KrExtension*> ObjectMap::getAll(const Instances& instances) const {
    const std::lock_guard lock(_mutex);
    Kr::KrArray<KrExtension*> all;
    all.reserve(instances.count);
    for (auto* each = instances.first; each != nullptr; each = each->_instanceLink.next) {
        if (!Kr::detail::RefCountAccess::isBeingDestroyed(*each)) all.append(each);
    }
    return all;
}

}  // namespace KrSim::detail
