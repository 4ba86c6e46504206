#pragma once

#include <cstddef>

#include "kr/content/content_id.h"
#include "kr/core/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// Finds live extensions by their content ID, and resolves the references (KrContentReference) that wait for one.
///
/// Every extension is registered from its constructor to its destructor. Several may carry one ID, as when a file is
/// loaded twice: the first one answers, and when it goes the next one does. No extension is found by the empty ID.
/// Thread: any. Observers of references are called without a lock, on the thread that makes the change.
/// Ownership: extensions are borrowed.
class KR_API KrContentRegistry {
public:
    /// Never destroyed.
    [[nodiscard]] static KrContentRegistry& instance();
    KrContentRegistry(const KrContentRegistry&) = delete;
    KrContentRegistry& operator=(const KrContentRegistry&) = delete;

    /// Null, and an extension that is there already, are ignored.
    void registerExtension(KrExtension* extension);
    /// Null, and an extension that is not there, are ignored. Weak references to it lose it.
    void unregisterExtension(KrExtension* extension) noexcept;
    [[nodiscard]] bool isRegistered(const KrExtension* extension) const;

    /// Null when no registered extension carries the ID. The pointer is good as long as no other thread lets go of the
    /// extension; where one may, use lock().
    [[nodiscard]] KrExtension* find(const KrContentID& id) const { return find(id.getRuntimeID()); }
    [[nodiscard]] KrExtension* find(const KrContentID::Identifier& runtimeID) const;
    /// The same with a holder; null, too, when the extension has no holder.
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> lock(const KrContentID& id) const;
    /// lock(), and where no extension carries the ID, the only one with the same raw ID: the same item from another
    /// file. For IDs that were stored: files are moved and renamed.
    [[nodiscard]] Kr::KrSmartPtr<KrExtension> resolve(const KrContentID& id) const;
    /// How many extensions are registered.
    [[nodiscard]] std::size_t getExtensionCount() const;

    /// Tells that a registered extension, or one that a strong reference holds, has another ID than before.
    void _onContentIDChanged(KrExtension* extension, const KrContentID& oldID, const KrContentID& newID);

private:
    KrContentRegistry();
};

}  // namespace KrSim
