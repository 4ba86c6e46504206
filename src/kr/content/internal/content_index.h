#pragma once

#include <cstddef>
#include <vector>

#include "kr/content/internal/content_table.h"

namespace KrSim::detail {

/// Live content and the references to it, by runtime ID and by raw ID.
///
/// The second table holds only IDs whose raw ID differs from the runtime ID, so content that comes from no file
/// and is placed nowhere costs one entry.
/// Thread: one at a time (the directory's lock).
class ContentIndex {
public:
    // --- Content ---------------------------------------------------------------------------------------------------
    /// False when it was registered already. Throws std::bad_alloc, and nothing has changed then.
    bool add(KrExtension* extension, const KrContentID& id);
    bool remove(const KrExtension* extension, const KrContentID& id) noexcept;
    /// For registered content. Throws std::bad_alloc, and nothing has changed then.
    void changeID(KrExtension* extension, const KrContentID& before, const KrContentID& after);
    [[nodiscard]] bool contains(const KrExtension* extension, const KrContentID::Identifier& runtimeID) const {
        return _byRuntimeID.contains(runtimeID, extension);
    }
    [[nodiscard]] std::size_t count() const noexcept { return _byRuntimeID.extensionCount(); }

    /// The first with this runtime ID; null when no extension has it and for the empty ID.
    [[nodiscard]] KrExtension* findFirst(const KrContentID::Identifier& runtimeID) const;
    /// The only one with this raw ID; null for none, for several and for the empty ID.
    [[nodiscard]] KrExtension* findOnly(const KrContentID::Identifier& rawID) const;
    [[nodiscard]] std::size_t countOf(const KrContentID::Identifier& rawID) const;
    /// The first extensions with this raw ID, at most so many; none for the empty ID.
    [[nodiscard]] std::vector<KrExtension*> findItems(const KrContentID::Identifier& rawID, std::size_t most) const;

    // --- References ------------------------------------------------------------------------------------------------
    /// Throws std::bad_alloc, and nothing has changed then.
    void addLink(ContentLink& link);
    void removeLink(ContentLink& link) noexcept;

    /// Calls the function with each reference to exactly this ID; the function may remove that reference.
    template <class Function>
    void forEachLinkTo(const KrContentID& id, const Function& function) const {
        _forEach(_byRuntimeID, id.getRuntimeID(), eIDKind::kRuntime, function);
    }
    /// The same with each reference to this raw ID, including those to exactly this ID; some are passed twice.
    template <class Function>
    void forEachLinkToItem(const KrContentID& id, const Function& function) const {
        forEachLinkTo(id, function);
        _forEach(_byRawID, id.getRawID(), eIDKind::kRaw, function);
        if (id.getRawID() != id.getRuntimeID()) {
            _forEach(_byRuntimeID, id.getRawID(), eIDKind::kRuntime, function);
        }
    }

private:
    template <class Function>
    static void _forEach(const ContentTable& table, const KrContentID::Identifier& key, eIDKind kind,
                         const Function& function) {
        for (ContentLink* link = table.linksOf(key); link;) {
            ContentLink* const next = link->hook(kind).next;
            function(*link);
            link = next;
        }
    }
    [[nodiscard]] static bool _hasRawID(const KrContentID& id) noexcept {
        return !id.getRawID().isNull() && id.getRawID() != id.getRuntimeID();
    }

    ContentTable _byRuntimeID{eIDKind::kRuntime};
    ContentTable _byRawID{eIDKind::kRaw};
};

}  // namespace KrSim::detail
