#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/extension/instance_data.h"
#include "kr/extension/waiting_connection.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim::detail {

/// The functions of objects for the framework: applications, loaders and writers. Without a comment: see the function
/// of the same name of KrObject.
struct ObjectAccess {
    // --- Content
    [[nodiscard]] static bool isBusy(const KrObject& object) { return object._isBusy(); }
    [[nodiscard]] static bool holds(const KrObject& object, const KrExtension& extension) {
        return object._holds(extension);
    }
    [[nodiscard]] static bool isCompatible(const KrObject& object, KrExtension* extension) {
        return object._isCompatible(extension);
    }
    static void addExtensionToList(KrObject& object, KrExtension* extension) { object._addExtensionToList(extension); }
    static void removeExtension(KrObject& object, KrExtension* extension) { object._removeExtension(extension); }
    static void savePosition(KrObject& object, const KrContentID& id, std::uint64_t position) {
        object._savePosition(id, position);
    }
    static void moveExtension(KrObject& object, KrExtension& extension, std::uint64_t position) {
        object._moveExtension(extension, position);
    }
    static void setApplicationRoot(KrObject& object) { object._isRoot = true; }
    static void regenerateIDs(KrObject& object) { object._regenerateIDs(); }

    // --- Walks over content
    [[nodiscard]] static Kr::KrSmartPtr<KrExtension> hold(const KrObject& object, std::size_t index) noexcept {
        return object._hold(index);
    }
    [[nodiscard]] static std::size_t getChangeCount(const KrObject& object) noexcept {
        return object._getChangeCount();
    }
    [[nodiscard]] static std::uint64_t getNextPosition(const KrObject& object) noexcept {
        return object._getNextPosition();
    }

    // --- Instances
    /// Makes it an instance without synchronising it, for loading. \param definition  its ID, or the object.
    template <class Definition>
    static void setDefinition(KrObject& object, const Definition& definition) {
        object._definition.setTarget(definition);
    }
    /// The base of comparison: the definition when this instance last followed it. Null before that.
    [[nodiscard]] static std::shared_ptr<const DefinitionSnapshot>& base(KrObject& object) { return object._base; }
    [[nodiscard]] static const std::shared_ptr<const DefinitionSnapshot>& base(const KrObject& object) {
        return object._base;
    }
    using OwnRecords = KrObject::OwnRecords;
    [[nodiscard]] static OwnRecords getOwnRecords(const KrObject& object) { return object._getOwnRecords(); }
    [[nodiscard]] static auto getInternalInstanceData(const KrObject& object) {
        return object._getInternalInstanceData();
    }
    /// The connections kept while the definition lacks their parts or fields.
    [[nodiscard]] static std::vector<KrWaitingConnection> getWaitingConnections(const KrObject& object);
};

/// The error of an extension that only keeps the own values of a removed one.
[[nodiscard]] std::string describeLost(const std::string& name);

/// The extension as an object; null for null and for other extensions.
inline KrObject* asObject(KrExtension* extension) {
    return extension != nullptr && extension->isOfClassType(KrObject::getClassType())
               ? static_cast<KrObject*>(extension)
               : nullptr;
}
inline const KrObject* asObject(const KrExtension* extension) {
    return asObject(const_cast<KrExtension*>(extension));
}

/// Keeps an object alive during callbacks; does nothing for one without a holder, for example on the stack.
inline Kr::KrSmartPtr<KrObject> keepAlive(KrObject& object) {
    return Kr::KrSmartPtr<KrObject>(object.getRefCount() > 0 ? &object : nullptr);
}

/// The extension and all extensions below it, level by level: the extensions of one object are adjacent. Borrowed.
/// Without recursion, as all walks over content: objects may be nested at any depth.
[[nodiscard]] inline std::vector<KrExtension*> collectTree(const KrExtension& top) {
    std::vector<KrExtension*> all{const_cast<KrExtension*>(&top)};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto* object = asObject(all[i]);
        if (object == nullptr) continue;
        for (const auto& below : object->getExtensions())
            all.push_back(below.get());
    }
    return all;
}

}  // namespace KrSim::detail
