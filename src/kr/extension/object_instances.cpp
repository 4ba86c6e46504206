// Copies of objects: clones, and instances of definitions.

#include <cstddef>
#include <utility>
#include <vector>

#include "kr/data/container.h"
#include "kr/extension/content_registry.h"
#include "kr/extension/extension_properties.h"
#include "kr/extension/input_output_container.h"
#include "kr/extension/internal/outside_connections.h"
#include "kr/extension/internal/placed_content.h"
#include "kr/extension/object.h"
#include "kr/extension/object_access.h"
#include "kr/extension/upper_layers.h"
#include "kr/platform/log.h"

namespace KrSim {

using detail::asObject;
using detail::getDepthBelow;
using detail::moveBelow;
using detail::placeCopy;

// --- Cloning -------------------------------------------------------------------------------------------------------

Kr::KrSmartPtr<KrObject> KrObject::_makeOfSameType(const char* errorFormat) const {
    if (getCreationKey().isNull()) return Kr::makeSmart<KrObject>();
    const auto made = Kr::UpperLayer<IExtensionMaker>::get()->create(getCreationKey());
    if (!made) return Kr::makeSmart<KrObject>();
    auto* object = asObject(made.get());
    if (object == nullptr) {
        Kr::logErrorNoThrow(errorFormat, getCreationKey().toString().c_str());
        return {};
    }
    // What the implementation puts into every new object comes with the copy of this one's content.
    for (const auto& extension : object->getExtensions())
        object->_removeExtension(extension.get());
    return Kr::KrSmartPtr<KrObject>(object);
}

Kr::KrSmartPtr<KrExtension> KrObject::_makeClone() const {
    if (_isUnknown) {  // only keeps own data: nothing may come between
        auto made = Kr::makeSmart<KrObject>();
        made->_createUnknownImplementation();
        return made;
    }
    return _makeOfSameType("Trying to clone a KrObject to a KrExtension created by factory key: %s.\n");
}

namespace {

/// An object that was copied, with the next one to be copied into the copy.
struct CloneLevel {
    const KrObject& source;
    Kr::KrSmartPtr<KrExtension> made;
    KrContentID id;
    HeldExtensions below;
    std::size_t next{0};
};

/// The ID of a copy below a copy of `holder` that has the ID `id`.
KrContentID idOfClone(const KrObject& holder, const KrContentID& id, const KrContentID& below, bool isPlacing) {
    if (isPlacing) return placeCopy(id, holder.getContentID(), below);
    const auto depth = getDepthBelow(holder.getContentID(), below);
    return depth > 0 ? moveBelow(id, below, depth) : KrContentID::createUnique();
}

}  // namespace

/// Without recursion: objects may lie as deep inside one another as they like.
Kr::KrSmartPtr<KrExtension> KrObject::_clone(const KrCloneRequest& request) const {
    std::vector<CloneLevel> levels;
    // Copies an object without its content, which comes as a new level.
    const auto begin = [&levels](const KrObject& source, KrCloneRequest alone) {
        alone.synchronize = false;  // not before its content exists
        auto made = source.KrExtension::_clone(alone);
        if (asObject(made.get()) != nullptr) {
            levels.push_back(CloneLevel{source, made, alone.contentID, source.getExtensions()});
        }
        return made;
    };
    auto made = begin(*this, request);
    while (!levels.empty()) {
        auto& level = levels.back();
        if (level.next == level.below.size()) {
            if (request.synchronize) level.made->_synchronizeImplementation(level.source.getImplementation());
            levels.pop_back();
            continue;
        }
        const Kr::KrSmartPtr<KrExtension> extension = level.below[level.next++];
        auto below = request;
        below.owner = asObject(level.made.get());
        below.contentID = idOfClone(level.source, level.id, extension->getContentID(), request.isPlacing);
        below.owner->_savePosition(below.contentID, extension->_position);
        if (const auto* object = asObject(extension.get())) {
            static_cast<void>(begin(*object, below));
        } else {
            static_cast<void>(extension->_clone(below));
        }
    }
    return made;
}

void KrObject::_copyTo(KrExtension* target, bool copyFields) const {
    KrExtension::_copyTo(target, copyFields);
    auto* object = asObject(target);
    if (object == nullptr) return;
    object->_definitionFileName = _definitionFileName;
    object->_definition = _definition;
    object->_base = _base;
    if (_outsideConnections) {
        object->_getOutsideConnections().copyInner(*_outsideConnections, getContentID(), object->getContentID());
    }
}

void KrObject::_setContentID(const KrContentID& id) {
    std::vector<std::pair<KrObject*, KrContentID>> open{{this, id}};
    for (std::size_t i = 0; i < open.size(); ++i) {
        auto& object = *open[i].first;
        const auto now = open[i].second;
        const auto before = object.getContentID();
        object.KrExtension::_setContentID(now);
        if (object._outsideConnections) object._outsideConnections->move(before, now);
        for (const auto& extension : object.getExtensions()) {
            const auto depth = getDepthBelow(before, extension->getContentID());
            if (depth == 0) continue;
            const auto moved = moveBelow(now, extension->getContentID(), depth);
            if (auto* child = asObject(extension.get())) {
                open.emplace_back(child, moved);
            } else {
                extension->_setContentID(moved);
            }
        }
    }
}

void KrObject::_regenerateIDs() {
    for (auto* each : detail::collectTree(*this)) {
        const auto* owner = each != this ? each->getOwner() : nullptr;
        const bool isDerived = owner != nullptr && getDepthBelow(owner->getContentID(), each->getContentID()) > 0;
        if (!isDerived) each->_setContentID(KrContentID::createUnique());  // also moves what is derived from it
    }
}

// --- Instances -----------------------------------------------------------------------------------------------------

KrObject* KrObject::getDefinition() const {
    return asObject(_definition.get());
}

Kr::KrSmartPtr<KrObject> KrObject::instantiate() {
    return instantiate(KrContentID::createUnique());
}

Kr::KrSmartPtr<KrObject> KrObject::instantiate(const KrContentID& id) {
    if (isInstance()) {
        Kr::logErrorNoThrow("KrObject: Trying to instantiate '%s' which is an object instance.\n", getName().c_str());
        return {};
    }
    auto& registry = KrContentRegistry::instance();
    if (registry.find(id) != nullptr) {
        Kr::logErrorNoThrow("KrObject: Trying to instantiate '%s' with an id already used.\n", getName().c_str());
        return {};
    }
    auto made = _makeOfSameType("Trying to instantiate a KrObject to a KrExtension created by factory key: %s.\n");
    if (!made) return made;
    if (!hasName()) _setDefaultName();
    made->setName(getName().c_str());
    made->_setCreationKey(getCreationKey());
    ExtensionProperties::_replace(*made, ExtensionProperties::find(*this));
    registry.unregisterExtension(made.get());
    made->_setContentID(id);
    registry.registerExtension(made.get());
    made->_definition.setTarget(this);
    made->_sync(KrCloneMap::Values::kOfSource);
    return made;
}

void KrObject::replaceDefinition(KrObject* definition) {
    if (definition == nullptr) {
        Kr::logErrorNoThrow("KrObject::replaceDefinition: given object pointer is nullptr.\n");
        return;
    }
    if (definition->isInstance()) {
        Kr::logErrorNoThrow("KrObject::replaceDefinition: given object is not a definition.\n");
        return;
    }
    const auto& chain = getContentID().getParentInstances();
    const bool isPlacement = !chain.empty() && asObject(KrContentRegistry::instance().find(chain.back())) != nullptr;
    if (!isInstance() && !isPlacement) {
        Kr::logErrorNoThrow("KrObject::replaceDefinition: object is not an instance.\n");
        return;
    }
    if (!_mayChangeNow()) return;
    // sync finds what is own by the definition before, and puts it back where raw IDs match.
    _definition.setTarget(definition);
    sync();
}

}  // namespace KrSim
