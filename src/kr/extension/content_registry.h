#pragma once

#include <cstddef>

#include "kr/content/content_id.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Finds live extensions by their content ID, and resolves the references (KrContentReference) that wait for them.
///
/// Every extension is registered from its constructor to its destructor. Several may have one ID, as when a file is
/// loaded twice: the first one is found, after its removal the next one. The empty ID finds no extension.
/// Thread: any. Observers of references are called without a lock, on the thread that makes the change.
/// Ownership: extensions are borrowed.
class KR_API KrContentRegistry {
public:
    /// The one instance, never destroyed.
    [[nodiscard]] static KrContentRegistry& instance();
    KrContentRegistry(const KrContentRegistry&) = delete;
    KrContentRegistry& operator=(const KrContentRegistry&) = delete;

    /// Ignores null and a registered extension.
    void registerExtension(KrExtension* extension);
    /// Ignores null and an extension that is not registered. Weak references to it become null.
    void unregisterExtension(KrExtension* extension) noexcept;
    [[nodiscard]] bool isRegistered(const KrExtension* extension) const;

    /// Null when no registered extension has the ID. The pointer is valid as long as no other thread releases the
    /// extension; use lock() when one may.
    [[nodiscard]] KrExtension* find(const KrContentID& id) const { return find(id.getRuntimeID()); }
    [[nodiscard]] KrExtension* find(const KrContentID::Identifier& runtimeID) const;
    /// The same with a holder; null, too, when the extension has no holder.
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> lock(const KrContentID& id) const;
    /// As lock(); when no extension has the ID, the only one with the same raw ID: the same item from another file. For
    /// stored IDs, since files are moved and renamed.
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> resolve(const KrContentID& id) const;
    /// Number of registered extensions.
    [[nodiscard]] std::size_t getExtensionCount() const;

private:
    friend class KrExtension;

    KrContentRegistry();
    /// Call it after the ID of a registered extension, or of one held by a strong reference, has changed.
    void _onContentIDChanged(KrExtension* extension, const KrContentID& oldID, const KrContentID& newID);
};

}  // namespace KrSim
