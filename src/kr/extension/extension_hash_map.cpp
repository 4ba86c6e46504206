#include "kr/extension/extension_hash_map.h"

#include <algorithm>

#include "kr/extension/extension.h"
#include "kr/platform/log.h"

namespace KrSim {

KrExtensionHashMap::KrExtensionHashMap() = default;
KrExtensionHashMap::~KrExtensionHashMap() = default;

void KrExtensionHashMap::registerExtension(KrExtension* extension) {
    if (!extension) return;
    const Key key = extension->getContentID().getRuntimeID();
    const KrExtension* holder = nullptr;
    {
        const std::lock_guard lock(_mutex);
        const auto registered = _hashes.find(extension);
        if (registered == _hashes.end()) {
            const auto [place, isNew] = _extensions.try_emplace(key, extension);
            if (isNew) {
                try {
                    _hashes.emplace(extension, key);
                } catch (...) {
                    _extensions.erase(place);
                    throw;
                }
                return;
            }
            holder = place->second;
        } else if (registered->second == key) {
            return;
        }
    }
    if (!holder) {
        Kr::logErrorNoThrow(
            "KrExtensionHashMap: Inconsistency detected for '%s (%s)', was it added previously under a "
            "different name?\n",
            extension->getPath().c_str(), extension->getTypeName().c_str());
        return;
    }
    Kr::logErrorNoThrow(
        "KrExtensionHashMap: An extension with the same hash code already exists, added: '%s (%s)', "
        "conflicts with: '%s (%s)'\n",
        extension->getPath().c_str(), extension->getTypeName().c_str(), holder->getPath().c_str(),
        holder->getTypeName().c_str());
}

void KrExtensionHashMap::unregisterExtension(const KrExtension* extension) {
    const std::lock_guard lock(_mutex);
    const auto registered = _hashes.find(extension);
    if (registered == _hashes.end()) return;
    _extensions.erase(registered->second);
    _hashes.erase(registered);
}

bool KrExtensionHashMap::isRegistered(const KrExtension* extension) const {
    const std::lock_guard lock(_mutex);
    return _hashes.find(extension) != _hashes.end();
}

KrExtension* KrExtensionHashMap::operator[](const Hash& hash) const {
    const std::lock_guard lock(_mutex);
    const auto place = _extensions.find(Key{hash.first, hash.second});
    return place == _extensions.end() ? nullptr : place->second;
}

KrExtensionHashMap::Hash KrExtensionHashMap::operator[](const KrExtension* extension) const {
    const std::lock_guard lock(_mutex);
    const auto registered = _hashes.find(extension);
    return registered == _hashes.end() ? Hash() : Hash(registered->second.first, registered->second.second);
}

std::size_t KrExtensionHashMap::getExtensionsCount() const {
    const std::lock_guard lock(_mutex);
    return _hashes.size();
}

bool KrExtensionHashMap::isValid() const {
    const std::lock_guard lock(_mutex);
    return _extensions.size() == _hashes.size() &&
           std::all_of(_extensions.begin(), _extensions.end(), [this](const auto& each) {
               const auto registered = _hashes.find(each.second);
               return registered != _hashes.end() && registered->second == each.first &&
                      each.second->getContentID().getRuntimeID() == each.first;
           });
}

}  // namespace KrSim
