#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "kr/content/content_id.h"
#include "kr/content/fwd.h"
#include "kr/platform/export.h"
#include "kr/platform/ref_count.h"
#include "kr/platform/smart_ptr.h"

namespace KrSim {

/// The registry of live extensions by runtime ID, and of the references that follow an ID.
///
/// Several extensions may have one ID, as when a file is loaded twice. The first one registered is found; after its
/// removal the next one is. The empty ID finds no extension. A reference whose extension changes its ID follows the
/// extension. A reference whose ID no extension has takes the only extension with the same raw ID, until an extension
/// with the ID is registered.
/// Thread: any. One lock guards the tables. Observers of references are called without it, on the thread that makes the
/// change before the call returns, or on a thread that is already calling the same observer.
/// Ownership: extensions and references are borrowed; each is removed before it dies.
class KR_API KrContentDirectory {
public:
    /// An extension with a holder that keeps it alive, or null with an empty holder.
    using Held = std::pair<KrExtension*, Kr::KrSmartPtr<Kr::KrRefCount>>;

    KrContentDirectory() = delete;

    // --- Extensions ------------------------------------------------------------------------------------------------
    /// Does nothing when the extension is registered already.
    static void add(KrExtension* extension, const KrContentID& id);
    /// Returns whether it was registered. The extension is not accessed: it may be half destroyed.
    static bool remove(KrExtension* extension, const KrContentID& id) noexcept;
    /// Moves a registered extension to another ID; its references follow it.
    static void changeID(KrExtension* extension, const KrContentID& before, const KrContentID& after);
    [[nodiscard]] static bool contains(const KrExtension* extension, const KrContentID::Identifier& id);
    /// The pointer is valid as long as no other thread releases the extension.
    [[nodiscard]] static KrExtension* find(const KrContentID::Identifier& id);
    /// Null for an extension without a holder or one that is being destroyed.
    [[nodiscard]] static Held hold(const KrContentID::Identifier& id);
    /// The same, and where none has the runtime ID, the only one with the raw ID.
    [[nodiscard]] static Held resolve(const KrContentID::Identifier& runtimeID, const KrContentID::Identifier& rawID);
    /// Number of extensions with this raw ID: the same item from several files, or several times from one.
    [[nodiscard]] static std::size_t getCountOf(const KrContentID::Identifier& rawID);
    /// The first extensions with this raw ID, at most so many, with holders; without those that cannot be held.
    [[nodiscard]] static std::vector<Held> holdItems(const KrContentID::Identifier& rawID, std::size_t most);
    /// Number of registered extensions.
    [[nodiscard]] static std::size_t getCount();

    // --- References ------------------------------------------------------------------------------------------------
    /// Makes a reference follow an ID. It takes the preferred extension if that is registered under the ID, or if the
    /// reference is strong and gets a holder of it; else the first extension with the ID, or none.
    static void connect(detail::ContentLink& link, const KrContentID& id, const Held& preferred);
    /// Ends following; a strong reference keeps the extension that it holds.
    static void disconnect(detail::ContentLink& link) noexcept;
    /// As _disconnect, for a reference that dies. Returns when no other thread is calling the observer.
    static void close(detail::ContentLink& link) noexcept;

    /// Returns when no other thread is calling the previous observer.
    static void setObserver(detail::ContentLink& link, std::function<void()> observer);
    static void setStrong(detail::ContentLink& link, bool isStrong);
    [[nodiscard]] static bool isStrong(const detail::ContentLink& link);
    [[nodiscard]] static bool isConnected(const detail::ContentLink& link);
    [[nodiscard]] static KrContentID idOf(const detail::ContentLink& link);
    [[nodiscard]] static Held hold(const detail::ContentLink& link);
};

}  // namespace KrSim
